#include "tests/unit/core/app_main_stand_ins.h"

#include <atomic>
#include <cstdlib>
#include <utility>

#include <pthread.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/un.h>
#include <unistd.h>

#include <dlfcn.h>
#include <fcgiapp.h>
#include <glib.h>
#include <malloc.h>

#include "core/app_main.h"

namespace {

using testing_support::WebLibrary;

std::atomic<WebLibrary> g_webLibrary{WebLibrary::Works};
std::atomic<bool> g_webServiceWaits{false};
std::atomic<bool> g_failsToCreateTheWebThread{false};

enum class Memory { Real, Set, Untold };
Memory g_memory = Memory::Real;
struct sysinfo g_setMemory {};

testing_support::TimerCall g_lastTimer;   // main thread
testing_support::KeptMemory g_keptMemory; // main thread

std::function<void()>& timerListener() {
    static auto* const instance = new std::function<void()>;
    return *instance;
}

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// These stand in for functions of libraries, in the whole program.
extern "C" {

int FCGX_Init(void) {
    return g_webLibrary == WebLibrary::CannotBegin ? 1 : 0;
}

int FCGX_OpenSocket(const char* /*path*/, int backlog) {
    const int sock = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socklen_t size = sizeof(sa_family_t);
    // Only the family: the system chooses a name that no file has.
    if (bind(sock, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        listen(sock, backlog) != 0) {
        return -1;
    }
    // Somebody connects at once, and never asks for anything: the service need not wait for that
    // before it comes to accept.
    size = sizeof address;
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (getsockname(sock, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
        connect(client, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
        return -1;
    }
    return sock;
}

int FCGX_InitRequest(FCGX_Request* request, int sock, int /*flags*/) {
    request->listen_sock = sock;
    return 0;
}

int FCGX_Accept_r(FCGX_Request* request) {
    if (g_webLibrary == WebLibrary::EndsAtOnce) {
        return -1;
    }
    g_webServiceWaits = true;
    while (g_webLibrary == WebLibrary::Hangs) {
        pause();
    }
    while (accept(request->listen_sock, nullptr, nullptr) >= 0) {
    }
    return -1;
}

void FCGX_Free(FCGX_Request* request, int close) {
    if (close > 0 && request->listen_sock > 0) {
        ::close(request->listen_sock);
        request->listen_sock = -1;
    }
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) {
    if (body == webservices_thread_fcn && g_failsToCreateTheWebThread) {
        return EAGAIN;
    }
    return next<decltype(pthread_create)>(__func__)(thread, attributes, body, argument);
}

int sysinfo(struct sysinfo* info) {
    switch (g_memory) {
    case Memory::Set:
        *info = g_setMemory;
        return 0;
    case Memory::Untold:
        return -1;
    default:
        return static_cast<int>(syscall(SYS_sysinfo, info));
    }
}

/// The same, but nothing is changed.
int mallopt(int parameter, int value) noexcept {
    if (parameter == M_MMAP_THRESHOLD) {
        g_keptMemory.largestBlock = value;
    } else if (parameter == M_TRIM_THRESHOLD) {
        g_keptMemory.atTheEnd = value;
    }
    return 1;
}

guint g_timeout_add(guint interval, GSourceFunc function, gpointer data) {
    g_lastTimer = {interval, function, data};
    const guint id = next<decltype(g_timeout_add)>(__func__)(interval, function, data);
    if (timerListener()) {
        timerListener()();
    }
    return id;
}

} // extern "C"

namespace testing_support {

void setWebLibrary(WebLibrary behaviour) {
    g_webLibrary = behaviour;
}

bool webServiceWaits() {
    return g_webServiceWaits;
}

void failToCreateTheWebThread(bool fail) {
    g_failsToCreateTheWebThread = fail;
}

void setMemory(unsigned long total, unsigned long free, unsigned unit) {
    g_memory = Memory::Set;
    g_setMemory.totalram = total;
    g_setMemory.freeram = free;
    g_setMemory.mem_unit = unit;
}

void failToTellTheMemory() {
    g_memory = Memory::Untold;
}

void tellTheRealMemory() {
    g_memory = Memory::Real;
}

TimerCall lastTimer() {
    return g_lastTimer;
}

void onTimerInstalled(std::function<void()> function) {
    timerListener() = std::move(function);
}

KeptMemory keptMemory() {
    return g_keptMemory;
}

void forgetKeptMemory() {
    g_keptMemory = {};
}

} // namespace testing_support
