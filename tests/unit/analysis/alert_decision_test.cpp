// Ages of findings, the lost clock and the alert: the third and the fourth stage of a tick.

#include "settings/config_params.h"
#include "tests/unit/analysis/processing_fixture.h"

using namespace testing_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const kStart = "start Zerith Markers Alert";
const char* const kStop = "stop Zerith Markers Alert";

void waitSeconds(int seconds) {
    MovedClock::advanceMilliseconds(seconds * 1000LL);
}

/// Stage 3 on these findings.
void examine(const t_findings_list& findings) {
    g_findings = findings;
    DetectionProcessing::examine_and_update_findings();
}

/// Stage 4, and what the event manager is told by it.
std::vector<std::string> decide() {
    takeTold();
    DetectionProcessing::manage_events();
    return takeTold();
}

} // namespace

// Stage 3 ----------------------------------------------------------------------------------------

TEST_F(Processing, CallsAMarkerLengthilyInsideFromTheSixthWholeSecondOfFive) {
    runTick({kInside});
    EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_briefly));
    EXPECT_EQ(g_findings[0].seconds, 0);
    for (int second = 1; second <= 5; ++second) {
        waitSeconds(1);
        runTick({kInside});
        EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_briefly)) << second;
        EXPECT_EQ(g_findings[0].seconds, second);
    }
    MovedClock::advanceMilliseconds(999);
    runTick({kInside});
    EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_briefly)) << "5.999 seconds";
    MovedClock::advanceMilliseconds(1);
    runTick({kInside});
    EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_lengthily));
    EXPECT_EQ(g_findings[0].seconds, 6);
    waitSeconds(100);
    runTick({kInside});
    EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_lengthily)) << "as long as it stays";
    EXPECT_EQ(g_findings[0].seconds, 106);
}

TEST_F(Processing, TakesTheDifferenceOfWholeSecondsWithoutTheirMicroseconds) {
    MovedClock::set(100, 999999);
    examine({finding(4, in_AOI1_briefly)});
    EXPECT_EQ(g_Id2Time.at(4).tv_sec, 100);
    EXPECT_EQ(g_Id2Time.at(4).tv_usec, 999999);
    MovedClock::set(106, 0);
    examine({finding(4, in_AOI1_briefly)});
    EXPECT_EQ(g_findings[0].seconds, 6) << "though only 5.000001 seconds have passed";
    EXPECT_EQ(g_findings[0].footing, in_AOI1_lengthily);
}

TEST_F(Processing, KeepsTheSecondsAtZeroUntilTheSecondTickInside) {
    examine({finding(4, in_AOI1_briefly)});
    EXPECT_EQ(g_findings[0].seconds, 0);
    EXPECT_TRUE(DetectionProcessing::isMarkerLost()) << "only first seen";
    waitSeconds(9);
    examine({finding(4, in_AOI1_briefly)});
    EXPECT_EQ(g_findings[0].seconds, 9);
    EXPECT_EQ(g_findings[0].footing, in_AOI1_lengthily);
    EXPECT_FALSE(DetectionProcessing::isMarkerLost());
}

TEST_F(Processing, RestartsTheCountOfAMarkerThatLeavesAndComesBack) {
    runTick({kInside});
    waitSeconds(10);
    runTick({kInside});
    EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_lengthily));
    runTick({kOutside});
    EXPECT_THAT(footingsFound(), ElementsAre(not_in_AOI));
    EXPECT_EQ(g_findings[0].seconds, 0);
    waitSeconds(10);
    runTick({kInside});
    EXPECT_EQ(g_findings[0].id, 0) << "the same marker";
    EXPECT_EQ(g_findings[0].seconds, 0);
    waitSeconds(5);
    runTick({kInside});
    EXPECT_EQ(g_findings[0].seconds, 5);
    EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_briefly));
}

TEST_F(Processing, AgesEachMarkerByItsOwnFirstTime) {
    examine({finding(1, in_AOI1_briefly)});
    waitSeconds(4);
    examine({finding(1, in_AOI1_briefly), finding(2, in_AOI1_briefly), finding(3, not_in_AOI)});
    waitSeconds(4);
    examine({finding(1, in_AOI1_briefly), finding(2, in_AOI1_briefly), finding(3, not_in_AOI)});
    EXPECT_THAT(footingsFound(), ElementsAre(in_AOI1_lengthily, in_AOI1_briefly, not_in_AOI));
    EXPECT_EQ(g_findings[0].seconds, 8);
    EXPECT_EQ(g_findings[1].seconds, 4);
    EXPECT_EQ(g_findings[2].seconds, 0);
}

TEST_F(Processing, UsesTheSecondsThatAreConfiguredNow) {
    examine({finding(1, in_AOI1_briefly)});
    waitSeconds(3);
    examine({finding(1, in_AOI1_briefly)});
    EXPECT_EQ(g_findings[0].footing, in_AOI1_briefly);
    g_ConfigParams.i_MarkersSeconds = 2;
    examine({finding(1, in_AOI1_briefly)});
    EXPECT_EQ(g_findings[0].footing, in_AOI1_lengthily);
}

TEST_F(Processing, CountsBackwardWhenTheClockIsSetBack) {
    examine({finding(1, in_AOI1_briefly)});
    waitSeconds(-30);
    examine({finding(1, in_AOI1_briefly)});
    EXPECT_EQ(g_findings[0].seconds, -30);
    EXPECT_EQ(g_findings[0].footing, in_AOI1_briefly);
    EXPECT_FALSE(DetectionProcessing::isMarkerLost()) << "it is inside all the same";
}

TEST_F(Processing, ForgetsTheTimeOfAnIdThatTheTrackerHasDropped) {
    runTick({kInside});
    runTick({kInside});
    EXPECT_EQ(g_Id2Time.count(0), 1U);
    runTick({});
    EXPECT_EQ(g_Id2Time.count(0), 1U) << "one missed tick: still tracked, still inside";
    runTick({});
    EXPECT_THAT(g_Id2Time, IsEmpty());
}

TEST_F(Processing, KeepsTheTimesOfTrackedIdsOnlyHoweverManyComeAndGo) {
    for (int marker = 0; marker < 1000; ++marker) {
        runTick({markerAt(200, 200)});
        runTick({});
        runTick({});
        ASSERT_LE(g_Id2Time.size(), 1U);
    }
    EXPECT_THAT(g_Id2Time, IsEmpty());
}

// The lost clock ---------------------------------------------------------------------------------

TEST_F(Processing, BeginsWithoutALoss) {
    EXPECT_FALSE(DetectionProcessing::isMarkerLost());
}

TEST_F(Processing, StartsTheLostClockInTheFirstTickAndLetsItRun) {
    MovedClock::set(100, 900000);
    examine({});
    EXPECT_TRUE(DetectionProcessing::isMarkerLost());
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 0);
    for (int second = 1; second <= 20; ++second) {
        waitSeconds(1);
        examine({finding(1, not_in_AOI)});
        EXPECT_TRUE(DetectionProcessing::isMarkerLost());
        EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), second) << "not restarted";
    }
    MovedClock::set(121, 899000);
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 20) << "20.999 seconds";
}

TEST_F(Processing, StopsTheLostClockInTheSecondTickThatAMarkerIsInside) {
    examine({});
    waitSeconds(4);
    examine({finding(1, in_AOI1_briefly)});
    EXPECT_TRUE(DetectionProcessing::isMarkerLost());
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 4);
    examine({finding(1, in_AOI1_briefly)});
    EXPECT_FALSE(DetectionProcessing::isMarkerLost());
    waitSeconds(4);
    examine({finding(1, not_in_AOI)});
    EXPECT_TRUE(DetectionProcessing::isMarkerLost());
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 0) << "a new loss, a new clock";
}

TEST_F(Processing, TruncatesTheSecondsOfALossTowardZero) {
    MovedClock::set(100, 0);
    examine({});
    MovedClock::set(99, 500000);
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 0) << "-0.5 seconds";
    MovedClock::set(98, 500000);
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), -1) << "-1.5 seconds";
}

TEST_F(Processing, ForgetsTheLossOnReset) {
    examine({});
    waitSeconds(50);
    DetectionProcessing::resetSecsSinceMarkerLost();
    EXPECT_FALSE(DetectionProcessing::isMarkerLost());
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 1000050) << "since 1970";
    examine({});
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 0) << "the clock starts anew";
}

// Stage 4 ----------------------------------------------------------------------------------------

TEST_F(Processing, InPresenceModeStartsWhileAMarkerIsLengthilyInside) {
    g_findings = {finding(1, not_in_AOI), finding(2, in_AOI1_briefly)};
    EXPECT_THAT(decide(), ElementsAre(kStop));
    g_findings.push_back(finding(3, in_AOI1_lengthily));
    EXPECT_THAT(decide(), ElementsAre(kStart));
    EXPECT_THAT(decide(), ElementsAre(kStart)) << "in every tick";
    g_findings.push_back(finding(4, in_AOI1_lengthily));
    EXPECT_THAT(decide(), ElementsAre(kStart));
    g_findings.clear();
    EXPECT_THAT(decide(), ElementsAre(kStop));
}

TEST_F(Processing, InPresenceModeTheLossMakesNoDifference) {
    examine({});
    waitSeconds(1000);
    EXPECT_THAT(decide(), ElementsAre(kStop));
}

TEST_F(Processing, InPresenceModeAMarkerThatComesBackMustStayAnew) {
    runTick({kInside});
    waitSeconds(6);
    runTick({kInside});
    EXPECT_EQ(takeTold().back(), kStart);
    runTick({kOutside});
    EXPECT_EQ(takeTold().back(), kStop);
    runTick({kInside});
    waitSeconds(5);
    runTick({kInside});
    EXPECT_EQ(takeTold().back(), kStop);
    waitSeconds(1);
    runTick({kInside});
    EXPECT_EQ(takeTold().back(), kStart);
}

TEST_F(Processing, InAbsenceModeStartsOnceMarkersAreLostForMoreThanTheSeconds) {
    resetProcessing(kAbsence, 5);
    for (int second = 0; second <= 5; ++second) {
        runTick({});
        EXPECT_THAT(takeTold(), ElementsAre(kStop)) << "lost for " << second << " seconds";
        waitSeconds(1);
    }
    runTick({});
    EXPECT_THAT(takeTold(), ElementsAre(kStart)) << "more than 5 seconds since the first tick";
}

TEST_F(Processing, InAbsenceModeStopsWhenAMarkerIsInsideForTwoTicksInARow) {
    resetProcessing(kAbsence, 5);
    runTick({});
    waitSeconds(6);
    runTick({});
    EXPECT_EQ(takeTold().back(), kStart);
    runTick({kInside});
    EXPECT_EQ(takeTold().back(), kStart);
    runTick({kInside});
    EXPECT_EQ(takeTold().back(), kStop);
}

TEST_F(Processing, InAbsenceModeAMarkerReturnedForExactlyOneTickDoesNotStopTheLostClock) {
    resetProcessing(kAbsence, 5);
    examine({});
    waitSeconds(6);
    examine({finding(1, in_AOI1_briefly)});
    EXPECT_THAT(decide(), ElementsAre(kStart));
    examine({});
    EXPECT_THAT(decide(), ElementsAre(kStart));
    EXPECT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), 6);
}

TEST_F(Processing, InAbsenceModeAMarkerDetectedOnceStopsTheLostClockSinceItIsTrackedForTwoTicks) {
    resetProcessing(kAbsence, 5);
    runTick({});
    waitSeconds(6);
    runTick({kInside});
    EXPECT_EQ(takeTold().back(), kStart);
    runTick({});
    EXPECT_EQ(takeTold().back(), kStop);
    EXPECT_FALSE(DetectionProcessing::isMarkerLost());
}

TEST_F(Processing, InAbsenceModeAMarkerInsideKeepsTheAlertOffForGood) {
    resetProcessing(kAbsence, 5);
    runTick({kInside});
    for (int second = 0; second < 20; ++second) {
        waitSeconds(1);
        runTick({kInside});
        EXPECT_EQ(takeTold().back(), kStop);
    }
}

TEST_F(Processing, FollowsTheModeThatIsConfiguredNow) {
    examine({});
    waitSeconds(6);
    EXPECT_THAT(decide(), ElementsAre(kStop));
    g_ConfigParams.b_IsRequirePresent = kAbsence;
    EXPECT_THAT(decide(), ElementsAre(kStart));
    g_ConfigParams.i_MarkersSeconds = 6;
    EXPECT_THAT(decide(), ElementsAre(kStop)) << "6 is not more than 6";
}
