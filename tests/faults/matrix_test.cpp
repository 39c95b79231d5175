// Every call to the camera fails, at its first, second, tenth and every time, alone and in random
// pairs: the application says so, goes on or ends in order, and works again afterwards.
//
// ZM_FAULT_RUNS: how many runs in all (the singles always run); ZM_FAULT_SEED: of the pairs.

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/driven_run.h"
#include "tests/faults/matrix_rows.h"
#include "tests/faults/matrix_run.h"
#include "tests/support/temp_dir.h"

using namespace std::chrono_literals;
using namespace testing_support;

namespace {

#if defined(__SANITIZE_ADDRESS__)
// A run takes four times as long.
constexpr unsigned kSinglePositions[] = {1, kEvery};
constexpr unsigned kPairsByDefault = 24;
#else
constexpr auto& kSinglePositions = kPositions;
constexpr unsigned kPairsByDefault = 150;
#endif

/// What makes fsync() cheap: nothing here is about a crash of the machine.
const bool kUsesMemory =
    std::filesystem::is_directory("/dev/shm") && setenv("TMPDIR", "/dev/shm", 1) == 0;

unsigned numberFrom(const char* variable, unsigned otherwise) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? otherwise : static_cast<unsigned>(std::atol(text));
}

std::string nameOf(const PlannedFault& fault) {
    return fault.row->call +
           (fault.position == kEvery ? " always" : " at " + std::to_string(fault.position));
}

/// @return how many of the faults met a call
unsigned check(const std::vector<PlannedFault>& faults) {
    const MatrixResult result = runMatrix(faults);
    std::string what;
    for (const PlannedFault& fault : faults) {
        what += (what.empty() ? "" : ", ") + nameOf(fault);
    }
    EXPECT_THAT(result.complaints, testing::IsEmpty()) << what << "\n" << result.evidence;
    return static_cast<unsigned>(std::count(result.wasHit.begin(), result.wasHit.end(), true));
}

/// The names of the camera's functions that a source calls or releases something with.
std::set<std::string> callsIn(const std::string& source) {
    static const std::regex call(R"(\b((?:vdo|ax|axoverlay)_[a-z0-9_]+)\s*[(>])");
    std::set<std::string> calls;
    for (auto match = std::sregex_iterator(source.begin(), source.end(), call);
         match != std::sregex_iterator(); ++match) {
        calls.insert((*match)[1]);
    }
    return calls;
}

TEST(FaultMatrix, HasARowForEveryCallOfTheApplicationToItsCamera) {
    std::set<std::string> called;
    for (const char* folder : {"core", "video", "analysis", "settings", "outputs"}) {
        for (const auto& file :
             std::filesystem::directory_iterator(std::filesystem::path(ZM_ROOT) / folder)) {
            called.merge(callsIn(readFile(file.path())));
        }
    }
    std::set<std::string> inMatrix;
    for (const MatrixRow& row : matrixRows()) {
        if (row.call.starts_with("vdo_") || row.call.starts_with("ax")) {
            inMatrix.insert(row.call);
        }
    }
    EXPECT_GT(called.size(), 40U);
    EXPECT_EQ(inMatrix, called);
}

class FaultMatrix : public testing::TestWithParam<MatrixRow> {};

TEST_P(FaultMatrix, IsSurvived) {
    unsigned hits = 0;
    for (const unsigned position : kSinglePositions) {
        hits += check({{&GetParam(), position}});
    }
    EXPECT_EQ(hits == 0, GetParam().isUnreached) << hits << " met a call";
}

INSTANTIATE_TEST_SUITE_P(Single, FaultMatrix, testing::ValuesIn(matrixRows()),
                         [](const auto& row) { return row.param.call; });

TEST(FaultMatrixPairs, AreSurvived) {
    const auto singles = static_cast<unsigned>(matrixRows().size() * std::size(kSinglePositions));
    const unsigned runs = numberFrom("ZM_FAULT_RUNS", singles + kPairsByDefault);
    const unsigned seed = numberFrom("ZM_FAULT_SEED", 20261120);
    std::mt19937 random(seed);
    std::cout << "seed " << seed << ", " << runs << " runs, " << singles << " of them singles\n";
    const auto draw = [&] {
        return PlannedFault{&matrixRows()[random() % matrixRows().size()],
                            kPositions[random() % std::size(kPositions)]};
    };
    unsigned hits = 0;
    for (unsigned run = singles; run < runs; ++run) {
        const PlannedFault first = draw();
        PlannedFault second = draw();
        while (second.row == first.row) {
            second = draw();
        }
        hits += check({first, second});
    }
    std::cout << hits << " of " << 2 * (runs - std::min(runs, singles)) << " faults met a call\n";
}

TEST(FaultMatrixBuffers, WhenNoneComesBackTheProgramSaysSoAndGoesOnWithoutFrames) {
    DrivenRun run;
    constexpr unsigned kBuffers = 4;
    run.program().configure("camera", "buffers", std::to_string(kBuffers));
    run.planFaults("vdo_stream_buffer_unref count=forever code=1");
    run.program().setEnvironment("ASAN_OPTIONS", "detect_leaks=0"); // they are lost
    ASSERT_TRUE(run.start()) << run.program().log() << run.program().output();
    ASSERT_TRUE(
        run.program().waitUntil([&] { return run.get("get_status_code").has_value(); }, 20s));
    ASSERT_TRUE(run.tick(kBuffers, 1s));
    EXPECT_FALSE(run.program().logHolds("failed to get VDO buffer"));
    ASSERT_TRUE(run.tick(2, 1s));
    const auto told = [&](const std::string& line) { return run.program().logHolds(line); };
    EXPECT_TRUE(told("|error|getFrame: Failed to release VDO stream buffer. injected fault\n"));
    EXPECT_TRUE(told("|error|getFrame: VideoStreamSource::getFrame failed to get VDO buffer. "));
    EXPECT_TRUE(told("|error|detect_markers: unable to getFrame\n"));
    EXPECT_TRUE(run.get("get_all_parameters").has_value());
    const auto end = run.stop();
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited && end->status == 0) << run.program().output();
}

} // namespace
