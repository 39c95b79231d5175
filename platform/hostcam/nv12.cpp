#include "platform/hostcam/nv12.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <libyuv.h>

namespace hostcam {
namespace {

constexpr std::uint8_t kBlackY = 16;
constexpr std::uint8_t kGreyUv = 128;

/// libyuv counts in int; sizes are checked where they enter, so that every one of them fits.
int toInt(std::size_t value) {
    return static_cast<int>(value);
}

/// Pixels of the U and V plane along a side of the picture.
std::uint32_t half(std::uint32_t side) {
    return (side + 1) / 2;
}

void fillRows(std::uint8_t* plane, std::size_t pitch, std::size_t rowBytes, std::size_t rows,
              std::uint8_t value) {
    for (std::size_t row = 0; row < rows; ++row) {
        std::fill_n(plane + row * pitch, rowBytes, value);
    }
}

void fillBlack(const Nv12Target& frame) {
    fillRows(frame.y, frame.yPitch, frame.size.width, frame.size.height, kBlackY);
    fillRows(frame.uv, frame.uvPitch, frame.size.width, frame.size.height / 2, kGreyUv);
}

void copy(const Nv12View& from, const Nv12Target& to) {
    const int width = toInt(from.size.width);
    const int height = toInt(from.size.height);
    libyuv::CopyPlane(from.y, toInt(from.yPitch), to.y, toInt(to.yPitch), width, height);
    if (to.uv != nullptr) {
        libyuv::CopyPlane(from.uv, toInt(from.uvPitch), to.uv, toInt(to.uvPitch), width,
                          height / 2);
    }
}

/// The part of a frame that a picture of a given size covers when it is centred.
Nv12Target centred(const Nv12Target& frame, Size size) {
    const std::size_t left = (frame.size.width - size.width) / 2 & ~std::size_t{1};
    const std::size_t top = (frame.size.height - size.height) / 2 & ~std::size_t{1};
    return {size, frame.y + top * frame.yPitch + left, frame.yPitch,
            frame.uv + top / 2 * frame.uvPitch + left, frame.uvPitch};
}

/// Scales the U and V plane as two planes: libyuv's scaling of pairs darkens them by a level or
/// two.
void scaleUv(const Nv12View& from, const Nv12Target& to) {
    const std::size_t width = half(from.size.width);
    const std::size_t height = half(from.size.height);
    const std::size_t toWidth = to.size.width / 2;
    const std::size_t toHeight = to.size.height / 2;
    std::vector<std::uint8_t> split(2 * width * height);
    std::vector<std::uint8_t> scaled(2 * toWidth * toHeight);
    std::uint8_t* const u = split.data();
    std::uint8_t* const v = u + width * height;
    std::uint8_t* const toU = scaled.data();
    std::uint8_t* const toV = toU + toWidth * toHeight;
    libyuv::SplitUVPlane(from.uv, toInt(from.uvPitch), u, toInt(width), v, toInt(width),
                         toInt(width), toInt(height));
    for (const auto& [plane, result] : {std::pair{u, toU}, {v, toV}}) {
        libyuv::ScalePlane(plane, toInt(width), toInt(width), toInt(height), result, toInt(toWidth),
                           toInt(toWidth), toInt(toHeight), libyuv::kFilterBox);
    }
    libyuv::MergeUVPlane(toU, toInt(toWidth), toV, toInt(toWidth), to.uv, toInt(to.uvPitch),
                         toInt(toWidth), toInt(toHeight));
}

void turn(const Nv12View& from, int rotation, const Nv12Target& to,
          std::vector<std::uint8_t>& scratch) {
    const auto mode = static_cast<libyuv::RotationMode>(rotation);
    const int width = toInt(from.size.width);
    const int height = toInt(from.size.height);
    libyuv::RotatePlane(from.y, toInt(from.yPitch), to.y, toInt(to.yPitch), width, height, mode);
    if (to.uv == nullptr) {
        return;
    }
    const std::size_t turnedWidth = to.size.width / 2;
    const std::size_t turnedHeight = to.size.height / 2;
    const std::size_t plane = turnedWidth * turnedHeight;
    if (scratch.size() < 2 * plane) {
        scratch.resize(2 * plane);
    }
    std::uint8_t* const u = scratch.data();
    std::uint8_t* const v = u + plane;
    libyuv::SplitRotateUV(from.uv, toInt(from.uvPitch), u, toInt(turnedWidth), v,
                          toInt(turnedWidth), width / 2, height / 2, mode);
    libyuv::MergeUVPlane(u, toInt(turnedWidth), v, toInt(turnedWidth), to.uv, toInt(to.uvPitch),
                         toInt(turnedWidth), toInt(turnedHeight));
}

void mirror(const Nv12Target& picture) {
    for (std::size_t row = 0; row < picture.size.height; ++row) {
        std::uint8_t* const y = picture.y + row * picture.yPitch;
        std::reverse(y, y + picture.size.width);
    }
    for (std::size_t row = 0; picture.uv != nullptr && row < picture.size.height / 2; ++row) {
        std::uint8_t* left = picture.uv + row * picture.uvPitch;
        std::uint8_t* right = left + picture.size.width - 2;
        for (; left < right; left += 2, right -= 2) {
            std::swap_ranges(left, left + 2, right);
        }
    }
}

/// What each value of full range becomes, for a plane whose video range has `levels` steps above
/// `lowest`.
std::array<std::uint8_t, 256> narrowingTable(double lowest, double levels) {
    std::array<std::uint8_t, 256> table{};
    for (std::size_t value = 0; value < table.size(); ++value) {
        table[value] = static_cast<std::uint8_t>(
            std::lround(lowest + static_cast<double>(value) * levels / 255.0));
    }
    return table;
}

void replaceRows(std::uint8_t* plane, std::size_t pitch, std::size_t rowBytes, std::size_t rows,
                 const std::array<std::uint8_t, 256>& table) {
    for (std::size_t row = 0; row < rows; ++row) {
        std::uint8_t* const bytes = plane + row * pitch;
        std::transform(bytes, bytes + rowBytes, bytes,
                       [&table](std::uint8_t value) { return table[value]; });
    }
}

} // namespace

std::size_t nv12Bytes(Size size, std::size_t pitch) {
    return pitch * (std::size_t{size.height} + half(size.height));
}

Nv12View viewOf(Size size, const std::uint8_t* nv12, std::size_t pitch) {
    return {size, nv12, pitch, nv12 + pitch * size.height, pitch};
}

Nv12Target targetOf(Size size, std::uint8_t* nv12, std::size_t pitch) {
    return {size, nv12, pitch, nv12 + pitch * size.height, pitch};
}

Size turnedSize(Size size, int rotation) {
    return rotation == 90 || rotation == 270 ? Size{size.height, size.width} : size;
}

Size fittedSize(Size picture, Size frame) {
    if (picture == frame) {
        return frame;
    }
    const double scale = std::min(static_cast<double>(frame.width) / picture.width,
                                  static_cast<double>(frame.height) / picture.height);
    const auto fitted = [scale](std::uint32_t side, std::uint32_t limit) {
        const auto even = static_cast<std::uint32_t>(std::lround(side * scale / 2)) * 2;
        return std::clamp(even, std::uint32_t{2}, limit);
    };
    return {fitted(picture.width, frame.width), fitted(picture.height, frame.height)};
}

void drawFitted(const Nv12View& picture, const Nv12Target& frame) {
    if (picture.size == frame.size) {
        copy(picture, frame);
        return;
    }
    const Size size = fittedSize(picture.size, frame.size);
    if (size != frame.size) {
        fillBlack(frame);
    }
    const Nv12Target part = centred(frame, size);
    libyuv::ScalePlane(picture.y, toInt(picture.yPitch), toInt(picture.size.width),
                       toInt(picture.size.height), part.y, toInt(part.yPitch), toInt(size.width),
                       toInt(size.height), libyuv::kFilterBox);
    scaleUv(picture, part);
}

void drawTurned(const Nv12View& picture, int rotation, bool mirrored, const Nv12Target& turned,
                std::vector<std::uint8_t>& scratch) {
    if (rotation == 0) {
        copy(picture, turned);
    } else {
        turn(picture, rotation, turned, scratch);
    }
    if (mirrored) {
        mirror(turned);
    }
}

void narrowRange(const Nv12Target& picture) {
    static const auto luminance = narrowingTable(16, 219);
    // Around the middle 128 instead of from 16 up: grey stays exactly grey.
    static const auto colour = narrowingTable(128 - 128 * 224.0 / 255.0, 224);
    replaceRows(picture.y, picture.yPitch, picture.size.width, picture.size.height, luminance);
    replaceRows(picture.uv, picture.uvPitch, std::size_t{half(picture.size.width)} * 2,
                half(picture.size.height), colour);
}

} // namespace hostcam
