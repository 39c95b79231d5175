#pragma once

// The wall clock under the test's control. A program that links test_clock has its own time(),
// gettimeofday() and clock_gettime(CLOCK_REALTIME), and so moves the application's clock without
// the application knowing. Until the first call below, and after release(), the real time is told.
// Other clocks (CLOCK_MONOTONIC, which GLib's timers use) always run on.

#include <cstdint>

namespace testing_support {

class MovedClock {
  public:
    /// Stops the wall clock at a time. @param seconds since 1970 @param microseconds 0 to 999999
    static void set(std::int64_t seconds, std::int64_t microseconds = 0);

    /// Moves the stopped wall clock; a clock that still runs is stopped first.
    static void advanceMilliseconds(std::int64_t milliseconds);

    /// Lets the wall clock tell the real time again.
    static void release();
};

} // namespace testing_support
