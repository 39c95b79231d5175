#include "platform/axoverlay/overlay_service.h"

#include <algorithm>
#include <cmath>

#include <cairo.h>

#include "platform/hostcam/misuse.h"
#include "platform/hostcam/overlay_layers.h"

namespace hostcam {
namespace {

thread_local bool t_inCallback = false;

/// Says that this thread is in a callback of the application.
class InCallback {
  public:
    InCallback() { t_inCallback = true; }
    ~InCallback() { t_inCallback = false; }
    InCallback(const InCallback&) = delete;
    InCallback& operator=(const InCallback&) = delete;
};

void refuseInCallback(const char* what) {
    if (t_inCallback) {
        throw OverlayFailure(AXOVERLAY_ERROR_UNEXPECTED,
                             std::string(what) + " must not be called from a callback");
    }
}

void requireSize(gint width, gint height) {
    if (width < 1 || height < 1 || width > kLargestOverlay || height > kLargestOverlay) {
        throw OverlayFailure(
            AXOVERLAY_ERROR_INVALID_VALUE,
            "an overlay of " + std::to_string(width) + "x" + std::to_string(height) +
                " pixels cannot be drawn: each side is 1 to " + std::to_string(kLargestOverlay));
    }
}

void requirePosition(axoverlay_position_type postype, gfloat x, gfloat y) {
    if (postype < AXOVERLAY_TOP_LEFT || postype > AXOVERLAY_CUSTOM_SOURCE) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT,
                             "the position type " + std::to_string(postype) + " is unknown");
    }
    if (!std::isfinite(x) || !std::isfinite(y)) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_VALUE, "the overlay's position is no number");
    }
}

void requireCairoBackend(const std::optional<std::string>& name) {
    if (name && *name != "cairo") {
        throw OverlayFailure(AXOVERLAY_ERROR_BACKEND,
                             "the back-end \"" + *name + "\" is not supported: only cairo is");
    }
}

struct SurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;
struct ContextDeleter {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Context = std::unique_ptr<cairo_t, ContextDeleter>;

/// A surface over the layer's own pixels.
Surface surfaceOf(OverlayLayer& layer) {
    const auto width = static_cast<int>(layer.size.width);
    return Surface(cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(layer.pixels.data()), CAIRO_FORMAT_ARGB32, width,
        static_cast<int>(layer.size.height), width * 4));
}

void requireHealthy(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS) {
        throw OverlayFailure(AXOVERLAY_ERROR_INTERNAL, std::string("no surface to draw on: ") +
                                                           cairo_status_to_string(status));
    }
}

timeval monotonicTime() {
    const gint64 now = g_get_monotonic_time();
    return {static_cast<time_t>(now / G_USEC_PER_SEC),
            static_cast<suseconds_t>(now % G_USEC_PER_SEC)};
}

bool sameStream(const axoverlay_stream_data& a, const axoverlay_stream_data& b) {
    return a.id == b.id && a.camera == b.camera && a.width == b.width && a.height == b.height &&
           a.rotation == b.rotation && a.is_mirrored == b.is_mirrored && a.type == b.type;
}

} // namespace

OverlayService& OverlayService::instance() {
    static auto* const service = new OverlayService;
    return *service;
}

void OverlayService::setCallbacks(const std::function<void(OverlayCallbacks&)>& change) {
    const std::lock_guard lock(m_mutex);
    change(m_prepared);
}

void OverlayService::setBackend(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    m_preparedBackend = name;
}

void OverlayService::init(const axoverlay_settings* settings) {
    refuseInCallback("axoverlay_init");
    const std::lock_guard drawing(m_drawing);
    OverlayCallbacks callbacks;
    {
        const std::lock_guard lock(m_mutex);
        if (m_open) {
            throw OverlayFailure(AXOVERLAY_ERROR_UNEXPECTED,
                                 "overlays are in use already: axoverlay_cleanup comes first");
        }
        callbacks = m_prepared;
        if (settings == nullptr) {
            requireCairoBackend(m_preparedBackend);
        }
    }
    if (settings != nullptr) {
        if (settings->backend != AXOVERLAY_CAIRO_IMAGE_BACKEND) {
            throw OverlayFailure(AXOVERLAY_ERROR_BACKEND,
                                 "the back-end " + std::to_string(settings->backend) +
                                     " is not supported: only the cairo image back-end is");
        }
        callbacks = {settings->render_callback, nullptr, settings->adjustment_callback,
                     settings->select_callback};
    }
    if (callbacks.render == nullptr && callbacks.renderSynced == nullptr) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT, "the render callback is missing");
    }
    const std::shared_ptr<const Config> config = currentConfig();
    std::vector<Stream> streams = selectStreams(configuredStreams(*config), {}, callbacks.select);
    std::shared_ptr<HttpService> http = openHttpService();
    const std::lock_guard lock(m_mutex);
    m_open = true;
    m_http = std::move(http);
    m_callbacks = callbacks;
    m_streams = std::move(streams);
    m_largest = *std::max_element(
        config->resolutions.begin(), config->resolutions.end(), [](const Size& a, const Size& b) {
            return std::uint64_t{a.width} * a.height < std::uint64_t{b.width} * b.height;
        });
}

void OverlayService::cleanup() {
    if (t_inCallback) {
        reportMisuse("axoverlay_cleanup was called from a callback");
        return;
    }
    std::shared_ptr<HttpService> http; // let go last, as its end may take a moment
    const std::lock_guard drawing(m_drawing);
    {
        const std::lock_guard lock(m_mutex);
        http.swap(m_http);
        m_open = false;
        m_prepared = {};
        m_preparedBackend.reset();
        m_callbacks = {};
        m_streams.clear();
        m_overlays.clear();
        m_nextId = 1;
        m_palette = {};
    }
    publishOverlayLayers({});
}

void OverlayService::reloadStreams() {
    refuseInCallback("axoverlay_reload_streams");
    const std::lock_guard drawing(m_drawing);
    std::vector<Stream> known;
    axoverlay_stream_select_function select = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        requireOpenUnlocked();
        known = m_streams;
        select = m_callbacks.select;
    }
    std::vector<Stream> streams = selectStreams(configuredStreams(*currentConfig()), known, select);
    const std::lock_guard lock(m_mutex);
    m_streams = std::move(streams);
}

void OverlayService::redraw() {
    refuseInCallback("axoverlay_redraw");
    const std::lock_guard drawing(m_drawing);
    {
        const std::lock_guard lock(m_mutex);
        requireOpenUnlocked();
    }
    drawAll();
}

gint OverlayService::create(const axoverlay_overlay_data& data, gpointer userData) {
    const std::lock_guard lock(m_mutex);
    requireOpenUnlocked();
    requireSize(data.width, data.height);
    requirePosition(data.postype, data.x, data.y);
    if (data.anchor_point != AXOVERLAY_ANCHOR_TOP_LEFT &&
        data.anchor_point != AXOVERLAY_ANCHOR_CENTER) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT, "the anchor point is unknown");
    }
    if (data.colorspace != AXOVERLAY_COLORSPACE_ARGB32) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT,
                             "the colour space " + std::to_string(data.colorspace) +
                                 " is not supported: only ARGB32 is");
    }
    const gint id = m_nextId++;
    m_overlays.emplace(id, Overlay{id, data, userData});
    return id;
}

void OverlayService::destroy(gint id) {
    if (t_inCallback) {
        // The redraw that is running shows the change when it is done.
        const std::lock_guard lock(m_mutex);
        m_overlays.erase(requireOverlayUnlocked(id).id);
        m_drawAgain = true;
        return;
    }
    const std::lock_guard drawing(m_drawing);
    {
        const std::lock_guard lock(m_mutex);
        m_overlays.erase(requireOverlayUnlocked(id).id);
    }
    drawAll();
}

void OverlayService::setPosition(gint id, axoverlay_position_type postype, gfloat x, gfloat y) {
    refuseInCallback("axoverlay_set_overlay_position");
    const std::lock_guard lock(m_mutex);
    Overlay& overlay = requireOverlayUnlocked(id);
    requirePosition(postype, x, y);
    overlay.data.postype = postype;
    overlay.data.x = x;
    overlay.data.y = y;
}

void OverlayService::setSize(gint id, gint width, gint height) {
    const std::lock_guard lock(m_mutex);
    Overlay& overlay = requireOverlayUnlocked(id);
    requireSize(width, height);
    overlay.data.width = width;
    overlay.data.height = height;
}

Size OverlayService::largest(gint camera) {
    refuseInCallback("a getter of the largest resolution");
    const std::lock_guard lock(m_mutex);
    requireOpenUnlocked();
    if (camera != AXOVERLAY_DEFAULT_CAMERA_ID) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT,
                             "there is no camera " + std::to_string(camera) + ": only camera 1");
    }
    return m_largest;
}

gint OverlayService::paletteColors() {
    const std::lock_guard lock(m_mutex);
    requireOpenUnlocked();
    return kPaletteColors;
}

axoverlay_palette_color OverlayService::paletteColor(gint index) {
    const std::lock_guard lock(m_mutex);
    requireOpenUnlocked();
    if (index < 0 || index >= kPaletteColors) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT,
                             "there is no palette colour " + std::to_string(index));
    }
    return m_palette[static_cast<std::size_t>(index)];
}

void OverlayService::setPaletteColor(gint index, const axoverlay_palette_color& color) {
    refuseInCallback("axoverlay_set_palette_color");
    (void)paletteColor(index);
    const std::lock_guard lock(m_mutex);
    m_palette[static_cast<std::size_t>(index)] = color;
}

void OverlayService::requireOpenUnlocked() const {
    if (!m_open) {
        throw OverlayFailure(AXOVERLAY_ERROR_UNEXPECTED,
                             "overlays are not in use: axoverlay_init comes first");
    }
}

OverlayService::Overlay& OverlayService::requireOverlayUnlocked(gint id) {
    requireOpenUnlocked();
    const auto found = m_overlays.find(id);
    if (found == m_overlays.end()) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_ARGUMENT,
                             "there is no overlay " + std::to_string(id));
    }
    return found->second;
}

std::vector<axoverlay_stream_data> OverlayService::configuredStreams(const Config& config) {
    std::vector<axoverlay_stream_data> streams;
    for (const ViewerStream& viewer : config.viewers) {
        streams.push_back({static_cast<gint>(streams.size()) + 1, AXOVERLAY_DEFAULT_CAMERA_ID,
                           static_cast<gint>(viewer.size.width),
                           static_cast<gint>(viewer.size.height), config.rotation,
                           viewer.mirrored ? TRUE : FALSE, AXOVERLAY_STREAM_JPEG});
    }
    return streams;
}

std::vector<OverlayService::Stream>
OverlayService::selectStreams(const std::vector<axoverlay_stream_data>& found,
                              const std::vector<Stream>& known,
                              axoverlay_stream_select_function select) {
    std::vector<Stream> streams;
    for (const axoverlay_stream_data& stream : found) {
        const auto old = std::find_if(known.begin(), known.end(), [&](const Stream& other) {
            return sameStream(other.data, stream);
        });
        if (old != known.end()) {
            streams.push_back(*old);
            continue;
        }
        const InCallback inside;
        const bool selected =
            select == nullptr || select(stream.camera, stream.width, stream.height, stream.rotation,
                                        stream.is_mirrored, stream.type) != FALSE;
        streams.push_back({stream, selected});
    }
    return streams;
}

void OverlayService::drawAll() {
    std::string problem;
    bool again = true;
    // A second time when a callback has destroyed an overlay; not more often, so that it has an
    // end.
    for (int round = 0; round < 2 && again; ++round) {
        Scene scene;
        std::uint64_t serial = 0;
        {
            const std::lock_guard lock(m_mutex);
            m_drawAgain = false;
            serial = ++m_redraws;
            scene = {m_callbacks, m_streams, {}, m_largest};
            for (const auto& [id, overlay] : m_overlays) {
                scene.overlays.push_back(overlay);
            }
        }
        std::stable_sort(scene.overlays.begin(), scene.overlays.end(),
                         [](const Overlay& a, const Overlay& b) {
                             return a.data.z_priority < b.data.z_priority;
                         });
        std::vector<std::shared_ptr<const OverlayLayer>> layers;
        for (const Stream& stream : scene.streams) {
            layers.push_back(drawLayer(scene, stream, serial, problem));
        }
        publishOverlayLayers(std::move(layers));
        const std::lock_guard lock(m_mutex);
        again = m_drawAgain;
    }
    if (!problem.empty()) {
        throw OverlayFailure(AXOVERLAY_ERROR_INVALID_VALUE, problem);
    }
}

bool OverlayService::isAlive(gint id) {
    const std::lock_guard lock(m_mutex);
    return m_overlays.contains(id);
}

std::shared_ptr<const OverlayLayer> OverlayService::drawLayer(const Scene& scene,
                                                              const Stream& stream,
                                                              std::uint64_t serial,
                                                              std::string& problem) {
    if (!stream.selected || scene.overlays.empty()) {
        return nullptr;
    }
    const std::shared_ptr<OverlayLayer> layer = m_pool->take(viewedSize(stream.data));
    layer->serial = serial;
    bool isFirst = true;
    for (const Overlay& overlay : scene.overlays) {
        if (!isAlive(overlay.id)) {
            continue;
        }
        try {
            drawOverlay(scene, overlay, stream, *layer, isFirst);
            isFirst = false;
        } catch (const OverlayFailure& failure) {
            // The others are drawn all the same; the call tells the first trouble.
            problem = problem.empty() ? failure.what() : problem;
        }
    }
    return layer;
}

void OverlayService::drawOverlay(const Scene& scene, const Overlay& overlay, const Stream& stream,
                                 OverlayLayer& layer, bool isFirst) {
    Placement placement = initialPlacement(overlay.data, stream.data, scene.largest);
    axoverlay_stream_data data = stream.data;
    if (scene.callbacks.adjust != nullptr) {
        const InCallback inside;
        scene.callbacks.adjust(overlay.id, &data, &placement.postype, &placement.x, &placement.y,
                               &placement.width, &placement.height, overlay.userData);
    }
    requireSize(placement.width, placement.height);
    requirePosition(placement.postype, placement.x, placement.y);
    const Place place = placeOf(placement, overlay.data.anchor_point, stream.data, scene.largest);
    // An overlay over the whole stream needs no surface of its own: nothing lies below it yet.
    const bool coversLayer = isFirst && place == Place{} &&
                             placement.width == static_cast<gint>(layer.size.width) &&
                             placement.height == static_cast<gint>(layer.size.height);
    const Surface surface =
        coversLayer ? surfaceOf(layer)
                    : Surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, placement.width,
                                                         placement.height));
    requireHealthy(cairo_surface_status(surface.get()));
    {
        const Context context(cairo_create(surface.get()));
        const InCallback inside;
        data = stream.data;
        if (scene.callbacks.render != nullptr) {
            scene.callbacks.render(context.get(), overlay.id, &data, placement.postype, placement.x,
                                   placement.y, placement.width, placement.height,
                                   overlay.userData);
        } else {
            timeval time = monotonicTime();
            scene.callbacks.renderSynced(context.get(), overlay.id, &data, placement.postype,
                                         placement.x, placement.y, placement.width,
                                         placement.height, &time, overlay.userData);
        }
        if (const cairo_status_t status = cairo_status(context.get());
            status != CAIRO_STATUS_SUCCESS) {
            warnUnlessRepeated(std::string("an overlay's drawing failed: ") +
                               cairo_status_to_string(status));
        }
    }
    cairo_surface_flush(surface.get());
    if (!coversLayer) {
        const Surface target = surfaceOf(layer);
        const Context context(cairo_create(target.get()));
        cairo_set_source_surface(context.get(), surface.get(), place.x, place.y);
        cairo_paint(context.get());
    }
}

} // namespace hostcam
