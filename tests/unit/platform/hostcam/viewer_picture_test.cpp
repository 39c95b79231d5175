#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "platform/hostcam/viewer_jpeg.h"
#include "platform/hostcam/viewer_picture.h"
#include "tests/unit/platform/hostcam/jpeg_picture.h"

namespace {

using hostcam::OverlayLayer;
using hostcam::Size;
using hostcam::ViewerPicture;
using hostcam::ViewerPlanes;
using testing_support::Colour;
using testing_support::isNear;
using testing_support::JpegPicture;

OverlayLayer layerOf(Size size, std::uint32_t pixel) {
    return {size, std::vector<std::uint32_t>(std::size_t{size.width} * size.height, pixel), 1};
}

/// A picture of one Y, U and V.
void fill(const ViewerPlanes& planes, int y, int u, int v) {
    std::memset(planes.y, y, planes.yPitch * planes.size.height);
    std::memset(planes.u, u, planes.colourPitch * planes.size.height / 2);
    std::memset(planes.v, v, planes.colourPitch * planes.size.height / 2);
}

JpegPicture throughJpeg(const ViewerPlanes& planes, int quality = 95) {
    hostcam::JpegEncoder encoder;
    const auto jpeg = encoder.encode(planes, quality);
    return JpegPicture({reinterpret_cast<const char*>(jpeg->data()), jpeg->size()});
}

/// What a grey picture shows with one pixel's colour all over it.
Colour blended(std::uint32_t pixel, int grey) {
    const ViewerPicture picture({32, 32});
    fill(picture.planes(), grey, 128, 128);
    blendOver(layerOf({32, 32}, pixel), picture.planes());
    return throughJpeg(picture.planes()).at(16, 16);
}

struct Ink {
    const char* name;
    std::uint32_t pixel;
    int below;
    Colour seen;
};

class BlendTest : public testing::TestWithParam<Ink> {};

TEST_P(BlendTest, AColourIsSeenAsItWasDrawn) {
    const Colour seen = blended(GetParam().pixel, GetParam().below);
    EXPECT_TRUE(isNear(seen, GetParam().seen, 3)) << seen << " is not " << GetParam().seen;
}

INSTANTIATE_TEST_SUITE_P(Inks, BlendTest,
                         testing::Values(Ink{"red", 0xFFFF0000, 100, {255, 0, 0}},
                                         Ink{"green", 0xFF00FF00, 100, {0, 255, 0}},
                                         Ink{"blue", 0xFF0000FF, 100, {0, 0, 255}},
                                         Ink{"yellow", 0xFFFFFF00, 100, {255, 255, 0}},
                                         Ink{"white", 0xFFFFFFFF, 30, {255, 255, 255}},
                                         Ink{"black", 0xFF000000, 200, {0, 0, 0}},
                                         Ink{"odd", 0xFF4080C0, 200, {64, 128, 192}},
                                         Ink{"halfRed", 0x80800000, 100, {178, 50, 50}},
                                         Ink{"halfBlack", 0x80000000, 200, {100, 100, 100}},
                                         Ink{"quarterWhite", 0x40404040, 100, {139, 139, 139}},
                                         Ink{"transparent", 0x00000000, 77, {77, 77, 77}}),
                         [](const auto& one) { return one.param.name; });

TEST(ViewerPictureTest, OnlyWhatIsDrawnOverChanges) {
    // Wider than a block, and not a multiple of one.
    const Size size{150, 20};
    const ViewerPicture picture(size);
    const ViewerPlanes& planes = picture.planes();
    fill(planes, 90, 100, 200);
    OverlayLayer layer = layerOf(size, 0);
    layer.pixels[std::size_t{7} * size.width + 149] = 0xFFFFFFFF;
    layer.pixels[std::size_t{12} * size.width + 64] = 0xFFFFFFFF;
    blendOver(layer, planes);
    int changedY = 0;
    int changedU = 0;
    for (std::size_t row = 0; row < size.height; ++row) {
        for (std::size_t column = 0; column < size.width; ++column) {
            changedY += planes.y[row * planes.yPitch + column] != 90 ? 1 : 0;
            changedU += row % 2 == 0 && column % 2 == 0 &&
                                planes.u[row / 2 * planes.colourPitch + column / 2] != 100
                            ? 1
                            : 0;
        }
    }
    EXPECT_EQ(planes.y[7 * planes.yPitch + 149], 255);
    EXPECT_EQ(planes.y[12 * planes.yPitch + 64], 255);
    EXPECT_EQ(planes.u[3 * planes.colourPitch + 74], 107) << "a quarter of the way to 128";
    EXPECT_EQ(planes.v[6 * planes.colourPitch + 32], 182) << "a quarter of the way to 128";
    EXPECT_EQ(changedY, 2);
    EXPECT_EQ(changedU, 2);
}

/// The blend in words, with real numbers.
class Reference {
  public:
    Reference(const OverlayLayer& layer, const ViewerPlanes& planes)
        : m_layer(layer), m_planes(planes) {}

    [[nodiscard]] double y(std::size_t column, std::size_t row) const {
        const std::uint32_t p = pixel(column, row);
        const double drawn = 0.299 * part(p, 16) + 0.587 * part(p, 8) + 0.114 * part(p, 0);
        return drawn + m_planes.y[row * m_planes.yPitch + column] * (1 - part(p, 24) / 255);
    }

    /// @param red, green, blue the factors of U or of V
    [[nodiscard]] double colour(const std::uint8_t* plane, std::size_t column, std::size_t row,
                                double red, double green, double blue) const {
        double alpha = 0;
        double drawn = 0;
        for (const std::size_t dy : {0, 1}) {
            for (const std::size_t dx : {0, 1}) {
                const std::uint32_t p = pixel(2 * column + dx, 2 * row + dy);
                alpha += part(p, 24) / 255 / 4;
                drawn += (red * part(p, 16) + green * part(p, 8) + blue * part(p, 0)) / 4;
            }
        }
        return 128 + drawn + (plane[row * m_planes.colourPitch + column] - 128) * (1 - alpha);
    }

  private:
    [[nodiscard]] std::uint32_t pixel(std::size_t column, std::size_t row) const {
        return m_layer.pixels[row * m_layer.size.width + column];
    }
    static double part(std::uint32_t pixel, unsigned shift) { return pixel >> shift & 0xFFU; }

    const OverlayLayer& m_layer;
    const ViewerPlanes& m_planes;
};

TEST(ViewerPictureTest, RandomPicturesAndLayersAreWithinOneStepOfTheExactBlend) {
    constexpr unsigned kSeed = 20260112;
    RecordProperty("seed", static_cast<int>(kSeed));
    std::mt19937 random(kSeed);
    const Size size{322, 242};
    const ViewerPicture before(size);
    const ViewerPicture after(size);
    const ViewerPlanes& from = before.planes();
    const ViewerPlanes& to = after.planes();
    const std::size_t bytes = from.yPitch * size.height + from.colourPitch * size.height;
    for (std::size_t i = 0; i < bytes; ++i) {
        to.y[i] = from.y[i] = static_cast<std::uint8_t>(random());
    }
    OverlayLayer layer = layerOf(size, 0);
    for (std::uint32_t& pixel : layer.pixels) {
        const auto alpha = static_cast<std::uint32_t>(random() % 256);
        const auto part = [&] { return static_cast<std::uint32_t>(random() % (alpha + 1)); };
        pixel = random() % 4 == 0 ? 0 : alpha << 24 | part() << 16 | part() << 8 | part();
    }
    blendOver(layer, to);
    const Reference exact(layer, from);
    double worst = 0;
    for (std::size_t row = 0; row < size.height; ++row) {
        for (std::size_t column = 0; column < size.width; ++column) {
            const double is = to.y[row * to.yPitch + column];
            worst = std::max(worst, std::abs(is - exact.y(column, row)));
        }
    }
    for (std::size_t row = 0; row < size.height / 2; ++row) {
        for (std::size_t column = 0; column < size.width / 2; ++column) {
            const std::size_t at = row * to.colourPitch + column;
            const double u = exact.colour(from.u, column, row, -0.168736, -0.331264, 0.5);
            const double v = exact.colour(from.v, column, row, 0.5, -0.418688, -0.081312);
            worst = std::max(worst, std::abs(to.u[at] - std::min(u, 255.0)));
            worst = std::max(worst, std::abs(to.v[at] - std::min(v, 255.0)));
        }
    }
    EXPECT_LE(worst, 1.3) << "rounding, and factors of eight bits";
}

TEST(ViewerPictureTest, VideoRangeBecomesFullRange) {
    const Size size{256, 2};
    hostcam::Picture video(size);
    const hostcam::Nv12Target target = video.target();
    for (std::size_t i = 0; i < size.width; ++i) {
        target.y[i] = target.y[target.yPitch + i] = static_cast<std::uint8_t>(i);
        target.uv[i] = static_cast<std::uint8_t>(i);
    }
    const ViewerPicture picture(size);
    widen(video.view(), picture.planes());
    for (std::size_t i = 0; i < size.width; ++i) {
        const double y = (static_cast<double>(i) - 16) * 255 / 219;
        EXPECT_EQ(picture.planes().y[i], std::lround(std::clamp(y, 0.0, 255.0))) << i;
    }
    for (std::size_t i = 0; i < size.width / 2; ++i) {
        const auto exact = [](std::size_t value) {
            const double colour = 128 + (static_cast<double>(value) - 128) * 255 / 224;
            return std::clamp(colour, 0.0, 255.0);
        };
        EXPECT_NEAR(picture.planes().u[i], exact(2 * i), 0.51) << i;
        EXPECT_NEAR(picture.planes().v[i], exact(2 * i + 1), 0.51) << i;
    }
}

TEST(ViewerPictureTest, AJpegOfAnySizeShowsItsPictureToTheEdges) {
    for (const Size size : {Size{2, 2}, Size{16, 16}, Size{34, 18}, Size{90, 160}}) {
        const ViewerPicture picture(size);
        fill(picture.planes(), 150, 90, 160);
        const JpegPicture seen = throughJpeg(picture.planes());
        ASSERT_EQ(seen.size, size);
        const Colour colour = seen.at(0, 0);
        EXPECT_TRUE(isNear(colour, {195, 140, 83})) << colour;
        EXPECT_TRUE(isNear(seen.at(size.width - 1, size.height - 1), colour, 2));
    }
}

TEST(ViewerPictureTest, ALowerQualityMakesASmallerJpeg) {
    const ViewerPicture picture({160, 120});
    std::mt19937 random(7);
    fill(picture.planes(), 0, 128, 128);
    for (std::size_t i = 0; i < picture.planes().yPitch * 120; ++i) {
        picture.planes().y[i] = static_cast<std::uint8_t>(random());
    }
    hostcam::JpegEncoder encoder;
    EXPECT_LT(encoder.encode(picture.planes(), 10)->size() * 2,
              encoder.encode(picture.planes(), 90)->size());
}

} // namespace
