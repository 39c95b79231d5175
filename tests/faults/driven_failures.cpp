// What can fail in the driven program beside the camera's own calls: a few of the system and of the
// web service's library, planned like faults of the camera, by their names.

#include <cerrno>

#include <pthread.h>
#include <sys/sysinfo.h>

#include <dlfcn.h>
#include <fcgiapp.h>

#include "core/app_main.h"
#include "platform/hostcam/faults.h"

namespace {

template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = next<Create>("pthread_create");
    if (start == webservices_thread_fcn && hostcam::mustFail("pthread_create")) {
        return EAGAIN;
    }
    return create(thread, attributes, start, argument);
}

int sysinfo(struct sysinfo* info) noexcept {
    using Ask = int (*)(struct sysinfo*);
    static const auto ask = next<Ask>("sysinfo");
    if (hostcam::mustFail("sysinfo")) {
        errno = EFAULT;
        return -1;
    }
    return ask(info);
}

int FCGX_Init() {
    static const auto init = next<int (*)()>("FCGX_Init");
    return hostcam::mustFail("FCGX_Init") ? -1 : init();
}

int FCGX_OpenSocket(const char* path, int backlog) {
    static const auto openSocket = next<int (*)(const char*, int)>("FCGX_OpenSocket");
    return hostcam::mustFail("FCGX_OpenSocket") ? -1 : openSocket(path, backlog);
}

int FCGX_InitRequest(FCGX_Request* request, int sock, int flags) {
    static const auto init = next<int (*)(FCGX_Request*, int, int)>("FCGX_InitRequest");
    return hostcam::mustFail("FCGX_InitRequest") ? -1 : init(request, sock, flags);
}

} // extern "C"
