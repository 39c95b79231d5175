#pragma once

// A host camera and an application that draws overlays: callbacks that record what they are told
// and paint one colour.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <axoverlay.h>
#include <cairo.h>
#include <gtest/gtest.h>

#include "platform/hostcam/overlay_layers.h"
#include "tests/unit/platform/host_camera.h"

namespace testing_support {

/// One call of a callback.
struct OverlayCall {
    std::string what; ///< "select", "adjust" or "render"
    gint id = 0;
    axoverlay_stream_data stream{};
    axoverlay_position_type postype = AXOVERLAY_TOP_LEFT;
    gfloat x = 0;
    gfloat y = 0;
    gint width = 0;
    gint height = 0;
    gpointer userData = nullptr;
};

inline constexpr std::uint32_t kRed = 0xFFFF0000;
inline constexpr std::uint32_t kGreen = 0xFF00FF00;

class OverlayTest : public testing::Test {
  protected:
    OverlayTest() { s_test = this; }
    ~OverlayTest() override {
        axoverlay_cleanup();
        s_test = nullptr;
    }

    /// Starts overlays with the three recording callbacks.
    void init() {
        axoverlay_settings settings;
        axoverlay_init_axoverlay_settings(&settings);
        settings.backend = AXOVERLAY_CAIRO_IMAGE_BACKEND;
        settings.select_callback = select;
        settings.adjustment_callback = adjust;
        settings.render_callback = render;
        axoverlay_init(&settings, error.out());
        ASSERT_FALSE(error.isSet()) << error.text();
    }

    /// @return the id, 0 on failure
    gint create(gint width, gint height, axoverlay_position_type postype = AXOVERLAY_TOP_LEFT,
                gfloat x = 0, gfloat y = 0, gint priority = 0) {
        axoverlay_overlay_data data;
        axoverlay_init_overlay_data(&data);
        data.scale_to_stream = FALSE;
        data.width = width;
        data.height = height;
        data.postype = postype;
        data.x = x;
        data.y = y;
        data.z_priority = priority;
        return axoverlay_create_overlay(&data, this, error.out());
    }

    void redraw() {
        calls.clear();
        axoverlay_redraw(error.out());
    }

    [[nodiscard]] std::vector<OverlayCall> callsOf(const std::string& what) const {
        std::vector<OverlayCall> result;
        for (const OverlayCall& call : calls) {
            if (call.what == what) {
                result.push_back(call);
            }
        }
        return result;
    }

    /// A pixel of a viewer's layer; 0 without a layer.
    [[nodiscard]] static std::uint32_t pixel(std::size_t viewer, std::uint32_t x, std::uint32_t y) {
        const auto layer = hostcam::overlayLayer(viewer);
        return layer ? layer->pixels.at(std::size_t{y} * layer->size.width + x) : 0;
    }

    HostCamera camera{
        "[camera]\nresolutions=640x480,1920x1080\n[viewers]\nstreams=64x48,32x24:mirrored\n"};
    ErrorSlot error;
    std::vector<OverlayCall> calls;
    gboolean selectAnswer = TRUE;
    /// What the adjustment and render callbacks do besides recording; null: nothing, and paint red.
    std::function<void(OverlayCall&)> onAdjust;
    std::function<void(cairo_t*, const OverlayCall&)> onRender;

  private:
    static gboolean select(gint streamCamera, gint width, gint height, gint rotation,
                           gboolean mirrored, axoverlay_stream_type type) {
        OverlayCall call;
        call.what = "select";
        call.stream = {0, streamCamera, width, height, rotation, mirrored, type};
        s_test->calls.push_back(call);
        return s_test->selectAnswer;
    }
    static void adjust(gint id, axoverlay_stream_data* stream, axoverlay_position_type* postype,
                       gfloat* x, gfloat* y, gint* width, gint* height, gpointer userData) {
        OverlayCall call{"adjust", id, *stream, *postype, *x, *y, *width, *height, userData};
        s_test->calls.push_back(call);
        if (s_test->onAdjust) {
            s_test->onAdjust(call);
            *postype = call.postype;
            *x = call.x;
            *y = call.y;
            *width = call.width;
            *height = call.height;
        }
    }
    static void render(gpointer context, gint id, axoverlay_stream_data* stream,
                       axoverlay_position_type postype, gfloat x, gfloat y, gint width, gint height,
                       gpointer userData) {
        const OverlayCall call{"render", id, *stream, postype, x, y, width, height, userData};
        s_test->calls.push_back(call);
        auto* const cairo = static_cast<cairo_t*>(context);
        if (s_test->onRender) {
            s_test->onRender(cairo, call);
        } else {
            cairo_set_source_rgba(cairo, 1, 0, 0, 1);
            cairo_paint(cairo);
        }
    }

    static inline OverlayTest* s_test = nullptr;
};

} // namespace testing_support
