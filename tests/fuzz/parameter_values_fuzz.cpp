// Stored parameters of any content, one NAME=VALUE a line: what is loaded is what they say, what
// says no number is refused by name, and what was saved loads as the same settings.

#include <cmath>

#include "settings/parameter_controller.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/memory_parameters.h"

using fuzzing::parameters;
using fuzzing::require;

namespace {

constexpr int kCoordinates = 8;

std::string coordinate(const std::string& quadrilateral, int index) {
    return quadrilateral + std::to_string(index / 2) + (index % 2 == 0 ? "x" : "y");
}

bool sameSettings(const ConfigParams& a, const ConfigParams& b) {
    return a.b_DetectionOverlaysOn == b.b_DetectionOverlaysOn &&
           a.str_DetectionOverlay == b.str_DetectionOverlay &&
           a.b_DisplayNonAOI == b.b_DisplayNonAOI &&
           a.str_SelectedDictionary == b.str_SelectedDictionary &&
           a.i_MarkersSeconds == b.i_MarkersSeconds &&
           a.b_IsRequirePresent == b.b_IsRequirePresent && a.b_EulaAccepted == b.b_EulaAccepted &&
           std::equal(a.i_Detection1, a.i_Detection1 + kCoordinates, b.i_Detection1) &&
           std::equal(a.i_Detection2, a.i_Detection2 + kCoordinates, b.i_Detection2) &&
           std::equal(a.i_Detection3, a.i_Detection3 + kCoordinates, b.i_Detection3) &&
           std::equal(a.i_Markers, a.i_Markers + kCoordinates, b.i_Markers);
}

bool hasNegative(const ConfigParams& c) {
    const auto any = [](const int* values) {
        return std::any_of(values, values + kCoordinates, [](int value) { return value < 0; });
    };
    return c.i_MarkersSeconds < 0 || any(c.i_Detection1) || any(c.i_Detection2) ||
           any(c.i_Detection3) || any(c.i_Markers);
}

void requireLoaded(const ConfigParams& c) {
    const fuzzing::Parameters& stored = parameters();
    require(c.b_DetectionOverlaysOn == (stored.at("DetectionOverlaysOn") == "true") &&
                c.b_IsRequirePresent == (stored.at("IsRequirePresent") == "true") &&
                c.b_DisplayNonAOI == (stored.at("DisplayNonAOI") == "true") &&
                c.b_EulaAccepted == (stored.at("EulaAccepted") == "true"),
            "a switch is loaded differently");
    require(c.str_DetectionOverlay == stored.at("SelectedDetectionOverlay").c_str() &&
                c.str_SelectedDictionary == stored.at("SelectedDictionary").c_str(),
            "a text is loaded differently");
    require(c.i_MarkersSeconds == std::stoi(stored.at("MarkersSeconds")),
            "the seconds are loaded differently");
    bool isRegionSet = true;
    for (int i = 0; i < kCoordinates; ++i) {
        require(c.i_Detection1[i] == std::stoi(stored.at(coordinate("Detection1", i))) &&
                    c.i_Detection2[i] == std::stoi(stored.at(coordinate("Detection2", i))) &&
                    c.i_Detection3[i] == std::stoi(stored.at(coordinate("Detection3", i))),
                "a corner is loaded differently");
        isRegionSet = isRegionSet && std::stoi(stored.at(coordinate("Markers", i))) != 0;
    }
    constexpr int kDefault[kCoordinates] = {210, 180, 410, 180, 360, 290, 95, 280};
    for (int i = 0; i < kCoordinates; ++i) {
        require(c.i_Markers[i] ==
                    (isRegionSet ? std::stoi(stored.at(coordinate("Markers", i))) : kDefault[i]),
                "the region is loaded differently");
    }
}

/// A number, written and read in every form that there is.
void checkWrappers(parameter_controller& controller) {
    const std::string text = parameters().at("MarkersSeconds");
    require(controller.get_string_parameter("MarkersSeconds") == text.c_str(), "a text is another");
    require(controller.get_boolean_parameter("MarkersSeconds") == (text == "true"),
            "a switch is another");
    const float real = controller.get_gfloat_parameter("MarkersSeconds");
    controller.set_gfloat_parameter("MarkersSeconds", real);
    const float again = controller.get_gfloat_parameter("MarkersSeconds");
    // Six decimals are kept.
    require(std::isnan(real) ? std::isnan(again)
                             : real == again || std::fabs(real - again) <= 0.000001F,
            "a real number is stored differently");
    parameters()["MarkersSeconds"] = text;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static parameter_controller* const controller = [] {
        parameters() = fuzzing::factoryParameters();
        auto* const made = new parameter_controller;
        made->init_controller("fuzz");
        return made;
    }();
    parameters() = fuzzing::factoryParameters();
    for (const std::string& line : fuzzing::lines(fuzzing::Input(data, size).rest())) {
        const std::size_t equals = std::min(line.find('='), line.size());
        const auto known = parameters().find(line.substr(0, equals));
        if (known != parameters().end()) {
            known->second = line.substr(std::min(equals + 1, line.size())).c_str();
        }
    }
    static_cast<void>(controller->find_rotation_parameter());
    require(controller->get_sensor_aspect_ratio() ==
                parameters().at("root.ImageSource.I0.Sensor.AspectRatio"),
            "the aspect ratio is another");
    require(controller->findProdShortName() == parameters().at("root.Brand.ProdShortName"),
            "the product is another");
    checkWrappers(*controller);
    ConfigParams loaded{};
    try {
        loaded = controller->load_config();
    } catch (const std::invalid_argument& problem) {
        require(std::string(problem.what()).find("no number") != std::string::npos,
                "the reason is another");
        return 0;
    } catch (const std::out_of_range& problem) {
        require(std::string(problem.what()).find("out of range") != std::string::npos,
                "the reason is another");
        return 0;
    }
    requireLoaded(loaded);
    controller->save_config(loaded);
    try {
        require(sameSettings(controller->load_config(), loaded), "saved settings load differently");
        require(!hasNegative(loaded), "a negative number was loaded");
    } catch (const std::out_of_range&) {
        require(hasNegative(loaded), "saved settings do not load");
    }
    return 0;
}
