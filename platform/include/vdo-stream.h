/* Video stream service: a running supply of pictures. */
#ifndef VDO_STREAM_H
#define VDO_STREAM_H

#include "vdo-buffer.h"
#include "vdo-frame.h"
#include "vdo-map.h"
#include "vdo-types.h"

G_BEGIN_DECLS

#define VDO_GETFRAME_NONBLOCK (0)

#define VDO_TYPE_STREAM (vdo_stream_get_type())
G_DECLARE_FINAL_TYPE(VdoStream, vdo_stream, VDO, STREAM, GObject)

/* Calls on one stream come from one thread. Maps and lists that are returned belong to the caller.
 */

/* A new stream, attached to its channel, not yet started. The settings stay the caller's. The
 * stream ends with the last g_object_unref(). */
VdoStream* vdo_stream_new(VdoMap* settings, VdoBufferFinalizer fin, GError** error);
VdoStream* vdo_stream_get(guint id, GError** error);
GList* vdo_stream_get_all(GError** error);
guint vdo_stream_get_id(VdoStream* self);
gint vdo_stream_get_fd(VdoStream* self, GError** error);       /* readable: a buffer is ready */
gint vdo_stream_get_event_fd(VdoStream* self, GError** error); /* readable: an event is ready */
VdoMap* vdo_stream_get_info(VdoStream* self, GError** error);
VdoMap* vdo_stream_get_settings(VdoStream* self, GError** error);
gboolean vdo_stream_set_settings(VdoStream* self, VdoMap* settings, GError** error);
gboolean vdo_stream_set_framerate(VdoStream* self, gdouble framerate, GError** error);
gboolean vdo_stream_attach(VdoStream* self, VdoMap* intent, GError** error);
gboolean vdo_stream_start(VdoStream* self, GError** error);
gboolean vdo_stream_play(VdoStream* self, VdoMap* settings, GError** error);
void vdo_stream_stop(VdoStream* self);
gboolean vdo_stream_force_key_frame(VdoStream* self, GError** error);
VdoBuffer* vdo_stream_buffer_alloc(VdoStream* self, gpointer opaque, GError** error);

/* Hands a buffer back and sets *buffer to NULL. */
gboolean vdo_stream_buffer_unref(VdoStream* self, VdoBuffer** buffer, GError** error);
gboolean vdo_stream_buffer_enqueue(VdoStream* self, VdoBuffer* buffer, GError** error);

/* Waits for the stream's next picture. The buffer must be handed back, or the stream runs dry. */
VdoBuffer* vdo_stream_get_buffer(VdoStream* self, GError** error);
VdoBuffer* vdo_stream_snapshot(VdoMap* settings, GError** error);
VdoMap* vdo_stream_get_event(VdoStream* self, GError** error);

/* Streams of one raw kind each, of the given video input and size. */
VdoStream* vdo_stream_nv12_new(const VdoMap* settings, guint32 input, VdoResolution resolution,
                               GError** error);
VdoStream* vdo_stream_rgb_new(const VdoMap* settings, guint32 input, VdoResolution resolution,
                              GError** error);
VdoStream* vdo_stream_y800_new(const VdoMap* settings, guint32 input, VdoResolution resolution,
                               GError** error);

G_END_DECLS

#endif
