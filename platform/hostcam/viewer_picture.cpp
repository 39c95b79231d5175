#include "platform/hostcam/viewer_picture.h"

#include <algorithm>

// This file is compiled with full optimisation (CMakeLists.txt): its loops are what a frame costs
// beside the JPEG. They are plain, without branches and calls, so that the compiler makes vectors
// of them.

namespace hostcam {
namespace {

/// Pixels that are looked at, and left out, together. Outlines and text leave most blocks empty.
constexpr std::size_t kBlock = 64;

/// Rows begin on a boundary that suits every vector unit.
std::size_t aligned(std::size_t bytes) {
    return (bytes + 63) & ~std::size_t{63};
}

std::uint8_t toByte(std::int32_t value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

// Factors in 16384ths: video range has 219 steps of luminance from 16 up and 224 of colour around
// 128, full range has 255 of both.
constexpr std::int32_t kHalf = 8192;
constexpr int kShift = 14;
constexpr std::int32_t kWidenLuminance = 19077; // 255 / 219
constexpr std::int32_t kWidenColour = 18651;    // 255 / 224

void widenLuminance(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = toByte(((from[i] - 16) * kWidenLuminance + kHalf) >> kShift);
    }
}

std::uint8_t widenedColour(std::uint8_t value) {
    return toByte(128 + (((value - 128) * kWidenColour + kHalf) >> kShift));
}

void widenColour(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        u[i] = widenedColour(uv[2 * i]);
        v[i] = widenedColour(uv[2 * i + 1]);
    }
}

bool isTransparent(const std::uint32_t* pixels, std::size_t count) {
    std::uint32_t any = 0;
    for (std::size_t i = 0; i < count; ++i) {
        any |= pixels[i];
    }
    return any == 0;
}

std::int32_t alphaOf(std::uint32_t pixel) {
    return static_cast<std::int32_t>(pixel >> 24);
}
std::int32_t redOf(std::uint32_t pixel) {
    return static_cast<std::int32_t>(pixel >> 16 & 0xFF);
}
std::int32_t greenOf(std::uint32_t pixel) {
    return static_cast<std::int32_t>(pixel >> 8 & 0xFF);
}
std::int32_t blueOf(std::uint32_t pixel) {
    return static_cast<std::int32_t>(pixel & 0xFF);
}

void blendLuminance(const std::uint32_t* pixels, std::uint8_t* y, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t pixel = pixels[i];
        // The colours hold their alpha already. A division by 255 is (x + x / 256) / 256, rounded.
        const std::int32_t drawn =
            (77 * redOf(pixel) + 150 * greenOf(pixel) + 29 * blueOf(pixel) + 128) >> 8;
        const std::int32_t kept = y[i] * (255 - alphaOf(pixel)) + 128;
        y[i] = toByte(drawn + ((kept + (kept >> 8)) >> 8));
    }
}

/// What four pixels, of two rows, are together: each up to 1020.
struct Sums {
    std::int32_t alpha;
    std::int32_t red;
    std::int32_t green;
    std::int32_t blue;
};

Sums sumsOf(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    return {alphaOf(a) + alphaOf(b) + alphaOf(c) + alphaOf(d),
            redOf(a) + redOf(b) + redOf(c) + redOf(d),
            greenOf(a) + greenOf(b) + greenOf(c) + greenOf(d),
            blueOf(a) + blueOf(b) + blueOf(c) + blueOf(d)};
}

/// @param drawn what is drawn, in 1024ths of a colour step
std::uint8_t blendedColour(std::uint8_t value, std::int32_t alphas, std::int32_t drawn) {
    // In 262144ths: 257 of them are a 1020th.
    const std::int32_t kept = (value - 128) * (1020 - alphas) * 257;
    return toByte(128 + ((kept + drawn * 256 + (1 << 17)) >> 18));
}

/// @param count of U and V, half the pixels of a row
void blendColour(const std::uint32_t* upper, const std::uint32_t* lower, std::uint8_t* u,
                 std::uint8_t* v, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const Sums sums = sumsOf(upper[2 * i], upper[2 * i + 1], lower[2 * i], lower[2 * i + 1]);
        u[i] = blendedColour(u[i], sums.alpha, 128 * sums.blue - 43 * sums.red - 85 * sums.green);
        v[i] = blendedColour(v[i], sums.alpha, 128 * sums.red - 107 * sums.green - 21 * sums.blue);
    }
}

} // namespace

ViewerPicture::ViewerPicture(Size size)
    : m_bytes(aligned(size.width) * size.height + aligned(size.width / 2) * size.height) {
    m_planes.size = size;
    m_planes.yPitch = aligned(size.width);
    m_planes.colourPitch = aligned(size.width / 2);
    m_planes.y = m_bytes.data();
    m_planes.u = m_planes.y + m_planes.yPitch * size.height;
    m_planes.v = m_planes.u + m_planes.colourPitch * (size.height / 2);
}

void widen(const Nv12View& picture, const ViewerPlanes& planes) {
    for (std::size_t row = 0; row < planes.size.height; ++row) {
        widenLuminance(picture.y + row * picture.yPitch, planes.y + row * planes.yPitch,
                       planes.size.width);
    }
    for (std::size_t row = 0; row < planes.size.height / 2; ++row) {
        widenColour(picture.uv + row * picture.uvPitch, planes.u + row * planes.colourPitch,
                    planes.v + row * planes.colourPitch, planes.size.width / 2);
    }
}

void blendOver(const OverlayLayer& layer, const ViewerPlanes& planes) {
    const std::size_t width = planes.size.width;
    for (std::size_t row = 0; row < planes.size.height; row += 2) {
        const std::uint32_t* const upper = layer.pixels.data() + row * width;
        const std::uint32_t* const lower = upper + width;
        std::uint8_t* const y = planes.y + row * planes.yPitch;
        const std::size_t colourRow = row / 2 * planes.colourPitch;
        for (std::size_t left = 0; left < width; left += kBlock) {
            const std::size_t count = std::min(kBlock, width - left);
            if (isTransparent(upper + left, count) && isTransparent(lower + left, count)) {
                continue;
            }
            blendLuminance(upper + left, y + left, count);
            blendLuminance(lower + left, y + planes.yPitch + left, count);
            blendColour(upper + left, lower + left, planes.u + colourRow + left / 2,
                        planes.v + colourRow + left / 2, count / 2);
        }
    }
}

} // namespace hostcam
