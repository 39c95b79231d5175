#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/detector/accelerator_support.h"
#include "tests/detector/random_pictures.h"

namespace {

using zerith::BitPicture;

/// The detector's windows.
std::vector<int> allSides() {
    return {3, 13, 23};
}

/// Thresholds with some windows at once.
std::vector<BitPicture> threshold(const cv::Mat& grey, const std::vector<int>& sides, int constant,
                                  zerith::Form form) {
    std::vector<BitPicture> pictures;
    std::vector<zerith::Thresholding> tasks;
    pictures.reserve(sides.size());
    for (const int side : sides) {
        pictures.emplace_back(grey.cols, grey.rows);
        tasks.push_back({side, constant, &pictures.back()});
    }
    // In two bands, as threads do it.
    const int middle = grey.rows / 3;
    const zerith::GreyPicture picture = detector::greyPicture(grey);
    zerith::thresholdMean(picture, middle, grey.rows, tasks, form);
    zerith::thresholdMean(picture, 0, middle, tasks, form);
    return pictures;
}

void expectSame(const cv::Mat& grey, int constant, const std::string& what,
                const std::vector<int>& sides = allSides()) {
    std::vector<cv::Mat> wanted;
    for (const int side : sides) {
        wanted.push_back(detector::stockThreshold(grey, side, constant));
    }
    for (const zerith::Form form : detector::forms()) {
        const std::vector<BitPicture> found = threshold(grey, sides, constant, form);
        for (std::size_t i = 0; i < sides.size(); ++i) {
            ASSERT_TRUE(detector::same(found[i], wanted[i]))
                << what << ", window " << sides[i] << ", constant " << constant << ", form "
                << static_cast<int>(form);
        }
    }
}

TEST(Threshold, IsTheLibrarysOnRandomPicturesInEveryForm) {
    const std::uint64_t count = detector::picturesToTry(3000);
    for (std::uint64_t number = 0; number < count; ++number) {
        const cv::Mat grey = detector::randomPicture(number, 1, 70);
        detector::Dice dice(number);
        const int constant = dice.oneIn(2) ? 7 : dice.in(1, 128);
        expectSame(grey, constant, "picture " + std::to_string(number));
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(Threshold, IsTheLibrarysOnLargePictures) {
    const std::uint64_t count = std::max<std::uint64_t>(detector::picturesToTry(3000) / 500, 6);
    for (std::uint64_t number = 0; number < count; ++number) {
        expectSame(detector::randomPicture(number, 71, 900), 7,
                   "large picture " + std::to_string(number));
        if (HasFatalFailure()) {
            return;
        }
    }
}

/// Fills a window so that its pixels have a sum, the middle one being less than their mean by some
/// grey levels where there is room.
void fillWithSum(cv::Mat window, int sum, int less) {
    const int area = window.rows * window.cols;
    const int mean = (sum + area / 2) / area;
    // The mean everywhere, then one more or less from the first pixel on.
    window.setTo(mean);
    const int change = sum > mean * area ? 1 : -1;
    for (int i = 0; i < std::abs(sum - mean * area); ++i) {
        window.at<std::uint8_t>(i / window.cols, i % window.cols) =
            static_cast<std::uint8_t>(mean + change);
    }
    // What the middle gives to its neighbour stays in the sum.
    auto& middle = window.at<std::uint8_t>(window.rows / 2, window.cols / 2);
    auto& neighbour = window.at<std::uint8_t>(window.rows / 2, window.cols / 2 + 1);
    const int given = std::min({less, static_cast<int>(middle), 255 - neighbour});
    middle = static_cast<std::uint8_t>(middle - given);
    neighbour = static_cast<std::uint8_t>(neighbour + given);
}

// A window's sum decides alone, so these are all cases there are of a mean that is rounded: rows of
// windows that do not touch, each with a sum of its own, and a middle pixel for which one more or
// less counts.
TEST(Threshold, RoundsTheMeanOfEverySumAsTheLibraryDoes) {
    constexpr int kConstant = 7;
    constexpr int kAcross = 40;
    for (const int side : allSides()) {
        const int last = 255 * side * side;
        for (int sum = 0; sum <= last; sum += kAcross) {
            for (const int less : {kConstant - 1, kConstant, kConstant + 1}) {
                cv::Mat grey(side, side * kAcross, CV_8UC1);
                for (int i = 0; i < kAcross; ++i) {
                    fillWithSum(grey(cv::Rect(i * side, 0, side, side)), std::min(sum + i, last),
                                less);
                }
                expectSame(grey, kConstant, "sums from " + std::to_string(sum), {side});
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST(Threshold, KnowsTheDetectorsWindowsAndWholeConstantsOnly) {
    for (const int side : allSides()) {
        EXPECT_TRUE(zerith::canThreshold(side, 1));
        EXPECT_TRUE(zerith::canThreshold(side, 7));
        EXPECT_TRUE(zerith::canThreshold(side, 128));
        EXPECT_FALSE(zerith::canThreshold(side, 7.5));
        EXPECT_FALSE(zerith::canThreshold(side, 0));
        EXPECT_FALSE(zerith::canThreshold(side, -7));
        EXPECT_FALSE(zerith::canThreshold(side, 129));
        EXPECT_FALSE(zerith::canThreshold(side, 1e300));
        EXPECT_FALSE(zerith::canThreshold(side, std::numeric_limits<double>::quiet_NaN()));
    }
    EXPECT_FALSE(zerith::canThreshold(5, 7));
    EXPECT_FALSE(zerith::canThreshold(33, 7));
}

TEST(Threshold, IsTheLibrarysWithExtremeConstantsInEveryForm) {
    for (const int level : {0, 1, 127, 128, 254, 255}) {
        cv::Mat grey(60, 150, CV_8UC1, cv::Scalar(255 - level));
        cv::rectangle(grey, cv::Rect(40, 20, 70, 20), cv::Scalar(level), cv::FILLED);
        for (const int constant : {1, 2, 127, 128}) {
            expectSame(grey, constant, "level " + std::to_string(level));
        }
    }
}

TEST(ThresholdedPictures, AreTheLibrarysAtAnyWindowAndConstantOnAnyNumberOfThreads) {
    const int threads = cv::getNumThreads();
    for (std::uint64_t number = 0; number < 400; ++number) {
        detector::Dice dice(number);
        const cv::Mat grey = detector::randomPicture(number, 1, number % 10 == 0 ? 700 : 70);
        const int smallest = dice.in(3, 24);
        const int step = dice.in(1, 11);
        const int count = dice.in(1, 4);
        const double constant = dice.oneIn(3) ? dice.between(-20, 40) : dice.in(-10, 140);
        cv::setNumThreads(dice.in(1, 4));
        zerith::ThresholdedPictures pictures(grey, count, smallest, step, constant);
        for (int i = 0; i < count; ++i) {
            const int side = smallest + i * step;
            ASSERT_TRUE(detector::same(
                pictures[i], detector::stockThreshold(grey, side + 1 - side % 2, constant)))
                << "picture " << number << ", window " << side << ", constant " << constant;
        }
    }
    cv::setNumThreads(threads);
}

} // namespace
