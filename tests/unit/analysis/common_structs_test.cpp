#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <random>
#include <type_traits>

#include <gtest/gtest.h>

#include "analysis/common_structs.h"
#include "tests/unit/analysis/markers.h"

using testing_support::markerWith;

namespace {

constexpr float kHuge = 1e30F;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
const float kNotANumber = std::nanf("");
constexpr int kMaxInt = std::numeric_limits<int>::max();
constexpr int kMinInt = std::numeric_limits<int>::min();

} // namespace

TEST(Truncation, GoesTowardZero) {
    EXPECT_EQ(truncateToInt(10.9F), 10);
    EXPECT_EQ(truncateToInt(-10.9F), -10);
    EXPECT_EQ(truncateToInt(0.99F), 0);
    EXPECT_EQ(truncateToInt(-0.99F), 0);
}

TEST(Truncation, EndsAtTheLargestAndSmallestInt) {
    EXPECT_EQ(truncateToInt(2147483520.0F), 2147483520) << "the largest float below 2^31";
    EXPECT_EQ(truncateToInt(2147483648.0F), kMaxInt);
    EXPECT_EQ(truncateToInt(-2147483648.0F), kMinInt);
    EXPECT_EQ(truncateToInt(kHuge), kMaxInt);
    EXPECT_EQ(truncateToInt(-kHuge), kMinInt);
    EXPECT_EQ(truncateToInt(kInfinity), kMaxInt);
    EXPECT_EQ(truncateToInt(-kInfinity), kMinInt);
}

TEST(Truncation, TakesNotANumberForZero) {
    EXPECT_EQ(truncateToInt(kNotANumber), 0);
}

TEST(Centroid, IsTheMiddleOfTheTruncatedBoundingBox) {
    const detection marker =
        markerWith({{10.7F, 20.2F}, {30.9F, 20.2F}, {30.9F, 40.8F}, {10.7F, 40.8F}});
    EXPECT_EQ(marker.get_centroid(), cv::Point2f(20, 30));
}

TEST(Centroid, DropsTheHalfOfAnOddExtent) {
    const detection marker = markerWith({{10, 20}, {31, 20}, {31, 45}, {10, 45}});
    EXPECT_EQ(marker.get_centroid(), cv::Point2f(20, 32));
}

TEST(Centroid, DoesNotDependOnTheOrderOfTheCorners) {
    const detection marker =
        markerWith({{30.9F, 40.8F}, {10.7F, 20.2F}, {10.7F, 40.8F}, {30.9F, 20.2F}});
    EXPECT_EQ(marker.get_centroid(), cv::Point2f(20, 30));
}

TEST(Centroid, KeepsAMaximumOfZeroForNegativeCorners) {
    const detection marker = markerWith({{-30, -41}, {-10, -41}, {-10, -21}, {-30, -21}});
    EXPECT_EQ(marker.get_centroid(), cv::Point2f(-15, -21))
        << "the halves of (-30, 0) and (-41, 0)";
}

TEST(Centroid, TruncatesTheHalfTowardZeroWhenTheMaximumIsBelowTheMinimum) {
    EXPECT_EQ(markerWith({}).get_centroid(), cv::Point2f(50000, 50000));
    const detection beyond = markerWith({{100001, 7}});
    EXPECT_EQ(beyond.get_centroid(), cv::Point2f(100000, 7)) << "the minimum never exceeds 100000";
}

TEST(Centroid, CountsAnyNumberOfCorners) {
    EXPECT_EQ(markerWith({{12, 34}}).get_centroid(), cv::Point2f(12, 34));
    EXPECT_EQ(markerWith({{10, 10}, {20, 60}, {90, 30}, {40, 40}, {50, 50}}).get_centroid(),
              cv::Point2f(50, 35));
}

TEST(Centroid, IsDefinedForCornersBeyondAnyPicture) {
    constexpr int kMiddleX = 100000 + (kMaxInt - 100000) / 2;
    constexpr int kMiddleY = kMinInt / 2;
    EXPECT_EQ(markerWith({{kHuge, -kHuge}}).get_centroid(),
              cv::Point2f(static_cast<float>(kMiddleX), static_cast<float>(kMiddleY)));
    EXPECT_EQ(markerWith({{kInfinity, -kInfinity}, {-kInfinity, kInfinity}}).get_centroid(),
              cv::Point2f(-1, -1))
        << "half of the way from the smallest to the largest int";
}

TEST(Centroid, LeavesOutCoordinatesThatAreNotANumber) {
    EXPECT_EQ(markerWith({{kNotANumber, 10}, {40, kNotANumber}, {20, 30}}).get_centroid(),
              cv::Point2f(30, 20));
}

TEST(Centroid, AgreesWithTheClampedExtremesOfTheTruncatedCorners) {
    constexpr unsigned kSeed = 20240501;
    std::cout << "seed " << kSeed << '\n';
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> cornerCount(0, 6);
    std::uniform_int_distribution<int> range(0, 3);
    const float reach[] = {3, 200, 5000, 250000};
    for (int i = 0; i < 100000; ++i) {
        std::uniform_real_distribution<float> place(-reach[range(random)], reach[range(random)]);
        std::vector<cv::Point2f> corners;
        long lowX = 100000;
        long lowY = 100000;
        long highX = 0;
        long highY = 0;
        for (int n = cornerCount(random); n > 0; --n) {
            const cv::Point2f corner(place(random), place(random));
            corners.push_back(corner);
            lowX = std::min(lowX, std::lround(std::trunc(corner.x)));
            lowY = std::min(lowY, std::lround(std::trunc(corner.y)));
            highX = std::max(highX, std::lround(std::trunc(corner.x)));
            highY = std::max(highY, std::lround(std::trunc(corner.y)));
        }
        // The middle, rounded toward the low end for a box and toward the high end for none.
        const auto middle = [](long low, long high) {
            const double exact = static_cast<double>(low + high) / 2;
            return static_cast<float>(high >= low ? std::floor(exact) : std::ceil(exact));
        };
        ASSERT_EQ(markerWith(corners).get_centroid(),
                  cv::Point2f(middle(lowX, highX), middle(lowY, highY)))
            << "case " << i;
    }
}

TEST(Records, AreValuesThatListsCanMove) {
    EXPECT_TRUE(std::is_copy_constructible_v<detection>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<detection>);
    EXPECT_TRUE(std::is_copy_constructible_v<one_find>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<one_find>);
    EXPECT_TRUE((std::is_same_v<t_detection_list, std::vector<detection>>));
    EXPECT_TRUE((std::is_same_v<t_findings_list, std::vector<one_find>>));
    EXPECT_TRUE((std::is_same_v<t_id2time, std::map<int, timeval>>));
}

TEST(Records, HoldTheirFieldsInTheGivenOrder) {
    const one_find finding{{1, 2}, markerWith({{3, 4}}, 5), 6, in_AOI1_lengthily, 7};
    EXPECT_EQ(finding.centroid, cv::Point2f(1, 2));
    EXPECT_EQ(finding.detect.classId, 5);
    EXPECT_EQ(finding.id, 6);
    EXPECT_EQ(finding.footing, in_AOI1_lengthily);
    EXPECT_EQ(finding.seconds, 7);
    const rectangle box{1, 2, 3, 4};
    EXPECT_EQ(box.X, 1);
    EXPECT_EQ(box.Y, 2);
    EXPECT_EQ(box.W, 3);
    EXPECT_EQ(box.H, 4);
}

TEST(Records, NumberTheFootings) {
    EXPECT_EQ(static_cast<int>(not_in_AOI), 0);
    EXPECT_EQ(static_cast<int>(in_AOI1_briefly), 1);
    EXPECT_EQ(static_cast<int>(in_AOI1_lengthily), 2);
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<footings>, int>));
}

TEST(Records, AFreshFindingIsOutsideTheArea) {
    const one_find finding;
    EXPECT_EQ(finding.id, 0);
    EXPECT_EQ(finding.footing, not_in_AOI);
    EXPECT_EQ(finding.seconds, 0);
}

TEST(Records, TheAreaStateKeepsWhatWasSet) {
    aoi_state state;
    EXPECT_EQ(state.get_state(), "");
    state.set_state("3,7");
    EXPECT_EQ(state.get_state(), "3,7");
    EXPECT_EQ(state.data, "3,7");
}
