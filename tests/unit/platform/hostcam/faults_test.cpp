#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/faults.h"
#include "tests/support/program_start.h"

namespace {

using hostcam::Fault;
using testing::ElementsAre;

class FaultsTest : public testing::Test {
  protected:
    FaultsTest() { hostcam::clearFaults(); }
    ~FaultsTest() override {
        hostcam::clearFaults();
        g_clear_error(&error);
    }

    /// Which of the next calls fail.
    static std::vector<int> failing(const char* call, int calls) {
        std::vector<int> hits;
        for (int number = 1; number <= calls; ++number) {
            if (hostcam::mustFail(call)) {
                hits.push_back(number);
            }
        }
        return hits;
    }

    const GQuark domain = g_quark_from_static_string("faults-test");
    GError* error = nullptr;
};

TEST_F(FaultsTest, WithoutAFaultNothingFails) {
    EXPECT_FALSE(hostcam::mustFail("call", domain, &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_FALSE(hostcam::takeFault("call"));
}

TEST_F(FaultsTest, AFaultHitsTheNextCallOnce) {
    hostcam::addFaults("call");
    EXPECT_THAT(failing("call", 4), ElementsAre(1));
}

TEST_F(FaultsTest, AFaultHitsTheCallsThatItCounts) {
    hostcam::addFaults("call first=3 count=2");
    EXPECT_THAT(failing("call", 6), ElementsAre(3, 4));
}

TEST_F(FaultsTest, CallsAreCountedFromWhenTheFaultIsPlanned) {
    EXPECT_THAT(failing("call", 5), ElementsAre());
    hostcam::addFaults("call first=2");
    EXPECT_THAT(failing("call", 3), ElementsAre(2));
}

TEST_F(FaultsTest, AFaultMayStayForever) {
    hostcam::addFaults("call first=2 count=forever");
    EXPECT_THAT(failing("call", 5), ElementsAre(2, 3, 4, 5));
}

TEST_F(FaultsTest, AFaultHitsNoOtherCall) {
    hostcam::addFaults("call count=forever");
    EXPECT_THAT(failing("call_too", 2), ElementsAre());
}

TEST_F(FaultsTest, TheFirstOfSeveralFaultsIsTaken) {
    hostcam::addFaults("call count=2 code=1; call count=3 code=2");
    std::vector<int> codes;
    for (int number = 0; number < 4; ++number) {
        if (const auto fault = hostcam::takeFault("call")) {
            codes.push_back(fault->code);
        }
    }
    EXPECT_THAT(codes, ElementsAre(1, 1, 2));
}

TEST_F(FaultsTest, AnErrorIsMadeFromTheFault) {
    hostcam::addFaults("call code=13 message=broken");
    EXPECT_TRUE(hostcam::mustFail("call", domain, &error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain, domain);
    EXPECT_EQ(error->code, 13);
    EXPECT_STREQ(error->message, "broken");
}

TEST_F(FaultsTest, AFaultMayFailWithoutAnError) {
    hostcam::addFaults("call noerror; call first=2");
    EXPECT_TRUE(hostcam::mustFail("call", domain, &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(hostcam::mustFail("call", domain, nullptr));
}

TEST_F(FaultsTest, ADelayedCallWaitsAndGoesOn) {
    hostcam::addFaults("call delay=20 pass");
    const gint64 start = g_get_monotonic_time();
    EXPECT_FALSE(hostcam::mustFail("call", domain, &error));
    EXPECT_GE(g_get_monotonic_time() - start, 20'000);
}

TEST_F(FaultsTest, OddDataComesWithTheFault) {
    hostcam::addFaults("call odd=1x1 pass; other odd=");
    const auto fault = hostcam::takeFault("call");
    ASSERT_TRUE(fault);
    EXPECT_FALSE(fault->fail);
    EXPECT_EQ(fault->odd, "1x1");
    EXPECT_EQ(hostcam::takeFault("other")->odd, "");
}

TEST_F(FaultsTest, CallsAreCounted) {
    EXPECT_EQ(hostcam::callCount("call"), 0U);
    failing("call", 3);
    EXPECT_EQ(hostcam::callCount("call"), 3U);
    hostcam::clearFaults();
    EXPECT_EQ(hostcam::callCount("call"), 0U);
}

TEST_F(FaultsTest, ClearingDropsEveryFault) {
    hostcam::addFaults("call count=forever");
    hostcam::clearFaults();
    EXPECT_THAT(failing("call", 2), ElementsAre());
}

TEST_F(FaultsTest, BlanksAndEmptyEntriesDoNotCount) {
    hostcam::addFaults(" ;; call   code=2 ; ");
    EXPECT_TRUE(hostcam::mustFail("call", domain, &error));
    EXPECT_EQ(error->code, 2);
}

TEST_F(FaultsTest, AWordThatIsNotUnderstoodIsNamedAndNothingIsPlanned) {
    for (const std::string word : {"count=often", "first=0", "first=-1", "code=", "delay=5s",
                                   "delay=-5", "fail", "code=99999999999"}) {
        try {
            hostcam::addFaults("call count=forever; other " + word);
            ADD_FAILURE() << word << " was taken";
        } catch (const std::invalid_argument& problem) {
            EXPECT_THAT(problem.what(), testing::HasSubstr("\"" + word + "\""));
        }
        EXPECT_THAT(failing("call", 1), ElementsAre());
    }
}

TEST_F(FaultsTest, SeveralThreadsMayAskAtOnce) {
    hostcam::addFaults("call first=1 count=100");
    std::atomic<int> hits{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&hits] { hits += static_cast<int>(failing("call", 100).size()); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(hits, 100);
    EXPECT_EQ(hostcam::callCount("call"), 400U);
}

/// The variable is read once in a process, so each case runs in a process of its own.
class FaultsEnvironmentDeathTest : public testing::Test {
  protected:
    FaultsEnvironmentDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
    void SetUp() override {
        if (testing_support::isEmulated()) {
            GTEST_SKIP() << "an emulated program cannot start itself again";
        }
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    ~FaultsEnvironmentDeathTest() override { unsetenv("HOSTCAM_FAULTS"); }

    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    static void plan(const char* text) { setenv("HOSTCAM_FAULTS", text, 1); }

    [[noreturn]] static void tellWhetherTheCallFails() {
        const bool fails = hostcam::mustFail("call");
        std::_Exit(fails ? 10 : 20);
    }
};

TEST_F(FaultsEnvironmentDeathTest, TheEnvironmentPlansFaultsToo) {
    plan("other; call count=2");
    EXPECT_EXIT(tellWhetherTheCallFails(), testing::ExitedWithCode(10), "");
}

TEST_F(FaultsEnvironmentDeathTest, AnEnvironmentThatIsNotUnderstoodIsIgnoredWithAWarning) {
    plan("call; call often");
    EXPECT_EXIT(tellWhetherTheCallFails(), testing::ExitedWithCode(20),
                "HOSTCAM_FAULTS is ignored: .*often");
}

} // namespace
