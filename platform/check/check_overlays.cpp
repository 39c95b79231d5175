// The overlay library against its contract. On a camera, open a stream in a browser first: without
// a viewer nothing is drawn, and those checks are skipped.

#include <string>
#include <thread>
#include <vector>

#include <axoverlay.h>
#include <cairo.h>

#include "platform/check/check.h"

namespace platform_check {
namespace {

/// What the callbacks were told. They are told nothing of who wants to know, so it is one for all.
struct Seen {
    struct Call {
        bool isRender = false;
        gint id = 0;
        axoverlay_stream_data stream{};
        gint width = 0;
        gint height = 0;
        gpointer userData = nullptr;
        std::thread::id thread;
    };
    int selects = 0;
    std::vector<Call> calls;
    bool isArgb = true;
    bool isLargeEnough = true;
    bool isCleared = true;
};

Seen& seen() {
    static auto* const all = new Seen;
    return *all;
}

gboolean onSelect(gint /*camera*/, gint /*width*/, gint /*height*/, gint /*rotation*/,
                  gboolean /*mirrored*/, axoverlay_stream_type /*type*/) {
    ++seen().selects;
    return TRUE;
}

void onAdjust(gint id, axoverlay_stream_data* stream, axoverlay_position_type* /*postype*/,
              gfloat* /*x*/, gfloat* /*y*/, gint* width, gint* height, gpointer userData) {
    const bool isTurned = stream->rotation == 90 || stream->rotation == 270;
    *width = isTurned ? stream->height : stream->width;
    *height = isTurned ? stream->width : stream->height;
    seen().calls.push_back(
        {false, id, *stream, *width, *height, userData, std::this_thread::get_id()});
}

void onRender(gpointer context, gint id, axoverlay_stream_data* stream,
              axoverlay_position_type /*postype*/, gfloat /*x*/, gfloat /*y*/, gint width,
              gint height, gpointer userData) {
    Seen& all = seen();
    all.calls.push_back({true, id, *stream, width, height, userData, std::this_thread::get_id()});
    auto* const cairo = static_cast<cairo_t*>(context);
    cairo_surface_t* const surface = cairo_get_target(cairo);
    all.isArgb = all.isArgb && cairo_surface_get_type(surface) == CAIRO_SURFACE_TYPE_IMAGE &&
                 cairo_image_surface_get_format(surface) == CAIRO_FORMAT_ARGB32;
    all.isLargeEnough = all.isLargeEnough && cairo_image_surface_get_width(surface) >= width &&
                        cairo_image_surface_get_height(surface) >= height;
    const unsigned char* const pixels = cairo_image_surface_get_data(surface);
    all.isCleared = all.isCleared && pixels != nullptr && pixels[0] == 0 && pixels[3] == 0;
    cairo_set_source_rgba(cairo, 1, 0, 0, 1);
    cairo_paint(cairo);
}

class Overlays {
  public:
    Overlays(const Subject& its, Report& to) : subject(its), report(to) {}

    void run() {
        PLATFORM_CHECK("the cairo back-end is supported",
                       axoverlay_is_backend_supported(AXOVERLAY_CAIRO_IMAGE_BACKEND));
        checkDefaults();
        if (subject.isHost()) {
            checkOrder();
        }
        if (!init()) {
            return;
        }
        checkResolution();
        checkOverlays();
        axoverlay_cleanup();
        if (subject.isHost()) {
            checkOrder();
        } else {
            report.skip("calls before init and after cleanup", "no host camera");
        }
    }

  private:
    void checkDefaults() {
        axoverlay_overlay_data data;
        axoverlay_init_overlay_data(&data);
        PLATFORM_CHECK(
            "an overlay is by default at the upper left, in ARGB32, scaled to the stream",
            data.anchor_point == AXOVERLAY_ANCHOR_TOP_LEFT && data.postype == AXOVERLAY_TOP_LEFT &&
                data.z_priority == 0 && data.colorspace == AXOVERLAY_COLORSPACE_ARGB32 &&
                data.scale_to_stream == TRUE);
    }

    /// What only the host camera can be asked: a camera may crash.
    void checkOrder() {
        axoverlay_overlay_data data;
        axoverlay_init_overlay_data(&data);
        data.width = data.height = 16;
        PLATFORM_CHECK("host: without init no overlay is made",
                       axoverlay_create_overlay(&data, nullptr, error.out()) == 0 &&
                           isDomainError());
        axoverlay_redraw(error.out());
        PLATFORM_CHECK("host: without init nothing is drawn", isDomainError());
        axoverlay_destroy_overlay(1, error.out());
        PLATFORM_CHECK("host: without init nothing is destroyed", isDomainError());
        PLATFORM_CHECK("host: without init there is no largest resolution",
                       axoverlay_get_max_resolution_width(1, error.out()) == 0 && isDomainError());
    }

    [[nodiscard]] bool init() {
        axoverlay_settings settings;
        axoverlay_init_axoverlay_settings(&settings);
        PLATFORM_CHECK("settings have no callbacks by default",
                       settings.render_callback == nullptr &&
                           settings.adjustment_callback == nullptr &&
                           settings.select_callback == nullptr);
        settings.backend = AXOVERLAY_CAIRO_IMAGE_BACKEND;
        settings.render_callback = onRender;
        settings.adjustment_callback = onAdjust;
        settings.select_callback = onSelect;
        axoverlay_init(&settings, error.out());
        return PLATFORM_CHECK("overlays are started", !error.isSet());
    }

    void checkResolution() {
        const gint width =
            axoverlay_get_max_resolution_width(AXOVERLAY_DEFAULT_CAMERA_ID, error.out());
        PLATFORM_CHECK("the largest resolution has a width", width > 0 && !error.isSet());
        const gint height =
            axoverlay_get_max_resolution_height(AXOVERLAY_DEFAULT_CAMERA_ID, error.out());
        PLATFORM_CHECK("... and a height", height > 0 && !error.isSet());
        axoverlay_get_max_resolution_width(4711, error.out());
        PLATFORM_CHECK("a camera that there is not has none", error.isSet());
    }

    void checkOverlays() {
        axoverlay_overlay_data data;
        axoverlay_init_overlay_data(&data);
        data.width = 64;
        data.height = 48;
        int marker = 0;
        const gint first = axoverlay_create_overlay(&data, &marker, error.out());
        PLATFORM_CHECK("an overlay is made", first != 0 && !error.isSet());
        PLATFORM_CHECK("making one draws nothing", seen().calls.empty());
        const gint second = axoverlay_create_overlay(&data, nullptr, error.out());
        PLATFORM_CHECK("a second one has another id", second != 0 && second != first);
        axoverlay_redraw(error.out());
        PLATFORM_CHECK("the overlays are drawn", !error.isSet());
        if (seen().calls.empty()) {
            report.skip("callbacks, surfaces and streams", "nobody watches a stream");
        } else {
            checkCalls(first, &marker);
        }
        seen().calls.clear();
        axoverlay_destroy_overlay(first, error.out());
        PLATFORM_CHECK("an overlay is destroyed", !error.isSet());
        seen().calls.clear();
        axoverlay_redraw(error.out());
        bool isGone = true;
        for (const Seen::Call& call : seen().calls) {
            isGone = isGone && call.id == second;
        }
        PLATFORM_CHECK("a destroyed overlay is not drawn", !error.isSet() && isGone);
        axoverlay_destroy_overlay(first, error.out());
        PLATFORM_CHECK("an overlay cannot be destroyed twice", error.isSet());
        if (subject.isHost()) {
            PLATFORM_CHECK("host: ids begin with 1", first == 1 && second == 2);
            PLATFORM_CHECK("host: the surface is cleared before each drawing", seen().isCleared);
            PLATFORM_CHECK("host: each viewer stream was offered", seen().selects > 0);
            PLATFORM_CHECK(
                "host: an overlay without a size is refused",
                (data.width = 0, axoverlay_create_overlay(&data, nullptr, error.out()) == 0) &&
                    isDomainError());
            PLATFORM_CHECK("host: missing data is refused",
                           axoverlay_create_overlay(nullptr, nullptr, error.out()) == 0 &&
                               isDomainError());
        }
    }

    void checkCalls(gint first, const void* marker) {
        const std::vector<Seen::Call>& calls = seen().calls;
        bool isPaired = calls.size() % 2 == 0;
        bool isHere = true;
        bool isWatched = true;
        bool isTurnedRight = true;
        bool hasUserData = true;
        for (std::size_t at = 0; at < calls.size(); ++at) {
            const Seen::Call& call = calls[at];
            isPaired = isPaired && call.isRender == (at % 2 == 1);
            if (call.isRender && at > 0) {
                const Seen::Call& before = calls[at - 1];
                isPaired = isPaired && before.id == call.id && before.stream.id == call.stream.id &&
                           before.width == call.width && before.height == call.height;
            }
            isHere = isHere && call.thread == std::this_thread::get_id();
            isWatched = isWatched && call.stream.type != AXOVERLAY_STREAM_YCBCR;
            isTurnedRight = isTurnedRight && call.stream.rotation % 90 == 0 &&
                            call.stream.width > 0 && call.stream.height > 0;
            hasUserData = hasUserData && call.userData == (call.id == first ? marker : nullptr);
        }
        PLATFORM_CHECK("each drawing is preceded by its adjustment and has the size that was left",
                       isPaired);
        PLATFORM_CHECK("drawing happens in the thread that asks for it", isHere);
        PLATFORM_CHECK("streams for analysis are not drawn on", isWatched);
        PLATFORM_CHECK("streams tell their size and their rotation", isTurnedRight);
        PLATFORM_CHECK("callbacks are given the overlay's user data", hasUserData);
        PLATFORM_CHECK("surfaces are cairo images in ARGB32", seen().isArgb);
        PLATFORM_CHECK("... at least as large as the overlay", seen().isLargeEnough);
    }

    [[nodiscard]] bool isDomainError() const {
        return error.domainName() == "axoverlay-error-quark";
    }

    const Subject& subject;
    Report& report;
    Error error;
};

} // namespace

void checkOverlays(const Subject& subject, Report& report) {
    Overlays(subject, report).run();
}

} // namespace platform_check
