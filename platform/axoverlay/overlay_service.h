#pragma once

// What stands behind the overlay interface: the streams, the overlays, and their drawing.
//
// All functions may be called from any thread. The application's callbacks run in the thread that
// makes the call; one redraw runs at a time. Its lock is held while the callbacks run, as drawing
// is what it orders; the lock on the tables is not, so that a callback may make an overlay.

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <axoverlay.h>

#include "platform/axoverlay/layer_pool.h"
#include "platform/axoverlay/overlay_geometry.h"
#include "platform/hostcam/config.h"
#include "platform/hostcam/http_service.h"

namespace hostcam {

/// Thrown within the library; becomes the error of the call.
class OverlayFailure : public std::runtime_error {
  public:
    OverlayFailure(axoverlay_error_code code, const std::string& text)
        : std::runtime_error(text), m_code(code) {}

    [[nodiscard]] axoverlay_error_code code() const { return m_code; }

  private:
    axoverlay_error_code m_code;
};

/// What the application wants to be called with.
struct OverlayCallbacks {
    axoverlay_render_function render = nullptr;
    axoverlay_synced_render_function renderSynced = nullptr; ///< when render is null
    axoverlay_adjustment_function adjust = nullptr;
    axoverlay_stream_select_function select = nullptr;
};

class OverlayService {
  public:
    /// The one of the process. Never destroyed: a thread may draw beyond the end of main.
    static OverlayService& instance();

    // What the setters leave for an init without settings.
    void setCallbacks(const std::function<void(OverlayCallbacks&)>& change);
    void setBackend(const std::string& name);

    /// @param settings null: what the setters left
    /// @throws OverlayFailure, ConfigError; nothing is opened then
    void init(const axoverlay_settings* settings);
    void cleanup();
    void reloadStreams();
    void redraw();

    [[nodiscard]] gint create(const axoverlay_overlay_data& data, gpointer userData);
    void destroy(gint id);
    void setPosition(gint id, axoverlay_position_type postype, gfloat x, gfloat y);
    void setSize(gint id, gint width, gint height);

    /// The largest stream of a camera before rotation.
    [[nodiscard]] Size largest(gint camera);

    static constexpr gint kPaletteColors = 16;
    [[nodiscard]] gint paletteColors();
    [[nodiscard]] axoverlay_palette_color paletteColor(gint index);
    void setPaletteColor(gint index, const axoverlay_palette_color& color);

  private:
    struct Overlay {
        gint id;
        axoverlay_overlay_data data;
        gpointer userData;
    };
    struct Stream {
        axoverlay_stream_data data;
        bool selected;
    };
    /// What one redraw works on.
    struct Scene {
        OverlayCallbacks callbacks;
        std::vector<Stream> streams;
        std::vector<Overlay> overlays; ///< from the lowest to the highest
        Size largest;
    };

    void requireOpenUnlocked() const;
    Overlay& requireOverlayUnlocked(gint id);
    static std::vector<axoverlay_stream_data> configuredStreams(const Config& config);
    /// Asks the application about each stream that is not among the known ones.
    static std::vector<Stream> selectStreams(const std::vector<axoverlay_stream_data>& found,
                                             const std::vector<Stream>& known,
                                             axoverlay_stream_select_function select);
    /// Needs m_drawing held, and not m_mutex.
    void drawAll();
    [[nodiscard]] bool isAlive(gint id);
    [[nodiscard]] std::shared_ptr<const OverlayLayer>
    drawLayer(const Scene& scene, const Stream& stream, std::uint64_t serial, std::string& problem);
    void drawOverlay(const Scene& scene, const Overlay& overlay, const Stream& stream,
                     OverlayLayer& layer, bool isFirst);

    std::mutex m_drawing; ///< one redraw at a time; locked before m_mutex
    std::mutex m_mutex;   ///< guards what follows
    bool m_open = false;
    std::shared_ptr<HttpService> m_http; ///< held while overlays are in use
    bool m_drawAgain =
        false; ///< an overlay was destroyed by a callback of the redraw that is running
    OverlayCallbacks m_prepared; ///< by the setters
    std::optional<std::string> m_preparedBackend;
    OverlayCallbacks m_callbacks;
    std::vector<Stream> m_streams;
    std::map<gint, Overlay> m_overlays;
    gint m_nextId = 1;
    Size m_largest;
    std::array<axoverlay_palette_color, kPaletteColors> m_palette{};
    std::uint64_t m_redraws = 0;
    const std::shared_ptr<LayerPool> m_pool = std::make_shared<LayerPool>();
};

} // namespace hostcam
