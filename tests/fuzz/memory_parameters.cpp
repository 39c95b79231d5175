#include "tests/fuzz/memory_parameters.h"

#include <axsdk/axparameter.h>

namespace {

/// What every handle points to; nobody looks inside.
int g_handle = 0;

gboolean fail(GError** error, int code) {
    g_set_error_literal(error, g_quark_from_string("memory-parameters"), code, "there is none");
    return FALSE;
}

} // namespace

AXParameter* ax_parameter_new(const gchar* /*app_name*/, GError** /*error*/) {
    return reinterpret_cast<AXParameter*>(&g_handle);
}

void ax_parameter_free(AXParameter* /*parameter*/) {}

gboolean ax_parameter_add(AXParameter* /*parameter*/, const gchar* name, const gchar* initial_value,
                          const gchar* /*type*/, GError** error) {
    constexpr int kAlreadyAdded = 13;
    return fuzzing::parameters().emplace(name, initial_value).second ? TRUE
                                                                     : fail(error, kAlreadyAdded);
}

gboolean ax_parameter_set(AXParameter* /*parameter*/, const gchar* name, const gchar* value,
                          gboolean /*do_sync*/, GError** /*error*/) {
    fuzzing::parameters()[name] = value;
    return TRUE;
}

gboolean ax_parameter_get(AXParameter* /*parameter*/, const gchar* name, gchar** value,
                          GError** error) {
    const auto found = fuzzing::parameters().find(name);
    if (found == fuzzing::parameters().end()) {
        return fail(error, 1);
    }
    *value = g_strdup(found->second.c_str());
    return TRUE;
}

GList* ax_parameter_list(AXParameter* /*parameter*/, GError** /*error*/) {
    return nullptr;
}

namespace fuzzing {

Parameters& parameters() {
    static auto* const instance = new Parameters;
    return *instance;
}

Parameters factoryParameters() {
    Parameters all = {{"root.Brand.ProdShortName", "HostCam"},
                      {"root.Image.I0.Appearance.Rotation", "0"},
                      {"root.ImageSource.I0.Sensor.AspectRatio", "16:9"}};
    for (const char* const name :
         {"DetectionOverlaysOn", "SelectedDetectionOverlay", "IsRequirePresent", "DisplayNonAOI",
          "EulaAccepted", "SelectedDictionary", "MarkersSeconds"}) {
        all[name] = "0";
    }
    for (const char* const area : {"Detection1", "Detection2", "Detection3", "Markers"}) {
        for (const char* const coordinate : {"0x", "0y", "1x", "1y", "2x", "2y", "3x", "3y"}) {
            all[std::string(area) + coordinate] = "0";
        }
    }
    return all;
}

} // namespace fuzzing
