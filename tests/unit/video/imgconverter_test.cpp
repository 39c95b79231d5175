// The two library conversions with the real library: colours, sizes, cropping and scaling.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libyuv.h>

#include "tests/unit/video/logged_lines.h"
#include "tests/unit/video/random_values.h"
#include "video/imgconverter.h"

// The module's own packing of ARGB pictures, which its header does not offer.
void ARGBtoRAW(const std::uint8_t* srcARGB, std::uint8_t* dstRGB, unsigned w, unsigned h);

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::IsEmpty;
using video_test::RandomValues;

constexpr std::uint8_t kUntouched = 0xA5;

/// Bytes of an NV12 frame as the library reads it: chroma rounded up to whole pairs and rows.
std::size_t nv12Bytes(unsigned width, unsigned height) {
    return std::size_t{width} * height + std::size_t{width} * ((height + 1) / 2) + 1;
}

class ImgConverter : public testing::Test {
  protected:
    ImgConverter() { video_test::forgetLog(); }
};

Bytes fullSize(unsigned width, unsigned height, Bytes nv12) {
    Bytes rgb(std::size_t{width} * height * 3, kUntouched);
    convertU8yuvToRGBlibYuv(width, height, nv12.data(), rgb.data());
    return rgb;
}

/// Video range BT.601.
void expectBt601(const std::uint8_t* rgb, int y, int u, int v) {
    const double luma = 1.164384 * (y - 16);
    const double expected[3] = {luma + 1.596027 * (v - 128),
                                luma - 0.391762 * (u - 128) - 0.812968 * (v - 128),
                                luma + 2.017232 * (u - 128)};
    for (int channel = 0; channel < 3; ++channel) {
        ASSERT_NEAR(rgb[channel], std::clamp(expected[channel], 0.0, 255.0),
                    3.5) // the library multiplies in small integers
            << "channel " << channel << " of Y " << y << " U " << u << " V " << v;
    }
}

TEST_F(ImgConverter, ConvertsBlackAndWhiteOfTheVideoRangeAtFullSize) {
    EXPECT_EQ(fullSize(2, 2, {16, 16, 16, 16, 128, 128}), Bytes(12, 0));
    EXPECT_EQ(fullSize(2, 2, {235, 235, 235, 235, 128, 128}), Bytes(12, 255));
}

TEST_F(ImgConverter, WritesRedGreenBlueInThatOrderAtFullSize) {
    const Bytes rgb = fullSize(2, 2, {81, 81, 81, 81, 90, 240}); // pure red
    EXPECT_GT(rgb[0], 250);
    EXPECT_LT(rgb[1], 5);
    EXPECT_LT(rgb[2], 5);
}

TEST_F(ImgConverter, ConvertsRandomColoursAtFullSizeLikeTheColourStandard) {
    RandomValues random(2203);
    constexpr std::size_t kWidth = 640;
    constexpr std::size_t kHeight = 200; // 128,000 pixels
    Bytes nv12 = random.bytes(nv12Bytes(kWidth, kHeight));
    const Bytes rgb = fullSize(kWidth, kHeight, nv12);
    for (std::size_t y = 0; y < kHeight; ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            const std::size_t chroma = kWidth * kHeight + y / 2 * kWidth + x / 2 * 2;
            ASSERT_NO_FATAL_FAILURE(expectBt601(&rgb[(y * kWidth + x) * 3], nv12[y * kWidth + x],
                                                nv12[chroma], nv12[chroma + 1]));
        }
    }
}

TEST_F(ImgConverter, ConvertsRandomSizesAtFullSizeAsTheLibraryDoes) {
    RandomValues random(2204);
    for (int i = 0; i < 100'000; ++i) {
        const auto width = random.between(1, 40);
        const auto height = random.between(1, 12);
        const std::size_t pixels =
            static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        Bytes nv12 =
            random.bytes(nv12Bytes(static_cast<unsigned>(width), static_cast<unsigned>(height)));
        Bytes expected(pixels * 3 + 1, kUntouched);
        ASSERT_EQ(libyuv::NV12ToRAW(nv12.data(), width, nv12.data() + pixels, width,
                                    expected.data(), width * 3, width, height),
                  0);
        Bytes rgb(pixels * 3 + 1, kUntouched);
        convertU8yuvToRGBlibYuv(static_cast<unsigned>(width), static_cast<unsigned>(height),
                                nv12.data(), rgb.data());
        ASSERT_EQ(rgb, expected) << width << "x" << height;
    }
    EXPECT_THAT(video_test::loggedLines(), IsEmpty());
}

TEST_F(ImgConverter, LogsTheLibrarysRefusalOfAnEmptyFrameAtFullSize) {
    Bytes nv12(6);
    Bytes rgb(12, kUntouched);
    convertU8yuvToRGBlibYuv(0, 2, nv12.data(), rgb.data());
    EXPECT_THAT(video_test::loggedLines(),
                ElementsAre("error: convertU8yuvToRGBlibYuv: Failed NV12ToRAW(), result=-1"));
    EXPECT_EQ(rgb, Bytes(12, kUntouched));
}

/// Crops, scales and converts step by step, the crop in its own words: the largest centred
/// rectangle of the destination's aspect ratio.
Bytes referenceCropScale(const Bytes& nv12, int srcWidth, int srcHeight, int dstWidth,
                         int dstHeight) {
    const auto srcPixels = static_cast<std::size_t>(srcWidth) * static_cast<std::size_t>(srcHeight);
    const auto dstPixels = static_cast<std::size_t>(dstWidth) * static_cast<std::size_t>(dstHeight);
    Bytes big(srcPixels * 4);
    libyuv::NV12ToARGB(nv12.data(), srcWidth, nv12.data() + srcPixels, srcWidth, big.data(),
                       srcWidth * 4, srcWidth, srcHeight);
    const float aspect = static_cast<float>(dstWidth) / static_cast<float>(dstHeight);
    const float heightAtFullWidth = static_cast<float>(srcWidth) / aspect;
    int width = srcWidth;
    int height = srcHeight;
    if (heightAtFullWidth > static_cast<float>(srcHeight)) {
        width = static_cast<int>(static_cast<float>(srcHeight) * aspect);
    } else {
        height = static_cast<int>(heightAtFullWidth);
    }
    const std::size_t left = static_cast<std::size_t>(srcWidth - width) / 2;
    const std::size_t top = static_cast<std::size_t>(srcHeight - height) / 2;
    const std::size_t start = (top * static_cast<std::size_t>(srcWidth) + left) * 4;
    Bytes small(dstPixels * 4);
    if (libyuv::ARGBScale(big.data() + start, srcWidth * 4, width, height, small.data(),
                          dstWidth * 4, dstWidth, dstHeight, libyuv::kFilterBilinear) != 0) {
        return {};
    }
    Bytes rgb;
    for (std::size_t pixel = 0; pixel < dstPixels; ++pixel) {
        rgb.insert(rgb.end(), {small[pixel * 4 + 2], small[pixel * 4 + 1], small[pixel * 4]});
    }
    return rgb;
}

TEST_F(ImgConverter, CropsScalesAndConvertsRandomSizesLikeTheReference) {
    RandomValues random(2205);
    int failures = 0;
    for (int i = 0; i < 100'000; ++i) {
        const auto srcWidth = random.between(1, 24);
        const auto srcHeight = random.between(1, 16);
        const auto dstWidth = random.between(1, 20);
        const auto dstHeight = random.between(1, 20);
        const Bytes nv12 = random.bytes(
            nv12Bytes(static_cast<unsigned>(srcWidth), static_cast<unsigned>(srcHeight)));
        const std::size_t dstBytes =
            static_cast<std::size_t>(dstWidth) * static_cast<std::size_t>(dstHeight) * 3;
        const Bytes expected = referenceCropScale(nv12, srcWidth, srcHeight, dstWidth, dstHeight);
        if (expected.empty() && ++failures > 200) {
            continue; // enough of the crops that are narrower than a pixel
        }
        Bytes rgb(dstBytes + 1, kUntouched);
        const bool converted = convertCropScaleU8yuvToRGB(
            nv12.data(), static_cast<unsigned>(srcWidth), static_cast<unsigned>(srcHeight),
            rgb.data(), static_cast<unsigned>(dstWidth), static_cast<unsigned>(dstHeight));
        ASSERT_EQ(converted, !expected.empty());
        ASSERT_EQ(rgb.back(), kUntouched) << "written behind the picture";
        rgb.pop_back();
        ASSERT_EQ(rgb, converted ? expected : Bytes(dstBytes, kUntouched))
            << srcWidth << "x" << srcHeight << " to " << dstWidth << "x" << dstHeight;
    }
}

TEST_F(ImgConverter, CropsAndScalesCameraSizesLikeTheReference) {
    RandomValues random(2206);
    const Bytes nv12 = random.bytes(nv12Bytes(1280, 720));
    for (const auto& [width, height] : {std::pair{640, 480}, {320, 180}, {400, 400}, {720, 1280}}) {
        Bytes rgb(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
        ASSERT_TRUE(convertCropScaleU8yuvToRGB(nv12.data(), 1280, 720, rgb.data(),
                                               static_cast<unsigned>(width),
                                               static_cast<unsigned>(height)));
        EXPECT_TRUE(rgb == referenceCropScale(nv12, 1280, 720, width, height)) << width;
    }
    EXPECT_THAT(video_test::loggedLines(), IsEmpty());
}

TEST_F(ImgConverter, CutsTheSidesOfAWideFrameAwayForASquarePicture) {
    // 8 x 4, its middle 4 x 4 white, its sides black: nothing black is left.
    Bytes nv12(nv12Bytes(8, 4), 128);
    for (std::size_t i = 0; i < 32; ++i) {
        nv12[i] = i % 8 >= 2 && i % 8 < 6 ? 235 : 16;
    }
    Bytes rgb(48);
    ASSERT_TRUE(convertCropScaleU8yuvToRGB(nv12.data(), 8, 4, rgb.data(), 4, 4));
    EXPECT_EQ(rgb, Bytes(48, 255));
}

TEST_F(ImgConverter, RefusesAFrameForWhichTheBigWorkingPictureCannotBeAllocated) {
    constexpr unsigned kHuge = std::numeric_limits<unsigned>::max();
    const Bytes nv12(6);
    Bytes rgb(12, kUntouched);
    EXPECT_FALSE(convertCropScaleU8yuvToRGB(nv12.data(), kHuge, kHuge, rgb.data(), 2, 2));
    EXPECT_THAT(video_test::loggedLines(),
                ElementsAre("error: convertCropScaleU8yuvToRGB: Failed allocating big tempARGB "
                            "buffer: Cannot allocate memory"));
    EXPECT_EQ(rgb, Bytes(12, kUntouched));
}

TEST_F(ImgConverter, RefusesAPictureForWhichTheSmallWorkingPictureCannotBeAllocated) {
    constexpr unsigned kHuge = std::numeric_limits<unsigned>::max();
    const Bytes nv12(nv12Bytes(2, 2));
    Bytes rgb(12, kUntouched);
    EXPECT_FALSE(convertCropScaleU8yuvToRGB(nv12.data(), 2, 2, rgb.data(), kHuge, 2));
    EXPECT_FALSE(convertCropScaleU8yuvToRGB(nv12.data(), 2, 2, rgb.data(), 2, kHuge));
    EXPECT_THAT(video_test::loggedLines(),
                testing::Each("error: convertCropScaleU8yuvToRGB: Failed allocating small tempARGB "
                              "buffer: Cannot allocate memory"));
    EXPECT_EQ(rgb, Bytes(12, kUntouched));
}

TEST_F(ImgConverter, RefusesEmptySizesWithTheLibrarysResult) {
    const Bytes nv12(nv12Bytes(2, 2));
    Bytes rgb(12, kUntouched);
    EXPECT_FALSE(convertCropScaleU8yuvToRGB(nv12.data(), 0, 2, rgb.data(), 2, 2));
    EXPECT_FALSE(convertCropScaleU8yuvToRGB(nv12.data(), 2, 2, rgb.data(), 0, 2));
    EXPECT_FALSE(convertCropScaleU8yuvToRGB(nv12.data(), 2, 2, rgb.data(), 2, 0));
    EXPECT_FALSE(convertCropScaleU8yuvToRGB(nv12.data(), 2, 2, rgb.data(), 0, 0));
    EXPECT_THAT(video_test::loggedLines(),
                ElementsAre("error: convertCropScaleU8yuvToRGB: Failed NV12ToARGB(), result=-1",
                            "error: convertCropScaleU8yuvToRGB: Failed ARGBScale(), result=-1",
                            "error: convertCropScaleU8yuvToRGB: Failed ARGBScale(), result=-1",
                            "error: convertCropScaleU8yuvToRGB: Failed ARGBScale(), result=-1"));
    EXPECT_EQ(rgb, Bytes(12, kUntouched));
}

TEST_F(ImgConverter, PacksBlueGreenRedAlphaIntoRedGreenBlueForRandomPictures) {
    RandomValues random(2207);
    for (int i = 0; i < 100'000; ++i) {
        const auto width = random.between<unsigned>(0, 9);
        const auto height = random.between<unsigned>(0, 5);
        const std::size_t pixels = std::size_t{width} * height;
        const Bytes argb = random.bytes(pixels * 4);
        Bytes rgb(pixels * 3 + 1, kUntouched);
        ARGBtoRAW(argb.data(), rgb.data(), width, height);
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            ASSERT_EQ(rgb[pixel * 3], argb[pixel * 4 + 2]);
            ASSERT_EQ(rgb[pixel * 3 + 1], argb[pixel * 4 + 1]);
            ASSERT_EQ(rgb[pixel * 3 + 2], argb[pixel * 4]);
        }
        ASSERT_EQ(rgb.back(), kUntouched) << "written behind the picture";
    }
}

} // namespace
