#pragma once

// The colours of the overlay, by index, and the checkered images of four of them and of grey.
// Values only: OverlayManager::usePaletteColor() and getCheckeredPattern() put them into cairo.

#include <array>
#include <cstddef>
#include <cstdint>

/// A colour with channels from 0 to 1.
struct PaletteColor {
    double red;
    double green;
    double blue;
};

/// The indices of the palette, as shapes carry them in their colorIndex.
enum PaletteIndex : int {
    kBlack = 0,
    kRed = 1,
    kGreen = 2,
    kBlue = 3,
    kYellow = 4,
    kWhite = 5,
    kOrange = 6,
    kSteelBlue = 7,
    kGrey = 8,
};

inline constexpr std::array<PaletteColor, 9> kPalette = {{
    {0.0, 0.0, 0.0},
    {1.0, 0.0, 0.0},
    {0.0, 1.0, 0.0},
    {0.0, 0.0, 1.0},
    {1.0, 1.0, 0.0},
    {1.0, 1.0, 1.0},
    {1.0, 0.6, 0.0},
    {70.0 / 255, 119.0 / 255, 207.0 / 255},
    {150.0 / 255, 150.0 / 255, 150.0 / 255},
}};

/// An image of 8 x 8 opaque pixels, row by row without padding, each one native-endian 0xAARRGGBB
/// word as cairo's ARGB32 format has it.
inline constexpr int kCheckerboardSize = 8;
using CheckerboardData = std::array<std::uint32_t, kCheckerboardSize * kCheckerboardSize>;

/// Four fields of 4 x 4 pixels: the colour at the top left and the bottom right, white otherwise.
constexpr CheckerboardData makeCheckerboard(std::uint32_t color) {
    constexpr std::uint32_t kOpaqueWhite = 0xFFFFFFFF;
    CheckerboardData pixels{};
    for (std::size_t y = 0; y < kCheckerboardSize; ++y) {
        for (std::size_t x = 0; x < kCheckerboardSize; ++x) {
            pixels[y * kCheckerboardSize + x] = (y < 4) == (x < 4) ? color : kOpaqueWhite;
        }
    }
    return pixels;
}

inline constexpr CheckerboardData redCheckerboardPatternData = makeCheckerboard(0xFFFF0000);
inline constexpr CheckerboardData greenCheckerboardPatternData = makeCheckerboard(0xFF00FF00);
inline constexpr CheckerboardData yellowCheckerboardPatternData = makeCheckerboard(0xFFFFFF00);
inline constexpr CheckerboardData orangeCheckerboardPatternData = makeCheckerboard(0xFFFF9900);
// Deliberate: a darker grey than the palette's.
inline constexpr CheckerboardData grayCheckerboardPatternData = makeCheckerboard(0xFF808080);

/// The image for a colour index; grey for every colour that has none of its own.
constexpr const CheckerboardData& checkerboardOf(int colorIndex) {
    switch (colorIndex) {
    case kRed:
        return redCheckerboardPatternData;
    case kGreen:
        return greenCheckerboardPatternData;
    case kYellow:
        return yellowCheckerboardPatternData;
    case kOrange:
        return orangeCheckerboardPatternData;
    default:
        return grayCheckerboardPatternData;
    }
}
