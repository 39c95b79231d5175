#include <cstdint>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/area_of_interest.h"
#include "analysis/detection_processing.h"
#include "analysis/tracker.h"
#include "settings/config_params.h"
#include "tests/support/moved_clock.h"
#include "tests/unit/analysis/logged.h"
#include "tests/unit/analysis/markers.h"
#include "tests/unit/analysis/processing_doubles.h"

using namespace testing_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const kStart = "start Zerith Markers Alert";
const char* const kStop = "stop Zerith Markers Alert";

const detection kInside = markerAt(300, 300, 7);
const detection kOutside = markerAt(700, 300, 7);

constexpr bool kPresence = true;
constexpr bool kAbsence = false;

void waitSeconds(int seconds) {
    MovedClock::advanceMilliseconds(seconds * 1000LL);
}

/// A finding as monitor_AOI() leaves it.
one_find finding(int id, footings footing) {
    one_find made;
    made.id = id;
    made.footing = footing;
    return made;
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

std::vector<int> footingsFound() {
    std::vector<int> all;
    for (const one_find& found : g_findings) {
        all.push_back(found.footing);
    }
    return all;
}

class Processing : public testing::Test {
  protected:
    Processing() { resetProcessing(kPresence, 5); }
    ~Processing() override {
        MovedClock::release();
        EXPECT_TRUE(g_settingsWereFreeWhenTold);
        EXPECT_THAT(logged("error"), IsEmpty());
    }
};

} // namespace

// Reckoning time ---------------------------------------------------------------------------------

TEST_F(Processing, ReckonsMillisecondsWithEachSidesMicrosecondsTruncated) {
    EXPECT_EQ(getMillisecondsBetween({10, 0}, {12, 0}), 2000);
    EXPECT_EQ(getMillisecondsBetween({10, 999}, {10, 1000}), 1) << "0.999 ms count as 0";
    EXPECT_EQ(getMillisecondsBetween({10, 1000}, {10, 1999}), 0);
    EXPECT_EQ(getMillisecondsBetween({10, 900000}, {11, 100000}), 200);
    EXPECT_EQ(getMillisecondsBetween({12, 500000}, {10, 250000}), -2250);
    EXPECT_EQ(getMillisecondsBetween({0, 0}, {0, 0}), 0);
}

TEST_F(Processing, ReckonsIn64BitsAndWrapsTheResult) {
    EXPECT_EQ(getMillisecondsBetween({1700000000, 0}, {1700002000, 5000}), 2000005);
    EXPECT_EQ(getMillisecondsBetween({0, 0}, {2147483, 647000}), 2147483647);
    EXPECT_EQ(getMillisecondsBetween({0, 0}, {2147483, 648000}), INT32_MIN);
    EXPECT_EQ(getMillisecondsBetween({0, 0}, {4294967, 296000}), 0);
}

TEST_F(Processing, ReckonsMillisecondsUntilNow) {
    MovedClock::set(2000, 750999);
    EXPECT_EQ(getMillisecondsSince({1999, 250000}), 1500);
}

// Stage 1 ----------------------------------------------------------------------------------------

TEST_F(Processing, TakesTheDetectionsOfOneFrameOfTheStream) {
    g_detections = {markerAt(1, 1, 99)};
    g_nextDetections = {markerAt(120, 120, 3), markerAt(220, 120, 4)};
    DetectionProcessing::get_detections();
    EXPECT_TRUE(g_searchedTheStream);
    ASSERT_EQ(g_detections.size(), 2U);
    EXPECT_EQ(g_detections[0].classId, 3);
    EXPECT_EQ(g_detections[1].classId, 4);
    g_nextDetections.clear();
    DetectionProcessing::get_detections();
    EXPECT_THAT(g_detections, IsEmpty());
}

// Stage 2 ----------------------------------------------------------------------------------------

TEST_F(Processing, MakesAFindingOfEachTrackedMarkerAscendingById) {
    g_findings = {finding(99, in_AOI1_lengthily)};
    g_detections = {markerAt(700, 120, 3), markerAt(220, 140, 4)};
    DetectionProcessing::monitor_AOI();
    ASSERT_EQ(g_findings.size(), 2U);
    EXPECT_EQ(g_findings[0].id, 0);
    EXPECT_EQ(g_findings[0].centroid, cv::Point2f(700, 120));
    EXPECT_TRUE(sameDetection(g_findings[0].detect, g_detections[0]));
    EXPECT_EQ(g_findings[0].footing, not_in_AOI);
    EXPECT_EQ(g_findings[0].seconds, 0);
    EXPECT_EQ(g_findings[1].id, 1);
    EXPECT_EQ(g_findings[1].centroid, cv::Point2f(220, 140));
    EXPECT_TRUE(sameDetection(g_findings[1].detect, g_detections[1]));
    EXPECT_EQ(g_findings[1].footing, in_AOI1_briefly);
    EXPECT_EQ(g_findings[1].seconds, 0);
    EXPECT_EQ(g_detections.size(), 2U) << "the detections of the frame stay";
}

TEST_F(Processing, KeepsAFindingForTheOneTickInWhichItsMarkerIsMissed) {
    runTick({kInside});
    runTick({});
    ASSERT_EQ(g_findings.size(), 1U);
    EXPECT_EQ(g_findings[0].footing, in_AOI1_briefly);
    runTick({});
    EXPECT_THAT(g_findings, IsEmpty());
}

TEST_F(Processing, PutsAMarkerWithOneCornerOutsideOutside) {
    for (std::size_t corner = 0; corner < 4; ++corner) {
        resetProcessing(kPresence, 5);
        runTick({kInside});
        EXPECT_EQ(g_Id2Time.count(0), 1U);
        takeTold();
        detection leaning = kInside;
        leaning.markerCorners[corner] = {600, 300};
        runTick({leaning});
        EXPECT_THAT(footingsFound(), ElementsAre(not_in_AOI)) << "corner " << corner;
        EXPECT_THAT(takeData(), ElementsAre("data ")) << "it leaves the published list";
        EXPECT_THAT(g_Id2Time, IsEmpty()) << "and its first-seen time is erased";
    }
}

TEST_F(Processing, PutsADetectionWithoutFourCornersOutside) {
    g_detections = {markerWith({{300, 300}, {310, 300}, {310, 310}})};
    DetectionProcessing::monitor_AOI();
    EXPECT_THAT(footingsFound(), ElementsAre(not_in_AOI));
}

TEST_F(Processing, ConsultsOnlyTheFirstArea) {
    for (const int other : {2, 3}) {
        g_AreaofInterest.set_detection(other, {{600, 200}, {800, 200}, {800, 400}, {600, 400}});
        g_AreaofInterest.set_detection_active(other, true);
    }
    runTick({kOutside});
    EXPECT_THAT(footingsFound(), ElementsAre(not_in_AOI));
    g_AreaofInterest.set_detection_active(1, false);
    runTick({kInside});
    EXPECT_THAT(footingsFound(), ElementsAre(not_in_AOI)) << "an area that is off holds nothing";
}

TEST_F(Processing, PublishesTheIdsInsideSortedAndJoinedByCommas) {
    DetectionProcessing::publish_detections({12, 3, 7});
    EXPECT_THAT(takeTold(), ElementsAre("data 3,7,12"));
    EXPECT_EQ(g_AOI1State.get_state(), "3,7,12");
    DetectionProcessing::publish_detections({5});
    EXPECT_THAT(takeTold(), ElementsAre("data 5"));
}

TEST_F(Processing, PublishesNothingWhileTheListStaysTheSame) {
    DetectionProcessing::publish_detections({});
    EXPECT_THAT(takeTold(), IsEmpty()) << "nothing inside is what start-up assumes";
    DetectionProcessing::publish_detections({12, 3, 7});
    takeTold();
    DetectionProcessing::publish_detections({7, 12, 3});
    EXPECT_THAT(takeTold(), IsEmpty());
}

TEST_F(Processing, PublishesOneEmptyListWhenTheLastMarkerLeaves) {
    runTick({kInside});
    EXPECT_THAT(takeData(), ElementsAre("data 0"));
    runTick({kInside});
    EXPECT_THAT(takeData(), IsEmpty());
    runTick({kOutside});
    EXPECT_THAT(takeData(), ElementsAre("data "));
    runTick({kOutside});
    EXPECT_THAT(takeData(), IsEmpty());
}

TEST_F(Processing, PublishesAnEmptyListWhenTheTrackerDropsTheLastMarker) {
    runTick({kInside});
    takeTold();
    runTick({});
    EXPECT_THAT(takeData(), IsEmpty()) << "it is tracked for one missed tick";
    runTick({});
    EXPECT_THAT(takeData(), ElementsAre("data "));
}

TEST_F(Processing, PublishesOnlyTheIdsInside) {
    runTick({markerAt(200, 200), kOutside, markerAt(400, 400)});
    EXPECT_THAT(takeData(), ElementsAre("data 0,2"));
}

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
