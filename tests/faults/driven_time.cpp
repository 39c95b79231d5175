// The driven program's clock and waiting (run_control.h): the C library's functions for the whole
// program, its libraries included.

#include <algorithm>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <dlfcn.h>
#include <time.h>

#include "platform/hostcam/faults.h"
#include "tests/faults/driven_program.h"

namespace {

using testing_support::RunControl;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kIdleLook = 100'000; // nanoseconds

constinit std::atomic<RunControl*> g_control{nullptr};
constinit pid_t g_parent = 0; ///< the test

/// Before every constructor of the program, which logs and so asks for the time.
__attribute__((constructor(101))) void openControl() {
    const char* const path = std::getenv(RunControl::kVariable);
    const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return;
    }
    void* const memory =
        mmap(nullptr, sizeof(RunControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory != MAP_FAILED) {
        g_parent = getppid();
        g_control = static_cast<RunControl*>(memory);
    }
    close(file);
}

timespec timeOf(std::int64_t nanoseconds) {
    timespec time{};
    time.tv_sec = nanoseconds / kSecond;
    time.tv_nsec = nanoseconds % kSecond;
    return time;
}

std::int64_t nanosecondsOf(const timespec& time) {
    return time.tv_sec * kSecond + time.tv_nsec;
}

/// Whether a clock counts the time that passes; the others count a processor's work.
bool isOfTime(clockid_t clock) {
    return clock != CLOCK_PROCESS_CPUTIME_ID && clock != CLOCK_THREAD_CPUTIME_ID && clock >= 0;
}

std::int64_t wallNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return nanosecondsOf(now);
}

void obey(RunControl& control) {
    if (!control.faultsChanged) {
        return;
    }
    for (std::size_t i = 0; i < RunControl::kCalls; ++i) {
        control.counts[i] = hostcam::callCount(control.counted[i]);
    }
    hostcam::clearFaults();
    hostcam::addFaults(control.faults);
    control.faultsChanged = false;
}

using Ppoll = int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*);

/// The main loop's wait, without waiting. After a tick that took longer than the time between two
/// it has no length, and is a wait all the same.
int skipWait(RunControl& control, Ppoll wait, pollfd* descriptors, nfds_t count,
             std::int64_t length, const sigset_t* mask) {
    timespec look{};
    while (true) {
        const int ready = wait(descriptors, count, &look, mask);
        if (ready != 0) {
            control.isIdle = false;
            return ready;
        }
        obey(control);
        if (control.isReleased) {
            control.isIdle = false;
            return 0;
        }
        if (control.skipped < control.allowed) {
            control.isIdle = false;
            control.ahead += std::max<std::int64_t>(length, control.stride);
            ++control.skipped;
            return 0;
        }
        control.isIdle = true;
        if (getppid() != g_parent) {
            _exit(EXIT_FAILURE); // Nobody will ever want more.
        }
        look.tv_nsec = kIdleLook;
    }
}

} // namespace

RunControl* runControl() {
    return g_control;
}

extern "C" {

int clock_gettime(clockid_t clock, timespec* result) noexcept {
    const auto status = static_cast<int>(syscall(SYS_clock_gettime, clock, result));
    const RunControl* const control = g_control;
    if (status == 0 && control != nullptr && isOfTime(clock)) {
        *result = timeOf(nanosecondsOf(*result) + control->ahead);
    }
    return status;
}

time_t time(time_t* result) noexcept {
    const auto now = static_cast<time_t>(wallNanoseconds() / kSecond);
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

int gettimeofday(timeval* result, void* /*zone*/) noexcept {
    const std::int64_t now = wallNanoseconds();
    result->tv_sec = now / kSecond;
    result->tv_usec = now % kSecond / 1000;
    return 0;
}

int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    static const auto wait = reinterpret_cast<Ppoll>(dlsym(RTLD_NEXT, "ppoll"));
    RunControl* const control = g_control;
    const std::int64_t length = timeout == nullptr ? 0 : nanosecondsOf(*timeout);
    if (control == nullptr || control->isReleased || timeout == nullptr || gettid() != getpid()) {
        return wait(descriptors, count, timeout, mask);
    }
    return skipWait(*control, wait, descriptors, count, length, mask);
}

/// Tells the test of a sleep of the main thread.
int nanosleep(const timespec* length, timespec* left) {
    using Sleep = int (*)(const timespec*, timespec*);
    static const auto sleep = reinterpret_cast<Sleep>(dlsym(RTLD_NEXT, "nanosleep"));
    RunControl* const control = g_control;
    const bool tells = control != nullptr && gettid() == getpid();
    if (tells) {
        control->isAsleep = true;
    }
    const int result = sleep(length, left);
    if (tells) {
        control->isAsleep = false;
    }
    return result;
}

/// A deadline is told by the program's clock, and the wait is a real one.
int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* deadline) {
    using Wait = int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);
    static const auto wait = reinterpret_cast<Wait>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
    const RunControl* const control = g_control;
    timespec real = *deadline;
    if (control != nullptr) {
        real = timeOf(std::max<std::int64_t>(0, nanosecondsOf(*deadline) - control->ahead));
    }
    return wait(condition, mutex, clock, &real);
}

} // extern "C"
