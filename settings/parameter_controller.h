#pragma once

// The settings as the camera's parameters. parameter_controller wraps the platform's parameter
// service: it makes sure that the application's parameters exist, reads them all into one
// ConfigParams, writes a whole ConfigParams back, and reads three values that belong to the camera.
//
// There is one object, g_ParameterController. Start-up opens it on the main thread; afterwards the
// main loop and the web-service thread call it. The platform bears one call at a time in a process:
// every platform call here is made under one lock of this module, which is held for that call only.
// Nothing here may be called from a parameter-change callback of the platform, which would wait for
// itself.
//
// A read or write that fails gives the platform's handle back; the next call opens a new one.

#include <memory>
#include <string>

#include <axsdk/axparameter.h>

#include "settings/config_params.h"

class ErrorSlot;

class parameter_controller {
  public:
    /// Opens nothing yet: the handle is null until init_controller().
    parameter_controller();

    /// Opens the application's parameters, reads the camera's rotation and creates, with the
    /// initial value "0", those of the 15 parameters in the application's own care that do not
    /// exist. A service that cannot be opened is logged at error level, "Error initializing
    /// parameter of " and the name, and the rest is tried regardless.
    /// @param app_name the package's APPNAME; remembered for opening the handle again
    void init_controller(std::string app_name);

    /// Creates one parameter with the initial value "0". One that exists keeps its value and
    /// nothing is logged; any other failure is logged at error level, "Failed to add parameter " +
    /// name +
    /// ". Error: " + the platform's text.
    void add_parameter(std::string name);

    /// Writes a number in decimal. A failure of any of the four writers is logged at error level,
    /// "Failed to save " and the name, and swallowed. Blocks until the platform has stored the
    /// value, tens of milliseconds on a camera.
    /// @param value a negative int arrives here as its two's complement, -1 as 4294967295
    void set_guint_parameter(std::string name, unsigned int value);

    /// Writes a number with six decimals.
    void set_gfloat_parameter(std::string name, float value);

    /// Writes "true" or "false".
    void set_boolean_parameter(std::string name, bool value);

    /// Writes a text as it stands.
    void set_string_parameter(std::string name, std::string value);

    /// Reads a whole decimal number.
    /// @throws std::runtime_error when a read fails, as all four readers do, with the text that is
    /// logged at error level: "Failed to get " + name + " -> " + the platform's text
    /// @throws std::invalid_argument or std::out_of_range, naming the parameter, for a text that is
    /// no int
    int get_gint_parameter(std::string name);

    /// Reads a number; a text that is none reads as 0. @throws std::runtime_error as above
    float get_gfloat_parameter(std::string name);

    /// Reads a flag.
    /// Deliberate: true for exactly "true"; "TRUE", "1" and "yes" are false.
    /// @throws std::runtime_error as above
    bool get_boolean_parameter(std::string name);

    /// Reads a text as it stands. @throws std::runtime_error as above
    std::string get_string_parameter(std::string name);

    /// Reads the 39 parameters of the settings record.
    /// Deliberate: when any of the eight coordinates of the marker region is 0, all eight are
    /// replaced by the default region, because a parameter that was never set holds "0".
    /// @throws what the readers throw; nothing else has changed then
    ConfigParams load_config();

    /// Writes the 39 parameters, in the order in which load_config() reads them. There is no
    /// transaction: what fails is logged, and the others are written.
    void save_config(ConfigParams c);

    /// Logs the names of all of the application's parameters; nothing when they cannot be listed.
    /// Deliberate: "Parameter in list: " + name stands at error level.
    void list_params();

    /// The camera's product short name, "root.Brand.ProdShortName", as it stands; empty after a
    /// failure, which is logged at error level: "ERROR ax_parameter_get" with the platform's text
    /// right behind it. Neither this nor the two below raise, or give the handle back.
    std::string findProdShortName();

    /// The camera's rotation in degrees, "root.Image.I0.Appearance.Rotation"; 0 after a failure,
    /// which is logged as above. Always logs "Camera rotation : " and the value.
    int find_rotation_parameter();

    /// The rotation in degrees that init_controller() read.
    [[nodiscard]] int get_rotation() const { return m_rotation; }

    /// The sensor's aspect ratio, "root.ImageSource.I0.Sensor.AspectRatio", for example "16:9";
    /// that very text after a failure, which is logged at error level: "ERROR getting sensor aspect
    /// ratio. Assuming 16:9. Error " + the platform's text.
    std::string get_sensor_aspect_ratio();

  private:
    struct ReadResult;

    bool ensureOpen(ErrorSlot& error);
    void releaseHandle(AXParameter* handle);
    ReadResult read(const std::string& name);
    std::string readOwn(const char* caller, const std::string& name);
    void write(const char* caller, const std::string& name, const std::string& value);

    // The handle is owned, but never freed at the end: the platform takes it back with the process.
    AXParameter* m_Parameter;    ///< used under the module's lock only; dangling while m_isReleased
    int m_rotation;              ///< degrees; written by init_controller() only
    std::string m_prodShortName; ///< kept, and never filled: findProdShortName() returns the name
    std::string m_appName;       ///< written by init_controller() only
    bool m_isReleased;           ///< the handle was given back; under the module's lock
};

/// The parameters of this application. Defined in core/app_main.cpp; any thread after start-up.
extern parameter_controller g_ParameterController;

/// Releases an error object, if there is one.
void free_error(GError* error);

/// A parameter-change callback for the platform: logs "Value of parameter " + name +
/// " has changed to " + value. Nothing registers it. Main loop.
void status_callback_log(const char* name, const char* value, void* user_data);
