// The settings document as the page gets it, its scanner, the areas, and the status in words.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/shared_state.h"
#include "tests/unit/settings/settings_document_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;
using testing_support::g_overlayStandIn;
using testing_support::SettingsDocumentTest;

namespace {

auto parse(const std::string& xml) {
    return parameter_io::parseXMLData_no_dependency(xml);
}

// ---- Rendering

TEST_F(SettingsDocumentTest, DocumentHoldsEveryElementInOrderOnOneLine) {
    g_ConfigParams.i_MarkersSeconds = 30;
    g_ConfigParams.b_IsRequirePresent = true;
    g_ConfigParams.b_DisplayNonAOI = false;
    g_ConfigParams.str_SelectedDictionary = "5x5";
    g_ConfigParams.b_EulaAccepted = true;
    g_ConfigParams.b_DetectionOverlaysOn = false;
    g_ConfigParams.str_DetectionOverlay = "1280x720";
    for (int k = 0; k < 8; ++k) {
        g_ConfigParams.i_Detection1[k] = 64 * k;
        g_ConfigParams.i_Detection2[k] = 36 * k;
        g_ConfigParams.i_Detection3[k] = k;
    }
    EXPECT_EQ(parameter_io::get_parameters(),
              "<app><Markers_Secs>30</Markers_Secs><Markers_Present>1</Markers_Present>"
              "<DisplayNonAOI>0</DisplayNonAOI><SelectedDictionary>5x5</SelectedDictionary>"
              "<Eula>1</Eula><DetectionOverlaysOn>0</DetectionOverlaysOn>"
              "<SelectedDetectionOverlay>1280x720</SelectedDetectionOverlay>"
              "<CamsResAsCsv>640x360,1280x720,</CamsResAsCsv>"
              "<Detection1_0>0</Detection1_0><Detection1_1>17</Detection1_1>"
              "<Detection1_2>20</Detection1_2><Detection1_3>53</Detection1_3>"
              "<Detection1_4>40</Detection1_4><Detection1_5>88</Detection1_5>"
              "<Detection1_6>60</Detection1_6><Detection1_7>124</Detection1_7>"
              "<Detection2_0>0</Detection2_0><Detection2_1>10</Detection2_1>"
              "<Detection2_2>11</Detection2_2><Detection2_3>30</Detection2_3>"
              "<Detection2_4>22</Detection2_4><Detection2_5>50</Detection2_5>"
              "<Detection2_6>33</Detection2_6><Detection2_7>70</Detection2_7>"
              "<Detection3_0>0</Detection3_0><Detection3_1>0</Detection3_1>"
              "<Detection3_2>0</Detection3_2><Detection3_3>0</Detection3_3>"
              "<Detection3_4>0</Detection3_4><Detection3_5>1</Detection3_5>"
              "<Detection3_6>0</Detection3_6><Detection3_7>1</Detection3_7></app>");
}

TEST_F(SettingsDocumentTest, FlagsAreShownAsOneAndZero) {
    g_ConfigParams.b_DisplayNonAOI = true;
    g_ConfigParams.b_DetectionOverlaysOn = true;
    const std::string document = parameter_io::get_parameters();
    EXPECT_THAT(document, testing::HasSubstr("<Markers_Present>0</Markers_Present>"
                                             "<DisplayNonAOI>1</DisplayNonAOI>"));
    EXPECT_THAT(document,
                testing::HasSubstr("<Eula>0</Eula><DetectionOverlaysOn>1</DetectionOverlaysOn>"));
}

TEST_F(SettingsDocumentTest, TextsAreNotEscaped) {
    g_ConfigParams.str_SelectedDictionary = "<&>\"";
    EXPECT_THAT(parameter_io::get_parameters(),
                testing::HasSubstr("<SelectedDictionary><&>\"</SelectedDictionary>"));
}

TEST_F(SettingsDocumentTest, ResolutionsAreThoseOfTheCamera) {
    g_overlayStandIn.resolutions = "1920x1080,";
    EXPECT_EQ(parameter_io::CameraResolutionsAsCsv(), "1920x1080,");
    g_overlayStandIn.resolutions = "";
    EXPECT_THAT(parameter_io::get_parameters(),
                testing::HasSubstr("<CamsResAsCsv></CamsResAsCsv>"));
}

// ---- Scanner

TEST(DocumentScanner, ElementsBecomeNamesAndTexts) {
    EXPECT_THAT(parse("<root><a>1</a><b>two words</b></root>"),
                ElementsAre(Pair("a", "1"), Pair("b", "two words")));
}

TEST(DocumentScanner, WhatStandsOutsideOfTheRootDoesNotCount) {
    EXPECT_THAT(parse("<?xml version=\"1.0\"?><x>0</x><root><a>1</a></root><b>2</b>"),
                ElementsAre(Pair("a", "1")));
}

TEST(DocumentScanner, WithoutARootTheDocumentBeginsAtItsSixthCharacter) {
    EXPECT_THAT(parse("<app><a>1</a></app>"), ElementsAre(Pair("a", "1")));
    EXPECT_THAT(parse("<a>1</a><b>2</b>"), ElementsAre(Pair("b", "2")));
    EXPECT_THAT(parse("<x1><a>1</a>"), IsEmpty());
}

TEST(DocumentScanner, DocumentShorterThanThatHoldsNothing) {
    for (const char* const xml : {"", "<", "<a>", "<a>1<"}) {
        EXPECT_THAT(parse(xml), IsEmpty()) << xml;
    }
}

TEST(DocumentScanner, WithoutTheEndOfTheRootItRunsToTheEnd) {
    EXPECT_THAT(parse("<root><a>1</a><b>2"), ElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST(DocumentScanner, EndOfTheRootBeforeItsStartDoesNotEndIt) {
    EXPECT_THAT(parse("</root><root><a>1</a>"), ElementsAre(Pair("a", "1")));
}

TEST(DocumentScanner, FirstRootAndFirstEndCount) {
    EXPECT_THAT(parse("<root><a>1</a></root><root><b>2</b></root>"), ElementsAre(Pair("a", "1")));
    EXPECT_THAT(parse("<root><a>1</a><root><b>2</b></root>"),
                ElementsAre(Pair("a", "1"), Pair("b", "2"), Pair("root", "")));
}

TEST(DocumentScanner, LaterElementOfTheSameNameOverwritesAnEarlierOne) {
    EXPECT_THAT(parse("<root><Eula>1</Eula><Eula>0</Eula></root>"), ElementsAre(Pair("Eula", "0")));
}

TEST(DocumentScanner, NothingIsTrimmedOrDecoded) {
    EXPECT_THAT(parse("<root><a> x\n&lt; </a></root>"), ElementsAre(Pair("a", " x\n&lt; ")));
}

TEST(DocumentScanner, AttributesStayPartOfTheTag) {
    EXPECT_THAT(parse("<root><a b=\"1\">2</a><c/>3</root>"),
                ElementsAre(Pair("a b=\"1\"", "2"), Pair("c/", "3")));
}

TEST(DocumentScanner, ElementWithChildrenHasTheTextBeforeItsFirstChild) {
    EXPECT_THAT(parse("<root><a>x<b>1</b>y</a></root>"),
                ElementsAre(Pair("a", "x"), Pair("b", "1")));
}

TEST(DocumentScanner, EmptyTagIsAName) {
    EXPECT_THAT(parse("<root><>x</root>"), ElementsAre(Pair("", "x")));
}

TEST(DocumentScanner, TagReachesUpToTheNextClosingBracketWhateverStandsBetween) {
    EXPECT_THAT(parse("<root><a<b>1</b></root>"), ElementsAre(Pair("a<b", "1")));
}

TEST(DocumentScanner, TagThatIsNeverClosedIsNone) {
    EXPECT_THAT(parse("<root><a>1</a><b"), ElementsAre(Pair("a", "1")));
    EXPECT_THAT(parse("<root><b</root>"), IsEmpty());
}

TEST(DocumentScanner, ClosingTagsAreSkippedWithTheTextBehindThem) {
    EXPECT_THAT(parse("<root></a>x<b>1</b></root>"), ElementsAre(Pair("b", "1")));
}

TEST(DocumentScanner, LargeDocumentIsScannedInOneGo) {
    std::string xml = "<root>";
    for (int i = 0; i < 100'000; ++i) {
        xml += "<e" + std::to_string(i) + ">";
    }
    EXPECT_EQ(parse(xml).size(), 100'000U);
    EXPECT_THAT(parse("<root>" + std::string(1'000'000, '<')), IsEmpty());
}

// ---- Areas

TEST_F(SettingsDocumentTest, EachAreaBecomesFourPoints) {
    for (int k = 0; k < 8; ++k) {
        g_ConfigParams.i_Detection1[k] = 10 + k;
        g_ConfigParams.i_Detection2[k] = -k;
        g_ConfigParams.i_Detection3[k] = 0;
    }
    parameter_io::store_points_into_AOI();
    EXPECT_THAT(g_AreaofInterest.get_detection(1),
                ElementsAre(cv::Point2f(10, 11), cv::Point2f(12, 13), cv::Point2f(14, 15),
                            cv::Point2f(16, 17)));
    EXPECT_THAT(g_AreaofInterest.get_detection(2),
                ElementsAre(cv::Point2f(0, -1), cv::Point2f(-2, -3), cv::Point2f(-4, -5),
                            cv::Point2f(-6, -7)));
    EXPECT_THAT(
        g_AreaofInterest.get_detection(3),
        ElementsAre(cv::Point2f(0, 0), cv::Point2f(0, 0), cv::Point2f(0, 0), cv::Point2f(0, 0)));
}

TEST_F(SettingsDocumentTest, AreasReplaceThoseBefore) {
    g_AreaofInterest.set_detection(1, t_Polygon(9));
    parameter_io::store_points_into_AOI();
    EXPECT_EQ(g_AreaofInterest.get_detection(1).size(), 4U);
}

// ---- Status

TEST(StatusText, EveryCodeHasItsText) {
    const std::pair<int, const char*> table[] = {
        {50, "Unknown status"},
        {100, "Starting"},
        {200, "Markers "},
        {300, "Stopped"},
        {400, "Data error"},
        {402, "Locations error"},
        {403, "AOI error"},
        {405, "Findings error"},
        {406, "Events error"},
        {408, "EULA has not been accepted (if EULA is not shown, press Ctrl+F5)"},
        {502, "Marker event sent"},
        {600, "Slow"},
        {700, "No connection error"}};
    for (int code = -1; code <= 1000; ++code) {
        std::string expected = "Unknown default status";
        for (const auto& [known, text] : table) {
            expected = known == code ? text : expected;
        }
        EXPECT_EQ(parameter_io::status_to_string(code), expected) << code;
    }
}

TEST(StatusText, CodeThatIsNotInTheTableHasTheDefaultText) {
    EXPECT_EQ(parameter_io::status_to_string(401), "Unknown default status");
    EXPECT_EQ(parameter_io::status_to_string(0), "Unknown default status");
}

TEST_F(SettingsDocumentTest, StatusIsToldAsCodeAndText) {
    storeShared(g_StatusCode, 502);
    storeShared(g_ExecutionTime, 37);
    EXPECT_EQ(parameter_io::get_status_code(), "502");
    EXPECT_EQ(parameter_io::get_status_string(), "Marker event sent");
    EXPECT_EQ(parameter_io::get_execution_time(), "37");
}

TEST_F(SettingsDocumentTest, PortraitIsToldAsOneAndZero) {
    g_IsPortrait = true;
    EXPECT_EQ(parameter_io::get_is_portrait(), "1");
    g_IsPortrait = false;
    EXPECT_EQ(parameter_io::get_is_portrait(), "0");
}

TEST_F(SettingsDocumentTest, AspectRatioIsThatOfTheSensor) {
    EXPECT_EQ(parameter_io::get_aspect_ratio(), "16:9");
    camera.configure("[camera]\naspect-ratio=4:3\n");
    g_ParameterController.init_controller("zerith_markers");
    EXPECT_EQ(parameter_io::get_aspect_ratio(), "4:3");
}

TEST(ParameterIo, IsAnObjectWithoutState) {
    const parameter_io io;
    EXPECT_EQ(io.status_to_string(200), "Markers ");
    EXPECT_TRUE(std::is_empty_v<parameter_io>);
}

} // namespace
