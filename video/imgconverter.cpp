#include "video/imgconverter.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>

#include <libyuv.h>

#include "core/Logger.h"

// Drops the alpha byte of a packed picture in the library's ARGB order (B, G, R, A in memory) and
// turns the rest into R, G, B. For this file only; both pictures are w x h pixels without padding.
void ARGBtoRAW(const std::uint8_t* srcARGB, std::uint8_t* dstRGB, unsigned w, unsigned h);

namespace {

constexpr std::size_t kArgbPixelBytes = 4;
constexpr std::size_t kRgbPixelBytes = 3;

struct FreeMemory {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
};

/// A working picture on the plain heap; empty when it could not be allocated.
using WorkingPicture = std::unique_ptr<std::uint8_t[], FreeMemory>;

/// Allocates a picture of 4 bytes a pixel. A picture that no address space holds, or whose rows the
/// library's int cannot measure, fails as one that the heap refuses: with errno set.
WorkingPicture allocateArgbPicture(unsigned width, unsigned height) {
    constexpr std::uint64_t kMaxPixels = PTRDIFF_MAX / kArgbPixelBytes;
    constexpr auto kMaxWidth = static_cast<unsigned>(INT_MAX / kArgbPixelBytes);
    const std::uint64_t pixels = std::uint64_t{width} * height;
    if (width > kMaxWidth || height > INT_MAX || pixels > kMaxPixels) {
        errno = ENOMEM;
        return nullptr;
    }
    const std::size_t bytes = static_cast<std::size_t>(pixels) * kArgbPixelBytes;
    return WorkingPicture(static_cast<std::uint8_t*>(std::malloc(bytes)));
}

/// The system's text for the current error number.
std::string systemErrorText() {
    return std::generic_category().message(errno);
}

void logCropScaleError(const std::string& text) {
    g_Logger.error("convertCropScaleU8yuvToRGB: " + text);
}

struct CropRectangle {
    unsigned offsetX;
    unsigned offsetY;
    unsigned width;
    unsigned height;
};

/// Truncates toward zero. The limit, the source's own extent, only matters where float no longer
/// holds every integer or the aspect ratio is not a number, so that no crop reaches outside the
/// source.
unsigned truncateExtent(float extent, unsigned limit) {
    constexpr float kTwoPower32 = 4294967296.0F;
    if (!(extent > 0.0F)) {
        return 0;
    }
    return extent < kTwoPower32 ? std::min(static_cast<unsigned>(extent), limit) : limit;
}

/// The largest centred rectangle of the destination's aspect ratio inside the source: its full
/// width when the destination is relatively wider, its full height otherwise. An odd leftover pixel
/// falls to the right or to the bottom.
CropRectangle centredCrop(unsigned srcWidth, unsigned srcHeight, unsigned dstWidth,
                          unsigned dstHeight) {
    const float aspect = static_cast<float>(dstWidth) / static_cast<float>(dstHeight);
    auto cropWidth = static_cast<float>(srcWidth);
    float cropHeight = cropWidth / aspect;
    if (cropHeight > static_cast<float>(srcHeight)) {
        cropHeight = static_cast<float>(srcHeight);
        cropWidth = cropHeight * aspect;
    }
    const unsigned width = truncateExtent(cropWidth, srcWidth);
    const unsigned height = truncateExtent(cropHeight, srcHeight);
    return {(srcWidth - width) >> 1U, (srcHeight - height) >> 1U, width, height};
}

/// One pixel's channels in 32-bit float, 0 (black) to 1 (full), beyond on both sides for colours
/// that RGB cannot show.
struct FloatRgb {
    float red;
    float green;
    float blue;
};

FloatRgb combine(std::uint8_t luma, std::uint8_t chromaU, std::uint8_t chromaV) {
    const float y = static_cast<float>(luma) / 255.0F;
    const float u = static_cast<float>(chromaU) / 255.0F - 0.5F;
    const float v = static_cast<float>(chromaV) / 255.0F - 0.5F;
    return {y + 1.13983F * v, y - 0.39465F * u - 0.5806F * v, y + 2.03211F * u};
}

/// Calls visit(FloatRgb) for every pixel of an NV12 frame, row after row.
template <typename Visit>
void visitPixels(unsigned width, unsigned height, const std::uint8_t* nv12, Visit visit) {
    const std::size_t rowBytes = width;
    const std::uint8_t* luma = nv12;
    const std::uint8_t* const chromaPlane = nv12 + rowBytes * height;
    for (unsigned y = 0; y < height; ++y) {
        const std::uint8_t* chroma = chromaPlane + (y >> 1U) * rowBytes;
        for (unsigned x = 0; x < width; ++x) {
            visit(combine(*luma++, chroma[0], chroma[1]));
            if ((x & 1U) != 0) {
                chroma += 2;
            }
        }
    }
}

/// A channel of 0 to 1 as a byte, truncated.
std::uint8_t wrappedByte(float channel) {
    const float scaled = channel * 255.0F;
    const unsigned whole = scaled > 0.0F ? static_cast<unsigned>(scaled) : 0U;
    // Deliberate: no clamping at the top, so 256 becomes 0; only what is below zero is held at
    // zero.
    return static_cast<std::uint8_t>(whole & 0xFFU);
}

} // namespace

void convertU8yuvToRGBlibYuv(unsigned width, unsigned height, std::uint8_t* yuvIn,
                             std::uint8_t* rgbOut) {
    const int stride = static_cast<int>(width);
    const std::uint8_t* const chroma = yuvIn + std::size_t{width} * height;
    const int result =
        libyuv::NV12ToRAW(yuvIn, stride, chroma, stride, rgbOut, static_cast<int>(width * 3U),
                          static_cast<int>(width), static_cast<int>(height));
    if (result != 0) {
        g_Logger.error("convertU8yuvToRGBlibYuv: Failed NV12ToRAW(), result=" +
                       std::to_string(result));
    }
}

bool convertCropScaleU8yuvToRGB(const std::uint8_t* nv12Data, unsigned srcWidth, unsigned srcHeight,
                                std::uint8_t* rgbData, unsigned dstWidth, unsigned dstHeight) {
    const WorkingPicture big = allocateArgbPicture(srcWidth, srcHeight);
    if (big == nullptr) {
        logCropScaleError("Failed allocating big tempARGB buffer: " + systemErrorText());
        return false;
    }
    const WorkingPicture small = allocateArgbPicture(dstWidth, dstHeight);
    if (small == nullptr) {
        logCropScaleError("Failed allocating small tempARGB buffer: " + systemErrorText());
        return false;
    }

    const int srcStride = static_cast<int>(srcWidth);
    const std::size_t bigStride = srcWidth * kArgbPixelBytes;
    // A frame without data is the library's to refuse.
    const std::uint8_t* const chroma =
        nv12Data == nullptr ? nullptr : nv12Data + std::size_t{srcWidth} * srcHeight;
    int result = libyuv::NV12ToARGB(nv12Data, srcStride, chroma, srcStride, big.get(),
                                    static_cast<int>(bigStride), static_cast<int>(srcWidth),
                                    static_cast<int>(srcHeight));
    if (result != 0) {
        logCropScaleError("Failed NV12ToARGB(), result=" + std::to_string(result));
        return false;
    }

    const CropRectangle crop = centredCrop(srcWidth, srcHeight, dstWidth, dstHeight);
    const std::uint8_t* const cropStart =
        big.get() + crop.offsetY * bigStride + crop.offsetX * kArgbPixelBytes;
    result = libyuv::ARGBScale(
        cropStart, static_cast<int>(bigStride), static_cast<int>(crop.width),
        static_cast<int>(crop.height), small.get(), static_cast<int>(dstWidth * kArgbPixelBytes),
        static_cast<int>(dstWidth), static_cast<int>(dstHeight), libyuv::kFilterBilinear);
    if (result != 0) {
        logCropScaleError("Failed ARGBScale(), result=" + std::to_string(result));
        return false;
    }
    ARGBtoRAW(small.get(), rgbData, dstWidth, dstHeight);
    return true;
}

void convertU8yuvToRGBnaive(unsigned width, unsigned height, std::uint8_t* yuvIn,
                            std::uint8_t* rgbOut) {
    visitPixels(width, height, yuvIn, [&rgbOut](const FloatRgb& pixel) {
        *rgbOut++ = wrappedByte(pixel.red);
        *rgbOut++ = wrappedByte(pixel.green);
        *rgbOut++ = wrappedByte(pixel.blue);
    });
}

void convertU8yuvToFloat32RGB(unsigned width, unsigned height, std::uint8_t* inBuffer,
                              float* outBuffer, float outSwing, float outCenter) {
    const float low = outCenter - outSwing / 2.0F;
    const float high = outCenter + outSwing / 2.0F;
    const auto store = [&](float channel) {
        float value = low + channel * outSwing;
        // Two tests in this order, not a clamp: with a negative swing low lies above high.
        if (value < low) {
            value = low;
        }
        if (value > high) {
            value = high;
        }
        *outBuffer++ = value;
    };
    visitPixels(width, height, inBuffer, [&store](const FloatRgb& pixel) {
        store(pixel.red);
        store(pixel.green);
        store(pixel.blue);
    });
}

// A plain loop: the library has a faster one, but the module keeps to three of its functions. From
// 1280 x 720 to 640 x 480 it takes about a quarter of the whole conversion.
void ARGBtoRAW(const std::uint8_t* srcARGB, std::uint8_t* dstRGB, unsigned w, unsigned h) {
    const std::uint8_t* const end = srcARGB + std::size_t{w} * h * kArgbPixelBytes;
    for (; srcARGB != end; srcARGB += kArgbPixelBytes, dstRGB += kRgbPixelBytes) {
        dstRGB[0] = srcARGB[2];
        dstRGB[1] = srcARGB[1];
        dstRGB[2] = srcARGB[0];
    }
}
