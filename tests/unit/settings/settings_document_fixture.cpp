#include "tests/unit/settings/settings_document_fixture.h"

#include <stdexcept>

#include "outputs/overlay_manager.h"

Logger g_Logger("settings-test", "./document_test_log.txt");
ConfigParams g_ConfigParams;
parameter_controller g_ParameterController;
area_of_interest g_AreaofInterest;
int g_StatusCode = 0;
int g_ExecutionTime = 0;
int g_AnalysisStreamWidth = 0;
int g_AnalysisStreamHeight = 0;
bool g_IsPortrait = false;

void OverlayManager::SetOverlayStreamResolutionFromString(const std::string& text) {
    using testing_support::g_overlayStandIn;
    g_overlayStandIn.streamTexts.push_back(text);
    g_overlayStandIn.settingsAtTheCall = currentConfigParams();
    g_overlayStandIn.parameterCallsAtTheCall = testing_support::parameterCalls("set");
    if (g_overlayStandIn.isTextRefused) {
        throw std::invalid_argument("stoi");
    }
}

std::string OverlayManager::getCamerasResolutionsAsCsv() {
    return testing_support::g_overlayStandIn.resolutions;
}

namespace testing_support {

OverlayStandIn g_overlayStandIn;

Payload::Payload()
    : m_elements{{"Markers_Secs", "12"},
                 {"Markers_Present", "1"},
                 {"DisplayNonAOI", "1"},
                 {"SelectedDictionary", "6x6"},
                 {"Eula", "1"},
                 {"DetectionOverlaysOn", "1"},
                 {"SelectedDetectionOverlay", "1920x1080"}} {
    for (int i = 0; i < 8; ++i) {
        m_elements.emplace_back("Detection1_" + std::to_string(i), std::to_string(10 + i));
    }
}

Payload& Payload::with(const std::string& element, const std::string& value) {
    without(element);
    m_elements.emplace_back(element, value);
    return *this;
}

Payload& Payload::without(const std::string& element) {
    std::erase_if(m_elements, [&](const auto& entry) { return entry.first == element; });
    return *this;
}

std::string Payload::text() const {
    std::string text = "<root>";
    for (const auto& [name, value] : m_elements) {
        text += "<" + name + ">" + value + "</" + name + ">";
    }
    return text + "</root>";
}

SettingsDocumentTest::SettingsDocumentTest() {
    g_ParameterController.init_controller("zerith_markers");
    g_ConfigParams = ConfigParams{};
    for (int area = 1; area <= 3; ++area) {
        g_AreaofInterest.set_detection(area, {});
    }
    g_AnalysisStreamWidth = 640;
    g_AnalysisStreamHeight = 360;
    g_overlayStandIn = OverlayStandIn();
    forgetLog();
    forgetParameterCalls();
}

} // namespace testing_support
