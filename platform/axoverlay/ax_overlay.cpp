// The host camera's axoverlay library: the C interface over the overlay service.

#include <axoverlay.h>

#include "platform/axoverlay/overlay_service.h"
#include "platform/hostcam/faults.h"

namespace {

using hostcam::OverlayFailure;
using hostcam::OverlayService;

GQuark errorDomain() {
    return g_quark_from_static_string("axoverlay-error-quark");
}

OverlayService& service() {
    return OverlayService::instance();
}

/// Runs a call's body unless a fault is planned for it; what it throws becomes the error.
void run(const char* name, GError** error, const std::function<void()>& body) {
    if (hostcam::mustFail(name, errorDomain(), error)) {
        return;
    }
    try {
        body();
    } catch (const OverlayFailure& failure) {
        g_set_error_literal(error, errorDomain(), failure.code(), failure.what());
    } catch (const hostcam::ConfigError& problem) {
        g_set_error_literal(error, errorDomain(), AXOVERLAY_ERROR_SERVICE_UNAVAILABLE,
                            problem.what());
    } catch (const std::bad_alloc&) {
        g_set_error_literal(error, errorDomain(), AXOVERLAY_ERROR_INTERNAL, "out of memory");
    }
}

template <typename Pointer>
Pointer requireArgument(Pointer pointer, const char* what) {
    if (pointer == nullptr) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT, std::string(what) + " is missing");
    }
    return pointer;
}

} // namespace

void axoverlay_enable_cpu_mem_sync(gboolean /*enable*/) {
    // Only cameras have caches that need it.
    (void)hostcam::takeFault(__func__);
}

void axoverlay_set_adjustment_callback(axoverlay_adjustment_function adjustment_function) {
    run(__func__, nullptr, [&] {
        service().setCallbacks([&](auto& callbacks) { callbacks.adjust = adjustment_function; });
    });
}

void axoverlay_set_stream_select_callback(axoverlay_stream_select_function select_function) {
    run(__func__, nullptr, [&] {
        service().setCallbacks([&](auto& callbacks) { callbacks.select = select_function; });
    });
}

void axoverlay_set_render_callback(axoverlay_render_function render_function) {
    run(__func__, nullptr, [&] {
        service().setCallbacks([&](auto& callbacks) { callbacks.render = render_function; });
    });
}

void axoverlay_set_synced_render_callback(axoverlay_synced_render_function render_function) {
    run(__func__, nullptr, [&] {
        service().setCallbacks([&](auto& callbacks) { callbacks.renderSynced = render_function; });
    });
}

void axoverlay_set_backend(const char* name) {
    run(__func__, nullptr, [&] { service().setBackend(name == nullptr ? "" : name); });
}

void axoverlay_init_axoverlay_settings(struct axoverlay_settings* settings) {
    run(__func__, nullptr, [&] { *requireArgument(settings, "the settings") = {}; });
}

void axoverlay_init(struct axoverlay_settings* settings, GError** error) {
    run(__func__, error, [&] { service().init(settings); });
}

void axoverlay_cleanup(void) {
    run(__func__, nullptr, [] { service().cleanup(); });
}

void axoverlay_reload_streams(GError** error) {
    run(__func__, error, [] { service().reloadStreams(); });
}

void axoverlay_redraw(GError** error) {
    run(__func__, error, [] { service().redraw(); });
}

void axoverlay_init_overlay_data(struct axoverlay_overlay_data* data) {
    run(__func__, nullptr, [&] {
        *requireArgument(data, "the overlay's data") = {};
        data->scale_to_stream = TRUE;
    });
}

gint axoverlay_create_overlay(struct axoverlay_overlay_data* data, gpointer user_data,
                              GError** error) {
    gint id = 0;
    run(__func__, error,
        [&] { id = service().create(*requireArgument(data, "the overlay's data"), user_data); });
    return id;
}

void axoverlay_destroy_overlay(gint id, GError** error) {
    run(__func__, error, [&] { service().destroy(id); });
}

void axoverlay_set_overlay_position(gint id, enum axoverlay_position_type postype, gfloat x,
                                    gfloat y, GError** error) {
    run(__func__, error, [&] { service().setPosition(id, postype, x, y); });
}

void axoverlay_set_overlay_size(gint id, gint width, gint height, GError** error) {
    run(__func__, error, [&] { service().setSize(id, width, height); });
}

gint axoverlay_get_max_resolution_width(gint camera, GError** error) {
    gint width = 0;
    run(__func__, error, [&] { width = static_cast<gint>(service().largest(camera).width); });
    return width;
}

gint axoverlay_get_max_resolution_height(gint camera, GError** error) {
    gint height = 0;
    run(__func__, error, [&] { height = static_cast<gint>(service().largest(camera).height); });
    return height;
}

gboolean axoverlay_is_backend_supported(enum axoverlay_backend_type backend) {
    if (hostcam::mustFail(__func__)) {
        return FALSE;
    }
    return backend == AXOVERLAY_CAIRO_IMAGE_BACKEND ? TRUE : FALSE;
}

gint axoverlay_get_number_of_palette_colors(GError** error) {
    gint count = 0;
    run(__func__, error, [&] { count = service().paletteColors(); });
    return count;
}

void axoverlay_get_palette_color(gint index, struct axoverlay_palette_color* color,
                                 GError** error) {
    run(__func__, error, [&] {
        *requireArgument(color, "the place for the colour") = service().paletteColor(index);
    });
}

void axoverlay_set_palette_color(gint index, struct axoverlay_palette_color* color,
                                 GError** error) {
    run(__func__, error,
        [&] { service().setPaletteColor(index, *requireArgument(color, "the colour")); });
}
