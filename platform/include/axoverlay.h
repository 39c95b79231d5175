/*
 * Overlays: pictures that an application draws and the camera lays over its video streams.
 *
 * axoverlay_init() comes before everything but the two functions that fill in a struct, the setters
 * of callbacks and back-end, and axoverlay_is_backend_supported(); after axoverlay_cleanup()
 * nothing may be called until the next axoverlay_init(). Most functions return nothing: a failure
 * shows only in the error, which may be null. Callbacks must not call the two getters of the
 * largest resolution, axoverlay_reload_streams(), axoverlay_set_overlay_position() or
 * axoverlay_set_palette_color().
 */
#ifndef AXOVERLAY_H
#define AXOVERLAY_H

#include <sys/time.h>

#include <glib.h>

G_BEGIN_DECLS

#define AXOVERLAY_QUAD_CAMERA_ID 0
#define AXOVERLAY_DEFAULT_CAMERA_ID 1

#define AXOVERLAY_Z_PRIO_LOW 0
#define AXOVERLAY_Z_PRIO_MEDIUM 1000
#define AXOVERLAY_Z_PRIO_HIGH 2000
#define AXOVERLAY_Z_PRIO_VERY_HIGH 3000

enum axoverlay_error_code {
    AXOVERLAY_ERROR_INVALID_VALUE = 1000,
    AXOVERLAY_ERROR_INTERNAL = 2000,
    AXOVERLAY_ERROR_UNEXPECTED = 3000,
    AXOVERLAY_ERROR_GENERIC = 4000,
    AXOVERLAY_ERROR_INVALID_ARGUMENT = 5000,
    AXOVERLAY_ERROR_SERVICE_UNAVAILABLE = 6000,
    AXOVERLAY_ERROR_BACKEND = 7000
};

enum axoverlay_colorspace {
    AXOVERLAY_COLORSPACE_ARGB32 = 0,
    AXOVERLAY_COLORSPACE_4BIT_PALETTE = 1,
    AXOVERLAY_COLORSPACE_1BIT_PALETTE = 2,
    AXOVERLAY_COLORSPACE_UNDEFINED = 3
};

enum axoverlay_position_type {
    AXOVERLAY_TOP_LEFT = 0,
    AXOVERLAY_TOP_RIGHT = 1,
    AXOVERLAY_BOTTOM_LEFT = 2,
    AXOVERLAY_BOTTOM_RIGHT = 3,
    AXOVERLAY_CUSTOM_NORMALIZED = 4, /* x and y from -1 to 1 */
    AXOVERLAY_CUSTOM_SOURCE = 5      /* x and y in pixels of the source before rotation */
};

enum axoverlay_backend_type {
    AXOVERLAY_CAIRO_IMAGE_BACKEND = 1,
    AXOVERLAY_OPENGLES_BACKEND = 2,
    AXOVERLAY_OPEN_BACKEND = 3
};

/** The point of the overlay that x and y place. */
enum axoverlay_anchor_point { AXOVERLAY_ANCHOR_TOP_LEFT = 0, AXOVERLAY_ANCHOR_CENTER = 1 };

enum axoverlay_stream_type {
    AXOVERLAY_STREAM_JPEG = 0,
    AXOVERLAY_STREAM_H264 = 1,
    AXOVERLAY_STREAM_H265 = 2,
    AXOVERLAY_STREAM_YCBCR = 3, /* raw frames for analysis: never drawn on */
    AXOVERLAY_STREAM_VOUT = 4,
    AXOVERLAY_STREAM_OTHER = 5,
    AXOVERLAY_STREAM_RGB = 6,
    AXOVERLAY_STREAM_AV1 = 7
};

struct axoverlay_stream_data {
    gint id;
    gint camera;
    gint width;    /* pixels, before rotation */
    gint height;   /* pixels, before rotation */
    gint rotation; /* degrees: 0, 90, 180 or 270 */
    gboolean is_mirrored;
    enum axoverlay_stream_type type;
};

struct axoverlay_overlay_data {
    enum axoverlay_anchor_point anchor_point;
    enum axoverlay_position_type postype;
    gfloat x;
    gfloat y;
    gint width;      /* pixels, on a stream of the largest resolution */
    gint height;     /* pixels, on a stream of the largest resolution */
    gint z_priority; /* the higher lies over the lower */
    enum axoverlay_colorspace colorspace;
    gboolean scale_to_stream; /* smaller streams get a smaller overlay */
};

struct axoverlay_palette_color {
    guchar red;
    guchar green;
    guchar blue;
    guchar alpha;
    gboolean pixelate;
};

/** Asked once for each stream, when it is found: TRUE to draw on it. */
typedef gboolean (*axoverlay_stream_select_function)(gint camera, gint width, gint height,
                                                     gint rotation, gboolean is_mirrored,
                                                     enum axoverlay_stream_type type);

/** Called before each rendering of one overlay on one stream; may change the place and the size. */
typedef void (*axoverlay_adjustment_function)(gint id, struct axoverlay_stream_data* stream,
                                              enum axoverlay_position_type* postype,
                                              gfloat* overlay_x, gfloat* overlay_y,
                                              gint* overlay_width, gint* overlay_height,
                                              gpointer user_data);

/** Draws one overlay on one stream. rendering_context: a cairo_t*, borrowed for the call. */
typedef void (*axoverlay_render_function)(gpointer rendering_context, gint id,
                                          struct axoverlay_stream_data* stream,
                                          enum axoverlay_position_type postype, gfloat overlay_x,
                                          gfloat overlay_y, gint overlay_width, gint overlay_height,
                                          gpointer user_data);

/** The same with the frame's time (monotonic clock). */
typedef void (*axoverlay_synced_render_function)(gpointer rendering_context, gint id,
                                                 struct axoverlay_stream_data* stream,
                                                 enum axoverlay_position_type postype,
                                                 gfloat overlay_x, gfloat overlay_y,
                                                 gint overlay_width, gint overlay_height,
                                                 struct timeval* timestamp, gpointer user_data);

struct axoverlay_settings {
    axoverlay_render_function render_callback;
    axoverlay_adjustment_function adjustment_callback; /* null: place and size stay */
    axoverlay_stream_select_function select_callback;  /* null: every stream */
    enum axoverlay_backend_type backend;
};

/** For cameras whose buffers are cached. */
void axoverlay_enable_cpu_mem_sync(gboolean enable);

/* In place of the settings that axoverlay_init() takes: */
void axoverlay_set_adjustment_callback(axoverlay_adjustment_function adjustment_function);
void axoverlay_set_stream_select_callback(axoverlay_stream_select_function select_function);
void axoverlay_set_render_callback(axoverlay_render_function render_function);
void axoverlay_set_synced_render_callback(axoverlay_synced_render_function render_function);

/** "cairo", "opengles" or "open". */
void axoverlay_set_backend(const char* name);

/** Fills in the defaults: everything zero. */
void axoverlay_init_axoverlay_settings(struct axoverlay_settings* settings);

/** Connects to the camera's streams. settings: borrowed for the call; null when setters were used.
 */
void axoverlay_init(struct axoverlay_settings* settings, GError** error);

/** Ends the connection; every overlay is gone. */
void axoverlay_cleanup(void);

/** Looks for streams again. */
void axoverlay_reload_streams(GError** error);

/** Has every overlay drawn on every stream, in the calling thread, before it returns. */
void axoverlay_redraw(GError** error);

/** Fills in the defaults: zero, but for scale_to_stream. */
void axoverlay_init_overlay_data(struct axoverlay_overlay_data* data);

/** Makes an overlay; drawn at the next axoverlay_redraw(). @return its id, never 0 when it is made
 */
gint axoverlay_create_overlay(struct axoverlay_overlay_data* data, gpointer user_data,
                              GError** error);

/** Removes an overlay; the others are drawn again. */
void axoverlay_destroy_overlay(gint id, GError** error);

void axoverlay_set_overlay_position(gint id, enum axoverlay_position_type postype, gfloat x,
                                    gfloat y, GError** error);
void axoverlay_set_overlay_size(gint id, gint width, gint height, GError** error);

/** The size in pixels, before rotation, of a camera's largest stream; 0 with the error set. */
gint axoverlay_get_max_resolution_width(gint camera, GError** error);
gint axoverlay_get_max_resolution_height(gint camera, GError** error);

gboolean axoverlay_is_backend_supported(enum axoverlay_backend_type backend);

/* The colours of overlays in a palette colour space, from index 0. */
gint axoverlay_get_number_of_palette_colors(GError** error);
void axoverlay_get_palette_color(gint index, struct axoverlay_palette_color* color, GError** error);
void axoverlay_set_palette_color(gint index, struct axoverlay_palette_color* color, GError** error);

G_END_DECLS

#endif
