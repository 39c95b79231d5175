#include "tests/support/moved_clock.h"

#include <atomic>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <time.h>

namespace {

constexpr std::int64_t kReal = INT64_MIN;
std::atomic<std::int64_t> g_nowMicroseconds{kReal};

std::int64_t nowMicroseconds() {
    const std::int64_t moved = g_nowMicroseconds.load();
    if (moved != kReal) {
        return moved;
    }
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    return now.tv_sec * 1'000'000 + now.tv_nsec / 1000;
}

} // namespace

// The C library's functions, for the whole program.
extern "C" {

time_t time(time_t* result) noexcept {
    const time_t now = static_cast<time_t>(nowMicroseconds() / 1'000'000);
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

int gettimeofday(timeval* result, void* /*zone*/) noexcept {
    const std::int64_t now = nowMicroseconds();
    result->tv_sec = now / 1'000'000;
    result->tv_usec = now % 1'000'000;
    return 0;
}

int clock_gettime(clockid_t clock, timespec* result) noexcept {
    if (clock != CLOCK_REALTIME) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, result));
    }
    const std::int64_t now = nowMicroseconds();
    result->tv_sec = now / 1'000'000;
    result->tv_nsec = now % 1'000'000 * 1000;
    return 0;
}

} // extern "C"

namespace testing_support {

void MovedClock::set(std::int64_t seconds, std::int64_t microseconds) {
    g_nowMicroseconds = seconds * 1'000'000 + microseconds;
}

void MovedClock::advanceMilliseconds(std::int64_t milliseconds) {
    g_nowMicroseconds = nowMicroseconds() + milliseconds * 1000;
}

void MovedClock::release() {
    g_nowMicroseconds = kReal;
}

} // namespace testing_support
