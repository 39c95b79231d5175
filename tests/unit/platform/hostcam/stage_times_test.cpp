// What is told of the stages' times: quantiles, the text for Prometheus, the table for people.

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/stage_times.h"

using hostcam::addStageTime;
using hostcam::Stage;
using hostcam::StageSummary;
using testing::HasSubstr;
using namespace std::chrono_literals;

namespace {

StageSummary summaryOf(Stage stage) {
    return hostcam::stageSummaries().at(static_cast<std::size_t>(stage));
}

class StageTimesTest : public testing::Test {
  protected:
    void SetUp() override { hostcam::resetStageTimes(); }
    void TearDown() override { hostcam::resetStageTimes(); }
};

TEST_F(StageTimesTest, WithoutAMeasurementThereIsNoTableAndNoFigure) {
    EXPECT_EQ(hostcam::stageTable(), "");
    EXPECT_THAT(hostcam::stageMetrics(), testing::MatchesRegex("#[^\n]*\n"));
    EXPECT_EQ(summaryOf(Stage::Detect).count, 0U);
}

TEST_F(StageTimesTest, OneTimeIsItsMedianItsPercentileAndItsMaximum) {
    addStageTime(Stage::Detect, 250ms);
    const StageSummary summary = summaryOf(Stage::Detect);
    EXPECT_EQ(summary.count, 1U);
    EXPECT_DOUBLE_EQ(summary.sum, 0.25);
    EXPECT_DOUBLE_EQ(summary.median, 0.25);
    EXPECT_DOUBLE_EQ(summary.p95, 0.25);
    EXPECT_DOUBLE_EQ(summary.maximum, 0.25);
}

TEST_F(StageTimesTest, QuantilesAreThoseOfTheSortedTimes) {
    std::vector<int> milliseconds(100);
    for (int i = 0; i < 100; ++i) {
        milliseconds[static_cast<std::size_t>(i)] = i + 1;
    }
    std::shuffle(milliseconds.begin(), milliseconds.end(), std::mt19937(1));
    for (const int time : milliseconds) {
        addStageTime(Stage::Track, std::chrono::milliseconds(time));
    }
    const StageSummary summary = summaryOf(Stage::Track);
    EXPECT_NEAR(summary.median, 0.050, 1e-6);
    EXPECT_NEAR(summary.p95, 0.095, 1e-6);
    EXPECT_NEAR(summary.maximum, 0.100, 1e-6);
    EXPECT_NEAR(summary.sum, 5.050, 1e-9);
}

TEST_F(StageTimesTest, OnlyTheLatestTimesCountForTheQuantiles) {
    addStageTime(Stage::Redraw, 1h);
    for (std::size_t i = 0; i < hostcam::kKeptStageTimes; ++i) {
        addStageTime(Stage::Redraw, 1ms);
    }
    const StageSummary summary = summaryOf(Stage::Redraw);
    EXPECT_EQ(summary.count, hostcam::kKeptStageTimes + 1);
    EXPECT_NEAR(summary.maximum, 0.001, 1e-6);
    EXPECT_GT(summary.sum, 3600);
}

TEST_F(StageTimesTest, MetricsAreASummaryOfEveryStage) {
    addStageTime(Stage::GetFrame, 500us);
    const std::string text = hostcam::stageMetrics();
    EXPECT_THAT(text, HasSubstr("# TYPE zerith_markers_stage_seconds summary\n"));
    EXPECT_THAT(text,
                HasSubstr("zerith_markers_stage_seconds{stage=\"get_frame\",quantile=\"0.95\"} "));
    EXPECT_THAT(text, HasSubstr("zerith_markers_stage_seconds_sum{stage=\"get_frame\"} 0.0005\n"));
    EXPECT_THAT(text, HasSubstr("zerith_markers_stage_seconds_count{stage=\"get_frame\"} 1\n"));
    for (const char* stage :
         {"get_frame", "convert", "detect", "track", "decide", "events", "redraw", "tick"}) {
        EXPECT_THAT(text, HasSubstr(std::string("_count{stage=\"") + stage + "\"} "));
    }
}

TEST_F(StageTimesTest, TheTableHasALineForEveryStageInMilliseconds) {
    addStageTime(Stage::Tick, 12345us);
    const std::string table = hostcam::stageTable();
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 9);
    EXPECT_THAT(table, HasSubstr("tick           12.345     12.345     12.345          1\n"));
}

TEST_F(StageTimesTest, TimesMayComeFromSeveralThreadsWhileOthersAsk) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 1000; ++k) {
                addStageTime(Stage::Decide, 1us);
                if (k % 100 == 0) {
                    static_cast<void>(hostcam::stageMetrics());
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(summaryOf(Stage::Decide).count, 4000U);
}

} // namespace
