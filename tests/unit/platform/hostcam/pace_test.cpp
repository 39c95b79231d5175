#include <thread>
#include <vector>

#include <poll.h>

#include <gtest/gtest.h>

#include "platform/hostcam/pace.h"

namespace {

using hostcam::FrameAlarm;
using hostcam::Pace;
using std::chrono::milliseconds;
using std::chrono::seconds;

class PaceTest : public testing::Test {
  protected:
    static bool rings(const FrameAlarm& alarm, milliseconds timeout = milliseconds(0)) {
        pollfd waiting{alarm.descriptor(), POLLIN, 0};
        return poll(&waiting, 1, static_cast<int>(timeout.count())) == 1;
    }

    Pace::Wait wait(const Pace& pace, std::uint64_t number, milliseconds timeout) {
        return pace.waitFor(number, Pace::Clock::now() + timeout, interrupted);
    }

    std::atomic<bool> interrupted{false};
};

TEST_F(PaceTest, AManualPaceMovesByHandOnly) {
    Pace pace(25, 0);
    EXPECT_TRUE(pace.manual());
    EXPECT_EQ(pace.current(), 0U);
    pace.advance(1);
    pace.advance(10);
    EXPECT_EQ(pace.current(), 11U);
    EXPECT_EQ(wait(pace, 11, milliseconds(0)), Pace::Wait::Due);
    EXPECT_EQ(wait(pace, 12, milliseconds(0)), Pace::Wait::TimedOut);
}

TEST_F(PaceTest, AManualPaceBeginsWhereItIsTold) {
    EXPECT_EQ(Pace(25, 77).current(), 77U);
}

TEST_F(PaceTest, FramesHaveTimesAtTheirRate) {
    const Pace pace(30, 0);
    const std::int64_t start = pace.timeOf(0);
    EXPECT_EQ(pace.timeOf(30) - start, 1'000'000);
    EXPECT_NEAR(static_cast<double>(pace.timeOf(1) - start), 33'333, 1);
    EXPECT_EQ(pace.timeOf(3'000'000'000) - start, 100'000'000'000'000);
}

TEST_F(PaceTest, TimeMakesFrames) {
    const Pace pace(1000);
    for (std::uint64_t number = 1; number < 10; ++number) {
        ASSERT_EQ(wait(pace, number, seconds(30)), Pace::Wait::Due);
        const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
            Pace::Clock::now().time_since_epoch());
        EXPECT_LE(pace.timeOf(number), now.count()) << "a frame came too early";
        EXPECT_GE(pace.current(), number);
    }
}

TEST_F(PaceTest, TimeMakesNoFrameAtAVeryLowRate) {
    const Pace pace(0.0001);
    EXPECT_EQ(pace.current(), 0U);
    EXPECT_EQ(wait(pace, 1, milliseconds(1)), Pace::Wait::TimedOut);
}

TEST_F(PaceTest, AdvancingChangesNothingWhileTimeMakesFrames) {
    Pace pace(0.0001);
    pace.advance(100);
    EXPECT_EQ(pace.current(), 0U);
}

TEST_F(PaceTest, SwitchingKeepsTheCount) {
    Pace pace(0.0001);
    pace.setManual(true);
    EXPECT_EQ(pace.current(), 0U);
    pace.advance(500);
    pace.setManual(false);
    EXPECT_EQ(pace.current(), 500U);
    pace.setManual(false);
    pace.setManual(true);
    EXPECT_EQ(pace.current(), 500U);
}

TEST_F(PaceTest, AWaitEndsWhenAFrameIsMade) {
    Pace pace(25, 0);
    std::thread maker([&pace] { pace.advance(3); });
    EXPECT_EQ(wait(pace, 3, seconds(30)), Pace::Wait::Due);
    maker.join();
}

TEST_F(PaceTest, AWaitEndsWhenTimeIsLetGo) {
    Pace pace(1000, 0);
    std::thread switcher([&pace] { pace.setManual(false); });
    EXPECT_EQ(wait(pace, 2, seconds(30)), Pace::Wait::Due);
    switcher.join();
}

TEST_F(PaceTest, AWaitEndsWhenItIsInterrupted) {
    const Pace pace(0.0001);
    std::thread interrupter([this, &pace] {
        interrupted = true;
        pace.interrupt();
    });
    EXPECT_EQ(pace.waitFor(1, Pace::Clock::time_point::max(), interrupted),
              Pace::Wait::Interrupted);
    interrupter.join();
    EXPECT_EQ(pace.waitFor(0, Pace::Clock::time_point::max(), interrupted), Pace::Wait::Interrupted)
        << "the flag goes before the frame";
}

TEST_F(PaceTest, AnAlarmRingsWhenItsFrameIsDue) {
    Pace pace(25, 0);
    const auto alarm = std::make_shared<FrameAlarm>();
    EXPECT_FALSE(rings(*alarm));
    pace.setAlarm(alarm, 2);
    EXPECT_FALSE(rings(*alarm));
    pace.advance(1);
    EXPECT_FALSE(rings(*alarm));
    pace.advance(1);
    EXPECT_TRUE(rings(*alarm));
    pace.setAlarm(alarm, 3);
    EXPECT_FALSE(rings(*alarm));
    pace.advance(5);
    pace.clearAlarm(*alarm);
    EXPECT_FALSE(rings(*alarm));
}

TEST_F(PaceTest, AnAlarmRingsByTimeToo) {
    Pace pace(1000);
    const auto alarm = std::make_shared<FrameAlarm>();
    pace.setAlarm(alarm, pace.current() + 2);
    EXPECT_TRUE(rings(*alarm, seconds(30)));
    pace.setAlarm(alarm, 4'000'000'000);
    EXPECT_FALSE(rings(*alarm));
    pace.setManual(true);
    pace.advance(4'000'000'000);
    EXPECT_TRUE(rings(*alarm));
}

TEST_F(PaceTest, AnAlarmMayGoBeforeThePace) {
    Pace pace(25, 0);
    for (int round = 0; round < 3; ++round) {
        pace.setAlarm(std::make_shared<FrameAlarm>(), 1);
    }
    pace.advance(1);
    EXPECT_EQ(pace.current(), 1U);
}

TEST_F(PaceTest, ManyMayWaitAtOnce) {
    Pace pace(25, 0);
    std::atomic<int> due{0};
    std::vector<std::thread> waiters;
    for (std::uint64_t number = 1; number <= 8; ++number) {
        waiters.emplace_back(
            [&, number] { due += wait(pace, number, seconds(30)) == Pace::Wait::Due ? 1 : 0; });
    }
    for (int frame = 0; frame < 8; ++frame) {
        pace.advance(1);
    }
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    EXPECT_EQ(due, 8);
}

} // namespace
