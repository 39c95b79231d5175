#include "settings/parameter_controller.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "core/Logger.h"
#include "core/handles.h"

namespace {

/// The platform bears one parameter call at a time in a process, whoever makes it.
constinit std::mutex g_platformMutex;

/// The parameters that the application itself creates; the package declares all of them.
constexpr std::array kAddedParameters = {
    "IsRequirePresent", "MarkersSeconds", "Markers0x",           "Markers0y",
    "Markers1x",        "Markers1y",      "Markers2x",           "Markers2y",
    "Markers3x",        "Markers3y",      "DetectionOverlaysOn", "SelectedDetectionOverlay",
    "DisplayNonAOI",    "EulaAccepted",   "SelectedDictionary",
};

constexpr int kCoordinates = 8; ///< four corners, x and y

/// "Detection10x": the parameter of one coordinate of a quadrilateral.
std::string coordinateName(const std::string& quadrilateral, int index) {
    return quadrilateral + std::to_string(index / 2) + (index % 2 == 0 ? "x" : "y");
}

/// What the platform says with code 13 when a parameter is to be added: it is there already.
/// (AX_PARAMETER_PARAM_ADDED_ERROR; its neighbour with "EXIST" in its name means that it is not.)
constexpr int kAlreadyAdded = 13;

/// Runs a conversion of the standard library; what it throws names the parameter and its text.
template <typename Conversion>
auto convert(const std::string& name, const std::string& text, Conversion conversion) {
    const std::string problem = name + " holds \"" + text + "\", which is ";
    try {
        return conversion(text);
    } catch (const std::invalid_argument&) {
        throw std::invalid_argument(problem + "no number");
    } catch (const std::out_of_range&) {
        throw std::out_of_range(problem + "out of range");
    }
}

/// The text that a read without failure gave.
std::string textOf(const TextHandle& text) {
    if (text == nullptr) {
        throw std::runtime_error("the parameter service gave no value");
    }
    return text.get();
}

/// The region that stands in for one that was never set: x0, y0 .. x3, y3.
constexpr int kDefaultMarkers[kCoordinates] = {210, 180, 410, 180, 360, 290, 95, 280};

void replaceUnsetMarkers(int (&markers)[kCoordinates]) {
    if (std::ranges::find(markers, 0) != std::end(markers)) {
        std::ranges::copy(kDefaultMarkers, markers);
    }
}

} // namespace

/// What a read gave: a text, or the reason why not.
struct parameter_controller::ReadResult {
    bool isOk = false;
    TextHandle text;               ///< null after a failure, or when the platform gave none
    std::string error = "N/A";     ///< the platform's text after a failure
    AXParameter* handle = nullptr; ///< what was read with, for releaseHandle() after a failure
};

parameter_controller::parameter_controller()
    : m_Parameter(nullptr), m_rotation(0), m_isReleased(false) {}

// ---- The handle

/// Opens the handle again when it was given back. Called with g_platformMutex held.
/// @return false, with `error` set, when that fails; the next call tries again
bool parameter_controller::ensureOpen(ErrorSlot& error) {
    if (m_isReleased) {
        AXParameter* const handle = ax_parameter_new(m_appName.c_str(), error.out());
        if (handle == nullptr) {
            return false;
        }
        m_Parameter = handle;
        m_isReleased = false;
    }
    return true;
}

/// Gives a handle back after a call with it has failed and that was logged. When another thread has
/// done so in the meantime, nothing is left to do. One that init_controller() could not open counts
/// as given back from then on, so that the next call tries again.
void parameter_controller::releaseHandle(AXParameter* handle) {
    const std::lock_guard lock(g_platformMutex);
    if (m_isReleased || m_Parameter != handle) {
        return;
    }
    if (handle != nullptr) {
        ax_parameter_free(handle);
    }
    m_isReleased = true;
}

// The names come by value, as they are given; most are only looked at.
// NOLINTBEGIN(performance-unnecessary-value-param)

void parameter_controller::init_controller(std::string app_name) {
    bool isOpen = false;
    {
        const std::lock_guard lock(g_platformMutex);
        m_appName = std::move(app_name);
        m_Parameter = ax_parameter_new(m_appName.c_str(), nullptr);
        m_isReleased = false;
        isOpen = m_Parameter != nullptr;
    }
    if (!isOpen) {
        g_Logger.error("init_controller: Error initializing parameter of " + m_appName);
    }
    m_rotation = find_rotation_parameter();
    for (const char* const name : kAddedParameters) {
        add_parameter(name);
    }
}

void parameter_controller::add_parameter(std::string name) {
    std::string failure;
    AXParameter* handle = nullptr;
    {
        const std::lock_guard lock(g_platformMutex);
        ErrorSlot error;
        if (ensureOpen(error) &&
            (ax_parameter_add(m_Parameter, name.c_str(), "0", nullptr, error.out()) != FALSE ||
             error.code() == kAlreadyAdded)) {
            return;
        }
        failure = error.message();
        handle = m_Parameter;
    }
    g_Logger.error("add_parameter: Failed to add parameter " + name + ". Error: " + failure);
    releaseHandle(handle);
}

// ---- Typed writers and readers

/// @param caller the writer that logs
void parameter_controller::write(const char* caller, const std::string& name,
                                 const std::string& value) {
    AXParameter* handle = nullptr;
    {
        const std::lock_guard lock(g_platformMutex);
        ErrorSlot error;
        if (ensureOpen(error) && ax_parameter_set(m_Parameter, name.c_str(), value.c_str(), TRUE,
                                                  error.out()) != FALSE) {
            return;
        }
        handle = m_Parameter;
    }
    g_Logger.error(std::string(caller) + ": Failed to save " + name);
    releaseHandle(handle);
}

void parameter_controller::set_guint_parameter(std::string name, unsigned int value) {
    write("set_guint_parameter", name, std::to_string(value));
}

void parameter_controller::set_gfloat_parameter(std::string name, float value) {
    write("set_gfloat_parameter", name, std::to_string(value));
}

void parameter_controller::set_boolean_parameter(std::string name, bool value) {
    write("set_boolean_parameter", name, value ? "true" : "false");
}

void parameter_controller::set_string_parameter(std::string name, std::string value) {
    write("set_string_parameter", name, value);
}

parameter_controller::ReadResult parameter_controller::read(const std::string& name) {
    const std::lock_guard lock(g_platformMutex);
    ReadResult result;
    gchar* text = nullptr;
    ErrorSlot error;
    result.isOk = ensureOpen(error) &&
                  ax_parameter_get(m_Parameter, name.c_str(), &text, error.out()) != FALSE;
    if (result.isOk) {
        result.text.reset(text);
    } else {
        // What a failing call may have left in `text` is not promised to be ours, so it is not
        // freed.
        result.error = error.message();
    }
    result.handle = m_Parameter;
    return result;
}

/// Reads one of the application's own parameters. @param caller the reader that logs
std::string parameter_controller::readOwn(const char* caller, const std::string& name) {
    const ReadResult result = read(name);
    if (result.text == nullptr) {
        const std::string failure = "Failed to get " + name + " -> " + result.error;
        g_Logger.error(std::string(caller) + ": " + failure);
        if (!result.isOk) {
            releaseHandle(result.handle);
        }
        throw std::runtime_error(failure);
    }
    return result.text.get();
}

int parameter_controller::get_gint_parameter(std::string name) {
    const std::string text = readOwn("get_gint_parameter", name);
    return convert(name, text, [](const std::string& value) { return std::stoi(value); });
}

float parameter_controller::get_gfloat_parameter(std::string name) {
    const std::string text = readOwn("get_gfloat_parameter", name);
    return static_cast<float>(std::strtod(text.c_str(), nullptr));
}

bool parameter_controller::get_boolean_parameter(std::string name) {
    return readOwn("get_boolean_parameter", name) == "true";
}

std::string parameter_controller::get_string_parameter(std::string name) {
    return readOwn("get_string_parameter", name);
}

// NOLINTEND(performance-unnecessary-value-param)

// ---- The settings record

ConfigParams parameter_controller::load_config() {
    const auto readCoordinates = [this](const std::string& quadrilateral, int* coordinates) {
        for (int i = 0; i < kCoordinates; ++i) {
            coordinates[i] = get_gint_parameter(coordinateName(quadrilateral, i));
        }
    };
    ConfigParams c{};
    c.b_DetectionOverlaysOn = get_boolean_parameter("DetectionOverlaysOn");
    c.str_DetectionOverlay = get_string_parameter("SelectedDetectionOverlay");
    c.b_IsRequirePresent = get_boolean_parameter("IsRequirePresent");
    c.b_DisplayNonAOI = get_boolean_parameter("DisplayNonAOI");
    c.b_EulaAccepted = get_boolean_parameter("EulaAccepted");
    c.str_SelectedDictionary = get_string_parameter("SelectedDictionary");
    readCoordinates("Detection1", c.i_Detection1);
    readCoordinates("Detection2", c.i_Detection2);
    readCoordinates("Detection3", c.i_Detection3);
    c.i_MarkersSeconds = get_gint_parameter("MarkersSeconds");
    readCoordinates("Markers", c.i_Markers);
    replaceUnsetMarkers(c.i_Markers);
    return c;
}

void parameter_controller::save_config(ConfigParams c) {
    const auto writeCoordinates = [this](const std::string& quadrilateral, const int* coordinates) {
        for (int i = 0; i < kCoordinates; ++i) {
            set_guint_parameter(coordinateName(quadrilateral, i),
                                static_cast<unsigned int>(coordinates[i]));
        }
    };
    set_boolean_parameter("DetectionOverlaysOn", c.b_DetectionOverlaysOn);
    set_string_parameter("SelectedDetectionOverlay", c.str_DetectionOverlay);
    set_boolean_parameter("IsRequirePresent", c.b_IsRequirePresent);
    set_boolean_parameter("DisplayNonAOI", c.b_DisplayNonAOI);
    set_boolean_parameter("EulaAccepted", c.b_EulaAccepted);
    set_string_parameter("SelectedDictionary", c.str_SelectedDictionary);
    writeCoordinates("Detection1", c.i_Detection1);
    writeCoordinates("Detection2", c.i_Detection2);
    writeCoordinates("Detection3", c.i_Detection3);
    // Deliberate: a negative number is stored as its two's complement, which then no longer loads
    // as an int.
    set_guint_parameter("MarkersSeconds", static_cast<unsigned int>(c.i_MarkersSeconds));
    writeCoordinates("Markers", c.i_Markers);
}

void parameter_controller::list_params() {
    std::vector<std::string> names;
    {
        const std::lock_guard lock(g_platformMutex);
        ErrorSlot error;
        GList* const list =
            ensureOpen(error) ? ax_parameter_list(m_Parameter, error.out()) : nullptr;
        for (const GList* item = list; item != nullptr; item = item->next) {
            names.emplace_back(static_cast<const char*>(item->data));
        }
        g_list_free_full(list, g_free);
    }
    for (const std::string& name : names) {
        g_Logger.error("list_params: Parameter in list: " + name);
    }
}

// ---- The camera's own values

std::string parameter_controller::findProdShortName() {
    std::string value;
    try {
        const ReadResult result = read("root.Brand.ProdShortName");
        if (result.isOk) {
            value = textOf(result.text);
            g_Logger.info("findProdShortName: The value of root.Brand.ProdShortName is " + value);
        } else {
            g_Logger.error("findProdShortName: ERROR ax_parameter_get" + result.error);
        }
    } catch (const std::exception&) {
        g_Logger.error("findProdShortName: Unknown ProdShortName value");
    }
    g_Logger.info("findProdShortName: About to return ProdShortName: " + value);
    return value;
}

int parameter_controller::find_rotation_parameter() {
    int rotation = 0;
    try {
        const ReadResult result = read("root.Image.I0.Appearance.Rotation");
        if (result.isOk) {
            // As atoi() does it, with a result for numbers that are too large.
            rotation = static_cast<int>(std::strtol(textOf(result.text).c_str(), nullptr, 10));
        } else {
            g_Logger.error("find_rotation_parameter: ERROR ax_parameter_get" + result.error);
        }
    } catch (const std::exception&) {
        g_Logger.error("find_rotation_parameter: Unexpected error finding rotation value");
    }
    g_Logger.info("find_rotation_parameter: Camera rotation : " + std::to_string(rotation));
    return rotation;
}

std::string parameter_controller::get_sensor_aspect_ratio() {
    const ReadResult result = read("root.ImageSource.I0.Sensor.AspectRatio");
    if (result.text != nullptr) {
        return result.text.get();
    }
    g_Logger.error("get_sensor_aspect_ratio: ERROR getting sensor aspect ratio. Assuming 16:9. "
                   "Error " +
                   result.error);
    return "16:9";
}

// ---- Free functions

void free_error(GError* error) {
    if (error != nullptr) {
        g_error_free(error);
    }
}

void status_callback_log(const char* name, const char* value, void* /*user_data*/) {
    const auto textOrNothing = [](const char* text) { return text == nullptr ? "" : text; };
    g_Logger.info(std::string("status_callback_log: Value of parameter ") + textOrNothing(name) +
                  " has changed to " + textOrNothing(value));
}
