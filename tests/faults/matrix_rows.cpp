#include "tests/faults/matrix_rows.h"

namespace testing_support {
namespace {

const std::set<unsigned> kFirstOne = {1, kEvery};

std::vector<MatrixRow> videoRows() {
    return {
        {.call = "vdo_channel_get",
         .lines = {"|error|chooseMaxResolution: Failed vdo_channel_get(): injected fault\n"},
         .fatalAt = kFirstOne},
        // Later on it is a settings document that then names no sizes.
        {.call = "vdo_channel_get_resolutions",
         .lines = {"|error|chooseMaxResolution: Failed vdo_channel_get_resolutions(): injected "
                   "fault\n"},
         .silentAt = {2, 10},
         .fatalAt = kFirstOne},
        {.call = "vdo_channel_get_all",
         .lines = {"|error|getCameraResolutions: Failed to get all channels.\n"}},
        {.call = "vdo_map_new",
         .lines = {"|error|VideoStreamSource: Failed to create new VDO stream from settings. "},
         .fatalAt = kFirstOne},
        // Without the second one, the format, the camera gives no stream.
        {.call = "vdo_map_set_uint32",
         .lines = {"|error|VideoStreamSource: Failed to create new VDO stream from settings. "},
         .silentAt = {1, 10},
         .fatalAt = {2, kEvery}},
        {.call = "vdo_map_get_uint32", .lines = {}},
        {.call = "vdo_stream_new",
         .lines = {"|error|VideoStreamSource: Failed to create new VDO stream from settings. "
                   "injected fault"},
         .fatalAt = kFirstOne},
        {.call = "vdo_stream_attach",
         .lines = {"|error|VideoStreamSource: Failed to attach VDO stream to stream. injected "
                   "fault"},
         .fatalAt = kFirstOne},
        {.call = "vdo_stream_get_settings",
         .lines = {"|error|VideoStreamSource: Failed to attach retrieve VDO stream settings. "
                   "injected fault\n"}},
        {.call = "vdo_stream_start",
         .lines = {"|error|VideoStreamSource: Failed to start VDO stream. injected fault"},
         .fatalAt = kFirstOne},
        {.call = "vdo_stream_get_buffer",
         .lines = {"|error|getFrame: VideoStreamSource::getFrame failed to get VDO buffer. "
                   "injected fault\n"}},
        {.call = "vdo_buffer_get_data",
         .lines = {"|error|getFrame: Unexpected error while converting YUV data to RGB.\n"}},
        {.call = "vdo_stream_buffer_unref",
         .lines = {"|error|getFrame: Failed to release VDO stream buffer. injected fault\n"},
         .isRelease = true},
    };
}

std::vector<MatrixRow> parameterRows() {
    return {
        {.call = "ax_parameter_new",
         .lines = {"|error|init_controller: Error initializing parameter of zerith_markers\n"},
         .settingsLostAt = {kEvery}},
        {.call = "ax_parameter_free", .lines = {}, .isRelease = true, .isUnreached = true},
        {.call = "ax_parameter_add", .lines = {"|error|add_parameter: Failed to add parameter "}},
        {.call = "ax_parameter_get",
         .lines = {"|error|find_rotation_parameter: ERROR ax_parameter_get",
                   "|error|init_parameter_controller: Failed to load the settings. Failed to get "},
         .settingsLostAt = {2, 10, kEvery}},
        {.call = "ax_parameter_set", .lines = {"_parameter: Failed to save "}},
        {.call = "ax_parameter_list", .lines = {}, .isUnreached = true},
    };
}

std::vector<MatrixRow> eventRows() {
    const std::string declaring = "|error|addEvent: Failed to declare event Zerith Markers Alert\n";
    const std::string declaringData =
        "|error|addDataEvent: Failed to declare event Zerith Markers Data\n";
    const std::string sending = "|error|sendEvent: Failed to send event Zerith Markers Alert "
                                "activeValue=";
    const std::string sendingData =
        "|error|sendDataEvent: Failed to send event Zerith Markers Data\n";
    const std::vector<std::string> making = {
        "|error|addEvent: Error creating key value set for event Zerith Markers Alert\n",
        "|error|addDataEvent: Error creating key value set for event Zerith Markers Data\n",
        "|error|sendEvent: Failed to add active key value to event Zerith Markers Alert\n",
        "|error|sendDataEvent: Failed to add active key value to event Zerith Markers Data\n"};
    return {
        {.call = "ax_event_handler_new", .lines = {declaring}, .alertLostAt = kFirstOne},
        {.call = "ax_event_handler_free", .lines = {}, .isUnreached = true},
        {.call = "ax_event_handler_declare",
         .lines = {declaring, declaringData},
         .alertLostAt = kFirstOne},
        {.call = "ax_event_handler_undeclare", .lines = {}, .isUnreached = true},
        {.call = "ax_event_handler_send_event", .lines = {sending, sendingData}},
        {.call = "ax_event_key_value_set_new", .lines = making, .alertLostAt = kFirstOne},
        {.call = "ax_event_key_value_set_free", .lines = {}, .isRelease = true},
        {.call = "ax_event_key_value_set_add_key_values",
         .lines = making,
         .alertLostAt = kFirstOne},
        // The first one is the placeholder of the data event's declaration.
        {.call = "ax_event_key_value_set_add_key_value", .lines = making, .silentAt = {1}},
        {.call = "ax_event_key_value_set_mark_as_data", .lines = {}},
        {.call = "ax_event_key_value_set_add_nice_names", .lines = {}},
        {.call = "ax_event_element_item_new", .lines = {}},
        {.call = "ax_event_element_item_free", .lines = {}, .isRelease = true},
        {.call = "ax_event_new2", .lines = {sending, sendingData}},
        {.call = "ax_event_free", .lines = {}, .isRelease = true},
    };
}

std::vector<MatrixRow> overlayRows() {
    const std::string drawing = "|error|renderFindings: Failed to redraw overlay: injected fault\n";
    return {
        {.call = "axoverlay_is_backend_supported",
         .lines = {"|error|OverlayManager: AXOVERLAY_CAIRO_IMAGE_BACKEND is not supported\n"}},
        {.call = "axoverlay_init_axoverlay_settings", .lines = {}},
        {.call = "axoverlay_init",
         .lines = {"|error|OverlayManager: Failed to initialize axoverlay: injected fault\n"}},
        {.call = "axoverlay_get_max_resolution_width", .lines = {}},
        {.call = "axoverlay_get_max_resolution_height", .lines = {}},
        {.call = "axoverlay_init_overlay_data", .lines = {}},
        {.call = "axoverlay_create_overlay",
         .lines = {"|error|createOverlay: Failed to create overlay: injected fault\n"}},
        {.call = "axoverlay_redraw",
         .lines = {"|error|OverlayManager: Failed to do initial draw of overlays: injected fault\n",
                   drawing}},
        {.call = "axoverlay_destroy_overlay", .lines = {}, .isAtStop = true},
        {.call = "axoverlay_cleanup", .lines = {}, .isAtStop = true},
    };
}

std::vector<MatrixRow> systemRows() {
    const std::string service = "|error|webservices_thread_fcn: Failed to init fastcgi service\n";
    return {
        {.call = "pthread_create",
         .lines = {"|error|main: Failed to create thread\n"},
         .fatalAt = kFirstOne},
        {.call = "sysinfo", .lines = {"|error|Failed to retrieve memory information.\n"}},
        {.call = "FCGX_Init",
         .lines = {"|error|init: FCGX_Init failed\n"},
         .serviceLostAt = kFirstOne},
        {.call = "FCGX_OpenSocket",
         .lines = {"|error|init: FCGX_OpenSocket failed: "},
         .serviceLostAt = kFirstOne},
        // The first one is the library's own, for a request that nobody uses.
        {.call = "FCGX_InitRequest",
         .lines = {"|error|init: FCGX_InitRequest failed\n"},
         .silentAt = {1},
         .serviceLostAt = {2, kEvery}},
    };
}

} // namespace

const std::vector<MatrixRow>& matrixRows() {
    static const auto* const rows = [] {
        auto* const all = new std::vector<MatrixRow>;
        for (const auto& part :
             {videoRows(), parameterRows(), eventRows(), overlayRows(), systemRows()}) {
            all->insert(all->end(), part.begin(), part.end());
        }
        return all;
    }();
    return *rows;
}

std::string faultOf(const MatrixRow& row, unsigned position) {
    const std::string which = position == kEvery
                                  ? " first=1 count=forever"
                                  : " first=" + std::to_string(position) + " count=1";
    return row.call + which + " code=1; ";
}

} // namespace testing_support
