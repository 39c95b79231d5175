// SIGTERM at any moment: during start-up the process ends with 1, in the loop with 0, always within
// two seconds and never by a crash.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/application_process.h"

using namespace std::chrono_literals;
using testing_support::ApplicationProcess;

namespace {

constexpr std::chrono::milliseconds kMostTimeToStop{2000};

void prepare(ApplicationProcess& program) {
    program.configure("camera", "resolutions", "160x90");
    program.storeDemonstrationSettings(160, 90);
}

/// How long this machine, as busy as it is, takes for a start-up.
std::chrono::microseconds timeOfStartUp() {
    ApplicationProcess program(ZM_PROGRAM);
    prepare(program);
    const auto begin = std::chrono::steady_clock::now();
    program.start();
    EXPECT_TRUE(program.waitForMainLoop(60s)) << program.log() << program.output();
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 begin);
}

/// Stops programs at random times; returns how many ended from the loop (status 0).
/// @param startUp about how long a start-up takes: half of the times fall into it, half into the
/// loop
int stopAtRandomTimes(int stops, unsigned seed, std::chrono::microseconds startUp,
                      std::string& problems) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::int64_t> microseconds(0, 2 * startUp.count());
    // A machine on which a start-up takes so long is busy, or runs the program under a sanitizer.
    const bool isSlow = startUp > kMostTimeToStop / 4;
    const std::chrono::milliseconds deadline =
        isSlow ? std::chrono::duration_cast<std::chrono::milliseconds>(10 * startUp)
               : kMostTimeToStop;
    int fromTheLoop = 0;
    for (int i = 0; i < stops; ++i) {
        ApplicationProcess program(ZM_PROGRAM);
        prepare(program);
        const bool kept = i % 2 == 0;
        program.blockTerminationAtStart(kept);
        program.start();
        // Not waiting for anything: the moment itself is what the test draws.
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds(random)));
        program.signal(SIGTERM);
        const auto end = program.waitForEnd(deadline);
        const std::string name = "stop " + std::to_string(i) + ": ";
        if (!end) {
            problems += name + "still runs at the deadline\n" + program.log();
            continue;
        }
        // Before main takes over the signal, the kernel's own rule for SIGTERM holds, unless the
        // signal was kept. The log then holds the line of its construction at most.
        const std::string log = program.log();
        const bool beforeMain = !kept && !end->exited && end->status == SIGTERM &&
                                std::count(log.begin(), log.end(), '\n') <= 1;
        const bool inOrder = end->exited && (end->status == 0 || end->status == 1);
        if (!inOrder && !beforeMain) {
            problems += name + (end->exited ? "status " : "signal ") + std::to_string(end->status) +
                        "\n" + program.log() + program.output();
            continue;
        }
        if (end->exited && end->status == 0) {
            ++fromTheLoop;
            if (!program.logHolds("logMemoryUsage: Ending Zerith Markers") ||
                !program.logHolds("STOPPING zerith_markers")) {
                problems += name + "status 0 without the ending lines\n" + program.log();
            }
        }
    }
    return fromTheLoop;
}

TEST(Stop, AThousandStopsAtRandomTimesEndWithTheRightStatusWithinTwoSeconds) {
    const char* const count = std::getenv("ZM_RANDOM_STOPS");
    const int stops = count != nullptr ? std::atoi(count) : 1000;
    constexpr unsigned kSeed = 20261120;
    std::cout << stops << " stops, seed " << kSeed << "\n";
    const std::chrono::microseconds startUp = timeOfStartUp();
    std::cout << "a start-up takes " << startUp.count() / 1000 << " ms\n";
    std::string problems[2];
    int fromTheLoop[2] = {0, 0};
    std::thread other(
        [&] { fromTheLoop[1] = stopAtRandomTimes(stops / 2, kSeed + 1, startUp, problems[1]); });
    fromTheLoop[0] = stopAtRandomTimes(stops - stops / 2, kSeed, startUp, problems[0]);
    other.join();
    EXPECT_EQ(problems[0] + problems[1], "");
    const int loops = fromTheLoop[0] + fromTheLoop[1];
    std::cout << loops << " stops met the loop, " << stops - loops << " met the start-up\n";
    EXPECT_GT(loops, stops / 20) << "hardly any stop met the loop";
    EXPECT_LT(loops, stops) << "no stop met the start-up";
}

} // namespace
