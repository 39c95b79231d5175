/* Video stream service: the memory of a picture. A buffer is a frame under another name. */
#ifndef VDO_BUFFER_H
#define VDO_BUFFER_H

#include "vdo-frame.h"

G_BEGIN_DECLS

typedef VdoFrame VdoBuffer;
G_DEFINE_AUTOPTR_CLEANUP_FUNC(VdoBuffer, g_object_unref)

typedef void (*VdoBufferFinalizer)(VdoBuffer* self);

VdoBuffer* vdo_buffer_new(gint fd, gsize capacity, guint64 offset, gpointer opaque);
VdoBuffer* vdo_buffer_new_full(gint fd, gsize capacity, guint64 offset, gpointer opaque,
                               VdoMap* settings);
guint32 vdo_buffer_get_id(VdoBuffer* self);
gint vdo_buffer_get_fd(VdoBuffer* self); /* -1: the memory has no descriptor */
gint64 vdo_buffer_get_offset(VdoBuffer* self);
gsize vdo_buffer_get_capacity(VdoBuffer* self); /* at least the frame's size */
gboolean vdo_buffer_is_complete(VdoBuffer* self);
gpointer vdo_buffer_get_opaque(VdoBuffer* self);

/* The picture's bytes, valid while the buffer is held; the library's own, never to be freed. NULL
 * when the memory could not be mapped. */
gpointer vdo_buffer_get_data(VdoBuffer* self);

VdoFrame* vdo_buffer_get_frame(VdoBuffer* self); /* the same object; NULL for NULL */

G_END_DECLS

#endif
