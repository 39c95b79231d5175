// Whether the markers of a picture are where the scene says that they are.

#include <array>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <numbers>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/scene.h"
#include "tests/unit/platform/scene/scene_pictures.h"

namespace {

using hostcam::gridScript;
using hostcam::Scene;
using hostcam::SceneOptions;
using hostcam::SceneScript;
using hostcam::StillMarker;
using hostcam::stillScript;
using testing::IsEmpty;
using testing_support::compare;
using testing_support::Comparison;
using testing_support::kDictionaries;
using testing_support::markersOf;

const cv::Size kFullHd{1920, 1080};
constexpr unsigned kSeed = 20240611;

std::vector<int> someIds(std::mt19937& random, int count, int of) {
    std::vector<int> ids(static_cast<std::size_t>(of));
    std::iota(ids.begin(), ids.end(), 0);
    std::shuffle(ids.begin(), ids.end(), random);
    ids.resize(static_cast<std::size_t>(count));
    return ids;
}

/// Twelve markers of one size, each turned in its plane by any angle and out of it by up to so
/// much.
SceneScript tumbled(std::mt19937& random, const std::string& dictionary, double pixels,
                    double turn) {
    SceneScript script =
        gridScript(someIds(random, 12, markersOf(dictionary)), pixels / kFullHd.height, turn);
    std::uniform_real_distribution<double> angle(0, 360);
    std::uniform_real_distribution<double> shift(-0.002, 0.002);
    for (hostcam::SceneActor& actor : script.actors) {
        actor.path[0].roll = angle(random);
        actor.path[0].x += shift(random);
        actor.path[0].y += shift(random);
    }
    return script;
}

void report(const std::string& what, const Comparison& result) {
    std::cout << "    " << what << ": " << result.errors.size() << " corners, mean "
              << result.mean() << ", 99 % " << result.quantile(0.99) << ", worst " << result.worst()
              << " pixels\n";
}

/// Pictures with different seeds, sizes of markers, turns and ids.
Comparison tumbledPictures(const std::string& dictionary, const std::vector<double>& sizes,
                           const std::vector<double>& turns, bool wholePixels) {
    std::mt19937 random(kSeed);
    Comparison all;
    std::uint32_t seed = 0;
    for (const double pixels : sizes) {
        for (const double turn : turns) {
            SceneOptions options;
            options.seed = ++seed;
            options.dictionary = dictionary;
            options.wholePixels = wholePixels;
            options.script = tumbled(random, dictionary, pixels, turn);
            all.add(compare(Scene(options), dictionary, seed, kFullHd));
        }
    }
    return all;
}

class SceneCornersTest : public testing::TestWithParam<const char*> {};

TEST_P(SceneCornersTest, TheDetectorFindsEveryCornerWithinOnePixel) {
    const Comparison result = tumbledPictures(GetParam(), {66, 90, 150}, {0, 20, 35}, true);
    report(GetParam(), result);
    EXPECT_THAT(result.missed, IsEmpty());
    EXPECT_THAT(result.phantoms, IsEmpty());
    ASSERT_EQ(result.errors.size(), 9U * 12U * 4U);
    EXPECT_LE(result.worst(), 1.0);
    EXPECT_LE(result.mean(), 0.1);
}

TEST_P(SceneCornersTest, CornersBetweenPixelsAreFoundToHalfAPixelOnAverage) {
    const Comparison result = tumbledPictures(GetParam(), {66, 150}, {0, 30}, false);
    report(GetParam(), result);
    EXPECT_THAT(result.missed, IsEmpty());
    EXPECT_THAT(result.phantoms, IsEmpty());
    ASSERT_EQ(result.errors.size(), 4U * 12U * 4U);
    EXPECT_LE(result.mean(), 0.6);
    EXPECT_LE(result.worst(), 2.0);
}

TEST_P(SceneCornersTest, EveryIdOfTheDictionaryIsFoundUnderItsId) {
    constexpr int kInOnePicture = 50;
    const int markers = markersOf(GetParam());
    for (int first = 0; first < markers; first += kInOnePicture) {
        std::vector<int> ids(kInOnePicture);
        std::iota(ids.begin(), ids.end(), first);
        SceneOptions options;
        options.seed = static_cast<std::uint32_t>(first);
        options.dictionary = GetParam();
        options.script = gridScript(ids);
        const Comparison result = compare(Scene(options), GetParam(), 0, kFullHd);
        EXPECT_THAT(result.missed, IsEmpty()) << "of the ids from " << first;
        EXPECT_THAT(result.phantoms, IsEmpty());
        ASSERT_EQ(result.errors.size(), 4U * kInOnePicture);
        EXPECT_LE(result.worst(), 1.0);
    }
}

INSTANTIATE_TEST_SUITE_P(All, SceneCornersTest, testing::ValuesIn(kDictionaries),
                         [](const auto& instance) {
                             return "Dictionary" + std::string(instance.param);
                         });

TEST(SceneGridTest, NoneFourAndTwentyMarkersAreFoundCleanAndNoisyAtEachUsualSize) {
    for (const cv::Size size : {cv::Size(1280, 720), kFullHd, cv::Size(3840, 2160)}) {
        for (const int count : {0, 4, 20}) {
            for (const bool noisy : {false, true}) {
                SceneOptions options;
                std::vector<int> ids(static_cast<std::size_t>(count));
                std::iota(ids.begin(), ids.end(), 5);
                options.script = gridScript(ids);
                options.noise = noisy ? 6 : 0;
                options.blur = noisy ? 1.0 : 0;
                const Comparison result = compare(Scene(options), "5x5", 3, size);
                EXPECT_THAT(result.missed, IsEmpty()) << size << ", " << count << ", " << noisy;
                EXPECT_THAT(result.phantoms, IsEmpty()) << size << ", " << count << ", " << noisy;
                EXPECT_EQ(result.errors.size(), 4U * ids.size());
            }
        }
    }
}

/// A square of this side about this middle, turned by this angle.
std::array<cv::Point2f, 4> squareAt(cv::Point2d middle, double side, double degrees) {
    std::array<cv::Point2f, 4> corners;
    for (std::size_t i = 0; i < 4; ++i) {
        const double angle = (degrees - 135 + 90 * static_cast<double>(i)) * std::numbers::pi / 180;
        corners.at(i) =
            middle + cv::Point2d(std::cos(angle), std::sin(angle)) * side * std::numbers::sqrt2 / 2;
    }
    return corners;
}

TEST(StillScriptTest, AMarkerHasTheCornersThatWereAskedFor) {
    const std::array<cv::Point2f, 4> skewed{{{700, 300}, {850, 340}, {820, 480}, {690, 420}}};
    SceneOptions options;
    options.script = stillScript({{11, squareAt({400, 400}, 100, 30)}, {12, skewed}});
    options.wholePixels = false;
    const auto markers = Scene(options).markersAt(77, 1920, 1080);
    ASSERT_EQ(markers.size(), 2U);
    EXPECT_EQ(markers[0].id, 11);
    EXPECT_EQ(markers[0].corners, squareAt({400, 400}, 100, 30));
    EXPECT_EQ(markers[1].corners, skewed);
    EXPECT_TRUE(markers[0].whole);
}

TEST(StillScriptTest, WithWholePixelsItsCornersAreRounded) {
    SceneOptions options;
    options.script =
        stillScript({{11, {{{10.4F, 10.6F}, {99.5F, 11}, {100, 99.4F}, {9.6F, 100}}}}});
    const auto markers = Scene(options).markersAt(0, 640, 360);
    ASSERT_EQ(markers.size(), 1U);
    EXPECT_EQ(markers[0].corners,
              (std::array<cv::Point2f, 4>{{{10, 11}, {100, 11}, {100, 99}, {10, 100}}}));
}

TEST(StillScriptTest, TheCornersAreTheMiddlesOfTheOutermostBlackPixels) {
    SceneOptions options;
    options.noise = 0;
    options.blur = 0;
    options.script = stillScript({{0, {{{100, 200}, {199, 200}, {199, 299}, {100, 299}}}}});
    const cv::Mat rgb = testing_support::rgbOf(Scene(options), 0, kFullHd);
    const auto at = [&](cv::Point p) { return static_cast<int>(rgb.at<cv::Vec3b>(p)[1]); };
    // Along the edges the outermost black pixels are on the corners' rows and columns.
    for (const cv::Point p :
         {cv::Point(100, 250), cv::Point(199, 250), cv::Point(150, 200), cv::Point(150, 299)}) {
        EXPECT_LT(at(p), 80) << p;
    }
    for (const cv::Point p :
         {cv::Point(99, 250), cv::Point(200, 250), cv::Point(150, 199), cv::Point(150, 300)}) {
        EXPECT_GT(at(p), 110) << p;
    }
    // A corner is more black than its neighbours outside, though anti-aliasing leaves it some
    // white.
    for (const auto& [corner, outside] : {std::pair(cv::Point(100, 200), cv::Point(-1, -1)),
                                          std::pair(cv::Point(199, 200), cv::Point(1, -1)),
                                          std::pair(cv::Point(199, 299), cv::Point(1, 1)),
                                          std::pair(cv::Point(100, 299), cv::Point(-1, 1))}) {
        EXPECT_LT(at(corner), 115) << corner;
        EXPECT_GT(at(corner + outside), 140) << corner;
        EXPECT_GT(at(corner + cv::Point(outside.x, 0)), 125) << corner;
        EXPECT_GT(at(corner + cv::Point(0, outside.y)), 125) << corner;
    }
}

TEST(StillScriptTest, AMarkerThatTouchesThePicturesEdgeIsNotWhole) {
    SceneOptions options;
    options.script = stillScript({{1, squareAt({50, 300}, 100, 0)},
                                  {2, squareAt({-20, 600}, 100, 0)},
                                  {3, squareAt({-80, 800}, 100, 0)},
                                  {4, squareAt({80, 950}, 100, 0)}});
    const auto markers = Scene(options).markersAt(0, 1920, 1080);
    ASSERT_EQ(markers.size(), 3U) << "the third is out of the picture";
    EXPECT_FALSE(markers[0].whole);
    EXPECT_FALSE(markers[1].whole);
    EXPECT_EQ(markers[2].id, 4);
    EXPECT_TRUE(markers[2].whole);
}

} // namespace
