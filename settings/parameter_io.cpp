#include "settings/parameter_io.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "analysis/area_of_interest.h"
#include "core/Logger.h"
#include "core/app_state.h"
#include "core/shared_state.h"
#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "settings/parameter_controller.h"

namespace {

using Elements = std::map<std::string, std::string>;

constexpr int kCorners = 4;
constexpr int kCoordinates = 2 * kCorners;

/// An element's text; empty when it is missing.
std::string textOf(const Elements& elements, const std::string& name) {
    const auto found = elements.find(name);
    return found == elements.end() ? std::string() : found->second;
}

bool flagOf(const Elements& elements, const std::string& name) {
    // Deliberate: "true" is false.
    return textOf(elements, name) == "1";
}

const char* flagText(bool flag) {
    return flag ? "1" : "0";
}

std::string element(const std::string& name, const std::string& value) {
    return "<" + name + ">" + value + "</" + name + ">";
}

/// "Detection1_0": the element of one coordinate of an area.
std::string coordinateElement(int area, int index) {
    return "Detection" + std::to_string(area) + "_" + std::to_string(index);
}

/// The length in pixels that an area's coordinate is a part of.
int fullLength(int index) {
    return index % 2 == 0 ? g_AnalysisStreamWidth : g_AnalysisStreamHeight;
}

/// A result that does not fit takes the nearest value that does.
int toInt(std::int64_t value) {
    return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

int percentToPixel(int percent, int length) {
    return toInt(std::int64_t{percent} * length / 100);
}

int pixelToPercent(int pixel, int length) {
    return length == 0 ? 0 : toInt(std::int64_t{pixel} * 100 / length);
}

std::string areaElements(int area, const int* coordinates) {
    std::string text;
    for (int i = 0; i < kCoordinates; ++i) {
        text += element(coordinateElement(area, i),
                        std::to_string(pixelToPercent(coordinates[i], fullLength(i))));
    }
    return text;
}

/// The part of a document that holds its elements.
std::string rootContent(const std::string& xml) {
    static constexpr std::string_view kRoot = "<root>";
    static constexpr std::size_t kStartWithoutRoot = 5;
    const std::size_t root = xml.find(kRoot);
    const std::size_t start = root == std::string::npos ? kStartWithoutRoot : root + kRoot.size();
    const std::size_t end = xml.find("</root>");
    if (start >= xml.size()) {
        return "";
    }
    return end == std::string::npos || end < start ? xml.substr(start)
                                                   : xml.substr(start, end - start);
}

/// Fields of the settings that do not depend on anything else. Called with the settings' lock held;
/// a number that does not convert leaves the fields before it assigned.
void assignOptions(const Elements& elements) {
    g_ConfigParams.b_IsRequirePresent = flagOf(elements, "Markers_Present");
    g_ConfigParams.i_MarkersSeconds = std::stoi(textOf(elements, "Markers_Secs"));
    g_ConfigParams.b_DetectionOverlaysOn = flagOf(elements, "DetectionOverlaysOn");
    g_ConfigParams.str_DetectionOverlay = textOf(elements, "SelectedDetectionOverlay");
    g_ConfigParams.b_DisplayNonAOI = flagOf(elements, "DisplayNonAOI");
    g_ConfigParams.b_EulaAccepted = flagOf(elements, "Eula");
    g_ConfigParams.str_SelectedDictionary = textOf(elements, "SelectedDictionary");
}

/// The same for the corners of area 1.
void assignArea(const Elements& elements) {
    for (int i = 0; i < kCoordinates; ++i) {
        g_ConfigParams.i_Detection1[i] =
            percentToPixel(std::stoi(textOf(elements, coordinateElement(1, i))), fullLength(i));
    }
}

} // namespace

std::string parameter_io::get_parameters() {
    const ConfigParams c = currentConfigParams();
    return "<app>" + element("Markers_Secs", std::to_string(c.i_MarkersSeconds)) +
           element("Markers_Present", flagText(c.b_IsRequirePresent)) +
           element("DisplayNonAOI", flagText(c.b_DisplayNonAOI)) +
           element("SelectedDictionary", c.str_SelectedDictionary) +
           element("Eula", flagText(c.b_EulaAccepted)) +
           element("DetectionOverlaysOn", flagText(c.b_DetectionOverlaysOn)) +
           element("SelectedDetectionOverlay", c.str_DetectionOverlay) +
           element("CamsResAsCsv", CameraResolutionsAsCsv()) + areaElements(1, c.i_Detection1) +
           areaElements(2, c.i_Detection2) + areaElements(3, c.i_Detection3) + "</app>";
}

int parameter_io::set_post_parameters(std::string payload) {
    const Elements elements = parseXMLData_no_dependency(std::move(payload));
    if (elements.empty()) {
        g_Logger.error("set_post_parameters: Failed to parse XML payload");
        return -1;
    }
    std::string overlayStream = "0x0"; // switches the detection overlay's stream off
    {
        const auto lock = lockConfigParams();
        assignOptions(elements);
        if (g_ConfigParams.b_DetectionOverlaysOn) {
            overlayStream = g_ConfigParams.str_DetectionOverlay;
        }
    }
    OverlayManager::SetOverlayStreamResolutionFromString(overlayStream);
    {
        const auto lock = lockConfigParams();
        assignArea(elements);
    }
    store_points_into_AOI();
    g_ParameterController.save_config(currentConfigParams());
    return 0;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes the text by value.
std::map<std::string, std::string> parameter_io::parseXMLData_no_dependency(std::string xml) {
    const std::string content = rootContent(xml);
    Elements elements;
    std::size_t open = content.find('<');
    while (open != std::string::npos) {
        const std::size_t close = content.find('>', open);
        if (close == std::string::npos) {
            break;
        }
        const std::string tag = content.substr(open + 1, close - open - 1);
        open = content.find('<', close);
        if (!tag.starts_with('/')) {
            elements[tag] = content.substr(close + 1, open == std::string::npos ? std::string::npos
                                                                                : open - close - 1);
        }
    }
    return elements;
}

void parameter_io::store_points_into_AOI() {
    const ConfigParams c = currentConfigParams();
    const int* const areas[] = {c.i_Detection1, c.i_Detection2, c.i_Detection3};
    int number = 0;
    for (const int* const coordinates : areas) {
        t_Polygon points;
        for (int corner = 0; corner < kCorners; ++corner) {
            points.emplace_back(static_cast<float>(coordinates[2 * corner]),
                                static_cast<float>(coordinates[2 * corner + 1]));
        }
        g_AreaofInterest.set_detection(++number, points);
    }
}

std::string parameter_io::status_to_string(int code) {
    switch (code) {
    case 50:
        return "Unknown status";
    case 100:
        return "Starting";
    case 200:
        return "Markers ";
    case 300:
        return "Stopped";
    case 400:
        return "Data error";
    case 402:
        return "Locations error";
    case 403:
        return "AOI error";
    case 405:
        return "Findings error";
    case 406:
        return "Events error";
    case 408:
        return "EULA has not been accepted (if EULA is not shown, press Ctrl+F5)";
    case 502:
        return "Marker event sent";
    case 600:
        return "Slow";
    case 700:
        return "No connection error";
    default:
        return "Unknown default status";
    }
}

std::string parameter_io::get_status_code() {
    return std::to_string(loadShared(g_StatusCode));
}

std::string parameter_io::get_status_string() {
    return status_to_string(loadShared(g_StatusCode));
}

std::string parameter_io::get_execution_time() {
    return std::to_string(loadShared(g_ExecutionTime));
}

std::string parameter_io::get_is_portrait() {
    return flagText(g_IsPortrait);
}

std::string parameter_io::get_aspect_ratio() {
    return g_ParameterController.get_sensor_aspect_ratio();
}

std::string parameter_io::CameraResolutionsAsCsv() {
    return OverlayManager::getCamerasResolutionsAsCsv();
}
