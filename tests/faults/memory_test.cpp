// Large allocations fail, one after the other and all at once: the tick or the request that needed
// one is given up and told, the next one works.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/driven_run.h"

using namespace std::chrono_literals;
using namespace testing_support;

namespace {

constexpr std::size_t kCropBytes = 160 * 90 * 3; ///< the least of a tick's pictures
constexpr unsigned kWholeStory = 31;

class Memory : public testing::Test {
  protected:
    void begin(const std::string& wholePicture = "true") {
        m_run.program().store("DisplayNonAOI", wholePicture);
        ASSERT_TRUE(m_run.start()) << m_run.program().log() << m_run.program().output();
        ASSERT_TRUE(m_run.program().waitUntil(
            [&] { return m_run.get("get_status_code").has_value(); }, 20s));
        ASSERT_TRUE(m_run.tick(2, 1s));
    }

    void failNextAllocation(std::size_t leastBytes, std::int64_t which = 1) {
        m_run.control().failedAllocations = 0;
        m_run.control().allocationsLeft = which;
        m_run.control().allocationSize = leastBytes;
    }

    /// A tick whose allocation fails is given up and told.
    void expectTickGivenUp(std::size_t leastBytes, std::int64_t which) {
        failNextAllocation(leastBytes, which);
        ASSERT_TRUE(m_run.tick(1, 1s));
        EXPECT_EQ(m_run.control().failedAllocations, 1U);
        EXPECT_TRUE(m_run.program().logHolds("|error|thread_function: std::bad_alloc\n"));
    }

    /// What was given up does not come back in the next two stories.
    void expectThatItWorksAgain() {
        m_run.control().allocationSize = 0;
        const std::size_t before = m_run.program().journal().size();
        ASSERT_TRUE(m_run.tick(2 * kWholeStory, 1s));
        EXPECT_THAT(m_run.alerts(before), testing::IsSupersetOf({true, false}));
        const auto end = m_run.stop();
        ASSERT_TRUE(end.has_value());
        EXPECT_TRUE(end->exited && end->status == 0) << m_run.program().output();
    }

    DrivenRun m_run;
};

TEST_F(Memory, ATickWithoutMemoryForItsFrameIsGivenUp) {
    begin();
    expectTickGivenUp(320 * 180 * 3, 1);
    expectThatItWorksAgain();
}

TEST_F(Memory, ATickWithoutMemoryForItsCropIsGivenUp) {
    begin("false");
    expectTickGivenUp(kCropBytes, 2); // the first is the frame
    expectThatItWorksAgain();
}

TEST_F(Memory, EveryLargeAllocationOfATickMayFail) {
    begin("false");
    unsigned failed = 0;
    for (std::int64_t which = 1; which <= 12; ++which) {
        failNextAllocation(kCropBytes / 4, which);
        ASSERT_TRUE(m_run.tick(1, 1s)) << "the program ended with allocation " << which << "\n"
                                       << m_run.program().output();
        failed += m_run.control().failedAllocations;
    }
    EXPECT_GE(failed, 2U);
    expectThatItWorksAgain();
}

TEST_F(Memory, WithoutMemoryForPicturesNothingIsSeenAndRequestsAreAnswered) {
    begin();
    m_run.control().allAllocationsFail = true;
    failNextAllocation(kCropBytes);
    ASSERT_TRUE(m_run.tick(5, 1s));
    EXPECT_GE(m_run.control().failedAllocations, 5U);
    for (const char* action : {"get_status_code", "get_all_parameters"}) {
        const auto answer = m_run.get(action);
        EXPECT_TRUE(answer && answer->starts_with("Status: 200 OK\r\n")) << action;
    }
    expectThatItWorksAgain();
}

TEST_F(Memory, ARequestWithoutMemoryIsGivenUpAndTheNextIsServed) {
    begin();
    constexpr std::size_t kLargeBody = 1'000'000;
    const std::string body = "<root><log_severity>info</log_severity><log_entry>" +
                             std::string(kLargeBody, 'x') + "</log_entry></root>";
    std::int64_t which = 0;
    do {
        failNextAllocation(kLargeBody, ++which);
        const auto answer = m_run.post("post_submit_log", body);
        EXPECT_TRUE(answer.has_value()) << "the service hung up at allocation " << which;
        m_run.control().allocationSize = 0;
        const auto next = m_run.get("get_status_code");
        EXPECT_TRUE(next && next->starts_with("Status: 200 OK\r\n")) << which;
    } while (m_run.control().failedAllocations != 0);
    EXPECT_GT(which, 3) << "no request needs so little";
    EXPECT_TRUE(m_run.program().logHolds("|error|run: Request failed: std::bad_alloc\n"));
    EXPECT_TRUE(
        m_run.program().logHolds("|error|processPOST: Exception from add_post_submit_log.\n"));
    expectThatItWorksAgain();
}

} // namespace
