// The two per-pixel conversions: their colour arithmetic in 32-bit float, and the walk over the
// planes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/video/random_values.h"
#include "video/imgconverter.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using video_test::RandomValues;

/// Bytes that the walk over a frame may read: at odd sizes the last chroma pair lies behind the
/// planes.
std::size_t readableBytes(unsigned width, unsigned height) {
    return std::size_t{width} * height + std::size_t{width} * ((height + 1) / 2) + 1;
}

struct Reference {
    float red;
    float green;
    float blue;
};

Reference referencePixel(const Bytes& nv12, unsigned width, unsigned height, unsigned x,
                         unsigned y) {
    const std::size_t chroma =
        std::size_t{width} * height + std::size_t{y / 2} * width + std::size_t{x / 2} * 2;
    const float luma = static_cast<float>(nv12[std::size_t{y} * width + x]) / 255.0F;
    const float u = static_cast<float>(nv12[chroma]) / 255.0F - 0.5F;
    const float v = static_cast<float>(nv12[chroma + 1]) / 255.0F - 0.5F;
    const float redShare = 1.13983F * v;
    const float greenShareU = 0.39465F * u;
    const float greenShareV = 0.5806F * v;
    const float blueShare = 2.03211F * u;
    float green = luma - greenShareU;
    green = green - greenShareV;
    return {luma + redShare, green, luma + blueShare};
}

/// Truncation to an unsigned number, saturated at zero, of which the low 8 bits stay.
int referenceByte(float channel) {
    const float scaled = channel * 255.0F;
    const auto whole = static_cast<std::int64_t>(scaled);
    return static_cast<int>(std::max<std::int64_t>(whole, 0) % 256);
}

float referenceFloat(float channel, float swing, float center) {
    const float low = center - swing / 2.0F;
    const float high = center + swing / 2.0F;
    const float scaled = channel * swing;
    float value = low + scaled;
    value = value < low ? low : value;
    return value > high ? high : value;
}

/// A 2 x 2 picture of one colour, converted.
Bytes naive(std::uint8_t y, std::uint8_t u, std::uint8_t v) {
    Bytes nv12 = {y, y, y, y, u, v};
    Bytes rgb(12);
    convertU8yuvToRGBnaive(2, 2, nv12.data(), rgb.data());
    return {rgb[0], rgb[1], rgb[2]};
}

std::vector<float> floats(std::uint8_t y, std::uint8_t u, std::uint8_t v, float swing,
                          float center) {
    Bytes nv12 = {y, y, y, y, u, v};
    std::vector<float> rgb(12);
    convertU8yuvToFloat32RGB(2, 2, nv12.data(), rgb.data(), swing, center);
    return {rgb[0], rgb[1], rgb[2]};
}

TEST(PerPixelConversion, FullLumaWithFullVGivesRedOf400WhichIsStoredAs144) {
    EXPECT_EQ(naive(255, 128, 255)[0], 144); // (1 + 1.13983 x 0.5) x 255 = 400.3
}

TEST(PerPixelConversion, DeliberatelyWrapsChannelsAbove255AroundInsteadOfClampingThem) {
    EXPECT_EQ(naive(255, 128, 129)[0], 0);  // 256.7
    EXPECT_EQ(naive(255, 128, 167)[0], 44); // 300.0
}

TEST(PerPixelConversion, HoldsNegativeChannelsAtZero) {
    EXPECT_EQ(naive(0, 0, 0), (Bytes{0, 124, 0}));
    EXPECT_EQ(naive(0, 255, 255)[1], 0);
}

TEST(PerPixelConversion, WritesRedGreenBlueInThatOrder) {
    EXPECT_EQ(naive(76, 85, 255), (Bytes{221, 18, 0}));
}

TEST(PerPixelConversion, SharesOneChromaPairAmongTwoByTwoPixels) {
    // 4 x 2: the left block has no red share, the right one the largest.
    Bytes nv12 = {100, 100, 100, 100, 100, 100, 100, 100, 128, 128, 128, 255};
    Bytes rgb(24);
    convertU8yuvToRGBnaive(4, 2, nv12.data(), rgb.data());
    for (const std::size_t row : {0U, 1U}) {
        const std::uint8_t* red = &rgb[row * 12];
        EXPECT_EQ(red[0], 100);
        EXPECT_EQ(red[3], 100);
        EXPECT_EQ(red[6], 245);
        EXPECT_EQ(red[9], 245);
    }
}

TEST(PerPixelConversion, ConvertsEveryColourLikeTheReference) {
    // All 256 luma values under each chroma pair: blocks of 2 x 2 in a picture of 128 x 2.
    constexpr unsigned kWidth = 128;
    Bytes nv12(readableBytes(kWidth, 2));
    for (unsigned i = 0; i < 256; ++i) {
        nv12[i] = static_cast<std::uint8_t>(i);
    }
    Bytes rgb(std::size_t{kWidth} * 2 * 3);
    std::size_t wrong = 0;
    for (unsigned pair = 0; pair < 65536; ++pair) {
        for (std::size_t i = 256; i + 1 < nv12.size(); i += 2) {
            nv12[i] = static_cast<std::uint8_t>(pair >> 8U);
            nv12[i + 1] = static_cast<std::uint8_t>(pair & 0xFFU);
        }
        convertU8yuvToRGBnaive(kWidth, 2, nv12.data(), rgb.data());
        for (std::size_t i = 0; i < 256; ++i) {
            const auto x = static_cast<unsigned>(i % kWidth);
            const auto y = static_cast<unsigned>(i / kWidth);
            const Reference expected = referencePixel(nv12, kWidth, 2, x, y);
            wrong += rgb[i * 3] != referenceByte(expected.red) ||
                     rgb[i * 3 + 1] != referenceByte(expected.green) ||
                     rgb[i * 3 + 2] != referenceByte(expected.blue);
        }
    }
    EXPECT_EQ(wrong, 0U);
}

TEST(PerPixelConversion, ConvertsRandomFramesOfAnySizeLikeTheReference) {
    RandomValues random(2201);
    for (int i = 0; i < 100'000; ++i) {
        const auto width = random.between<unsigned>(1, 12);
        const auto height = random.between<unsigned>(1, 8);
        Bytes nv12 = random.bytes(readableBytes(width, height));
        Bytes rgb(std::size_t{width} * height * 3 + 1, 0xA5);
        convertU8yuvToRGBnaive(width, height, nv12.data(), rgb.data());
        std::size_t at = 0;
        for (unsigned y = 0; y < height; ++y) {
            for (unsigned x = 0; x < width; ++x, at += 3) {
                const Reference expected = referencePixel(nv12, width, height, x, y);
                ASSERT_EQ(rgb[at], referenceByte(expected.red)) << i;
                ASSERT_EQ(rgb[at + 1], referenceByte(expected.green)) << i;
                ASSERT_EQ(rgb[at + 2], referenceByte(expected.blue)) << i;
            }
        }
        ASSERT_EQ(rgb[at], 0xA5) << "written behind the picture";
    }
}

TEST(FloatConversion, MapsBlackToAboutMinusOneForASwingOfTwoAroundZero) {
    const auto black = floats(0, 128, 128, 2.0F, 0.0F);
    EXPECT_NEAR(black[0], -0.9955F, 0.0001F); // 128 is not the exact middle of a byte
    EXPECT_EQ(black[1], -1.0F);
    EXPECT_NEAR(black[2], -0.9920F, 0.0001F);
}

TEST(FloatConversion, MapsFullToTheUpperEndOfTheSwing) {
    const auto full = floats(255, 128, 128, 1.0F, 0.5F);
    EXPECT_EQ(full[0], 1.0F);
    EXPECT_NEAR(full[1], 0.9981F, 0.0001F);
    EXPECT_EQ(full[2], 1.0F);
}

TEST(FloatConversion, LimitsEveryChannelToTheSwing) {
    EXPECT_EQ(floats(255, 255, 255, 2.0F, 1.0F)[2], 2.0F);
    EXPECT_EQ(floats(0, 0, 0, 2.0F, 1.0F)[0], 0.0F);
}

TEST(FloatConversion, RaisesToTheLowEndBeforeItLowersToTheHighEnd) {
    // With a negative swing the ends change places, and the second limit has the last word.
    EXPECT_EQ(floats(0, 128, 128, -2.0F, 0.0F), (std::vector<float>{-1.0F, -1.0F, -1.0F}));
}

TEST(FloatConversion, ConvertsRandomFramesOfAnySizeLikeTheReference) {
    RandomValues random(2202);
    for (int i = 0; i < 100'000; ++i) {
        const auto width = random.between<unsigned>(1, 12);
        const auto height = random.between<unsigned>(1, 8);
        const float swing = random.coin() ? random.real(-3.0F, 300.0F) : 2.0F;
        const float center = random.coin() ? random.real(-200.0F, 200.0F) : 0.0F;
        Bytes nv12 = random.bytes(readableBytes(width, height));
        std::vector<float> rgb(std::size_t{width} * height * 3 + 1, 12345.0F);
        convertU8yuvToFloat32RGB(width, height, nv12.data(), rgb.data(), swing, center);
        std::size_t at = 0;
        for (unsigned y = 0; y < height; ++y) {
            for (unsigned x = 0; x < width; ++x, at += 3) {
                const Reference expected = referencePixel(nv12, width, height, x, y);
                ASSERT_EQ(rgb[at], referenceFloat(expected.red, swing, center)) << i;
                ASSERT_EQ(rgb[at + 1], referenceFloat(expected.green, swing, center)) << i;
                ASSERT_EQ(rgb[at + 2], referenceFloat(expected.blue, swing, center)) << i;
            }
        }
        ASSERT_EQ(rgb[at], 12345.0F) << "written behind the picture";
    }
}

} // namespace
