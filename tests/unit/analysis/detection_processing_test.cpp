#include <cstdint>

#include "analysis/area_of_interest.h"
#include "analysis/detection_processing.h"
#include "tests/unit/analysis/processing_fixture.h"

using namespace testing_support;
using testing::ElementsAre;
using testing::IsEmpty;

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
    EXPECT_TRUE(g_searchedWithoutOldDetections) << "a search that throws must leave none behind";
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
