// Pictures of the scene as pictures: repeatable, in any size and memory layout, in the right
// colours.

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/scene.h"
#include "tests/support/program_start.h"
#include "tests/unit/platform/scene/scene_pictures.h"

namespace {

using hostcam::gridScript;
using hostcam::Scene;
using hostcam::SceneOptions;
using hostcam::stillScript;
using testing_support::hashOf;
using testing_support::nv12Of;
using testing_support::rgbOf;

const cv::Size kSmall{640, 360};

SceneOptions withSeed(std::uint32_t seed) {
    SceneOptions options;
    options.seed = seed;
    return options;
}

TEST(ScenePictureTest, TwoScenesOfOneSeedShowTheSameFrames) {
    const Scene one(withSeed(5));
    const Scene other(withSeed(5));
    for (const std::uint64_t frame : {0U, 130U, 375U, 749U}) {
        EXPECT_EQ(nv12Of(one, frame, kSmall), nv12Of(other, frame, kSmall)) << frame;
    }
}

TEST(ScenePictureTest, AFrameDoesNotDependOnTheFramesBefore) {
    const Scene scene(withSeed(5));
    const auto first = nv12Of(scene, 200, kSmall);
    static_cast<void>(nv12Of(scene, 350, kSmall));
    static_cast<void>(nv12Of(scene, 350, {320, 180}));
    EXPECT_EQ(nv12Of(scene, 200, kSmall), first);
}

/// What another process computes: see print_frame_hash.cpp.
std::string hashFromAnotherRun(std::uint32_t seed, std::uint64_t frame, cv::Size size) {
    const testing_support::ProgramStart program({ZM_PRINT_FRAME_HASH, std::to_string(seed),
                                                 std::to_string(frame), std::to_string(size.width),
                                                 std::to_string(size.height)});
    // NOLINTNEXTLINE(cert-env33-c): our own program
    FILE* output = popen(program.shellLine().c_str(), "r");
    if (output == nullptr) {
        return "popen failed";
    }
    std::array<char, 64> line{};
    const char* read = std::fgets(line.data(), line.size(), output);
    const int status = pclose(output);
    return read != nullptr && status == 0 ? line.data() : "the program failed";
}

TEST(ScenePictureTest, EveryRunShowsTheSameFrames) {
    const Scene scene(withSeed(9));
    const std::string here = std::to_string(hashOf(nv12Of(scene, 222, kSmall))) + "\n";
    EXPECT_EQ(hashFromAnotherRun(9, 222, kSmall), here);
    EXPECT_EQ(hashFromAnotherRun(9, 222, kSmall), here);
    EXPECT_NE(hashFromAnotherRun(10, 222, kSmall), here);
}

TEST(ScenePictureTest, EachSeedAndEachFrameIsAPictureOfItsOwn) {
    std::set<std::uint64_t> hashes;
    for (const std::uint32_t seed : {0U, 1U, 2U, 4294967295U}) {
        const Scene scene(withSeed(seed));
        for (std::uint64_t frame = 0; frame < 10; ++frame) {
            hashes.insert(hashOf(nv12Of(scene, frame, {320, 180})));
        }
    }
    EXPECT_EQ(hashes.size(), 40U);
}

TEST(ScenePictureTest, ThreadsThatShareASceneGetTheSameFramesAsOneAlone) {
    const std::vector<cv::Size> sizes{{320, 180}, {256, 144}, {180, 320}};
    constexpr std::uint64_t kFrames = 12;
    const auto at = [](std::uint64_t i) { return i * 61; };
    std::vector<std::uint64_t> expected;
    {
        const Scene scene(withSeed(3));
        for (std::uint64_t i = 0; i < kFrames; ++i) {
            expected.push_back(hashOf(nv12Of(scene, at(i), sizes[i % sizes.size()])));
        }
    }
    const Scene shared(withSeed(3));
    std::vector<std::vector<std::uint64_t>> seen(4);
    std::vector<std::thread> threads;
    for (auto& mine : seen) {
        threads.emplace_back([&] {
            for (std::uint64_t i = 0; i < kFrames; ++i) {
                static_cast<void>(shared.markersAt(at(i), 320, 180));
                mine.push_back(hashOf(nv12Of(shared, at(i), sizes[i % sizes.size()])));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& mine : seen) {
        EXPECT_EQ(mine, expected);
    }
}

TEST(ScenePictureTest, MoreSizesThanAreKeptAreStillRight) {
    const Scene scene(withSeed(3));
    const auto first = nv12Of(scene, 150, {320, 180});
    for (int width = 64; width < 64 + 2 * 12; width += 2) {
        static_cast<void>(nv12Of(scene, 150, {width, 64}));
    }
    EXPECT_EQ(nv12Of(scene, 150, {320, 180}), first);
}

TEST(ScenePictureTest, APitchLargerThanTheWidthLeavesThePaddingAlone) {
    const Scene scene(withSeed(2));
    constexpr std::size_t kWidth = 321; // odd: brightness rows are shorter than colour rows
    constexpr std::size_t kHeight = 181;
    constexpr std::size_t kEven = 322;
    constexpr std::size_t kPitch = 352;
    constexpr std::size_t kRows = kHeight + (kHeight + 1) / 2;
    std::vector<std::uint8_t> padded(kPitch * kRows + 64, 0xA5);
    scene.render(222, kWidth, kHeight, padded.data(), kPitch);
    const auto plain = nv12Of(scene, 222, {kWidth, kHeight});
    for (std::size_t row = 0; row < kRows; ++row) {
        const std::size_t used = row < kHeight ? kWidth : kEven;
        for (std::size_t x = 0; x < kPitch; ++x) {
            const int expected = x < used ? plain[row * kEven + x] : 0xA5;
            ASSERT_EQ(padded[row * kPitch + x], expected) << "row " << row << ", byte " << x;
        }
    }
    for (std::size_t i = kPitch * kRows; i < padded.size(); ++i) {
        ASSERT_EQ(padded[i], 0xA5) << "behind the picture";
    }
}

TEST(ScenePictureTest, UnusualSizesAreDrawn) {
    const Scene scene(withSeed(4));
    for (const cv::Size size :
         {cv::Size(64, 64), cv::Size(65, 64), cv::Size(64, 65), cv::Size(16, 16), cv::Size(97, 101),
          cv::Size(1000, 16), cv::Size(16, 1000), cv::Size(333, 250), cv::Size(360, 640)}) {
        for (const std::uint64_t frame : {0U, 130U, 225U, 255U, 400U, 720U}) {
            const auto bytes = nv12Of(scene, frame, size);
            const std::set<std::uint8_t> levels(bytes.begin(), bytes.end());
            EXPECT_GT(levels.size(), 20U) << size << ", frame " << frame;
        }
        static_cast<void>(scene.markersAt(225, static_cast<unsigned>(size.width),
                                          static_cast<unsigned>(size.height)));
    }
}

TEST(ScenePictureTest, ASizeOrPitchOutOfRangeIsRefused) {
    const Scene scene(withSeed(4));
    std::vector<std::uint8_t> bytes(640UL * 540, 0);
    EXPECT_THROW(scene.render(0, 15, 64, bytes.data(), 64), std::invalid_argument);
    EXPECT_THROW(scene.render(0, 64, 15, bytes.data(), 64), std::invalid_argument);
    EXPECT_THROW(scene.render(0, 16385, 16, bytes.data(), 16386), std::invalid_argument);
    EXPECT_THROW(scene.render(0, 640, 360, bytes.data(), 639), std::invalid_argument);
    EXPECT_THROW(scene.render(0, 65, 64, bytes.data(), 65), std::invalid_argument);
    EXPECT_THROW(scene.render(0, 640, 360, nullptr, 640), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(scene.markersAt(0, 0, 0)), std::invalid_argument);
    EXPECT_EQ(bytes, std::vector<std::uint8_t>(bytes.size(), 0)) << "something was drawn";
}

TEST(SceneColourTest, AGreyOfTheSceneIsAGreyAfterTheConversion) {
    SceneOptions options;
    options.noise = 0;
    options.blur = 0;
    options.script = stillScript({{0, {{{100, 60}, {299, 60}, {299, 259}, {100, 259}}}}});
    const cv::Mat rgb = rgbOf(Scene(options), 0, kSmall);
    // The marker's black border, and the card's paper beside it.
    for (const cv::Point at : {cv::Point(110, 160), cv::Point(200, 70), cv::Point(290, 160),
                               cv::Point(76, 160), cv::Point(320, 160), cv::Point(200, 282)}) {
        const cv::Vec3b pixel = rgb.at<cv::Vec3b>(at);
        EXPECT_NEAR(pixel[0], pixel[1], 2) << at << " is " << pixel;
        EXPECT_NEAR(pixel[2], pixel[1], 2) << at << " is " << pixel;
    }
    EXPECT_LT(rgb.at<cv::Vec3b>(160, 110)[1], 50) << "ink";
    EXPECT_GT(rgb.at<cv::Vec3b>(160, 76)[1], 140) << "paper";
}

TEST(SceneColourTest, WithoutNoiseEverythingIsWithinTheLimitedRange) {
    SceneOptions options;
    options.noise = 0;
    const auto bytes = nv12Of(Scene(options), 200, kSmall);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const bool colour = i >= 640UL * 360;
        ASSERT_GE(bytes[i], 16) << i;
        ASSERT_LE(bytes[i], colour ? 240 : 235) << i;
    }
}

TEST(SceneColourTest, ThePictureIsColouredAndDarkerInItsCorners) {
    SceneOptions options;
    options.noise = 0;
    options.script = {};
    const Scene scene(options);
    const auto bytes = nv12Of(scene, 0, kSmall);
    const std::set<std::uint8_t> colours(bytes.begin() + 640L * 360, bytes.end());
    EXPECT_GT(colours.size(), 30U);
    const cv::Mat brightness(kSmall, CV_8UC1, const_cast<std::uint8_t*>(bytes.data()));
    const double middle = cv::mean(brightness(cv::Rect(240, 220, 160, 60)))[0];
    const double corner = cv::mean(brightness(cv::Rect(560, 320, 80, 40)))[0];
    EXPECT_GT(middle, corner + 10) << "the same floor";
}

/// Standard deviation of the difference of two frames of a still scene, for one frame.
double noiseOf(const SceneOptions& options, bool colour) {
    const Scene scene(options);
    const auto one = nv12Of(scene, 0, kSmall);
    const auto other = nv12Of(scene, 1, kSmall);
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = colour ? 640UL * 360 : 0; i < (colour ? one.size() : 640UL * 360); ++i) {
        const double difference = static_cast<double>(one[i]) - other[i];
        sum += difference * difference;
        ++count;
    }
    return std::sqrt(sum / static_cast<double>(count) / 2);
}

TEST(SceneNoiseTest, EveryFrameHasNoiseOfItsOwnAsStrongAsAskedFor) {
    for (const double deviation : {1.0, 2.0, 5.0, 12.0}) {
        SceneOptions options;
        options.script = gridScript({1, 2, 3});
        options.noise = deviation;
        EXPECT_NEAR(noiseOf(options, false), deviation, 0.08 * deviation);
        const double colour = noiseOf(options, true);
        EXPECT_LT(colour, 0.7 * deviation);
        EXPECT_GT(colour, 0.2 * deviation);
    }
}

TEST(SceneNoiseTest, WithoutNoiseAStillSceneIsTheSameInEveryFrame) {
    SceneOptions options;
    options.script = gridScript({1, 2, 3});
    options.noise = 0;
    const Scene scene(options);
    EXPECT_EQ(nv12Of(scene, 0, kSmall), nv12Of(scene, 123456789, kSmall));
}

TEST(SceneNoiseTest, TheStoryRepeatsButItsNoiseDoesNot) {
    SceneOptions clean;
    clean.noise = 0;
    const Scene still(clean);
    EXPECT_EQ(nv12Of(still, 222, kSmall), nv12Of(still, 222 + 750, kSmall));
    EXPECT_EQ(nv12Of(still, 222, kSmall), nv12Of(still, 222 + 750ULL * 1000000, kSmall));
    const Scene noisy(withSeed(1));
    EXPECT_NE(nv12Of(noisy, 222, kSmall), nv12Of(noisy, 222 + 750, kSmall));
}

TEST(SceneBlurTest, BlurSoftensEdgesInProportionToThePictureSize) {
    // How many pixels an edge of the marker takes from dark to light.
    const auto widthOfEdge = [](double blur, cv::Size size) {
        SceneOptions options;
        options.noise = 0;
        options.blur = blur;
        const auto at = [&](double x, double y) {
            return cv::Point2f(static_cast<float>(x * size.width),
                               static_cast<float>(y * size.width));
        };
        options.script = stillScript({{0, {{at(.2, .2), at(.4, .2), at(.4, .4), at(.2, .4)}}}});
        const cv::Mat rgb = rgbOf(Scene(options), 0, size);
        int between = 0;
        for (int x = 17 * size.width / 100; x < 23 * size.width / 100; ++x) { // paper and ink only
            const int level = rgb.at<cv::Vec3b>(3 * size.width / 10, x)[1];
            between += level > 50 && level < 130 ? 1 : 0;
        }
        return between;
    };
    EXPECT_LE(widthOfEdge(0, {1920, 1080}), 2);
    EXPECT_GE(widthOfEdge(4, {1920, 1080}), 4);
    EXPECT_LT(widthOfEdge(4, {640, 360}), widthOfEdge(4, {1920, 1080}));
}

} // namespace
