// The drawing primitives, on pixels, and the small texts and figures beside them.

#include <cstring>
#include <limits>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/overlay_manager.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/canvas.h"
#include "tests/unit/outputs/overlay_stand_ins.h"
#include "video/StreamMapper.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::logLines;

constexpr std::uint32_t kClear = 0;
constexpr std::uint32_t kOpaqueBlack = 0xFF000000;
constexpr std::uint32_t kOpaqueRed = 0xFFFF0000;
constexpr std::uint32_t kOpaqueGreen = 0xFF00FF00;
constexpr std::uint32_t kOpaqueWhite = 0xFFFFFFFF;

class OverlayPrimitivesTest : public testing::Test {
  protected:
    OverlayPrimitivesTest() { overlay_stand_ins::reset(); }

    static void useFont(const Canvas& canvas) {
        cairo_select_font_face(canvas.cairo(), "cursive", CAIRO_FONT_SLANT_NORMAL,
                               CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(canvas.cairo(), 32);
    }

    Canvas m_canvas{100, 80};
    cairo_t* m_cairo = m_canvas.cairo();
};

// Palette.

TEST_F(OverlayPrimitivesTest, ThePaletteHasItsNineColours) {
    const std::uint32_t colours[] = {0xFF000000, 0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFF00,
                                     0xFFFFFFFF, 0xFFFF9900, 0xFF4677CF, 0xFF969696};
    for (int index = 0; index <= 8; ++index) {
        OverlayManager::usePaletteColor(m_cairo, index, 1.0);
        cairo_paint(m_cairo);
        EXPECT_EQ(m_canvas.pixel(50, 40), colours[index]) << index;
    }
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(OverlayPrimitivesTest, ThePaletteGivesCairoTheExactChannels) {
    const double channels[][3] = {{0, 0, 0},
                                  {1, 0, 0},
                                  {0, 1, 0},
                                  {0, 0, 1},
                                  {1, 1, 0},
                                  {1, 1, 1},
                                  {1, 0.6, 0},
                                  {70.0 / 255, 119.0 / 255, 207.0 / 255},
                                  {150.0 / 255, 150.0 / 255, 150.0 / 255}};
    for (int index = 0; index <= 8; ++index) {
        OverlayManager::usePaletteColor(m_cairo, index, 0.25);
        double red = -1;
        double green = -1;
        double blue = -1;
        double alpha = -1;
        ASSERT_EQ(cairo_pattern_get_rgba(cairo_get_source(m_cairo), &red, &green, &blue, &alpha),
                  CAIRO_STATUS_SUCCESS);
        EXPECT_DOUBLE_EQ(red, channels[index][0]) << index;
        EXPECT_DOUBLE_EQ(green, channels[index][1]) << index;
        EXPECT_DOUBLE_EQ(blue, channels[index][2]) << index;
        EXPECT_DOUBLE_EQ(alpha, 0.25) << index;
    }
}

TEST_F(OverlayPrimitivesTest, AnUnknownColourIndexIsLoggedAndPaintsBlack) {
    for (const int index : {9, -1, 1000}) {
        testing_support::forgetLog();
        OverlayManager::usePaletteColor(m_cairo, 5, 1.0);
        cairo_paint(m_cairo);

        OverlayManager::usePaletteColor(m_cairo, index, 1.0);
        cairo_paint(m_cairo);

        EXPECT_EQ(m_canvas.pixel(50, 40), kOpaqueBlack) << index;
        EXPECT_THAT(logLines(), ElementsAre("error|usePaletteColor: Unknown color index passed to "
                                            "OverlayManager::usePaletteColor. Using Black."));
    }
}

// Checkered patterns.

struct Checkered {
    int colorIndex;
    std::uint32_t color;
};

class CheckeredPatternTest : public testing::TestWithParam<Checkered> {};

TEST_P(CheckeredPatternTest, HasFourFieldsOfItsColourAndWhite) {
    cairo_pattern_t* const pattern = OverlayManager::getCheckeredPattern(GetParam().colorIndex);
    cairo_surface_t* surface = nullptr;
    ASSERT_EQ(cairo_pattern_get_surface(pattern, &surface), CAIRO_STATUS_SUCCESS);

    EXPECT_EQ(cairo_image_surface_get_format(surface), CAIRO_FORMAT_ARGB32);
    EXPECT_EQ(cairo_image_surface_get_width(surface), 8);
    EXPECT_EQ(cairo_image_surface_get_height(surface), 8);
    EXPECT_EQ(cairo_image_surface_get_stride(surface), 32);
    std::uint32_t pixels[64];
    std::memcpy(pixels, cairo_image_surface_get_data(surface), sizeof pixels);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const bool isColoured = (y < 4 && x < 4) || (y >= 4 && x >= 4);
            EXPECT_EQ(pixels[8 * y + x], isColoured ? GetParam().color : kOpaqueWhite)
                << x << ", " << y;
        }
    }
    EXPECT_EQ(cairo_pattern_get_extend(pattern), CAIRO_EXTEND_REPEAT);
    EXPECT_EQ(cairo_pattern_get_filter(pattern), CAIRO_FILTER_NEAREST);
    // The caller's is the only reference, and the pattern's the only one to the surface.
    EXPECT_EQ(cairo_pattern_get_reference_count(pattern), 1U);
    EXPECT_EQ(cairo_surface_get_reference_count(surface), 1U);
    cairo_pattern_destroy(pattern);
}

INSTANTIATE_TEST_SUITE_P(EveryIndex, CheckeredPatternTest,
                         testing::Values(Checkered{1, 0xFFFF0000}, Checkered{2, 0xFF00FF00},
                                         Checkered{4, 0xFFFFFF00}, Checkered{6, 0xFFFF9900},
                                         Checkered{0, 0xFF808080}, Checkered{3, 0xFF808080},
                                         Checkered{5, 0xFF808080}, Checkered{7, 0xFF808080},
                                         Checkered{8, 0xFF808080}, Checkered{9, 0xFF808080},
                                         Checkered{-1, 0xFF808080}));

// Lines.

TEST_F(OverlayPrimitivesTest, ALineHasItsColourAndWidth) {
    OverlayManager::drawLine(m_cairo, 10, 20, 60, 20, 1, 4);

    EXPECT_EQ(m_canvas.count(kOpaqueRed), 50 * 4);
    EXPECT_EQ(m_canvas.ink(), 50 * 4);
    EXPECT_EQ(m_canvas.pixel(10, 18), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(59, 21), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(60, 20), kClear);
    EXPECT_EQ(m_canvas.pixel(30, 22), kClear);
    EXPECT_EQ(m_canvas.pixel(30, 17), kClear);
}

TEST_F(OverlayPrimitivesTest, ALineReplacesWhatIsBelowIt) {
    cairo_set_operator(m_cairo, CAIRO_OPERATOR_DEST_OVER);
    OverlayManager::drawLine(m_cairo, 10, 20, 60, 20, 2, 4);
    OverlayManager::drawLine(m_cairo, 10, 20, 60, 20, 1, 4);

    EXPECT_EQ(m_canvas.pixel(30, 20), kOpaqueRed);
    EXPECT_EQ(cairo_get_operator(m_cairo), CAIRO_OPERATOR_SOURCE);
}

TEST_F(OverlayPrimitivesTest, AMappedLineIsDrawnBetweenTheMappedPoints) {
    const StreamMapper mapper(41, 51, 81, 101, true); // twice as large and mirrored
    OverlayManager::drawLine(m_cairo, mapper, 5, 10, 25, 10, 1, 4);

    Canvas expected(100, 80);
    OverlayManager::drawLine(expected.cairo(), 90, 20, 50, 20, 1, 4);
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
    EXPECT_EQ(m_canvas.pixel(70, 20), kOpaqueRed);
}

// Text.

TEST_F(OverlayPrimitivesTest, TextIsFilledInItsColourAndOutlinedInBlack) {
    useFont(m_canvas);
    OverlayManager::drawText(m_cairo, "42", 10, 60, 1);

    Canvas expected(100, 80);
    useFont(expected);
    cairo_move_to(expected.cairo(), 10, 60);
    cairo_text_path(expected.cairo(), "42");
    cairo_set_source_rgba(expected.cairo(), 1, 0, 0, 1);
    cairo_fill_preserve(expected.cairo());
    cairo_set_source_rgba(expected.cairo(), 0, 0, 0, 1);
    cairo_set_line_width(expected.cairo(), 1);
    cairo_stroke(expected.cairo());
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
    EXPECT_GT(m_canvas.count(kOpaqueRed), 0);
    EXPECT_EQ(m_canvas.inkIn(0, 62, 100, 18), 0);
}

TEST_F(OverlayPrimitivesTest, TextWithoutOutlineIsStrokedInItsOwnColour) {
    useFont(m_canvas);
    OverlayManager::drawTextNoOutline(m_cairo, "42", 10, 60, 2);

    Canvas expected(100, 80);
    useFont(expected);
    cairo_move_to(expected.cairo(), 10, 60);
    cairo_text_path(expected.cairo(), "42");
    cairo_set_source_rgba(expected.cairo(), 0, 1, 0, 1);
    cairo_fill_preserve(expected.cairo());
    cairo_set_line_width(expected.cairo(), 1);
    cairo_stroke(expected.cairo());
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
    EXPECT_GT(m_canvas.count(kOpaqueGreen), 0);
}

TEST_F(OverlayPrimitivesTest, MappedTextStandsAtTheMappedPoint) {
    const StreamMapper mapper(41, 51, 81, 101, false);
    useFont(m_canvas);
    OverlayManager::drawText(m_cairo, mapper, "4", 5, 30, 1);
    OverlayManager::drawTextNoOutline(m_cairo, mapper, "2", 25, 30, 2);

    Canvas expected(100, 80);
    useFont(expected);
    OverlayManager::drawText(expected.cairo(), "4", 10, 60, 1);
    OverlayManager::drawTextNoOutline(expected.cairo(), "2", 50, 60, 2);
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
}

// Shapes that the renderer does not draw.

TEST_F(OverlayPrimitivesTest, AnOutlinedRectangleIsEmptyInside) {
    OverlayManager::drawRectangle(m_cairo, 20, 10, 40, 30, 1, 2, false);

    EXPECT_EQ(m_canvas.ink(), 42 * 32 - 38 * 28);
    EXPECT_EQ(m_canvas.pixel(19, 9), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(60, 40), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(40, 25), kClear);
}

TEST_F(OverlayPrimitivesTest, AFilledRectangleIsCheckered) {
    OverlayManager::drawRectangle(m_cairo, 16, 8, 40, 32, 1, 2, true);

    EXPECT_EQ(m_canvas.ink(), 40 * 32);
    EXPECT_EQ(m_canvas.pixel(16, 8), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(20, 8), kOpaqueWhite);
    EXPECT_EQ(m_canvas.pixel(16, 12), kOpaqueWhite);
    EXPECT_EQ(m_canvas.pixel(23, 15), kOpaqueRed);
}

TEST_F(OverlayPrimitivesTest, AShapeReplacesWhatIsBelowIt) {
    cairo_set_operator(m_cairo, CAIRO_OPERATOR_DEST_OVER);
    OverlayManager::usePaletteColor(m_cairo, 2, 1.0);
    cairo_paint(m_cairo);
    OverlayManager::drawRectangle(m_cairo, 20, 10, 40, 30, 1, 2, false);

    EXPECT_EQ(m_canvas.pixel(20, 10), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(40, 25), kOpaqueGreen);
}

TEST_F(OverlayPrimitivesTest, ABoxIsTheOutlineBetweenTwoCorners) {
    OverlayManager::drawBox(m_cairo, 20, 10, 60, 40, 1, 2);

    Canvas expected(100, 80);
    OverlayManager::drawRectangle(expected.cairo(), 20, 10, 40, 30, 1, 2, false);
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
}

TEST_F(OverlayPrimitivesTest, AnOutlinedCircleIsEmptyInside) {
    OverlayManager::drawCircle(m_cairo, 50, 40, 20, 1, 4, false);

    EXPECT_EQ(m_canvas.pixel(70, 40), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(50, 21), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(50, 40), kClear);
    EXPECT_EQ(m_canvas.pixel(74, 40), kClear);
}

TEST_F(OverlayPrimitivesTest, AFilledCircleIsCheckered) {
    OverlayManager::drawCircle(m_cairo, 48, 40, 20, 2, 4, true);

    EXPECT_EQ(m_canvas.pixel(48, 40), kOpaqueGreen);
    EXPECT_EQ(m_canvas.pixel(52, 40), kOpaqueWhite);
    EXPECT_EQ(m_canvas.pixel(71, 40), kClear);
}

TEST_F(OverlayPrimitivesTest, ACrossReachesItsSizeInFourDirections) {
    OverlayManager::drawCross(m_cairo, 50, 40, 10, 1, 2);

    EXPECT_EQ(m_canvas.ink(), 2 * 20 * 2 - 2 * 2);
    EXPECT_EQ(m_canvas.pixel(40, 40), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(59, 39), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(50, 30), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(49, 49), kOpaqueRed);
    EXPECT_EQ(m_canvas.pixel(45, 45), kClear);
}

TEST_F(OverlayPrimitivesTest, AContextScalesItsPointsFromBehindTheCutBand) {
    const RenderingContext context{m_cairo, 10.0F, 2.0F, 0.5F, false, 100};
    OverlayManager::drawLine(context, 15, 40, 40, 40, 1, 4);

    Canvas expected(100, 80);
    OverlayManager::drawLine(expected.cairo(), 10, 20, 60, 20, 1, 4);
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
}

TEST_F(OverlayPrimitivesTest, AMirroredContextExchangesLeftAndRight) {
    const RenderingContext context{m_cairo, 0.0F, 1.0F, 1.0F, true, 100};
    OverlayManager::drawRectangle(context, 10, 10, 20, 30, 1, 2, false);

    Canvas expected(100, 80);
    OverlayManager::drawRectangle(expected.cairo(), 69, 10, 20, 30, 1, 2, false);
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
}

TEST_F(OverlayPrimitivesTest, AContextDrawsCirclesAndCrossesAtItsPoints) {
    const RenderingContext context{m_cairo, 0.0F, 2.0F, 2.0F, false, 100};
    OverlayManager::drawCircle(context, 25, 20, 10, 1, 4, true);
    OverlayManager::drawCross(context, 25, 20, 10, 2, 2);

    Canvas expected(100, 80);
    OverlayManager::drawCircle(expected.cairo(), 50, 40, 20, 1, 4, true);
    OverlayManager::drawCross(expected.cairo(), 50, 40, 10, 2, 2);
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
}

TEST_F(OverlayPrimitivesTest, TheFormsWithPointsAndBoxesDrawWhatTheOthersDraw) {
    const RenderingContext context{m_cairo, 3.0F, 1.5F, 1.25F, true, 100};
    OverlayManager::drawLine(context, cv::Point(10, 5), cv::Point(40, 50), 1, 3);
    OverlayManager::drawCross(context, cv::Point(20, 20), 8, 2, 2);
    OverlayManager::drawCircle(context, cv::Point(40, 30), 10, 4, 2, false);
    OverlayManager::drawRectangle(context, rectangle{12, 14, 20, 10}, 6, 2, true);

    Canvas expected(100, 80);
    const RenderingContext other{expected.cairo(), 3.0F, 1.5F, 1.25F, true, 100};
    OverlayManager::drawLine(other, 10, 5, 40, 50, 1, 3);
    OverlayManager::drawCross(other, 20, 20, 8, 2, 2);
    OverlayManager::drawCircle(other, 40, 30, 10, 4, 2, false);
    OverlayManager::drawRectangle(other, 12, 14, 20, 10, 6, 2, true);
    EXPECT_EQ(m_canvas.differenceFrom(expected), "");
    EXPECT_GT(m_canvas.ink(), 0);
}

TEST_F(OverlayPrimitivesTest, CoordinatesFarOutsideAreDrawnAsFarOutside) {
    constexpr int kLow = std::numeric_limits<int>::min();
    constexpr int kHigh = std::numeric_limits<int>::max();
    const RenderingContext context{m_cairo, 1e30F, -30000.0F, 30000.0F, true, 100};
    OverlayManager::drawCross(context, kLow, kHigh, 8, 2, 2);
    OverlayManager::drawCircle(context, kHigh, kLow, kHigh, 4, 2, false);
    OverlayManager::drawRectangle(context, kHigh, kHigh, kHigh, kLow, 6, 2, true);
    OverlayManager::drawRectangle(context, kLow, kLow, kHigh, kHigh, 6, 2, false);
    OverlayManager::drawCross(m_cairo, kHigh, kLow, kHigh, 1, 2);
    OverlayManager::drawBox(m_cairo, kLow, kLow, kHigh, kHigh, 1, 2);

    EXPECT_EQ(cairo_status(m_cairo), CAIRO_STATUS_SUCCESS);
    EXPECT_EQ(m_canvas.pixel(50, 40), kClear);
}

// Figures and texts.

TEST_F(OverlayPrimitivesTest, TheDistanceOfTheFarthestPointsIsNoOverflow) {
    constexpr int kLow = std::numeric_limits<int>::min();
    constexpr int kHigh = std::numeric_limits<int>::max();
    EXPECT_FLOAT_EQ(OverlayManager::distance({kLow, 0}, {kHigh, 0}), 4294967296.0F);
    EXPECT_FLOAT_EQ(OverlayManager::distance({kLow, kLow}, {kHigh, kHigh}), 6074001000.0F);
}

TEST_F(OverlayPrimitivesTest, DistanceIsEuclidean) {
    EXPECT_EQ(OverlayManager::distance({0, 0}, {3, 4}), 5.0F);
    EXPECT_EQ(OverlayManager::distance({7, -2}, {7, -2}), 0.0F);
    EXPECT_EQ(OverlayManager::distance({-1, -1}, {0, 0}), static_cast<float>(std::sqrt(2.0)));
    EXPECT_EQ(OverlayManager::distance({3840, 0}, {0, 2160}),
              static_cast<float>(std::sqrt(3840.0 * 3840.0 + 2160.0 * 2160.0)));
}

TEST_F(OverlayPrimitivesTest, DurationsAreToldInSecondsOrWholeMinutes) {
    EXPECT_EQ(OverlayManager::secondsToTimeText(0), "0 seconds");
    EXPECT_EQ(OverlayManager::secondsToTimeText(1), "1 second");
    EXPECT_EQ(OverlayManager::secondsToTimeText(2), "2 seconds");
    EXPECT_EQ(OverlayManager::secondsToTimeText(59), "59 seconds");
    EXPECT_EQ(OverlayManager::secondsToTimeText(60), "1 minute");
    EXPECT_EQ(OverlayManager::secondsToTimeText(119), "1 minute");
    EXPECT_EQ(OverlayManager::secondsToTimeText(120), "2 minutes");
    EXPECT_EQ(OverlayManager::secondsToTimeText(179), "2 minutes");
    EXPECT_EQ(OverlayManager::secondsToTimeText(3600), "60 minutes");
    EXPECT_EQ(OverlayManager::secondsToTimeText(-1), "-1 seconds");
}

} // namespace
