#include <cmath>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/tracker.h"
#include "tests/unit/analysis/logged.h"
#include "tests/unit/analysis/markers.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::forgetLog;
using testing_support::logged;
using testing_support::markerAt;
using testing_support::markerWith;

Logger g_Logger("test", "./tracker_test.txt");

namespace {

constexpr float kFar = 1e12F;

std::vector<int> idsOf(const std::map<int, detection>& objects) {
    std::vector<int> ids;
    for (const auto& [id, object] : objects) {
        ids.push_back(id);
    }
    return ids;
}

/// A tracker as start-up sets it up.
class Tracker : public testing::Test {
  protected:
    Tracker() {
        forgetLog();
        EXPECT_EQ(m_tracker.init(1), 0);
    }
    ~Tracker() override { EXPECT_THAT(logged("error"), IsEmpty()); }

    tracker m_tracker;
};

} // namespace

TEST_F(Tracker, GivesTheFirstDetectionsTheIdsZeroAndOneInListOrder) {
    const auto objects = m_tracker.track_detections({markerAt(300, 300, 7), markerAt(20, 20, 3)});
    EXPECT_THAT(idsOf(objects), ElementsAre(0, 1));
    EXPECT_EQ(objects.at(0).classId, 7);
    EXPECT_EQ(objects.at(1).classId, 3);
}

TEST_F(Tracker, ReturnsAnObjectForOneMissedTickAndForgetsItInTheSecond) {
    m_tracker.track_detections({markerAt(100, 100), markerAt(500, 500)});
    const std::vector<detection> onlyOne = {markerAt(100, 100)};
    EXPECT_THAT(idsOf(m_tracker.track_detections(onlyOne)), ElementsAre(0, 1));
    EXPECT_THAT(idsOf(m_tracker.track_detections(onlyOne)), ElementsAre(0));
}

TEST_F(Tracker, ForgetsAllAfterTwoEmptyTicksInARow) {
    m_tracker.track_detections({markerAt(100, 100), markerAt(500, 500)});
    EXPECT_THAT(idsOf(m_tracker.track_detections({})), ElementsAre(0, 1));
    EXPECT_THAT(idsOf(m_tracker.track_detections({})), IsEmpty());
}

TEST_F(Tracker, CountsOnlyMissedTicksInARow) {
    const std::vector<detection> marker = {markerAt(100, 100)};
    m_tracker.track_detections(marker);
    for (int i = 0; i < 5; ++i) {
        EXPECT_THAT(idsOf(m_tracker.track_detections({})), ElementsAre(0));
        EXPECT_THAT(idsOf(m_tracker.track_detections(marker)), ElementsAre(0));
    }
}

TEST_F(Tracker, MatchesADetectionFiveHundredPixelsAway) {
    m_tracker.track_detections({markerAt(100, 100)});
    const auto objects = m_tracker.track_detections({markerAt(600, 100)});
    EXPECT_THAT(idsOf(objects), ElementsAre(0));
    EXPECT_EQ(objects.at(0).get_centroid(), cv::Point2f(600, 100));
}

TEST_F(Tracker, GivesASingleDetectionToTheNearerObject) {
    m_tracker.track_detections({markerAt(100, 100), markerAt(160, 100)});
    const auto objects = m_tracker.track_detections({markerAt(150, 100)});
    EXPECT_EQ(objects.at(0).get_centroid(), cv::Point2f(100, 100)) << "unmatched, still returned";
    EXPECT_EQ(objects.at(1).get_centroid(), cv::Point2f(150, 100));
    EXPECT_THAT(idsOf(m_tracker.track_detections({markerAt(150, 100)})), ElementsAre(1));
}

TEST_F(Tracker, GivesASingleDetectionToTheLowerIdWhenBothAreEquallyNear) {
    m_tracker.track_detections({markerAt(100, 100), markerAt(140, 100)});
    const auto objects = m_tracker.track_detections({markerAt(120, 100)});
    EXPECT_EQ(objects.at(0).get_centroid(), cv::Point2f(120, 100));
    EXPECT_EQ(objects.at(1).get_centroid(), cv::Point2f(140, 100));
}

TEST_F(Tracker, UpdatesAnObjectWithTheNearerDetectionAndRegistersTheOther) {
    m_tracker.track_detections({markerAt(100, 100)});
    const auto objects = m_tracker.track_detections({markerAt(180, 100, 8), markerAt(110, 100, 9)});
    EXPECT_THAT(idsOf(objects), ElementsAre(0, 1));
    EXPECT_EQ(objects.at(0).classId, 9);
    EXPECT_EQ(objects.at(1).classId, 8);
}

TEST_F(Tracker, TakesTheFirstOfTwoDetectionsThatAreEquallyNear) {
    m_tracker.track_detections({markerAt(100, 100)});
    const auto objects = m_tracker.track_detections({markerAt(110, 100, 8), markerAt(90, 100, 9)});
    EXPECT_EQ(objects.at(0).classId, 8);
    EXPECT_EQ(objects.at(1).classId, 9);
}

TEST_F(Tracker, LeavesAnObjectUnmatchedWhenItsNearestDetectionIsTaken) {
    // Both objects choose the detection at 110; the other one, though free, is not their choice.
    m_tracker.track_detections({markerAt(100, 100), markerAt(130, 100)});
    const auto objects = m_tracker.track_detections({markerAt(110, 100, 8), markerAt(190, 100, 9)});
    EXPECT_THAT(idsOf(objects), ElementsAre(0, 1, 2));
    EXPECT_EQ(objects.at(0).classId, 8);
    EXPECT_EQ(objects.at(1).get_centroid(), cv::Point2f(130, 100));
    EXPECT_EQ(objects.at(2).classId, 9);
}

TEST_F(Tracker, ServesFarObjectsAfterNearOnesAndLetsThemShareTheFirstColumn) {
    // Both detections are far from object 0, so they are equally far and it chooses the first,
    // which object 1 has taken before: the truly nearer second one becomes a new object.
    m_tracker.track_detections({markerAt(100, 100), markerAt(900, 100)});
    const auto objects = m_tracker.track_detections({markerAt(905, 100, 8), markerAt(250, 100, 9)});
    EXPECT_EQ(objects.at(1).classId, 8);
    EXPECT_EQ(objects.at(2).classId, 9);
    EXPECT_EQ(objects.at(0).get_centroid(), cv::Point2f(100, 100));
}

TEST_F(Tracker, RegistersAndForgetsInTheSameTick) {
    m_tracker.track_detections({markerAt(100, 100), markerAt(500, 500)});
    m_tracker.track_detections({markerAt(100, 100)});
    const auto objects = m_tracker.track_detections({markerAt(100, 100), markerAt(120, 100)});
    EXPECT_THAT(idsOf(objects), ElementsAre(0, 2)) << "object 1 went, the new one came";
}

TEST_F(Tracker, NeverUsesAnIdAgain) {
    for (int i = 0; i < 10; ++i) {
        EXPECT_THAT(idsOf(m_tracker.track_detections({markerAt(100, 100)})), ElementsAre(i));
        m_tracker.track_detections({});
        EXPECT_THAT(idsOf(m_tracker.track_detections({})), IsEmpty());
    }
}

TEST_F(Tracker, HandsOutACopyThatLaterTicksDoNotChange) {
    const auto before = m_tracker.track_detections({markerAt(100, 100, 5)});
    m_tracker.track_detections({markerAt(110, 100, 6)});
    EXPECT_EQ(before.at(0).classId, 5);
}

TEST_F(Tracker, ForgetsAtOnceWhenNoTickMayBeMissed) {
    m_tracker.set_max_disappeared(0);
    m_tracker.track_detections({markerAt(100, 100)});
    EXPECT_THAT(idsOf(m_tracker.track_detections({})), IsEmpty());
}

TEST_F(Tracker, KeepsItsObjectsAndRestartsItsIdsAtASecondInit) {
    m_tracker.track_detections({markerAt(100, 100, 5), markerAt(500, 500, 6)});
    EXPECT_EQ(m_tracker.init(3), 0);
    EXPECT_THAT(m_tracker.list_object_keys(), ElementsAre(0, 1));
    EXPECT_EQ(m_tracker.register_one(markerAt(10, 10, 7)), 0);
    EXPECT_THAT(m_tracker.list_object_keys(), ElementsAre(0, 1));
    EXPECT_EQ(m_tracker.list_object_values()[0].classId, 7) << "a living entry was taken over";
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m_tracker.track_detections({}).size(), 2U);
    }
    EXPECT_THAT(m_tracker.track_detections({}), IsEmpty());
}

TEST_F(Tracker, ListsKeysAndValuesAscendingById) {
    EXPECT_EQ(m_tracker.register_new_objects({markerAt(9, 9, 3), markerAt(1, 1, 1)}), 0);
    EXPECT_EQ(m_tracker.register_one(markerAt(5, 5, 2)), 0);
    EXPECT_THAT(m_tracker.list_object_keys(), ElementsAre(0, 1, 2));
    const std::vector<detection> values = m_tracker.list_object_values();
    ASSERT_EQ(values.size(), 3U);
    EXPECT_EQ(values[0].classId, 3);
    EXPECT_EQ(values[1].classId, 1);
    EXPECT_EQ(values[2].classId, 2);
}

TEST_F(Tracker, ForgetsOnRequestAndIgnoresAnUnknownId) {
    m_tracker.register_new_objects({markerAt(9, 9), markerAt(1, 1)});
    EXPECT_EQ(m_tracker.de_register_one(0), 0);
    EXPECT_EQ(m_tracker.de_register_one(17), 0);
    EXPECT_THAT(m_tracker.list_object_keys(), ElementsAre(1));
    EXPECT_EQ(m_tracker.no_detections(), 0);
    EXPECT_THAT(m_tracker.list_object_keys(), ElementsAre(1));
}

TEST_F(Tracker, AgesEveryObjectWhenOneOfThemGoes) {
    m_tracker.track_detections({markerAt(100, 100), markerAt(500, 500), markerAt(900, 900)});
    m_tracker.track_detections({markerAt(500, 500)});
    m_tracker.no_detections(); // 0 and 2 go, in the middle of the walk 1 stays
    EXPECT_THAT(m_tracker.list_object_keys(), ElementsAre(1));
}

TEST_F(Tracker, MeasuresTheDistanceOfTruncatedCentroids) {
    EXPECT_EQ(m_tracker.compute_distance(markerAt(100, 100), markerAt(103, 104)), 5.0F);
    const detection odd = markerWith({{10.9F, 10.9F}, {13.9F, 13.9F}}); // centroid (11, 11)
    EXPECT_EQ(m_tracker.compute_distance(odd, markerAt(11, 14, 0, 2)), 3.0F);
}

TEST_F(Tracker, TakesADetectionAtExactlyTheFarDistanceForNear) {
    EXPECT_EQ(m_tracker.compute_distance(markerAt(100, 100), markerAt(200, 100)), 100.0F);
    EXPECT_EQ(m_tracker.compute_distance(markerAt(100, 100), markerAt(201, 100)), kFar);
    EXPECT_EQ(m_tracker.compute_distance(markerAt(100, 100), markerAt(200, 110)), kFar)
        << "just above 100";
    m_tracker.set_max_distance(4);
    EXPECT_EQ(m_tracker.compute_distance(markerAt(100, 100), markerAt(104, 100)), 4.0F);
    EXPECT_EQ(m_tracker.compute_distance(markerAt(100, 100), markerAt(103, 103)), kFar);
}

TEST_F(Tracker, MeasuresCornersBeyondAnyPictureWithoutOverflow) {
    m_tracker.set_max_distance(std::numeric_limits<int>::max());
    const detection low = markerWith({{-1e30F, -1e30F}});
    const detection high = markerWith({{1e30F, 1e30F}});
    EXPECT_EQ(m_tracker.compute_distance(low, high), kFar);
    EXPECT_EQ(m_tracker.compute_distance(markerWith({{0, 50000}}), markerWith({{60000, 130000}})),
              static_cast<float>(std::sqrt(60000.0 * 60000.0 + 65000.0 * 65000.0)))
        << "(60000, 115000) lies 60000 and 65000 pixels away, whose squares need more than an int";
}

TEST_F(Tracker, LaysTheDistancesOutWithTheFirstListAsRows) {
    const std::vector<std::vector<float>> distances = m_tracker.compute_all_distances(
        {markerAt(100, 100), markerAt(200, 100)},
        {markerAt(100, 100), markerAt(150, 100), markerAt(900, 100)});
    EXPECT_THAT(distances, ElementsAre(ElementsAre(0, 50, kFar), ElementsAre(100, 50, kFar)));
}

TEST_F(Tracker, OrdersRowsByTheirSmallestValueAndEqualOnesByIndex) {
    EXPECT_THAT(m_tracker.min_argsort({{9, 5}, {3, 8}, {5, 7}, {4, 3}}), ElementsAre(1, 3, 0, 2));
    EXPECT_THAT(m_tracker.min_argsort({}), IsEmpty());
    EXPECT_THAT(m_tracker.min_argsort({{}, {kFar}}), ElementsAre(1, 0)) << "no columns: last";
}

TEST_F(Tracker, ChoosesTheFirstSmallestColumnForEachRowInTheGivenOrder) {
    const std::vector<std::vector<float>> distances = {{9, 5, 5}, {3, 8, 3}, {7, 6, 2}};
    EXPECT_THAT(m_tracker.argmin_rows(distances, {2, 0, 1}), ElementsAre(2, 1, 0));
    EXPECT_THAT(m_tracker.argmin_rows(distances, {1, 1}), ElementsAre(0, 0));
    EXPECT_THAT(m_tracker.argmin_rows(distances, {}), IsEmpty());
}

TEST(AFreshTracker, TracksNothingAndCountsOneHundredPixelsAsFar) {
    tracker fresh;
    EXPECT_THAT(fresh.list_object_keys(), IsEmpty());
    EXPECT_THAT(fresh.list_object_values(), IsEmpty());
    EXPECT_EQ(fresh.compute_distance(markerAt(0, 50), markerAt(100, 50)), 100.0F);
    EXPECT_EQ(fresh.compute_distance(markerAt(0, 50), markerAt(101, 50)), kFar);
}
