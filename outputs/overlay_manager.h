#pragma once

// Overlays on the camera's video streams, in three layers. OverlayInfo tells which streams are
// drawn on. OverlayManager owns the one overlay of the camera's overlay service and draws the
// tracked markers and the status line whenever the service composes a stream. The user shapes are a
// store that marker detection fills; they are kept, not drawn.
//
// Everything runs on the main loop's thread, with two exceptions that say so: the stream sizes and
// the list of the camera's resolutions are also used by the web-service thread.

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <axoverlay.h>
#include <cairo.h>
#include <glib.h>
#include <opencv2/core/types.hpp>

#include "analysis/common_structs.h"
#include "video/StreamManager.h"

class StreamMapper;

// User shapes -----------------------------------------------------------------------------------

/// A line between two points, in analysis-stream pixels.
struct UserLine {
    int x0;
    int y0;
    int x1;
    int y1;
    int colorIndex; ///< index into the overlay palette, 0 to 8
    int lineWidth;  ///< pixels
};

/// A circle, in analysis-stream pixels.
struct UserCircle {
    int cx;
    int cy;
    int radius;
    int colorIndex;
    int lineWidth;
};

/// An upright rectangle, in analysis-stream pixels.
struct UserRectangle {
    rectangle rect;
    int colorIndex;
    int lineWidth;
};

inline constexpr int MAX_USER_RECTANGLES = 256;
inline constexpr int MAX_USER_LINES = 256;
inline constexpr int MAX_USER_CIRCLES = 256;

/// The stored shapes and how many of each are stored; the store starts empty. Written and read on
/// the main loop only, through the static operations of OverlayManager.
extern UserRectangle g_UserRectangles[MAX_USER_RECTANGLES];
extern int g_nUserRectangles;
extern UserLine g_UserLines[MAX_USER_LINES];
extern int g_nUserLines;
extern UserCircle g_UserCircles[MAX_USER_CIRCLES];
extern int g_nUserCircles;

// Streams and render options --------------------------------------------------------------------

/// Which streams receive the overlay: three sizes in pixels, each 0 x 0 for "none".
///
/// The sizes of g_OverlayInfo are written by start-up (main thread) and by a settings document (web
/// thread) and read by every render callback (main thread). The setters of OverlayManager and
/// getStreamType() share a lock, so that a callback never sees the width of one size with the
/// height of another; the fields are plain, for whoever is alone with them.
struct OverlayInfo {
    std::uint32_t appStreamWidth = 800; ///< the application's own stream, as the viewer sees it
    std::uint32_t appStreamHeight = 450;
    std::uint32_t overlayStreamWidth = 0; ///< the stream that shows detections, before rotation
    std::uint32_t overlayStreamHeight = 0;
    std::uint32_t anonymizedStreamWidth = 0; ///< the anonymised stream, before rotation
    std::uint32_t anonymizedStreamHeight = 0;
    axoverlay_stream_type appStreamType = AXOVERLAY_STREAM_JPEG; ///< kept, read by nothing
    bool renderOnUserStreams = false;                            ///< kept, read by nothing

    OverlayInfo() = default;

    /// What a stream is for the overlay. Any thread.
    /// Deliberate: only the application stream is compared with width and height exchanged on a
    /// rotated camera; the other two are compared as the stream reports itself. A stream that fits
    /// several is the first of them.
    /// @param w, h the stream's size in pixels before rotation
    /// @param portrait whether the stream is rotated by 90 or 270 degrees
    /// @return 1: application stream, 2: overlay stream, 3: anonymised stream, 0: none of them
    [[nodiscard]] int getStreamType(unsigned w, unsigned h, bool portrait) const;
};

/// The sizes in force; the overlay service hands it to every callback as user data.
extern OverlayInfo g_OverlayInfo;

/// How to draw on streams of one resolution.
struct OverlayRenderOptions {
    bool renderOverlays = false;
    bool fillRectangles = false;

    bool operator==(const OverlayRenderOptions&) const = default;
};

/// Render options by resolution.
struct OverlayRenderOptionsDict {
    std::map<Resolution, OverlayRenderOptions> map;

    /// Inserts or replaces the options of one resolution. @return true, always
    bool setOptions(const Resolution& resolution, const OverlayRenderOptions& options);

    /// The options of exactly this resolution; there is no fallback to another one.
    /// @param out receives them; untouched when there are none
    /// @return whether there are any
    bool getOptions(const Resolution& resolution, OverlayRenderOptions& out) const;
    bool getOptions(unsigned w, unsigned h, OverlayRenderOptions& out) const;
};

// Drawing ---------------------------------------------------------------------------------------

/// Where and how the context-based primitives draw: a point (x, y) lands on the surface at
/// ((x - epsilon) * scaleX, y * scaleY), truncated, and with isMirrored its x at
/// mirrorWidth - 1 - x.
struct RenderingContext {
    cairo_t* pCairo; ///< borrowed
    float epsilon;   ///< band that is cut away at the left, in input pixels
    float scaleX;    ///< surface pixels for each input pixel
    float scaleY;
    bool isMirrored;
    int mirrorWidth; ///< surface width in pixels
};

/// The overlay of the camera's overlay service and everything drawn into it. Main loop only, except
/// where an operation says otherwise. At most one object exists, g_overlayManager; what it works
/// with is static.
class OverlayManager {
  public:
    /// Connects to the overlay service, creates the overlay over the camera's largest resolution
    /// and has it drawn for the first time. Every failure is logged and leaves an object that
    /// draws nothing: "AXOVERLAY_CAIRO_IMAGE_BACKEND is not supported", "Failed to initialize
    /// axoverlay: " + reason, createOverlay()'s, and "Failed to do initial draw of overlays: " +
    /// reason, after which the overlay is destroyed and the service left.
    OverlayManager();

    /// Destroys the overlay and leaves the service; failures are of no interest any more.
    ~OverlayManager();
    OverlayManager(const OverlayManager&) = delete;
    OverlayManager& operator=(const OverlayManager&) = delete;

    /// Has the service redraw the overlay: renderCallback() runs for each watched stream before
    /// this returns.
    /// @return 1; 0 after a failure, logged as "Failed to redraw overlay: " + reason
    int renderFindings() const;

    /// Creates the overlay, anchored at the top left.
    /// @param width, height its size in pixels on a stream of the camera's largest resolution
    /// @return the overlay's id; 0 after a failure, logged as "Failed to create overlay: " + reason
    static int createOverlay(int width, int height);

    // The callbacks of the overlay service. They are called on the main loop, inside
    // renderFindings() or when a stream starts. Pointers are borrowed for the call.

    /// Makes the overlay as large as the stream is for its viewer: width and height are exchanged
    /// at a rotation of 90 or 270 degrees. The position stays.
    static void adjustmentCallback(gint id, struct axoverlay_stream_data* stream,
                                   enum axoverlay_position_type* postype, gfloat* overlay_x,
                                   gfloat* overlay_y, gint* overlay_width, gint* overlay_height,
                                   gpointer user_data);

    /// Takes every stream: 1. Which of them are drawn on is decided by renderCallback(), because
    /// the sizes may change while a stream runs.
    static gboolean selectStreamCallback(gint camera, gint width, gint height, gint rotation,
                                         gboolean is_mirrored, enum axoverlay_stream_type type);

    /// Draws the findings and the status line on one stream; nothing on a stream that is none of
    /// the three of OverlayInfo, and nothing for another overlay's id.
    /// @param rendering_context the cairo_t of the stream's overlay surface
    /// @param user_data the OverlayInfo in force
    static void renderCallback(gpointer rendering_context, gint id,
                               struct axoverlay_stream_data* stream,
                               enum axoverlay_position_type postype, gfloat overlay_x,
                               gfloat overlay_y, gint overlay_width, gint overlay_height,
                               gpointer user_data);

    /// A duration for people: "1 second", "59 seconds", "1 minute" (60 to 119), "2 minutes".
    [[nodiscard]] static std::string secondsToTimeText(int seconds);

    // User shapes. Each kind has room for 256; one more is logged ("Too many user rectangles.",
    // "Too many user circles.", "Too many user lines.") and dropped.

    static void clearUserOverlays();
    static void clearUserRectangles();
    static void addUserRectangle(int x, int y, int width, int height, int colorIndex,
                                 int lineWidth);
    static void addUserCircle(int cx, int cy, int radius, int colorIndex, int lineWidth);
    static void addUserLine(int x0, int y0, int x1, int y1, int colorIndex, int lineWidth);

    // Stream sizes of g_OverlayInfo, in pixels. Any thread.

    static void SetApplicationStreamResolution(unsigned w, unsigned h);
    static void SetOverlayStreamResolution(unsigned w, unsigned h);
    static void SetAnonymizedStreamResolution(unsigned w, unsigned h);

    /// The same from a text "WxH"; "0x0" switches that kind of stream off.
    /// @throws std::invalid_argument or std::out_of_range for a text that is no WxH; no size
    /// changes
    static void SetOverlayStreamResolutionFromString(const std::string& text);
    static void SetAnonymizedStreamResolutionFromString(const std::string& text);

    /// Every size that the camera's channels offer, before rotation; on a square sensor only the
    /// square ones. Any thread; asks the camera anew at every call.
    /// @return empty after a failure, logged as "Failed to get all channels."; a channel that does
    /// not tell its sizes adds nothing
    [[nodiscard]] static std::set<Resolution> getCameraResolutions();

    /// The same as "640x360,1280x720,", ascending, a comma behind each. Any thread.
    [[nodiscard]] static std::string getCamerasResolutionsAsCsv();

    // Primitives. Coordinates and line widths are surface pixels, unless a StreamMapper or a
    // RenderingContext stands before them, which maps them. cairo objects are borrowed.

    /// Makes a palette colour the source: 0 black, 1 red, 2 green, 3 blue, 4 yellow, 5 white,
    /// 6 orange, 7 steel blue, 8 grey. Any other index is black, logged as "Unknown color index
    /// passed to OverlayManager::usePaletteColor. Using Black.".
    /// @param alpha opacity, 0 to 1
    static void usePaletteColor(cairo_t* cairo, int index, double alpha);

    /// A checkerboard of 4 x 4 fields in white and a colour: 1 red, 2 green, 4 yellow, 6 orange,
    /// any other grey.
    /// @return a repeating pattern; the caller releases it with cairo_pattern_destroy()
    [[nodiscard]] static cairo_pattern_t* getCheckeredPattern(int colorIndex);

    static void drawLine(cairo_t* cairo, int x0, int y0, int x1, int y1, int colorIndex,
                         int lineWidth);
    static void drawLine(cairo_t* cairo, const StreamMapper& mapper, int x0, int y0, int x1, int y1,
                         int colorIndex, int lineWidth);

    /// Text with its baseline's left end at (x, y), in the font that the cairo context has, with a
    /// black outline.
    static void drawText(cairo_t* cairo, const std::string& text, int x, int y, int colorIndex);
    static void drawText(cairo_t* cairo, const StreamMapper& mapper, const std::string& text, int x,
                         int y, int colorIndex);

    /// The same, outlined in its own colour: slightly bolder than the bare letters.
    static void drawTextNoOutline(cairo_t* cairo, const std::string& text, int x, int y,
                                  int colorIndex);
    static void drawTextNoOutline(cairo_t* cairo, const StreamMapper& mapper,
                                  const std::string& text, int x, int y, int colorIndex);

    /// A rectangle: filled with the checkered pattern of its colour, or its outline.
    static void drawRectangle(cairo_t* cairo, int left, int top, int width, int height,
                              int colorIndex, int lineWidth, bool filled);
    /// The outline of the box between two corners.
    static void drawBox(cairo_t* cairo, int x0, int y0, int x1, int y1, int colorIndex,
                        int lineWidth);
    /// A circle: filled with the checkered pattern of its colour, or its outline.
    static void drawCircle(cairo_t* cairo, int cx, int cy, int radius, int colorIndex,
                           int lineWidth, bool filled);
    /// An upright cross whose arms reach `size` pixels from its centre.
    static void drawCross(cairo_t* cairo, int cx, int cy, int size, int colorIndex, int lineWidth);

    static void drawLine(const RenderingContext& context, int x0, int y0, int x1, int y1,
                         int colorIndex, int lineWidth);
    static void drawLine(const RenderingContext& context, cv::Point from, cv::Point to,
                         int colorIndex, int lineWidth);
    static void drawCross(const RenderingContext& context, int cx, int cy, int size, int colorIndex,
                          int lineWidth);
    static void drawCross(const RenderingContext& context, cv::Point centre, int size,
                          int colorIndex, int lineWidth);
    /// The radius is scaled by scaleX.
    static void drawCircle(const RenderingContext& context, int cx, int cy, int radius,
                           int colorIndex, int lineWidth, bool filled);
    static void drawCircle(const RenderingContext& context, cv::Point centre, int radius,
                           int colorIndex, int lineWidth, bool filled);
    static void drawRectangle(const RenderingContext& context, int left, int top, int width,
                              int height, int colorIndex, int lineWidth, bool filled);
    static void drawRectangle(const RenderingContext& context, const rectangle& box, int colorIndex,
                              int lineWidth, bool filled);

    /// The distance of two points, from their integer sum of squares.
    [[nodiscard]] static float distance(cv::Point a, cv::Point b);

    /// The overlay's id at the overlay service; 0 when there is none.
    static int m_OverlayID;
};

/// The process's overlay manager, from start-up until exit. Defined in core/app_main.cpp; used on
/// the main loop only.
extern std::unique_ptr<OverlayManager> g_overlayManager;
