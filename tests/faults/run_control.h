#pragma once

// What a test and the program that it drives share: a page of memory in a file. The program is the
// real one, with its own main; only its clock and its waiting are the test's (driven_time.cpp). So
// a day of ticks takes as long as the work in them.
//
// The clocks run on as they do everywhere, and jump ahead where the main loop would wait. Nothing
// waits but the main loop, and it waits only where the test wants it to.

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace testing_support {

struct RunControl {
    static constexpr const char* kVariable = "ZM_RUN_CONTROL"; ///< environment: the file's path
    static constexpr std::size_t kCalls = 4;
    static constexpr std::size_t kTextSize = 1024;

    /// How far the clocks are ahead, in nanoseconds.
    std::atomic<std::int64_t> ahead{0};
    /// The least by which a wait of the main loop moves the clocks, in nanoseconds; its own length
    /// if that is more.
    std::atomic<std::int64_t> stride{0};
    /// How many waits of the main loop may be skipped, and how many have been.
    std::atomic<std::uint64_t> allowed{0};
    std::atomic<std::uint64_t> skipped{0};
    /// The main loop waits for the test to allow more.
    std::atomic<bool> isIdle{false};
    /// The main thread sleeps, as a call to the camera does that has to take its time.
    std::atomic<bool> isAsleep{false};
    /// Real time from here on.
    std::atomic<bool> isReleased{false};

    /// Asked by the test while the program is idle; false again once it is done: first counts are
    /// given, then the faults are dropped, then those in `faults` are planned.
    std::atomic<bool> faultsChanged{false};
    char faults[kTextSize] = {};
    char counted[kCalls][64] = {}; ///< the calls whose counts are asked
    std::uint32_t counts[kCalls] = {};

    /// Allocations of at least this size count for the next two; 0: none do.
    std::atomic<std::size_t> allocationSize{0};
    /// Which of them fails, counted down from 1 for the next one.
    std::atomic<std::int64_t> allocationsLeft{0};
    std::atomic<bool> allAllocationsFail{false};
    std::atomic<std::uint32_t> failedAllocations{0};
};

} // namespace testing_support
