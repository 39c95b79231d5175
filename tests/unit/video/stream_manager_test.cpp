// What StreamManager answers without asking the camera.

#include <map>
#include <set>

#include <gtest/gtest.h>

#include "tests/unit/video/random_values.h"
#include "video/StreamManager.h"

namespace {

using video_test::RandomValues;

TEST(Resolution, HoldsAWidthAndAHeightAndWritesThemInThatOrder) {
    const Resolution resolution(1920, 1080);
    EXPECT_EQ(resolution.width, 1920U);
    EXPECT_EQ(resolution.height, 1080U);
    EXPECT_EQ(resolution.to_string(), "1920x1080");
    EXPECT_EQ(Resolution(0, 4294967295).to_string(), "0x4294967295");
}

TEST(Resolution, IsOrderedByWidthThenByHeightUnsigned) {
    EXPECT_TRUE(Resolution(640, 480) < Resolution(1280, 360));
    EXPECT_FALSE(Resolution(1280, 360) < Resolution(640, 480));
    EXPECT_TRUE(Resolution(640, 360) < Resolution(640, 480));
    EXPECT_FALSE(Resolution(640, 480) < Resolution(640, 480));
    EXPECT_TRUE(Resolution(1, 0) < Resolution(2147483648U, 0));
    EXPECT_TRUE(Resolution(1, 1) < Resolution(1, 2147483648U));
}

TEST(AspectRatio, NumbersItsClassesFromZero) {
    EXPECT_EQ(static_cast<int>(ASPECT_RATIO_INVALID), 0);
    EXPECT_EQ(static_cast<int>(FULLSCREEN), 1);
    EXPECT_EQ(static_cast<int>(WIDESCREEN), 2);
    EXPECT_EQ(static_cast<int>(SQUARE), 3);
}

TEST(AspectRatio, PutsTheUsualSizesIntoTheirClasses) {
    EXPECT_EQ(StreamManager::getAspectRatioType(1920, 1080), WIDESCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(1280, 720), WIDESCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(640, 480), FULLSCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(1280, 1024), FULLSCREEN); // 5:4
    EXPECT_EQ(StreamManager::getAspectRatioType(1080, 1080), SQUARE);
    EXPECT_EQ(StreamManager::getAspectRatioType(1920, 1200), ASPECT_RATIO_INVALID); // 16:10
    EXPECT_EQ(StreamManager::getAspectRatioType(1080, 1920), ASPECT_RATIO_INVALID); // portrait
}

TEST(AspectRatio, ComparesAFloatQuotientWithDoubleBoundsWhichDecidesTheBoundsThemselves) {
    // In 32-bit float 1.7, 1.2 and 1.1 lie above the double of that name; 1.8, 1.4 and 0.9 below.
    EXPECT_EQ(StreamManager::getAspectRatioType(17, 10), WIDESCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(18, 10), WIDESCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(12, 10), FULLSCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(14, 10), FULLSCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(9, 10), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(11, 10), ASPECT_RATIO_INVALID);
}

TEST(AspectRatio, ExcludesWhatLiesJustOutsideItsBounds) {
    EXPECT_EQ(StreamManager::getAspectRatioType(1699, 1000), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(1801, 1000), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(1199, 1000), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(1401, 1000), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(899, 1000), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(1101, 1000), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(901, 1000), SQUARE);
    EXPECT_EQ(StreamManager::getAspectRatioType(1099, 1000), SQUARE);
}

TEST(AspectRatio, FindsNoClassForEmptySizes) {
    EXPECT_EQ(StreamManager::getAspectRatioType(0, 0), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(1, 0), ASPECT_RATIO_INVALID);
    EXPECT_EQ(StreamManager::getAspectRatioType(0, 1), ASPECT_RATIO_INVALID);
}

TEST(AspectRatio, DividesSignedNumbers) {
    EXPECT_EQ(StreamManager::getAspectRatioType(-16, -9), WIDESCREEN);
    EXPECT_EQ(StreamManager::getAspectRatioType(-16, 9), ASPECT_RATIO_INVALID);
}

/// The class, by a quotient that is rounded to 32-bit float only once: exact for numbers below
/// 2^24.
AspectRatioType referenceClass(int width, int height) {
    const double ratio = static_cast<float>(static_cast<double>(width) / height);
    if (ratio > 1.7 && ratio < 1.8) {
        return WIDESCREEN;
    }
    if (ratio > 1.2 && ratio < 1.4) {
        return FULLSCREEN;
    }
    return ratio > 0.9 && ratio < 1.1 ? SQUARE : ASPECT_RATIO_INVALID;
}

TEST(AspectRatio, ClassifiesRandomSizesLikeTheReference) {
    RandomValues random(2301);
    std::map<AspectRatioType, int> seen;
    for (int i = 0; i < 500'000; ++i) {
        const int limit = random.coin() ? 8000 : 16'000'000;
        const int height = random.between(1, limit);
        const int width = random.coin() ? random.between(1, limit)
                                        : random.between(height / 2, std::min(2 * height, limit));
        const AspectRatioType expected = referenceClass(width, height);
        ASSERT_EQ(StreamManager::getAspectRatioType(width, height), expected)
            << width << "x" << height;
        ++seen[expected];
    }
    // And the sizes at the bounds and right beside them.
    for (int height = 10; height <= 100'000; height += 10) {
        for (const int tenths : {9, 11, 12, 14, 17, 18}) {
            for (int beside = -1; beside <= 1; ++beside) {
                const int width = height / 10 * tenths + beside;
                ASSERT_EQ(StreamManager::getAspectRatioType(width, height),
                          referenceClass(width, height))
                    << width << "x" << height;
            }
        }
    }
    EXPECT_EQ(seen.size(), 4U);
}

TEST(AspectRatio, IsNamedByExactlyThreeTexts) {
    EXPECT_EQ(StreamManager::convertAspectRatio("16:9"), WIDESCREEN);
    EXPECT_EQ(StreamManager::convertAspectRatio("4:3"), FULLSCREEN);
    EXPECT_EQ(StreamManager::convertAspectRatio("1:1"), SQUARE);
    for (const char* text : {"", "16:9 ", " 16:9", "16x9", "16:10", "9:16", "4:3\n", "3:4", "1:1:1",
                             "widescreen", "WIDESCREEN"}) {
        EXPECT_EQ(StreamManager::convertAspectRatio(text), ASPECT_RATIO_INVALID) << text;
    }
}

TEST(StreamManager, StartsWithoutASizeAndUnrotated) {
    const StreamManager manager;
    EXPECT_EQ(manager.m_StreamWidth, 0U);
    EXPECT_EQ(manager.m_StreamHeight, 0U);
    EXPECT_EQ(manager.m_CameraRotation, 0);
    EXPECT_FALSE(manager.isPortrait());
    EXPECT_EQ(manager.getResolution().to_string(), "0x0");
}

TEST(StreamManager, IsPortraitAtRotations90And270Only) {
    StreamManager manager;
    for (const int rotation : {0, 1, 45, 89, 180, 360, 450, -90, -270}) {
        manager.setCameraRotation(rotation);
        EXPECT_FALSE(manager.isPortrait()) << rotation;
    }
    for (const int rotation : {90, 270}) {
        manager.setCameraRotation(rotation);
        EXPECT_TRUE(manager.isPortrait()) << rotation;
    }
}

TEST(StreamManager, ExchangesTheViewersWidthAndHeightInPortraitButNotTheSensors) {
    StreamManager manager;
    manager.m_StreamWidth = 1920;
    manager.m_StreamHeight = 1080;
    EXPECT_EQ(manager.getResolution().to_string(), "1920x1080");
    manager.setCameraRotation(270);
    EXPECT_EQ(manager.getResolution().to_string(), "1080x1920");
    EXPECT_EQ(manager.getResolutionAxis().to_string(), "1920x1080");
    manager.setCameraRotation(180);
    EXPECT_EQ(manager.getResolution().to_string(), "1920x1080");
}

TEST(StreamManager, SaysThatAStreamContainsAModelOfItsOwnSize) {
    EXPECT_TRUE(StreamManager::doesStreamContainModel(640, 360, 640, 360));
    EXPECT_TRUE(StreamManager::doesStreamContainModel(641, 361, 640, 360));
    EXPECT_FALSE(StreamManager::doesStreamContainModel(639, 1000, 640, 360));
    EXPECT_FALSE(StreamManager::doesStreamContainModel(1000, 359, 640, 360));
}

} // namespace
