// Whole renderings of one stream, compared pixel by pixel with pictures that the test draws itself
// from points and texts worked out by hand.

#include <cmath>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/app_state.h"
#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/canvas.h"
#include "tests/unit/outputs/overlay_stand_ins.h"

namespace {

using overlay_stand_ins::world;

constexpr std::uint32_t kRed = 0xFFFF0000;
constexpr std::uint32_t kGreen = 0xFF00FF00;
constexpr std::uint32_t kYellow = 0xFFFFFF00;
constexpr std::uint32_t kWhite = 0xFFFFFFFF;

/// A stream as the overlay service describes it.
struct Stream {
    int width = 1280;
    int height = 720;
    int rotation = 0;
    bool isMirrored = false;

    [[nodiscard]] bool isPortrait() const { return rotation == 90 || rotation == 270; }
    [[nodiscard]] int viewWidth() const { return isPortrait() ? height : width; }
    [[nodiscard]] int viewHeight() const { return isPortrait() ? width : height; }
};

/// A picture of the stream's size as its viewer sees it.
class Picture : public Canvas {
  public:
    explicit Picture(const Stream& stream)
        : Canvas(stream.viewWidth(), stream.viewHeight()), m_stream(stream) {}

    /// Has the overlay manager draw.
    void render(int id = 5) {
        axoverlay_stream_data stream{1,
                                     1,
                                     m_stream.width,
                                     m_stream.height,
                                     m_stream.rotation,
                                     m_stream.isMirrored ? TRUE : FALSE,
                                     AXOVERLAY_STREAM_JPEG};
        OverlayManager::renderCallback(cairo(), id, &stream, AXOVERLAY_TOP_LEFT, 0, 0, width(),
                                       height(), &g_OverlayInfo);
    }

  protected:
    Stream m_stream;
};

/// What is expected: drawn with cairo alone.
class Expectation : public Picture {
  public:
    Expectation(const Stream& stream, int lineWidth, int fontSize)
        : Picture(stream), m_lineWidth(lineWidth) {
        cairo_set_antialias(cairo(), CAIRO_ANTIALIAS_BEST);
        cairo_select_font_face(cairo(), "cursive", CAIRO_FONT_SLANT_NORMAL,
                               CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(cairo(), fontSize);
    }

    /// Four lines, in the order of a marker's corners, in stream pixels.
    void outline(const std::vector<cv::Point>& corners, std::uint32_t color) {
        cairo_set_operator(cairo(), CAIRO_OPERATOR_SOURCE);
        for (std::size_t i = 0; i < 4; ++i) {
            useColor(color);
            cairo_set_line_width(cairo(), m_lineWidth);
            cairo_move_to(cairo(), corners[i].x, corners[i].y);
            cairo_line_to(cairo(), corners[(i + 1) % 4].x, corners[(i + 1) % 4].y);
            cairo_stroke(cairo());
        }
    }

    void label(const std::string& text, int x, int y) { strokeText(text, x, y, kWhite); }

    /// The status line at the place that the rules give it.
    void status(const std::string& text) {
        cairo_text_extents_t extents;
        cairo_text_extents(cairo(), text.c_str(), &extents);
        const double baseline = m_stream.isPortrait() ? m_stream.width + 5 - extents.height
                                                      : m_stream.height - 2 * extents.height;
        strokeText(text, 10, std::trunc(baseline), 0xFF000000);
        strokeText(text, 10, std::trunc(baseline), kWhite);
    }

  private:
    void useColor(std::uint32_t color) {
        cairo_set_source_rgb(cairo(), (color >> 16 & 0xFF) / 255.0, (color >> 8 & 0xFF) / 255.0,
                             (color & 0xFF) / 255.0);
    }

    void strokeText(const std::string& text, double x, double y, std::uint32_t outlineColor) {
        cairo_move_to(cairo(), x, y);
        cairo_text_path(cairo(), text.c_str());
        useColor(kWhite);
        cairo_fill_preserve(cairo());
        useColor(outlineColor);
        cairo_set_line_width(cairo(), 1);
        cairo_stroke(cairo());
    }

    int m_lineWidth;
};

const std::vector<cv::Point> kSquare = {{400, 200}, {600, 200}, {600, 400}, {400, 400}};

one_find findingAt(const std::vector<cv::Point2f>& corners, footings footing, int seconds = 0,
                   int classId = 7) {
    one_find finding;
    finding.detect.markerCorners = corners;
    finding.detect.classId = classId;
    finding.footing = footing;
    finding.seconds = seconds;
    return finding;
}

/// The square above with the label "7" at (496, 304).
one_find squareFinding(footings footing, int seconds = 0) {
    return findingAt({{400, 200}, {600, 200}, {600, 400}, {400, 400}}, footing, seconds);
}

class OverlayRenderTest : public testing::Test {
  protected:
    OverlayRenderTest() {
        overlay_stand_ins::reset();
        OverlayManager::m_OverlayID = 5;
        OverlayManager::SetApplicationStreamResolution(1280, 720);
        g_ConfigParams.i_MarkersSeconds = 10;
        g_StatusCode = 200;
        g_ExecutionTime = 37;
    }
    ~OverlayRenderTest() override { overlay_stand_ins::reset(); }

    /// Renders the findings and expects the status line and nothing else.
    static void expectOnlyStatus(const std::string& text) {
        const Stream stream;
        Picture picture(stream);
        picture.render();
        Expectation expected(stream, 3, 21);
        expected.status(text);
        EXPECT_EQ(picture.differenceFrom(expected), "");
        EXPECT_GT(picture.ink(), 0);
    }

    /// Renders and expects the square in a colour, its label, and the status line.
    static void expectSquare(std::uint32_t color, const std::string& text) {
        const Stream stream;
        Picture picture(stream);
        picture.render();
        Expectation expected(stream, 3, 21);
        expected.outline(kSquare, color);
        expected.label("7", 496, 304);
        expected.status(text);
        EXPECT_EQ(picture.differenceFrom(expected), "");
        // Every edge, seen without cairo's help.
        EXPECT_EQ(picture.pixel(500, 200), color);
        EXPECT_EQ(picture.pixel(600, 300), color);
        EXPECT_EQ(picture.pixel(500, 400), color);
        EXPECT_EQ(picture.pixel(400, 300), color);
    }
};

// Which streams and overlays are drawn on.

TEST_F(OverlayRenderTest, AStreamOfNoKnownSizeStaysEmpty) {
    g_findings = {squareFinding(in_AOI1_briefly)};
    Picture picture(Stream{1920, 1080});
    picture.render();

    EXPECT_EQ(picture.ink(), 0);
}

TEST_F(OverlayRenderTest, AnotherOverlayStaysEmpty) {
    g_findings = {squareFinding(in_AOI1_briefly)};
    Picture picture(Stream{});
    picture.render(6);

    EXPECT_EQ(picture.ink(), 0);
}

TEST_F(OverlayRenderTest, TheApplicationTheOverlayAndTheAnonymizedStreamAreDrawnOn) {
    OverlayManager::SetOverlayStreamResolution(640, 360);
    OverlayManager::SetAnonymizedStreamResolution(320, 180);
    for (const Stream& stream : {Stream{1280, 720}, Stream{640, 360}, Stream{320, 180}}) {
        Picture picture(stream);
        picture.render();
        EXPECT_GT(picture.ink(), 0) << stream.width;
    }
}

TEST_F(OverlayRenderTest, TheOverlayStreamOfARotatedCameraIsDrawnOnAsItReportsItself) {
    OverlayManager::SetOverlayStreamResolution(640, 360);
    Picture reportedSo(Stream{640, 360, 90});
    reportedSo.render();
    Picture turned(Stream{360, 640, 90});
    turned.render();

    EXPECT_GT(reportedSo.ink(), 0);
    EXPECT_EQ(turned.ink(), 0);
}

// Colours.

struct StateColor {
    bool isPresenceRequired;
    footings footing;
    bool isLost;
    int secondsLost;
    std::uint32_t color;
};

class StateColorTest : public OverlayRenderTest, public testing::WithParamInterface<StateColor> {};

TEST_P(StateColorTest, TheOutlineTellsTheState) {
    const StateColor& state = GetParam();
    g_ConfigParams.b_IsRequirePresent = state.isPresenceRequired;
    g_ConfigParams.b_DisplayNonAOI = true;
    world().isMarkerLost = state.isLost;
    world().secondsSinceLost = state.secondsLost;
    g_findings = {squareFinding(state.footing, 3)};

    std::string text;
    if (state.isPresenceRequired && state.footing != not_in_AOI) {
        text = "Present 3 seconds. ";
    }
    if (!state.isPresenceRequired && state.isLost) {
        text = "Missing " + std::to_string(state.secondsLost) + " seconds. ";
    }
    expectSquare(state.color, text + "Status 200 : 37 ms. ");
}

INSTANTIATE_TEST_SUITE_P(Required, StateColorTest,
                         testing::Values(StateColor{true, in_AOI1_lengthily, false, 0, kRed},
                                         StateColor{true, in_AOI1_briefly, false, 0, kYellow},
                                         StateColor{true, not_in_AOI, false, 0, kGreen},
                                         StateColor{true, in_AOI1_lengthily, true, 11, kRed},
                                         StateColor{true, in_AOI1_briefly, true, 11, kYellow},
                                         StateColor{true, not_in_AOI, true, 11, kGreen}));

INSTANTIATE_TEST_SUITE_P(NotRequired, StateColorTest,
                         testing::Values(StateColor{false, not_in_AOI, true, 11, kRed},
                                         StateColor{false, not_in_AOI, true, 10, kYellow},
                                         StateColor{false, not_in_AOI, false, 11, kYellow},
                                         StateColor{false, in_AOI1_briefly, false, 0, kGreen},
                                         StateColor{false, in_AOI1_lengthily, false, 0, kGreen},
                                         StateColor{false, in_AOI1_briefly, true, 11, kGreen},
                                         StateColor{false, in_AOI1_lengthily, true, 11, kGreen}));

TEST_F(OverlayRenderTest, AFindingOutsideTheAreasIsNotDrawnUnlessWanted) {
    g_ConfigParams.b_DisplayNonAOI = false;
    g_findings = {squareFinding(not_in_AOI)};
    expectOnlyStatus("Status 200 : 37 ms. ");

    g_ConfigParams.b_DisplayNonAOI = true;
    expectSquare(kYellow, "Status 200 : 37 ms. ");

    g_ConfigParams.i_MarkersSeconds = 20;
    world().isMarkerLost = true;
    world().secondsSinceLost = 21;
    expectSquare(kRed, "Missing 21 seconds. Status 200 : 37 ms. ");
}

// The status line.

TEST_F(OverlayRenderTest, WithoutFindingsTheStatusLineTellsStatusAndDuration) {
    expectOnlyStatus("Status 200 : 37 ms. ");

    g_StatusCode = 502;
    g_ExecutionTime = 0;
    expectOnlyStatus("Status 502 : 0 ms. ");
}

TEST_F(OverlayRenderTest, PresenceIsToldInSecondsUntilAMinute) {
    g_ConfigParams.b_IsRequirePresent = true;
    for (const auto& [seconds, text] :
         std::vector<std::pair<int, std::string>>{{0, "Present 0 seconds. "},
                                                  {1, "Present 1 seconds. "},
                                                  {59, "Present 59 seconds. "},
                                                  {60, "Present 1 minute. "},
                                                  {75, "Present 1 minute. "},
                                                  {119, "Present 1 minute. "},
                                                  {120, "Present 2 minutes. "},
                                                  {150, "Present 2 minutes. "},
                                                  {3600, "Present 60 minutes. "}}) {
        g_findings = {squareFinding(in_AOI1_briefly, seconds)};
        expectSquare(kYellow, text + "Status 200 : 37 ms. ");
        g_findings = {squareFinding(in_AOI1_lengthily, seconds)};
        expectSquare(kRed, text + "Status 200 : 37 ms. ");
    }
}

TEST_F(OverlayRenderTest, PresenceIsNotToldWhenAbsenceIsWanted) {
    g_findings = {squareFinding(in_AOI1_lengthily, 75)};

    expectSquare(kGreen, "Status 200 : 37 ms. ");
}

TEST_F(OverlayRenderTest, AbsenceIsToldInSecondsAndThenInMinutesWithoutTheirNumber) {
    world().isMarkerLost = true;
    for (const auto& [seconds, text] :
         std::vector<std::pair<int, std::string>>{{0, "Missing 0 seconds. "},
                                                  {59, "Missing 59 seconds. "},
                                                  {60, "Missing  minute. "},
                                                  {119, "Missing  minute. "},
                                                  {120, "Missing  minutes. "},
                                                  {130, "Missing  minutes. "}}) {
        world().secondsSinceLost = seconds;
        expectOnlyStatus(text + "Status 200 : 37 ms. ");
    }
}

TEST_F(OverlayRenderTest, AbsenceIsNotToldWhenPresenceIsWanted) {
    g_ConfigParams.b_IsRequirePresent = true;
    world().isMarkerLost = true;
    world().secondsSinceLost = 130;

    expectOnlyStatus("Status 200 : 37 ms. ");
}

// Several findings.

TEST_F(OverlayRenderTest, OfTwoDrawnFindingsTheStatusLineCarriesTheSecondsText) {
    g_ConfigParams.b_IsRequirePresent = true;
    g_findings = {
        squareFinding(in_AOI1_lengthily, 75),
        findingAt({{700, 300}, {800, 300}, {800, 380}, {700, 380}}, in_AOI1_briefly, 4, 142)};
    const Stream stream;
    Picture picture(stream);
    picture.render();

    Expectation expected(stream, 3, 21);
    expected.outline(kSquare, kRed);
    expected.label("7", 496, 304);
    expected.outline({{700, 300}, {800, 300}, {800, 380}, {700, 380}}, kYellow);
    expected.label("142", 738, 344);
    expected.status("Present 4 seconds. Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, AFindingThatIsNotDrawnLeavesTheTextOfTheOneBefore) {
    g_ConfigParams.b_IsRequirePresent = true;
    g_findings = {squareFinding(in_AOI1_lengthily, 75),
                  findingAt({{700, 300}, {800, 300}, {800, 380}, {700, 380}}, not_in_AOI)};

    expectSquare(kRed, "Present 1 minute. Status 200 : 37 ms. ");
}

TEST_F(OverlayRenderTest, AFindingThatIsDrawnWithoutTextTakesAwayTheTextOfTheOneBefore) {
    g_ConfigParams.b_IsRequirePresent = true;
    g_ConfigParams.b_DisplayNonAOI = true;
    g_findings = {squareFinding(in_AOI1_lengthily, 75),
                  findingAt({{700, 300}, {800, 300}, {800, 380}, {700, 380}}, not_in_AOI)};
    const Stream stream;
    Picture picture(stream);
    picture.render();

    Expectation expected(stream, 3, 21);
    expected.outline(kSquare, kRed);
    expected.label("7", 496, 304);
    expected.outline({{700, 300}, {800, 300}, {800, 380}, {700, 380}}, kGreen);
    expected.label("7", 746, 344);
    expected.status("Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, AFindingWithoutFourCornersIsNotOutlined) {
    g_ConfigParams.b_IsRequirePresent = true;
    g_findings = {findingAt({{400, 200}, {600, 200}, {600, 400}}, in_AOI1_briefly, 3)};

    expectOnlyStatus("Present 3 seconds. Status 200 : 37 ms. ");
}

// Sizes.

struct Sizes {
    int width;
    int height;
    int lineWidth;
    int fontSize;
};

class OverlaySizesTest : public OverlayRenderTest, public testing::WithParamInterface<Sizes> {};

TEST_P(OverlaySizesTest, LinesAndFontFollowTheShorterSide) {
    const Sizes& sizes = GetParam();
    const Stream stream{sizes.width, sizes.height};
    OverlayManager::SetApplicationStreamResolution(static_cast<unsigned>(sizes.width),
                                                   static_cast<unsigned>(sizes.height));
    g_AnalysisStreamWidth = sizes.width;
    g_AnalysisStreamHeight = sizes.height;
    g_ConfigParams.b_IsRequirePresent = true;
    g_findings = {findingAt({{40, 40}, {100, 40}, {100, 90}, {40, 90}}, in_AOI1_lengthily, 1)};
    Picture picture(stream);
    picture.render();

    Expectation expected(stream, sizes.lineWidth, sizes.fontSize);
    expected.outline({{40, 40}, {100, 40}, {100, 90}, {40, 90}}, kRed);
    expected.label("7", 66, 69);
    expected.status("Present 1 seconds. Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
    // The upper edge's thickness, half-covered rows included.
    const int rows = sizes.lineWidth + sizes.lineWidth % 2;
    EXPECT_EQ(picture.inkIn(70, 40 - rows / 2 - 2, 1, rows + 4), rows);
}

INSTANTIATE_TEST_SUITE_P(ShorterSides, OverlaySizesTest,
                         testing::Values(Sizes{1920, 1080, 5, 32}, Sizes{320, 240, 3, 16},
                                         Sizes{1280, 720, 3, 21}, Sizes{720, 1280, 3, 21},
                                         Sizes{800, 800, 4, 24}, Sizes{1066, 799, 3, 23},
                                         Sizes{2000, 1000, 5, 30}, Sizes{640, 533, 3, 16},
                                         Sizes{640, 567, 3, 17}, Sizes{3840, 2160, 10, 64}));

// Positions.

TEST_F(OverlayRenderTest, AnalysisCoordinatesAreScaledOntoTheStream) {
    g_AnalysisStreamWidth = 640;
    g_AnalysisStreamHeight = 360;
    g_ConfigParams.b_IsRequirePresent = true;
    g_findings = {findingAt({{200, 100}, {300, 100}, {300, 200}, {200, 200}}, in_AOI1_briefly, 3)};
    const Stream stream;
    Picture picture(stream);
    picture.render();

    // The scale is 1279 / 639 = 2.00156 across and 719 / 359 = 2.00279 down; the smaller one holds,
    // and the rest of the height, 0.44 pixels, is halved: x = 2.00156 x + 0.5, y = 2.00156 y +
    // 0.72.
    Expectation expected(stream, 3, 21);
    expected.outline({{400, 200}, {600, 200}, {600, 401}, {400, 401}}, kYellow);
    // Centre (250, 150), less 4 and plus 4: (246, 154).
    expected.label("7", 492, 308);
    expected.status("Present 3 seconds. Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, AStreamOfAnotherAspectRatioShowsTheMiddleOfTheAnalysisPicture) {
    OverlayManager::SetApplicationStreamResolution(640, 480);
    g_ConfigParams.b_IsRequirePresent = true;
    g_findings = {findingAt({{640, 100}, {1119, 100}, {1119, 400}, {640, 400}}, in_AOI1_briefly)};
    const Stream stream{640, 480};
    Picture picture(stream);
    picture.render();

    // 160 columns are cut away at either side; the scale is 479 / 719.
    Expectation expected(stream, 3, 16);
    expected.outline({{319, 66}, {638, 66}, {638, 266}, {319, 266}}, kYellow);
    // Centre (879.5, 250): (875, 254).
    expected.label("7", 476, 169);
    expected.status("Present 0 seconds. Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, CornersAreTruncatedAndTheLabelsPlaceIsTruncatedOnce) {
    g_findings = {
        findingAt({{400.9F, 200.9F}, {600.9F, 200.2F}, {600.4F, 400.7F}, {400.1F, 400.9F}},
                  in_AOI1_briefly, 0, 42)};
    const Stream stream;
    Picture picture(stream);
    picture.render();

    Expectation expected(stream, 3, 21);
    expected.outline(kSquare, kGreen);
    // Centre (500.65, 300.8): less 8, plus 4.
    expected.label("42", 492, 304);
    expected.status("Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, TheLabelIsCentredBetweenTheFirstAndTheThirdCorner) {
    g_findings = {findingAt({{400, 200}, {700, 220}, {620, 420}, {100, 600}}, in_AOI1_briefly)};
    const Stream stream;
    Picture picture(stream);
    picture.render();

    Expectation expected(stream, 3, 21);
    expected.outline({{400, 200}, {700, 220}, {620, 420}, {100, 600}}, kGreen);
    expected.label("7", 506, 314);
    expected.status("Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, AMirroredStreamHasItsMarkersMirroredAndItsTextUpright) {
    g_findings = {findingAt({{400, 200}, {600, 200}, {600, 400}, {400, 400}}, in_AOI1_briefly)};
    const Stream stream{1280, 720, 0, true};
    Picture picture(stream);
    picture.render();

    Expectation expected(stream, 3, 21);
    expected.outline({{879, 200}, {679, 200}, {679, 400}, {879, 400}}, kGreen);
    expected.label("7", 1279 - 496, 304);
    expected.status("Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, APortraitStreamIsDrawnUprightWithItsStatusLineAtTheLowerEdge) {
    for (const int rotation : {90, 270}) {
        OverlayManager::SetApplicationStreamResolution(720, 1280);
        g_AnalysisStreamWidth = 720;
        g_AnalysisStreamHeight = 1280;
        g_findings = {
            findingAt({{100, 900}, {300, 900}, {300, 1100}, {100, 1100}}, in_AOI1_briefly)};
        const Stream stream{1280, 720, rotation};
        Picture picture(stream);
        picture.render();

        Expectation expected(stream, 3, 21);
        expected.outline({{100, 900}, {300, 900}, {300, 1100}, {100, 1100}}, kGreen);
        expected.label("7", 196, 1004);
        expected.status("Status 200 : 37 ms. ");
        EXPECT_EQ(picture.differenceFrom(expected), "") << rotation;
        EXPECT_EQ(picture.pixel(200, 900), kGreen) << rotation;
        EXPECT_GT(picture.inkIn(0, 1240, 720, 40), 0) << rotation;
        EXPECT_EQ(picture.inkIn(0, 1120, 720, 120), 0) << rotation;
    }
}

TEST_F(OverlayRenderTest, AMirroredPortraitStreamIsMirroredAcrossItsUprightWidth) {
    OverlayManager::SetApplicationStreamResolution(720, 1280);
    g_AnalysisStreamWidth = 720;
    g_AnalysisStreamHeight = 1280;
    g_findings = {findingAt({{100, 900}, {300, 900}, {300, 1100}, {100, 1100}}, in_AOI1_briefly)};
    const Stream stream{1280, 720, 90, true};
    Picture picture(stream);
    picture.render();

    Expectation expected(stream, 3, 21);
    expected.outline({{619, 900}, {419, 900}, {419, 1100}, {619, 1100}}, kGreen);
    expected.label("7", 719 - 196, 1004);
    expected.status("Status 200 : 37 ms. ");
    EXPECT_EQ(picture.differenceFrom(expected), "");
}

TEST_F(OverlayRenderTest, APortraitStreamOfAnotherAspectRatioHasTheRatiosComparedTheOtherWayRound) {
    OverlayManager::SetApplicationStreamResolution(480, 640);
    g_AnalysisStreamWidth = 720;
    g_AnalysisStreamHeight = 1280;
    g_findings = {findingAt({{100, 900}, {300, 900}, {300, 1100}, {100, 1100}}, in_AOI1_briefly)};
    const Stream stream{640, 480, 90};

    // 160 rows are cut away above and below; the scale is 479 / 719.
    Picture cropped(stream);
    cropped.render();
    Expectation expected(stream, 3, 16);
    expected.outline({{66, 492}, {199, 492}, {199, 626}, {66, 626}}, kGreen);
    expected.label("7", 130, 562);
    expected.status("Status 200 : 37 ms. ");
    EXPECT_EQ(cropped.differenceFrom(expected), "");

    // On any other sensor the whole picture is shown between two bands of 60 columns, at 639 /
    // 1279.
    g_SensorIs16x9 = false;
    Picture embedded(stream);
    embedded.render();
    Expectation whole(stream, 3, 16);
    whole.outline({{110, 450}, {210, 450}, {210, 550}, {110, 550}}, kGreen);
    whole.label("7", 158, 502);
    whole.status("Status 200 : 37 ms. ");
    EXPECT_EQ(embedded.differenceFrom(whole), "");
}

TEST_F(OverlayRenderTest, EdgesAreSmoothedAsWellAsCanBe) {
    Picture picture(Stream{});
    picture.render();

    EXPECT_EQ(cairo_get_antialias(picture.cairo()), CAIRO_ANTIALIAS_BEST);
}

TEST_F(OverlayRenderTest, TheStatusLineOfALandscapeStreamStandsTwoTextHeightsAboveItsLowerEdge) {
    const Stream stream;
    Picture picture(stream);
    picture.render();

    cairo_text_extents_t extents;
    cairo_text_extents(picture.cairo(), "Status 200 : 37 ms. ", &extents);
    ASSERT_GT(extents.height, 5);
    const int baseline = static_cast<int>(720 - 2 * extents.height);
    const int top = static_cast<int>(baseline + extents.y_bearing);
    EXPECT_EQ(picture.inkIn(0, 0, 1280, top - 2), 0);
    EXPECT_GT(picture.inkIn(10, top - 2, 400, baseline - top), 0);
    EXPECT_EQ(picture.inkIn(0, 0, 8, 720), 0);
}

} // namespace
