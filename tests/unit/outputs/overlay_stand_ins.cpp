#include "tests/unit/outputs/overlay_stand_ins.h"

#include <algorithm>
#include <set>
#include <sstream>

#include <glib-object.h>
#include <vdo-channel.h>

#include "analysis/common_structs.h"
#include "analysis/detection_processing.h"
#include "core/app_state.h"
#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "settings/parameter_controller.h"
#include "settings/parameter_io.h"
#include "tests/support/log_lines.h"

Logger g_Logger("test", "./overlay_manager_test.log");
ConfigParams g_ConfigParams{};
t_findings_list g_findings;
int g_StatusCode = 0;
int g_ExecutionTime = 0;
int g_AnalysisStreamWidth = 0;
int g_AnalysisStreamHeight = 0;
bool g_SensorIs16x9 = true;
parameter_controller g_ParameterController;
std::unique_ptr<OverlayManager> g_overlayManager;

namespace {

using overlay_stand_ins::world;

/// Writes a call down. @return whether it succeeds; if not, the error is set
bool called(const std::string& function, const std::string& arguments = "",
            GError** error = nullptr) {
    world().calls.push_back(arguments.empty() ? function : function + " " + arguments);
    const auto& failing = world().failing;
    if (std::find(failing.begin(), failing.end(), function) == failing.end()) {
        return true;
    }
    g_set_error_literal(error, g_quark_from_string("overlay-stand-in"), 1, "broken");
    return false;
}

/// Lists of sizes that are not released.
std::set<const void*>& liveLists() {
    static std::set<const void*> instance;
    return instance;
}

/// Counts a channel's end.
void forgetObject(gpointer /*data*/, GObject* /*object*/) {
    --world().liveObjects;
}

} // namespace

namespace overlay_stand_ins {

World& world() {
    static World instance;
    return instance;
}

void reset() {
    world() = World{};
    g_OverlayInfo = OverlayInfo{};
    OverlayManager::m_OverlayID = 0;
    OverlayManager::clearUserOverlays();
    g_findings.clear();
    g_ConfigParams = ConfigParams{};
    g_StatusCode = 0;
    g_ExecutionTime = 0;
    g_AnalysisStreamWidth = 1280;
    g_AnalysisStreamHeight = 720;
    g_SensorIs16x9 = true;
    testing_support::forgetLog();
}

} // namespace overlay_stand_ins

// The overlay service ---------------------------------------------------------------------------

gboolean axoverlay_is_backend_supported(enum axoverlay_backend_type backend) {
    called("axoverlay_is_backend_supported", std::to_string(backend));
    return world().isBackendSupported ? TRUE : FALSE;
}

void axoverlay_init_axoverlay_settings(struct axoverlay_settings* settings) {
    called("axoverlay_init_axoverlay_settings");
    *settings = {};
}

void axoverlay_init(struct axoverlay_settings* settings, GError** error) {
    world().settings = *settings;
    called("axoverlay_init", "", error);
}

void axoverlay_cleanup(void) {
    called("axoverlay_cleanup");
}

void axoverlay_redraw(GError** error) {
    called("axoverlay_redraw", "", error);
}

void axoverlay_init_overlay_data(struct axoverlay_overlay_data* data) {
    called("axoverlay_init_overlay_data");
    // Nothing stays as it was, so that a test sees which fields were assigned.
    *data = {AXOVERLAY_ANCHOR_CENTER,
             AXOVERLAY_CUSTOM_SOURCE,
             11.0F,
             12.0F,
             13,
             14,
             15,
             AXOVERLAY_COLORSPACE_UNDEFINED,
             TRUE};
}

gint axoverlay_create_overlay(struct axoverlay_overlay_data* data, gpointer user_data,
                              GError** error) {
    world().overlay = *data;
    world().userData = user_data;
    return called("axoverlay_create_overlay", "", error) ? world().createdId : 99;
}

void axoverlay_destroy_overlay(gint id, GError** error) {
    called("axoverlay_destroy_overlay", std::to_string(id), error);
}

gint axoverlay_get_max_resolution_width(gint camera, GError** error) {
    return called("axoverlay_get_max_resolution_width", std::to_string(camera), error) ? 3840 : 7;
}

gint axoverlay_get_max_resolution_height(gint camera, GError** error) {
    return called("axoverlay_get_max_resolution_height", std::to_string(camera), error) ? 2160 : 8;
}

// The camera's channels -------------------------------------------------------------------------

GList* vdo_channel_get_all(GError** error) {
    GList* channels = nullptr;
    for (const overlay_stand_ins::ChannelSizes& sizes : world().channels) {
        GObject* const object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
        g_object_set_data(object, "sizes", const_cast<overlay_stand_ins::ChannelSizes*>(&sizes));
        g_object_weak_ref(object, forgetObject, nullptr);
        ++world().liveObjects;
        channels = g_list_append(channels, object);
    }
    if (channels == nullptr) {
        g_set_error_literal(error, g_quark_from_string("overlay-stand-in"), 1, "broken");
    }
    return channels;
}

VdoResolutionSet* vdo_channel_get_resolutions(VdoChannel* self, VdoMap* filter, GError** error) {
    const auto& sizes = *static_cast<const overlay_stand_ins::ChannelSizes*>(
        g_object_get_data(reinterpret_cast<GObject*>(self), "sizes"));
    if (!sizes || filter != nullptr) {
        g_set_error_literal(error, g_quark_from_string("overlay-stand-in"), 1, "broken");
        return nullptr;
    }
    auto* const set = static_cast<VdoResolutionSet*>(
        g_malloc0(sizeof(VdoResolutionSet) + sizes->size() * sizeof(VdoResolution)));
    liveLists().insert(set);
    ++world().liveObjects;
    set->count = sizes->size();
    for (std::size_t i = 0; i < sizes->size(); ++i) {
        set->resolutions[i].width = (*sizes)[i].first;
        set->resolutions[i].height = (*sizes)[i].second;
    }
    return set;
}

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker makes these
// names.
extern "C" {

void __real_g_free(gpointer memory);
void __wrap_g_free(gpointer memory);

void __wrap_g_free(gpointer memory) {
    if (liveLists().erase(memory) > 0) {
        --world().liveObjects;
    }
    __real_g_free(memory);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

// Other modules ---------------------------------------------------------------------------------

parameter_controller::parameter_controller()
    : m_Parameter(nullptr), m_rotation(0), m_isReleased(false) {}

std::string parameter_controller::get_sensor_aspect_ratio() {
    return world().aspectRatio;
}

std::string parameter_io::status_to_string(int code) {
    return "Status " + std::to_string(code);
}

bool DetectionProcessing::isMarkerLost() {
    return world().isMarkerLost;
}

int DetectionProcessing::getSecsSinceMarkerLost() {
    return world().secondsSinceLost;
}
