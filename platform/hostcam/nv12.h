#pragma once

// Operations on pictures in NV12: one plane of luminance, then one of interleaved U and V at half
// the width and height. Stateless; every function may be called from any thread. All pictures that
// these functions write are of video range (black is Y 16, U and V 128).

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/hostcam/config.h"

namespace hostcam {

/// A picture in somebody else's memory, to be read. Odd sizes are allowed: the half sizes of the U
/// and V plane are rounded up.
struct Nv12View {
    Size size;
    const std::uint8_t* y = nullptr;
    std::size_t yPitch = 0; ///< bytes from one row to the next
    const std::uint8_t* uv = nullptr;
    std::size_t uvPitch = 0;
};

/// A picture in somebody else's memory, to be written. Width and height are even.
struct Nv12Target {
    Size size;
    std::uint8_t* y = nullptr;
    std::size_t yPitch = 0;
    std::uint8_t* uv = nullptr;
    std::size_t uvPitch = 0;
};

/// Bytes of a picture in one block: the luminance plane and, right behind it, the U and V plane.
/// @param pitch bytes from one row to the next, the same in both planes
[[nodiscard]] std::size_t nv12Bytes(Size size, std::size_t pitch);

/// The picture that stands in one block, as nv12Bytes() counts it.
[[nodiscard]] Nv12View viewOf(Size size, const std::uint8_t* nv12, std::size_t pitch);
[[nodiscard]] Nv12Target targetOf(Size size, std::uint8_t* nv12, std::size_t pitch);

/// The size of a picture after turning it: width and height change places for 90 and 270 degrees.
[[nodiscard]] Size turnedSize(Size size, int rotation);

/// The largest even size within a frame that keeps a picture's aspect.
[[nodiscard]] Size fittedSize(Size picture, Size frame);

/// Draws a picture into a frame of any size: scaled to fittedSize(), centred, the rest black. A
/// picture of the frame's own size is copied byte by byte.
void drawFitted(const Nv12View& picture, const Nv12Target& frame);

/// Copies a picture turned.
/// @param rotation clockwise, 0, 90, 180 or 270 degrees
/// @param mirrored flips the turned picture left to right
/// @param turned of turnedSize(picture.size, rotation); without a U and V plane (uv null) it gets
/// the
///        luminance alone
/// @param scratch memory that may be used again for the next picture; grows as needed
void drawTurned(const Nv12View& picture, int rotation, bool mirrored, const Nv12Target& turned,
                std::vector<std::uint8_t>& scratch);

/// Changes a picture of full range (Y, U and V from 0 to 255, as photos have it) to video range.
void narrowRange(const Nv12Target& picture);

} // namespace hostcam
