// What the conversions ask of the library and of the heap. The three library functions are stood in
// for, and malloc and free are wrapped by the linker, so that each of them can be made to fail.

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libyuv.h>

#include "tests/unit/video/logged_lines.h"
#include "tests/unit/video/random_values.h"
#include "video/imgconverter.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::IsEmpty;
using video_test::RandomValues;

/// One call of a library function: the pictures, their strides, and the sizes.
struct Call {
    const std::uint8_t* source = nullptr;
    int sourceStride = 0;
    const std::uint8_t* chroma = nullptr;
    int chromaStride = 0;
    int sourceWidth = 0;
    int sourceHeight = 0;
    std::uint8_t* dest = nullptr;
    int destStride = 0;
    int width = 0;
    int height = 0;
    int filter = -1;
};

struct Library {
    std::vector<Call> toRaw;
    std::vector<Call> toArgb;
    std::vector<Call> scale;
    int toRawResult = 0;
    int toArgbResult = 0;
    int scaleResult = 0;
    bool stopAtScale = false;
};
Library g_library;

/// Thrown by the stand-in for ARGBScale where only the calls are of interest.
struct Stop {};

struct Heap {
    std::size_t failingBytes = 0; ///< an allocation of this many bytes fails
    int failure = ENOMEM;
    std::vector<std::size_t> watchedBytes; ///< allocations of these sizes are counted
    int watched = 0;                       ///< of them, allocated and not freed
    std::vector<void*> blocks;
    std::uint8_t* arena = nullptr; ///< if set, every watched allocation is this one
};
Heap g_heap;

bool isWatched(std::size_t bytes) {
    for (const std::size_t watched : g_heap.watchedBytes) {
        if (watched == bytes) {
            return true;
        }
    }
    return false;
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker makes these
// names.
extern "C" {

void* __real_malloc(std::size_t bytes);
void __real_free(void* block);
void* __wrap_malloc(std::size_t bytes);
void __wrap_free(void* block);

void* __wrap_malloc(std::size_t bytes) {
    if (g_heap.failingBytes != 0 && bytes == g_heap.failingBytes) {
        errno = g_heap.failure;
        return nullptr;
    }
    if (!isWatched(bytes)) {
        return __real_malloc(bytes);
    }
    ++g_heap.watched;
    if (g_heap.arena != nullptr) {
        return g_heap.arena;
    }
    void* const block = __real_malloc(bytes);
    g_heap.blocks.push_back(block);
    return block;
}

void __wrap_free(void* block) {
    if (block != nullptr && block == g_heap.arena) {
        --g_heap.watched;
        return;
    }
    for (void*& known : g_heap.blocks) {
        if (block != nullptr && known == block) {
            known = nullptr;
            --g_heap.watched;
        }
    }
    __real_free(block);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace libyuv {
extern "C" {

int NV12ToRAW(const uint8_t* src_y, int src_stride_y, const uint8_t* src_uv, int src_stride_uv,
              uint8_t* dst_raw, int dst_stride_raw, int width, int height) {
    Call call;
    call.source = src_y;
    call.sourceStride = src_stride_y;
    call.chroma = src_uv;
    call.chromaStride = src_stride_uv;
    call.dest = dst_raw;
    call.destStride = dst_stride_raw;
    call.width = width;
    call.height = height;
    g_library.toRaw.push_back(call);
    return g_library.toRawResult;
}

int NV12ToARGB(const uint8_t* src_y, int src_stride_y, const uint8_t* src_uv, int src_stride_uv,
               uint8_t* dst_argb, int dst_stride_argb, int width, int height) {
    Call call;
    call.source = src_y;
    call.sourceStride = src_stride_y;
    call.chroma = src_uv;
    call.chromaStride = src_stride_uv;
    call.dest = dst_argb;
    call.destStride = dst_stride_argb;
    call.width = width;
    call.height = height;
    g_library.toArgb.push_back(call);
    return g_library.toArgbResult;
}

int ARGBScale(const uint8_t* src_argb, int src_stride_argb, int src_width, int src_height,
              uint8_t* dst_argb, int dst_stride_argb, int dst_width, int dst_height,
              enum FilterMode filtering) {
    Call call;
    call.source = src_argb;
    call.sourceStride = src_stride_argb;
    call.sourceWidth = src_width;
    call.sourceHeight = src_height;
    call.dest = dst_argb;
    call.destStride = dst_stride_argb;
    call.width = dst_width;
    call.height = dst_height;
    call.filter = filtering;
    g_library.scale.push_back(call);
    if (g_library.stopAtScale) {
        throw Stop{};
    }
    if (g_library.scaleResult == 0) {
        for (int i = 0; i < dst_width * dst_height * 4; ++i) {
            dst_argb[i] = static_cast<uint8_t>(i);
        }
    }
    return g_library.scaleResult;
}

} // extern "C"
} // namespace libyuv

namespace {

class ImgConverterCalls : public testing::Test {
  protected:
    ImgConverterCalls() {
        g_library = {};
        g_heap = {};
        video_test::forgetLog();
    }
    ~ImgConverterCalls() override { g_heap = {}; }

    /// 7 x 5 to 3 x 2: the big picture takes 140 bytes, the small one 24.
    bool convert() { return convertCropScaleU8yuvToRGB(m_nv12.data(), 7, 5, m_rgb.data(), 3, 2); }

    void expectFailure(const std::string& text) {
        g_heap.watchedBytes = {140, 24};
        EXPECT_FALSE(convert());
        EXPECT_EQ(g_heap.watched, 0) << "working pictures not freed";
        EXPECT_EQ(m_rgb, Bytes(18, 0xA5)) << "output touched";
        EXPECT_THAT(video_test::loggedLines(),
                    ElementsAre("error: convertCropScaleU8yuvToRGB: " + text));
    }

    Bytes m_nv12 = Bytes(64);
    Bytes m_rgb = Bytes(18, 0xA5);
};

TEST_F(ImgConverterCalls, ConvertsAFullFrameInOneLibraryCallStraightIntoTheCallersBuffer) {
    convertU8yuvToRGBlibYuv(1280, 720, m_nv12.data(), m_rgb.data());
    ASSERT_EQ(g_library.toRaw.size(), 1U);
    const Call& call = g_library.toRaw[0];
    EXPECT_EQ(call.source, m_nv12.data());
    EXPECT_EQ(call.sourceStride, 1280);
    EXPECT_EQ(call.chroma, m_nv12.data() + std::ptrdiff_t{1280} * 720);
    EXPECT_EQ(call.chromaStride, 1280);
    EXPECT_EQ(call.dest, m_rgb.data());
    EXPECT_EQ(call.destStride, 3840);
    EXPECT_EQ(call.width, 1280);
    EXPECT_EQ(call.height, 720);
    EXPECT_THAT(video_test::loggedLines(), IsEmpty());
}

TEST_F(ImgConverterCalls, LogsTheLibrarysResultWhenAFullFrameFails) {
    g_library.toRawResult = -7;
    convertU8yuvToRGBlibYuv(2, 2, m_nv12.data(), m_rgb.data());
    EXPECT_THAT(video_test::loggedLines(),
                ElementsAre("error: convertU8yuvToRGBlibYuv: Failed NV12ToRAW(), result=-7"));
}

TEST_F(ImgConverterCalls, ConvertsTheWholeFrameIntoTheBigPictureBeforeCropping) {
    g_heap.watchedBytes = {140, 24};
    ASSERT_TRUE(convert());
    ASSERT_EQ(g_library.toArgb.size(), 1U);
    const Call& call = g_library.toArgb[0];
    EXPECT_EQ(call.source, m_nv12.data());
    EXPECT_EQ(call.sourceStride, 7);
    EXPECT_EQ(call.chroma, m_nv12.data() + 35);
    EXPECT_EQ(call.chromaStride, 7);
    EXPECT_EQ(call.destStride, 28);
    EXPECT_EQ(call.width, 7);
    EXPECT_EQ(call.height, 5);
    EXPECT_EQ(g_heap.watched, 0) << "working pictures not freed";
    EXPECT_THAT(video_test::loggedLines(), IsEmpty());
}

TEST_F(ImgConverterCalls, ScalesTheCropBilinearIntoTheSmallPictureAndPacksThat) {
    ASSERT_TRUE(convert());
    ASSERT_EQ(g_library.scale.size(), 1U);
    const Call& call = g_library.scale[0];
    // 7 x 5 for an aspect ratio of 1.5: 7 wide and 4.67 high, one leftover row below.
    EXPECT_EQ(call.source, g_library.toArgb[0].dest);
    EXPECT_EQ(call.sourceStride, 28);
    EXPECT_EQ(call.sourceWidth, 7);
    EXPECT_EQ(call.sourceHeight, 4);
    EXPECT_EQ(call.destStride, 12);
    EXPECT_EQ(call.width, 3);
    EXPECT_EQ(call.height, 2);
    EXPECT_EQ(call.filter, 2);
    EXPECT_EQ(call.filter, libyuv::kFilterBilinear);
    EXPECT_EQ(m_rgb, (Bytes{2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 18, 17, 16, 22, 21, 20}));
}

TEST_F(ImgConverterCalls, ReportsTheSystemsReasonWhenTheBigPictureCannotBeAllocated) {
    g_heap.failingBytes = 140;
    expectFailure("Failed allocating big tempARGB buffer: Cannot allocate memory");
    EXPECT_THAT(g_library.toArgb, IsEmpty());
}

TEST_F(ImgConverterCalls, ReportsTheSystemsReasonWhenTheSmallPictureCannotBeAllocated) {
    g_heap.failingBytes = 24;
    g_heap.failure = EAGAIN;
    expectFailure("Failed allocating small tempARGB buffer: Resource temporarily unavailable");
    EXPECT_THAT(g_library.toArgb, IsEmpty());
}

TEST_F(ImgConverterCalls, FreesBothPicturesWhenTheLibraryCannotConvert) {
    g_library.toArgbResult = -3;
    expectFailure("Failed NV12ToARGB(), result=-3");
    EXPECT_THAT(g_library.scale, IsEmpty());
}

TEST_F(ImgConverterCalls, FreesBothPicturesWhenTheLibraryCannotScale) {
    g_library.scaleResult = 1;
    expectFailure("Failed ARGBScale(), result=1");
}

/// The crop that a conversion asks the library to scale.
struct Crop {
    int width;
    int height;
    int left;
    int top;
    bool operator==(const Crop&) const = default;
};

void PrintTo(const Crop& crop, std::ostream* out) {
    *out << crop.width << "x" << crop.height << " at " << crop.left << "," << crop.top;
}

Crop cropOf(unsigned srcWidth, unsigned srcHeight, unsigned dstWidth, unsigned dstHeight) {
    static std::uint8_t arena = 0;
    g_library = {};
    g_library.stopAtScale = true;
    g_heap.watchedBytes = {std::size_t{srcWidth} * srcHeight * 4,
                           std::size_t{dstWidth} * dstHeight * 4};
    g_heap.arena = &arena;
    EXPECT_THROW(static_cast<void>(convertCropScaleU8yuvToRGB(&arena, srcWidth, srcHeight, &arena,
                                                              dstWidth, dstHeight)),
                 Stop);
    EXPECT_EQ(g_heap.watched, 0);
    g_heap = {};
    const Call& call = g_library.scale.at(0);
    const std::ptrdiff_t offset = call.source - g_library.toArgb.at(0).dest;
    const auto rowBytes = static_cast<std::ptrdiff_t>(srcWidth) * 4;
    return {call.sourceWidth, call.sourceHeight, static_cast<int>(offset % rowBytes / 4),
            static_cast<int>(offset / rowBytes)};
}

TEST_F(ImgConverterCalls, CropsTheSidesFor1280x720Into640x480) {
    EXPECT_EQ(cropOf(1280, 720, 640, 480), (Crop{960, 720, 160, 0}));
}

TEST_F(ImgConverterCalls, TakesTheWholeFrameFor1280x720Into320x180) {
    EXPECT_EQ(cropOf(1280, 720, 320, 180), (Crop{1280, 720, 0, 0}));
}

TEST_F(ImgConverterCalls, CropsToASquareFor1280x720Into400x400) {
    EXPECT_EQ(cropOf(1280, 720, 400, 400), (Crop{720, 720, 280, 0}));
}

TEST_F(ImgConverterCalls, CropsAboveAndBelowForARelativelyWiderPicture) {
    EXPECT_EQ(cropOf(640, 480, 1280, 720), (Crop{640, 360, 0, 60}));
}

TEST_F(ImgConverterCalls, LeavesAnOddLeftoverPixelOnTheFarSide) {
    EXPECT_EQ(cropOf(1280, 721, 721, 721),
              (Crop{721, 721, 279, 0}));                            // 559 over: 279 left, 280 right
    EXPECT_EQ(cropOf(640, 481, 640, 360), (Crop{640, 360, 0, 60})); // 121 over: 60 above, 61 below
}

TEST_F(ImgConverterCalls, KeepsTheCropInsideAFrameThatFloatCannotCount) {
    // 16777219 becomes 16777220 in 32-bit float, one pixel beyond the frame.
    EXPECT_EQ(cropOf(16777219, 1, 16777220, 1), (Crop{16777219, 1, 0, 0}));
}

TEST_F(ImgConverterCalls, CropsRandomSizesLikeTheReference) {
    RandomValues random(2208);
    for (int i = 0; i < 200'000; ++i) {
        const int limit = random.coin() ? 4000 : 40;
        const auto srcWidth = random.between(1, limit);
        const auto srcHeight = random.between(1, limit);
        const auto dstWidth = random.between(1, limit);
        const auto dstHeight = random.between(1, limit);
        const float aspect = static_cast<float>(dstWidth) / static_cast<float>(dstHeight);
        float width = static_cast<float>(srcWidth);
        float height = width / aspect;
        if (height > static_cast<float>(srcHeight)) {
            height = static_cast<float>(srcHeight);
            width = height * aspect;
        }
        const int wholeWidth = static_cast<int>(width);
        const int wholeHeight = static_cast<int>(height);
        const Crop expected = {wholeWidth, wholeHeight, (srcWidth - wholeWidth) / 2,
                               (srcHeight - wholeHeight) / 2};
        const Crop crop = cropOf(static_cast<unsigned>(srcWidth), static_cast<unsigned>(srcHeight),
                                 static_cast<unsigned>(dstWidth), static_cast<unsigned>(dstHeight));
        ASSERT_EQ(crop, expected) << srcWidth << "x" << srcHeight << " into " << dstWidth << "x"
                                  << dstHeight;
        // In exact numbers: the crop touches two sides, and its other extent misses the
        // destination's aspect ratio by less than a pixel and float's error.
        ASSERT_TRUE(crop.width == srcWidth || crop.height == srcHeight);
        const double ratio = static_cast<double>(dstWidth) / dstHeight;
        if (crop.height == srcHeight && crop.width < srcWidth) {
            ASSERT_NEAR(crop.width, srcHeight * ratio - 0.5, 0.51);
        }
        if (crop.width == srcWidth && crop.height < srcHeight) {
            ASSERT_NEAR(crop.height, srcWidth / ratio - 0.5, 0.51);
        }
    }
}

} // namespace
