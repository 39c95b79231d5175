#pragma once

// Turns camera frames (NV12) into the packed RGB pictures that the analysis works on: the whole
// frame in one library call, or the centre of it cropped to another aspect ratio and scaled. The
// frame source calls the two library conversions, on the main loop's thread. The two per-pixel
// conversions state the colour arithmetic in plain float; nothing in the application calls them.
//
// Formats. NV12: a plane of width x height luma bytes, then at once the chroma plane, height / 2
// rows of width bytes, one U, V pair for each 2 x 2 block of pixels. RGB: 3 bytes a pixel, R, G, B,
// rows top to bottom, no padding. All sizes are in pixels, width first. Nothing here keeps state,
// so every function may be called from any thread; the buffers are borrowed for the call and must
// not overlap.

#include <cstdint>

/// Converts a whole frame to RGB with libyuv (BT.601, video range). Allocates nothing.
/// @param width, height size of the frame; what happens at odd sizes is the library's
/// @param yuvIn the NV12 frame
/// @param rgbOut receives width x height x 3 bytes. A failure is only logged, "Failed NV12ToRAW(),
///   result=" and the library's number, and leaves here whatever the library left.
void convertU8yuvToRGBlibYuv(unsigned width, unsigned height, std::uint8_t* yuvIn,
                             std::uint8_t* rgbOut);

/// Cuts the largest centred rectangle of the destination's aspect ratio out of a frame, scales it
/// (bilinear) and converts it to RGB. Costs two heap pictures of 4 bytes a pixel, one of the
/// source's and one of the destination's size, at every call.
/// @param nv12Data the NV12 frame of srcWidth x srcHeight pixels
/// @param rgbData receives dstWidth x dstHeight x 3 bytes; untouched on failure
/// @returns false when a picture cannot be allocated ("Failed allocating big tempARGB buffer: " or
///   "... small ...", with the system's reason) or the library refuses ("Failed NV12ToARGB(),
///   result=", "Failed ARGBScale(), result=", with its number); all logged at error level
[[nodiscard]] bool convertCropScaleU8yuvToRGB(const std::uint8_t* nv12Data, unsigned srcWidth,
                                              unsigned srcHeight, std::uint8_t* rgbData,
                                              unsigned dstWidth, unsigned dstHeight);

/// Converts a whole frame to RGB pixel by pixel in 32-bit float (full range). A channel above 255
/// wraps around: its low 8 bits are stored.
/// @param width, height even; at an odd size the last chroma pair lies beyond width x height x 3 /
/// 2
///   bytes, and yuvIn must reach that far
/// @param rgbOut receives width x height x 3 bytes
void convertU8yuvToRGBnaive(unsigned width, unsigned height, std::uint8_t* yuvIn,
                            std::uint8_t* rgbOut);

/// Converts a whole frame to three floats a pixel, R, G, B, each between outCenter - outSwing / 2
/// (black) and outCenter + outSwing / 2 (full).
/// @param width, height as for convertU8yuvToRGBnaive()
/// @param outBuffer receives width x height x 3 floats
void convertU8yuvToFloat32RGB(unsigned width, unsigned height, std::uint8_t* inBuffer,
                              float* outBuffer, float outSwing, float outCenter);
