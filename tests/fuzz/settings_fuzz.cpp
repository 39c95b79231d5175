// A submitted settings document: one that is taken is in force as it says, stored, and rendered as
// it was sent; one that is refused has stored nothing.

#include <limits>

#include "core/app_state.h"
#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "settings/parameter_controller.h"
#include "settings/parameter_io.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/memory_parameters.h"

using fuzzing::parameters;
using fuzzing::require;

namespace {

using Elements = std::map<std::string, std::string>;

constexpr int kCoordinates = 8;

std::string corner(int index) {
    return "Detection1_" + std::to_string(index);
}

int lengthOf(int index) {
    return index % 2 == 0 ? g_AnalysisStreamWidth : g_AnalysisStreamHeight;
}

/// A percentage in pixels, as far as an int can tell it.
int pixels(const std::string& percent, int length) {
    const auto value = static_cast<long long>(std::stoi(percent)) * length / 100;
    return static_cast<int>(std::clamp<long long>(value, std::numeric_limits<int>::min(),
                                                  std::numeric_limits<int>::max()));
}

void requireInForce(Elements& document, const ConfigParams& before) {
    const ConfigParams now = currentConfigParams();
    require(now.b_IsRequirePresent == (document["Markers_Present"] == "1"), "the rule is another");
    require(now.i_MarkersSeconds == std::stoi(document["Markers_Secs"]), "the seconds are others");
    require(now.b_DetectionOverlaysOn == (document["DetectionOverlaysOn"] == "1"),
            "the overlays are others");
    require(now.str_DetectionOverlay == document["SelectedDetectionOverlay"],
            "the stream is another");
    require(now.b_DisplayNonAOI == (document["DisplayNonAOI"] == "1"), "the search is another");
    require(now.b_EulaAccepted == (document["Eula"] == "1"), "the agreement is another");
    require(now.str_SelectedDictionary == document["SelectedDictionary"],
            "the dictionary is another");
    for (int i = 0; i < kCoordinates; ++i) {
        require(now.i_Detection1[i] == pixels(document[corner(i)], lengthOf(i)),
                "a corner is another");
        require(now.i_Detection2[i] == before.i_Detection2[i] &&
                    now.i_Detection3[i] == before.i_Detection3[i],
                "an area that nobody may change has changed");
    }
    const std::string stream = now.b_DetectionOverlaysOn ? now.str_DetectionOverlay : "0x0";
    const std::size_t cross = stream.find('x');
    require(g_OverlayInfo.overlayStreamWidth ==
                    static_cast<unsigned>(std::stoi(stream.substr(0, cross))) &&
                g_OverlayInfo.overlayStreamHeight ==
                    static_cast<unsigned>(std::stoi(stream.substr(cross + 1))),
            "the overlay's stream has another size");
}

std::string asStored(int value) {
    return std::to_string(static_cast<unsigned>(value));
}

void requireStored() {
    const ConfigParams now = currentConfigParams();
    const fuzzing::Parameters& stored = parameters();
    const auto flag = [](bool value) { return value ? "true" : "false"; };
    require(stored.at("IsRequirePresent") == flag(now.b_IsRequirePresent) &&
                stored.at("DetectionOverlaysOn") == flag(now.b_DetectionOverlaysOn) &&
                stored.at("DisplayNonAOI") == flag(now.b_DisplayNonAOI) &&
                stored.at("EulaAccepted") == flag(now.b_EulaAccepted),
            "a switch is stored differently");
    // The camera's interface ends a text at its first zero.
    require(stored.at("SelectedDictionary") == now.str_SelectedDictionary.c_str() &&
                stored.at("SelectedDetectionOverlay") == now.str_DetectionOverlay.c_str(),
            "a text is stored differently");
    require(stored.at("MarkersSeconds") == asStored(now.i_MarkersSeconds),
            "the seconds are stored differently");
    for (int i = 0; i < kCoordinates; ++i) {
        const std::string name = "Detection1" + std::to_string(i / 2) + (i % 2 == 0 ? "x" : "y");
        require(stored.at(name) == asStored(now.i_Detection1[i]), "a corner is stored differently");
    }
    require(stored.size() == fuzzing::factoryParameters().size(),
            "a parameter is stored that is none");
}

/// The document that the page gets says what the one said that it sent.
void requireRendered(Elements& document) {
    std::string text = parameter_io::get_parameters();
    require(text.starts_with("<app>") && text.ends_with("</app>"), "the document has another form");
    text = "<root>" + text.substr(5, text.size() - 11) + "</root>";
    Elements rendered = parameter_io::parseXMLData_no_dependency(text);
    require(rendered["SelectedDictionary"] == document["SelectedDictionary"] &&
                rendered["SelectedDetectionOverlay"] == document["SelectedDetectionOverlay"],
            "a text is rendered differently");
    require(std::stoi(rendered["Markers_Secs"]) == std::stoi(document["Markers_Secs"]),
            "the seconds are rendered differently");
    for (const char* const name :
         {"Markers_Present", "DisplayNonAOI", "Eula", "DetectionOverlaysOn"}) {
        require((rendered[name] == "1") == (document[name] == "1") && rendered[name].size() == 1,
                "a switch is rendered differently");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzzing::Input(data, size).rest();
    g_AnalysisStreamWidth = 640;
    g_AnalysisStreamHeight = 360;
    parameters() = fuzzing::factoryParameters();
    g_ConfigParams = ConfigParams{};
    const ConfigParams before = g_ConfigParams;
    const fuzzing::Parameters stored = parameters();
    Elements document = parameter_io::parseXMLData_no_dependency(text);
    try {
        const int result = parameter_io::set_post_parameters(text);
        require(result == (document.empty() ? -1 : 0), "the result is another");
        if (result != 0) {
            require(parameters() == stored, "an empty document has stored something");
            return 0;
        }
    } catch (const std::logic_error&) {
        // std::stoi's: a text that is no number.
        require(parameters() == stored, "a refused document has stored something");
        return 0;
    }
    requireInForce(document, before);
    requireStored();
    requireRendered(document);
    return 0;
}
