// Submitting a settings document: what is put in force, in which order, and what a wrong one
// leaves.

#include <atomic>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/settings/settings_document_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;
using testing_support::g_overlayStandIn;
using testing_support::logLines;
using testing_support::parameterCalls;
using testing_support::Payload;
using testing_support::SettingsDocumentTest;

namespace {

TEST_F(SettingsDocumentTest, EveryFieldOfAPayloadIsPutInForce) {
    EXPECT_EQ(parameter_io::set_post_parameters(Payload().text()), 0);
    EXPECT_TRUE(g_ConfigParams.b_IsRequirePresent);
    EXPECT_EQ(g_ConfigParams.i_MarkersSeconds, 12);
    EXPECT_TRUE(g_ConfigParams.b_DetectionOverlaysOn);
    EXPECT_EQ(g_ConfigParams.str_DetectionOverlay, "1920x1080");
    EXPECT_TRUE(g_ConfigParams.b_DisplayNonAOI);
    EXPECT_TRUE(g_ConfigParams.b_EulaAccepted);
    EXPECT_EQ(g_ConfigParams.str_SelectedDictionary, "6x6");
    // 10 to 17 per cent of 640 (even) and 360 (odd).
    EXPECT_THAT(std::vector(g_ConfigParams.i_Detection1, g_ConfigParams.i_Detection1 + 8),
                ElementsAre(64, 39, 76, 46, 89, 54, 102, 61));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SettingsDocumentTest, WholeRecordIsStored) {
    EXPECT_EQ(parameter_io::set_post_parameters(Payload().text()), 0);
    EXPECT_THAT(parameterCalls("set"), SizeIs(39));
    EXPECT_EQ(g_ParameterController.get_string_parameter("MarkersSeconds"), "12");
    EXPECT_EQ(g_ParameterController.get_string_parameter("SelectedDetectionOverlay"), "1920x1080");
    EXPECT_EQ(g_ParameterController.get_string_parameter("EulaAccepted"), "true");
    EXPECT_EQ(g_ParameterController.get_string_parameter("Detection13y"), "61");
}

TEST_F(SettingsDocumentTest, AreaOneIsPutInForceAsAPolygon) {
    EXPECT_EQ(parameter_io::set_post_parameters(Payload().text()), 0);
    EXPECT_THAT(g_AreaofInterest.get_detection(1),
                ElementsAre(cv::Point2f(64, 39), cv::Point2f(76, 46), cv::Point2f(89, 54),
                            cv::Point2f(102, 61)));
}

TEST_F(SettingsDocumentTest, PayloadWithoutElementsIsLoggedAndChangesNothing) {
    g_ConfigParams.i_MarkersSeconds = 5;
    for (const char* const payload : {"", "text", "<root></root>", "<root>text</root>", "<root",
                                      "</root>", "<root><a", "<root></a></root>"}) {
        testing_support::forgetLog();
        EXPECT_EQ(parameter_io::set_post_parameters(payload), -1) << payload;
        EXPECT_THAT(logLines(),
                    ElementsAre("error|set_post_parameters: Failed to parse XML payload"));
    }
    EXPECT_EQ(g_ConfigParams.i_MarkersSeconds, 5);
    EXPECT_THAT(g_overlayStandIn.streamTexts, IsEmpty());
    EXPECT_THAT(parameterCalls(), IsEmpty());
}

TEST_F(SettingsDocumentTest, FlagsAreTrueForExactlyOne) {
    for (const char* const text : {"true", "0", "", " 1", "01", "1 ", "yes"}) {
        EXPECT_EQ(parameter_io::set_post_parameters(Payload()
                                                        .with("Markers_Present", text)
                                                        .with("DisplayNonAOI", text)
                                                        .with("Eula", text)
                                                        .with("DetectionOverlaysOn", text)
                                                        .text()),
                  0);
        EXPECT_FALSE(g_ConfigParams.b_IsRequirePresent) << text;
        EXPECT_FALSE(g_ConfigParams.b_DisplayNonAOI) << text;
        EXPECT_FALSE(g_ConfigParams.b_EulaAccepted) << text;
        EXPECT_FALSE(g_ConfigParams.b_DetectionOverlaysOn) << text;
    }
}

TEST_F(SettingsDocumentTest, MissingFlagsAndTextsReadAsEmpty) {
    g_ConfigParams.b_EulaAccepted = true;
    g_ConfigParams.str_SelectedDictionary = "4x4";
    EXPECT_EQ(parameter_io::set_post_parameters(
                  Payload().without("Eula").without("SelectedDictionary").text()),
              0);
    EXPECT_FALSE(g_ConfigParams.b_EulaAccepted);
    EXPECT_EQ(g_ConfigParams.str_SelectedDictionary, "");
}

TEST_F(SettingsDocumentTest, LastOfTwoElementsOfOneNameWins) {
    const std::string start = Payload().without("Eula").text();
    const std::string open = start.substr(0, start.size() - std::string("</root>").size());
    EXPECT_EQ(parameter_io::set_post_parameters(open + "<Eula>1</Eula><Eula>0</Eula></root>"), 0);
    EXPECT_FALSE(g_ConfigParams.b_EulaAccepted);
    EXPECT_EQ(parameter_io::set_post_parameters(open + "<Eula>0</Eula><Eula>1</Eula></root>"), 0);
    EXPECT_TRUE(g_ConfigParams.b_EulaAccepted);
}

TEST_F(SettingsDocumentTest, OverlayStreamIsSetFromTheTextWhenOverlaysAreOn) {
    EXPECT_EQ(parameter_io::set_post_parameters(
                  Payload().with("SelectedDetectionOverlay", "640x360").text()),
              0);
    EXPECT_THAT(g_overlayStandIn.streamTexts, ElementsAre("640x360"));
}

TEST_F(SettingsDocumentTest, OverlayStreamIsSwitchedOffWhenOverlaysAreOff) {
    EXPECT_EQ(parameter_io::set_post_parameters(Payload().with("DetectionOverlaysOn", "0").text()),
              0);
    EXPECT_THAT(g_overlayStandIn.streamTexts, ElementsAre("0x0"));
    EXPECT_EQ(g_ConfigParams.str_DetectionOverlay, "1920x1080");
}

TEST_F(SettingsDocumentTest, OverlayStreamIsSetAfterTheOptionsAndBeforeTheAreaAndTheStore) {
    EXPECT_EQ(parameter_io::set_post_parameters(Payload().text()), 0);
    ASSERT_TRUE(g_overlayStandIn.settingsAtTheCall);
    EXPECT_EQ(g_overlayStandIn.settingsAtTheCall->str_SelectedDictionary, "6x6");
    EXPECT_EQ(g_overlayStandIn.settingsAtTheCall->i_Detection1[0], 0);
    EXPECT_THAT(g_overlayStandIn.parameterCallsAtTheCall, IsEmpty());
}

TEST_F(SettingsDocumentTest, ElementsOfAreasTwoAndThreeAreIgnored) {
    g_ConfigParams.i_Detection2[0] = 21;
    g_ConfigParams.i_Detection3[7] = 37;
    EXPECT_EQ(parameter_io::set_post_parameters(
                  Payload().with("Detection2_0", "50").with("Detection3_7", "x").text()),
              0);
    EXPECT_EQ(g_ConfigParams.i_Detection2[0], 21);
    EXPECT_EQ(g_ConfigParams.i_Detection3[7], 37);
    EXPECT_EQ(g_AreaofInterest.get_detection(2).at(0), cv::Point2f(21, 0));
    EXPECT_EQ(g_AreaofInterest.get_detection(3).at(3), cv::Point2f(0, 37));
}

TEST_F(SettingsDocumentTest, UnknownElementsAreIgnored) {
    EXPECT_EQ(parameter_io::set_post_parameters(
                  Payload().with("CamsResAsCsv", "x").with("Nothing", "y").text()),
              0);
}

TEST_F(SettingsDocumentTest, MarkerRegionIsKept) {
    g_ConfigParams.i_Markers[4] = 44;
    EXPECT_EQ(parameter_io::set_post_parameters(Payload().text()), 0);
    EXPECT_EQ(g_ConfigParams.i_Markers[4], 44);
    EXPECT_EQ(g_ParameterController.get_gint_parameter("Markers2x"), 44);
}

// ---- Texts that do not convert

TEST_F(SettingsDocumentTest, MissingSecondsRaiseAndLeaveOnlyTheFieldBeforeThemAssigned) {
    EXPECT_THROW(parameter_io::set_post_parameters(Payload().without("Markers_Secs").text()),
                 std::invalid_argument);
    EXPECT_TRUE(g_ConfigParams.b_IsRequirePresent);
    EXPECT_FALSE(g_ConfigParams.b_DetectionOverlaysOn);
    EXPECT_EQ(g_ConfigParams.str_DetectionOverlay, "");
    EXPECT_FALSE(g_ConfigParams.b_EulaAccepted);
    EXPECT_THAT(g_overlayStandIn.streamTexts, IsEmpty());
    EXPECT_THAT(parameterCalls("set"), IsEmpty());
}

TEST_F(SettingsDocumentTest, SecondsThatAreNoIntRaise) {
    for (const char* const text : {"", "x", "-", "<"}) {
        EXPECT_THROW(parameter_io::set_post_parameters(Payload().with("Markers_Secs", text).text()),
                     std::invalid_argument)
            << text;
    }
    for (const char* const text : {"2147483648", "-2147483649", "99999999999999999999"}) {
        EXPECT_THROW(parameter_io::set_post_parameters(Payload().with("Markers_Secs", text).text()),
                     std::out_of_range)
            << text;
    }
    EXPECT_THAT(parameterCalls("set"), IsEmpty());
}

TEST_F(SettingsDocumentTest, OverlayTextThatIsRefusedRaisesAndKeepsTheOptions) {
    g_overlayStandIn.isTextRefused = true;
    EXPECT_THROW(parameter_io::set_post_parameters(Payload().text()), std::invalid_argument);
    EXPECT_EQ(g_ConfigParams.str_SelectedDictionary, "6x6");
    EXPECT_EQ(g_ConfigParams.i_Detection1[0], 0);
    EXPECT_THAT(parameterCalls("set"), IsEmpty());
}

TEST_F(SettingsDocumentTest, CornerThatIsNoNumberRaisesAndLeavesTheCornersBeforeItAssigned) {
    std::fill_n(g_ConfigParams.i_Detection1, 8, 1);
    EXPECT_THROW(parameter_io::set_post_parameters(Payload().with("Detection1_3", "x").text()),
                 std::invalid_argument);
    EXPECT_THAT(std::vector(g_ConfigParams.i_Detection1, g_ConfigParams.i_Detection1 + 8),
                ElementsAre(64, 39, 76, 1, 1, 1, 1, 1));
    EXPECT_THAT(g_AreaofInterest.get_detection(1), IsEmpty());
    EXPECT_THAT(g_overlayStandIn.streamTexts, SizeIs(1));
    EXPECT_THAT(parameterCalls("set"), IsEmpty());
}

TEST_F(SettingsDocumentTest, MissingCornerRaises) {
    EXPECT_THROW(parameter_io::set_post_parameters(Payload().without("Detection1_7").text()),
                 std::invalid_argument);
}

TEST_F(SettingsDocumentTest, RaiseLeavesTheSettingsUnlocked) {
    EXPECT_THROW(parameter_io::set_post_parameters(Payload().without("Markers_Secs").text()),
                 std::invalid_argument);
    EXPECT_THROW(parameter_io::set_post_parameters(Payload().without("Detection1_0").text()),
                 std::invalid_argument);
    EXPECT_TRUE(lockConfigParams().owns_lock());
}

TEST_F(SettingsDocumentTest, StoreThatFailsIsLoggedAndTheSettingsAreInForceAllTheSame) {
    hostcam::Fault fault;
    fault.call = "ax_parameter_set";
    fault.count = hostcam::Fault::kForever;
    hostcam::addFault(fault);
    EXPECT_EQ(parameter_io::set_post_parameters(Payload().text()), 0);
    EXPECT_THAT(logLines(), SizeIs(39));
    EXPECT_EQ(g_ConfigParams.i_MarkersSeconds, 12);
}

// ---- Threads

TEST_F(SettingsDocumentTest, ReaderNeverSeesOptionsOfOnePayloadMixedWithThoseOfAnother) {
    testing_support::skipWrites(true); // what is looked at is what is in force
    const auto payload = [](int seconds, const std::string& text) {
        return Payload()
            .with("Markers_Secs", std::to_string(seconds))
            .with("SelectedDictionary", text)
            .text();
    };
    ASSERT_EQ(parameter_io::set_post_parameters(payload(1, std::string(100, 'a'))), 0);
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        for (int i = 0; i < 50; ++i) {
            parameter_io::set_post_parameters(payload(1, std::string(100, 'a')));
            parameter_io::set_post_parameters(payload(2, std::string(200, 'b')));
        }
        isDone = true;
    });
    while (!isDone) {
        const ConfigParams c = currentConfigParams();
        EXPECT_EQ(c.str_SelectedDictionary,
                  std::string(static_cast<std::size_t>(c.i_MarkersSeconds * 100),
                              c.i_MarkersSeconds == 1 ? 'a' : 'b'));
        EXPECT_THAT(g_AreaofInterest.get_detection(1), SizeIs(4));
        EXPECT_FALSE(parameter_io::get_parameters().empty());
    }
    writer.join();
    testing_support::skipWrites(false);
}

} // namespace
