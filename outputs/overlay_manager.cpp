#include "outputs/overlay_manager.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <mutex>
#include <sstream>

#include <vdo-channel.h>
#include <vdo-types.h>

#include "analysis/truncation.h"
#include "core/Logger.h"
#include "core/handles.h"
#include "outputs/overlay_rendering.h"
#include "outputs/palette.h"
#include "settings/parameter_controller.h"
#include "video/StreamMapper.h"

OverlayInfo g_OverlayInfo;

UserRectangle g_UserRectangles[MAX_USER_RECTANGLES];
int g_nUserRectangles = 0;
UserLine g_UserLines[MAX_USER_LINES];
int g_nUserLines = 0;
UserCircle g_UserCircles[MAX_USER_CIRCLES];
int g_nUserCircles = 0;

int OverlayManager::m_OverlayID = 0;

namespace {

/// Guards the sizes of every OverlayInfo.
std::mutex s_sizesMutex;

} // namespace

// User shapes -----------------------------------------------------------------------------------

namespace {

template <typename Shape, std::size_t Room>
void appendShape(Shape (&store)[Room], int& count, const Shape& shape, const char* failure) {
    if (count > static_cast<int>(Room) - 1) {
        g_Logger.error(failure);
        return;
    }
    store[count] = shape;
    ++count;
}

} // namespace

void OverlayManager::clearUserOverlays() {
    g_nUserRectangles = 0;
    g_nUserLines = 0;
    g_nUserCircles = 0;
}

void OverlayManager::clearUserRectangles() {
    g_nUserRectangles = 0;
}

void OverlayManager::addUserRectangle(int x, int y, int width, int height, int colorIndex,
                                      int lineWidth) {
    appendShape(g_UserRectangles, g_nUserRectangles, {{x, y, width, height}, colorIndex, lineWidth},
                "addUserRectangle: Too many user rectangles.");
}

void OverlayManager::addUserCircle(int cx, int cy, int radius, int colorIndex, int lineWidth) {
    appendShape(g_UserCircles, g_nUserCircles, {cx, cy, radius, colorIndex, lineWidth},
                "addUserCircle: Too many user circles.");
}

void OverlayManager::addUserLine(int x0, int y0, int x1, int y1, int colorIndex, int lineWidth) {
    appendShape(g_UserLines, g_nUserLines, {x0, y0, x1, y1, colorIndex, lineWidth},
                "addUserLine: Too many user lines.");
}

// Streams and render options --------------------------------------------------------------------

int OverlayInfo::getStreamType(unsigned w, unsigned h, bool portrait) const {
    const std::lock_guard lock(s_sizesMutex);
    if ((portrait ? h : w) == appStreamWidth && (portrait ? w : h) == appStreamHeight) {
        return 1;
    }
    if (w == overlayStreamWidth && h == overlayStreamHeight) {
        return 2;
    }
    if (w == anonymizedStreamWidth && h == anonymizedStreamHeight) {
        return 3;
    }
    return 0;
}

bool OverlayRenderOptionsDict::setOptions(const Resolution& resolution,
                                          const OverlayRenderOptions& options) {
    map.insert_or_assign(resolution, options);
    return true;
}

bool OverlayRenderOptionsDict::getOptions(const Resolution& resolution,
                                          OverlayRenderOptions& out) const {
    const auto found = map.find(resolution);
    if (found == map.end()) {
        return false;
    }
    out = found->second;
    return true;
}

bool OverlayRenderOptionsDict::getOptions(unsigned w, unsigned h, OverlayRenderOptions& out) const {
    return getOptions(Resolution(w, h), out);
}

namespace {

/// Reads "WxH". @throws what std::stoi throws for a part that is no number
Resolution parseSize(const std::string& text) {
    std::istringstream stream(text);
    std::string width;
    std::string height;
    std::getline(stream, width, 'x');
    std::getline(stream, height, 'x');
    const int w = std::stoi(width);
    const int h = std::stoi(height);
    return {static_cast<unsigned>(w), static_cast<unsigned>(h)};
}

void releaseChannels(GList* channels) {
    g_list_free_full(channels, g_object_unref);
}

using ChannelList = std::unique_ptr<GList, ReleaseWith<releaseChannels>>;
using ResolutionList = std::unique_ptr<VdoResolutionSet, ReleaseWith<g_free>>;

void insertResolutions(VdoChannel* channel, bool onlySquare, std::set<Resolution>& found) {
    ErrorSlot error;
    const ResolutionList offered(vdo_channel_get_resolutions(channel, nullptr, error.out()));
    for (gsize i = 0; offered != nullptr && i < offered->count; ++i) {
        const VdoResolution& size = offered->resolutions[i];
        if (!onlySquare || size.width == size.height) {
            found.insert(Resolution(size.width, size.height));
        }
    }
}

} // namespace

void OverlayManager::SetApplicationStreamResolution(unsigned w, unsigned h) {
    const std::lock_guard lock(s_sizesMutex);
    g_OverlayInfo.appStreamWidth = w;
    g_OverlayInfo.appStreamHeight = h;
}

void OverlayManager::SetOverlayStreamResolution(unsigned w, unsigned h) {
    const std::lock_guard lock(s_sizesMutex);
    g_OverlayInfo.overlayStreamWidth = w;
    g_OverlayInfo.overlayStreamHeight = h;
}

void OverlayManager::SetAnonymizedStreamResolution(unsigned w, unsigned h) {
    const std::lock_guard lock(s_sizesMutex);
    g_OverlayInfo.anonymizedStreamWidth = w;
    g_OverlayInfo.anonymizedStreamHeight = h;
}

void OverlayManager::SetOverlayStreamResolutionFromString(const std::string& text) {
    const Resolution size = parseSize(text);
    SetOverlayStreamResolution(size.width, size.height);
}

void OverlayManager::SetAnonymizedStreamResolutionFromString(const std::string& text) {
    const Resolution size = parseSize(text);
    SetAnonymizedStreamResolution(size.width, size.height);
}

std::set<Resolution> OverlayManager::getCameraResolutions() {
    ErrorSlot error;
    const ChannelList channels(vdo_channel_get_all(error.out()));
    if (channels == nullptr) {
        g_Logger.error("getCameraResolutions: Failed to get all channels.");
        return {};
    }
    g_Logger.info("getCameraResolutions: Successfully got all channels.");
    const bool onlySquare = g_ParameterController.get_sensor_aspect_ratio() == "1:1";
    std::set<Resolution> found;
    for (const GList* link = channels.get(); link != nullptr; link = link->next) {
        insertResolutions(static_cast<VdoChannel*>(link->data), onlySquare, found);
    }
    return found;
}

std::string OverlayManager::getCamerasResolutionsAsCsv() {
    std::string csv;
    for (const Resolution& size : getCameraResolutions()) {
        csv += std::to_string(size.width) + "x" + std::to_string(size.height) + ",";
    }
    return csv;
}

// The overlay service ---------------------------------------------------------------------------

OverlayManager::OverlayManager() {
    g_Logger.info("OverlayManager: OverlayManager constructor invoked.");
    if (!axoverlay_is_backend_supported(AXOVERLAY_CAIRO_IMAGE_BACKEND)) {
        g_Logger.error("OverlayManager: AXOVERLAY_CAIRO_IMAGE_BACKEND is not supported");
    }
    ErrorSlot error;
    axoverlay_settings settings{};
    axoverlay_init_axoverlay_settings(&settings);
    settings.backend = AXOVERLAY_CAIRO_IMAGE_BACKEND;
    settings.render_callback = renderCallback;
    settings.adjustment_callback = adjustmentCallback;
    settings.select_callback = selectStreamCallback;
    axoverlay_init(&settings, error.out());
    if (error.isSet()) {
        g_Logger.error("OverlayManager: Failed to initialize axoverlay: " + error.message());
    }
    constexpr gint kCamera = 1;
    const gint maxWidth = axoverlay_get_max_resolution_width(kCamera, error.out());
    const gint maxHeight = axoverlay_get_max_resolution_height(kCamera, error.out());
    m_OverlayID = createOverlay(maxWidth, maxHeight);
    axoverlay_redraw(error.out());
    if (error.isSet()) {
        g_Logger.error("OverlayManager: Failed to do initial draw of overlays: " + error.message());
        ErrorSlot ignored;
        axoverlay_destroy_overlay(m_OverlayID, ignored.out());
        axoverlay_cleanup();
    }
}

OverlayManager::~OverlayManager() {
    ErrorSlot ignored;
    axoverlay_destroy_overlay(m_OverlayID, ignored.out());
    axoverlay_cleanup();
}

int OverlayManager::renderFindings() const {
    ErrorSlot error;
    axoverlay_redraw(error.out());
    if (error.isSet()) {
        g_Logger.error("renderFindings: Failed to redraw overlay: " + error.message());
        return 0;
    }
    return 1;
}

int OverlayManager::createOverlay(int width, int height) {
    axoverlay_overlay_data data{};
    axoverlay_init_overlay_data(&data);
    data.anchor_point = AXOVERLAY_ANCHOR_TOP_LEFT;
    data.postype = AXOVERLAY_TOP_LEFT;
    data.x = 0.0F;
    data.y = 0.0F;
    data.width = width;
    data.height = height;
    data.z_priority = AXOVERLAY_Z_PRIO_LOW;
    data.colorspace = AXOVERLAY_COLORSPACE_ARGB32;
    data.scale_to_stream = FALSE;
    ErrorSlot error;
    const gint id = axoverlay_create_overlay(&data, &g_OverlayInfo, error.out());
    if (error.isSet()) {
        g_Logger.error("createOverlay: Failed to create overlay: " + error.message());
        return 0;
    }
    return id;
}

void OverlayManager::adjustmentCallback(gint /*id*/, struct axoverlay_stream_data* stream,
                                        enum axoverlay_position_type* /*postype*/,
                                        gfloat* /*overlay_x*/, gfloat* /*overlay_y*/,
                                        gint* overlay_width, gint* overlay_height,
                                        gpointer /*user_data*/) {
    const bool portrait = isPortraitRotation(stream->rotation);
    *overlay_width = portrait ? stream->height : stream->width;
    *overlay_height = portrait ? stream->width : stream->height;
}

gboolean OverlayManager::selectStreamCallback(gint /*camera*/, gint /*width*/, gint /*height*/,
                                              gint /*rotation*/, gboolean /*is_mirrored*/,
                                              enum axoverlay_stream_type /*type*/) {
    return 1;
}

// Rendering -------------------------------------------------------------------------------------

void OverlayManager::renderCallback(gpointer rendering_context, gint id,
                                    struct axoverlay_stream_data* stream,
                                    enum axoverlay_position_type /*postype*/, gfloat /*overlay_x*/,
                                    gfloat /*overlay_y*/, gint /*overlay_width*/,
                                    gint /*overlay_height*/, gpointer user_data) {
    // For a debugger: nothing reads it.
    [[maybe_unused]] static int calls = 0;
    ++calls;
    if (id != m_OverlayID) {
        return;
    }
    const auto& info = *static_cast<const OverlayInfo*>(user_data);
    if (info.getStreamType(static_cast<unsigned>(stream->width),
                           static_cast<unsigned>(stream->height),
                           isPortraitRotation(stream->rotation)) == 0) {
        return;
    }
    try { // The caller is C code, which must not be unwound.
        OverlayRendering(static_cast<cairo_t*>(rendering_context), *stream).draw();
    } catch (const std::exception& failure) {
        g_Logger.error(std::string("renderCallback: Failed to render: ") + failure.what());
    }
}

std::string OverlayManager::secondsToTimeText(int seconds) {
    if (seconds == 1) {
        return "1 second";
    }
    if (seconds < 60) {
        return std::to_string(seconds) + " seconds";
    }
    if (seconds < 120) {
        return "1 minute";
    }
    return std::to_string(seconds / 60) + " minutes";
}

// Primitives ------------------------------------------------------------------------------------

void OverlayManager::usePaletteColor(cairo_t* cairo, int index, double alpha) {
    if (index < 0 || index >= static_cast<int>(kPalette.size())) {
        g_Logger.error("usePaletteColor: Unknown color index passed to "
                       "OverlayManager::usePaletteColor. Using Black.");
        index = kBlack;
    }
    const PaletteColor& color = kPalette[static_cast<std::size_t>(index)];
    cairo_set_source_rgba(cairo, color.red, color.green, color.blue, alpha);
}

cairo_pattern_t* OverlayManager::getCheckeredPattern(int colorIndex) {
    // A surface wants writable memory, but one that is only a pattern's source is never written.
    auto* const pixels = const_cast<std::uint32_t*>(checkerboardOf(colorIndex).data());
    cairo_surface_t* const surface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(pixels), CAIRO_FORMAT_ARGB32, kCheckerboardSize,
        kCheckerboardSize, kCheckerboardSize * static_cast<int>(sizeof(std::uint32_t)));
    cairo_pattern_t* const pattern = cairo_pattern_create_for_surface(surface);
    cairo_surface_destroy(surface);
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_REPEAT);
    cairo_pattern_set_filter(pattern, CAIRO_FILTER_NEAREST);
    return pattern;
}

namespace {

using Pattern = std::unique_ptr<cairo_pattern_t, ReleaseWith<cairo_pattern_destroy>>;

/// Paints the current path: filled with the checkered pattern of a colour, or its outline.
void paintShape(cairo_t* cairo, int colorIndex, int lineWidth, bool filled) {
    cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
    if (filled) {
        const Pattern pattern(OverlayManager::getCheckeredPattern(colorIndex));
        cairo_set_source(cairo, pattern.get());
        cairo_fill(cairo);
        return;
    }
    OverlayManager::usePaletteColor(cairo, colorIndex, 1.0);
    cairo_set_line_width(cairo, lineWidth);
    cairo_stroke(cairo);
}

/// Text filled in one colour and outlined in another.
void paintText(cairo_t* cairo, const std::string& text, int x, int y, int fillIndex,
               int outlineIndex) {
    cairo_move_to(cairo, x, y);
    OverlayManager::usePaletteColor(cairo, fillIndex, 1.0);
    cairo_text_path(cairo, text.c_str());
    cairo_fill_preserve(cairo);
    OverlayManager::usePaletteColor(cairo, outlineIndex, 1.0);
    cairo_set_line_width(cairo, 1.0);
    cairo_stroke(cairo);
}

/// Sums and differences of coordinates that anybody may have made up end at the nearest int.
int sum(std::int64_t a, std::int64_t b) {
    return static_cast<int>(std::clamp<std::int64_t>(a + b, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

int difference(std::int64_t a, std::int64_t b) {
    return sum(a, -b);
}

/// A point of a rendering context on its surface.
cv::Point onSurface(const RenderingContext& context, int x, int y) {
    const int left = truncateToInt((static_cast<float>(x) - context.epsilon) * context.scaleX);
    const int top = truncateToInt(static_cast<float>(y) * context.scaleY);
    return {context.isMirrored ? difference(context.mirrorWidth, std::int64_t{left} + 1) : left,
            top};
}

} // namespace

void OverlayManager::drawLine(cairo_t* cairo, int x0, int y0, int x1, int y1, int colorIndex,
                              int lineWidth) {
    usePaletteColor(cairo, colorIndex, 1.0);
    cairo_set_line_width(cairo, lineWidth);
    cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
    cairo_move_to(cairo, x0, y0);
    cairo_line_to(cairo, x1, y1);
    cairo_stroke(cairo);
}

void OverlayManager::drawLine(cairo_t* cairo, const StreamMapper& mapper, int x0, int y0, int x1,
                              int y1, int colorIndex, int lineWidth) {
    drawLine(cairo, mapper.mapX(x0), mapper.mapY(y0), mapper.mapX(x1), mapper.mapY(y1), colorIndex,
             lineWidth);
}

void OverlayManager::drawText(cairo_t* cairo, const std::string& text, int x, int y,
                              int colorIndex) {
    paintText(cairo, text, x, y, colorIndex, kBlack);
}

void OverlayManager::drawText(cairo_t* cairo, const StreamMapper& mapper, const std::string& text,
                              int x, int y, int colorIndex) {
    drawText(cairo, text, mapper.mapX(x), mapper.mapY(y), colorIndex);
}

void OverlayManager::drawTextNoOutline(cairo_t* cairo, const std::string& text, int x, int y,
                                       int colorIndex) {
    paintText(cairo, text, x, y, colorIndex, colorIndex);
}

void OverlayManager::drawTextNoOutline(cairo_t* cairo, const StreamMapper& mapper,
                                       const std::string& text, int x, int y, int colorIndex) {
    drawTextNoOutline(cairo, text, mapper.mapX(x), mapper.mapY(y), colorIndex);
}

void OverlayManager::drawRectangle(cairo_t* cairo, int left, int top, int width, int height,
                                   int colorIndex, int lineWidth, bool filled) {
    cairo_rectangle(cairo, left, top, width, height);
    paintShape(cairo, colorIndex, lineWidth, filled);
}

void OverlayManager::drawBox(cairo_t* cairo, int x0, int y0, int x1, int y1, int colorIndex,
                             int lineWidth) {
    drawRectangle(cairo, x0, y0, difference(x1, x0), difference(y1, y0), colorIndex, lineWidth,
                  false);
}

void OverlayManager::drawCircle(cairo_t* cairo, int cx, int cy, int radius, int colorIndex,
                                int lineWidth, bool filled) {
    constexpr double kFullCircle = 2.0 * 3.14159265358979323846;
    cairo_new_sub_path(cairo);
    cairo_arc(cairo, cx, cy, radius, 0.0, kFullCircle);
    paintShape(cairo, colorIndex, lineWidth, filled);
}

void OverlayManager::drawCross(cairo_t* cairo, int cx, int cy, int size, int colorIndex,
                               int lineWidth) {
    drawLine(cairo, difference(cx, size), cy, sum(cx, size), cy, colorIndex, lineWidth);
    drawLine(cairo, cx, difference(cy, size), cx, sum(cy, size), colorIndex, lineWidth);
}

void OverlayManager::drawLine(const RenderingContext& context, int x0, int y0, int x1, int y1,
                              int colorIndex, int lineWidth) {
    const cv::Point from = onSurface(context, x0, y0);
    const cv::Point to = onSurface(context, x1, y1);
    drawLine(context.pCairo, from.x, from.y, to.x, to.y, colorIndex, lineWidth);
}

void OverlayManager::drawLine(const RenderingContext& context, cv::Point from, cv::Point to,
                              int colorIndex, int lineWidth) {
    drawLine(context, from.x, from.y, to.x, to.y, colorIndex, lineWidth);
}

void OverlayManager::drawCross(const RenderingContext& context, int cx, int cy, int size,
                               int colorIndex, int lineWidth) {
    const cv::Point centre = onSurface(context, cx, cy);
    drawCross(context.pCairo, centre.x, centre.y, size, colorIndex, lineWidth);
}

void OverlayManager::drawCross(const RenderingContext& context, cv::Point centre, int size,
                               int colorIndex, int lineWidth) {
    drawCross(context, centre.x, centre.y, size, colorIndex, lineWidth);
}

void OverlayManager::drawCircle(const RenderingContext& context, int cx, int cy, int radius,
                                int colorIndex, int lineWidth, bool filled) {
    const cv::Point centre = onSurface(context, cx, cy);
    const int scaled = truncateToInt(static_cast<float>(radius) * context.scaleX);
    drawCircle(context.pCairo, centre.x, centre.y, scaled, colorIndex, lineWidth, filled);
}

void OverlayManager::drawCircle(const RenderingContext& context, cv::Point centre, int radius,
                                int colorIndex, int lineWidth, bool filled) {
    drawCircle(context, centre.x, centre.y, radius, colorIndex, lineWidth, filled);
}

void OverlayManager::drawRectangle(const RenderingContext& context, int left, int top, int width,
                                   int height, int colorIndex, int lineWidth, bool filled) {
    const cv::Point corner = onSurface(context, left, top);
    const cv::Point opposite = onSurface(context, sum(left, width), sum(top, height));
    drawRectangle(context.pCairo, corner.x, corner.y, difference(opposite.x, corner.x),
                  difference(opposite.y, corner.y), colorIndex, lineWidth, filled);
}

void OverlayManager::drawRectangle(const RenderingContext& context, const rectangle& box,
                                   int colorIndex, int lineWidth, bool filled) {
    drawRectangle(context, box.X, box.Y, box.W, box.H, colorIndex, lineWidth, filled);
}

float OverlayManager::distance(cv::Point a, cv::Point b) {
    // Whole numbers as long as they fit an int, and beyond it no overflow.
    const double dx = static_cast<double>(a.x) - b.x;
    const double dy = static_cast<double>(a.y) - b.y;
    return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}
