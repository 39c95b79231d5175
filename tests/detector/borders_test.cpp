#include <algorithm>
#include <limits>

#include <gtest/gtest.h>

#include "tests/detector/accelerator_support.h"
#include "tests/detector/random_pictures.h"

namespace {

using detector::Contours;
using zerith::BitPicture;

constexpr unsigned kAnyLength = std::numeric_limits<unsigned>::max();

Contours contoursOf(const cv::Mat& mask, unsigned shortest, unsigned longest) {
    BitPicture picture = detector::bitsOf(mask);
    Contours contours;
    zerith::findContours(picture, contours, shortest, longest);
    return contours;
}

/// The picture thresholded at one of the detector's windows, or cut at a grey level.
cv::Mat someMask(const cv::Mat& grey, detector::Dice& dice) {
    constexpr int kSides[] = {3, 13, 23};
    const int choice = dice.in(0, 3);
    return choice == 3 ? cv::Mat(grey > dice.in(0, 254))
                       : detector::stockThreshold(grey, kSides[choice], 7);
}

TEST(Borders, AreTheLibrarysContoursInItsOrder) {
    const std::uint64_t count = detector::picturesToTry(20'000);
    std::size_t compared = 0;
    for (std::uint64_t number = 0; number < count; ++number) {
        const cv::Mat grey = detector::randomPicture(number, 1, 70);
        detector::Dice dice(number);
        const cv::Mat mask = someMask(grey, dice);
        const Contours wanted = detector::stockContours(mask, 0, kAnyLength);
        ASSERT_EQ(contoursOf(mask, 0, kAnyLength), wanted) << "picture " << number;
        compared += wanted.size();
        const unsigned shortest = static_cast<unsigned>(dice.in(1, 60));
        const unsigned longest = shortest + static_cast<unsigned>(dice.in(0, 300));
        ASSERT_EQ(contoursOf(mask, shortest, longest),
                  detector::stockContours(mask, shortest, longest))
            << "picture " << number << ", lengths " << shortest << " to " << longest;
    }
    RecordProperty("contours", std::to_string(compared));
    EXPECT_GT(compared, count);
}

TEST(Borders, AreTheLibrarysContoursOfLargePictures) {
    const std::uint64_t count = std::max<std::uint64_t>(detector::picturesToTry(20'000) / 500, 12);
    for (std::uint64_t number = 0; number < count; ++number) {
        const cv::Mat grey = detector::randomPicture(number, 71, 1200);
        detector::Dice dice(number);
        const cv::Mat mask = someMask(grey, dice);
        const auto side = static_cast<unsigned>(std::max(mask.cols, mask.rows));
        const unsigned shortest = side * 3 / 100;
        ASSERT_EQ(contoursOf(mask, shortest, 4 * side),
                  detector::stockContours(mask, shortest, 4 * side))
            << "large picture " << number;
        ASSERT_EQ(contoursOf(mask, 0, kAnyLength), detector::stockContours(mask, 0, kAnyLength))
            << "large picture " << number;
    }
}

// Every way of setting the pixels of a small picture: each way in which borders begin, pass and
// meet.
TEST(Borders, AreTheLibrarysContoursOfEveryPictureOfFourByFour) {
    for (unsigned way = 0; way < 65'536; ++way) {
        cv::Mat mask(4, 4, CV_8UC1);
        for (int i = 0; i < 16; ++i) {
            mask.at<std::uint8_t>(i / 4, i % 4) = (way >> i & 1U) != 0 ? 255 : 0;
        }
        ASSERT_EQ(contoursOf(mask, 0, kAnyLength), detector::stockContours(mask, 0, kAnyLength))
            << "way " << way;
    }
}

TEST(Borders, AreFollowedAcrossTheWordsOfARow) {
    for (int width = 60; width <= 70; ++width) {
        for (int x = 0; x < width; ++x) {
            cv::Mat mask(5, width, CV_8UC1, cv::Scalar(0));
            cv::rectangle(mask, cv::Rect(x, 1, std::min(6, width - x), 3), cv::Scalar(255), 1);
            ASSERT_EQ(contoursOf(mask, 0, kAnyLength), detector::stockContours(mask, 0, kAnyLength))
                << width << " wide, from " << x;
        }
    }
}

TEST(Borders, LongerThanTheLimitAreFollowedButNotKept) {
    // A comb, whose border is long, and a square.
    cv::Mat mask(400, 400, CV_8UC1, cv::Scalar(0));
    for (int x = 0; x < 300; x += 2) {
        cv::line(mask, cv::Point(x, 0), cv::Point(x, 300), cv::Scalar(255));
    }
    cv::line(mask, cv::Point(0, 0), cv::Point(299, 0), cv::Scalar(255));
    cv::rectangle(mask, cv::Rect(340, 340, 20, 20), cv::Scalar(255), cv::FILLED);
    ASSERT_EQ(contoursOf(mask, 40, 1600).size(), 1U);
    ASSERT_EQ(contoursOf(mask, 40, 1600), detector::stockContours(mask, 40, 1600));
    ASSERT_EQ(contoursOf(mask, 0, kAnyLength), detector::stockContours(mask, 0, kAnyLength));
}

TEST(Specks, TakeNoBorderOutThatCounts) {
    // Every way of filling a box, with nothing around it and as close to the next one as can be.
    for (unsigned side = 1; side <= 4; ++side) {
        unsigned longest = 0;
        for (unsigned way = 0; way < (1U << (side * side)); ++way) {
            cv::Mat mask(static_cast<int>(side), static_cast<int>(side), CV_8UC1);
            for (unsigned i = 0; i < side * side; ++i) {
                mask.at<std::uint8_t>(static_cast<int>(i / side), static_cast<int>(i % side)) =
                    (way >> i & 1U) != 0 ? 255 : 0;
            }
            for (const auto& contour : contoursOf(mask, 0, kAnyLength)) {
                longest = std::max(longest, static_cast<unsigned>(contour.size()));
            }
        }
        EXPECT_LE(longest, zerith::longestBorderInBox(side, side)) << side;
    }
}

TEST(Specks, OfTheirSizesAreAllTakenOut) {
    for (int height = 1; height <= 3; ++height) {
        for (int width = 1; width <= 3; ++width) {
            // Boxes one pixel apart from each other and from the edges.
            cv::Mat mask(41, 131, CV_8UC1, cv::Scalar(0));
            for (int y = 0; y + height <= mask.rows; y += height + 1) {
                for (int x = 0; x + width <= mask.cols; x += width + 1) {
                    cv::rectangle(mask, cv::Rect(x, y, width, height), cv::Scalar(255), cv::FILLED);
                }
            }
            BitPicture picture = detector::bitsOf(mask);
            zerith::removeSpecks(picture, zerith::longestBorderInBox(3, 3) + 1);
            EXPECT_TRUE(detector::same(picture, cv::Mat::zeros(mask.size(), CV_8UC1)))
                << width << 'x' << height;
        }
    }
}

TEST(Specks, StayWhereTheirBordersCount) {
    cv::Mat mask(9, 9, CV_8UC1, cv::Scalar(0));
    cv::rectangle(mask, cv::Rect(3, 3, 3, 3), cv::Scalar(255), cv::FILLED);
    BitPicture picture = detector::bitsOf(mask);
    zerith::removeSpecks(picture, 8);
    EXPECT_TRUE(detector::same(picture, mask));
}

} // namespace
