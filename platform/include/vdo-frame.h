/* Video stream service: one picture and what is known about it. */
#ifndef VDO_FRAME_H
#define VDO_FRAME_H

#include "vdo-map.h"
#include "vdo-types.h"

G_BEGIN_DECLS

#define VDO_TYPE_FRAME (vdo_frame_get_type())
G_DECLARE_FINAL_TYPE(VdoFrame, vdo_frame, VDO, FRAME, GObject)

typedef void (*VdoFrameFinalizer)(VdoFrame* self);

VdoFrameType vdo_frame_get_frame_type(VdoFrame* self);
guint vdo_frame_get_sequence_nbr(VdoFrame* self);
guint64 vdo_frame_get_timestamp(VdoFrame* self); /* capture time in microseconds, monotonic */
gint64 vdo_frame_get_custom_timestamp(VdoFrame* self);
gsize vdo_frame_get_size(VdoFrame* self); /* bytes of picture data */
gssize vdo_frame_get_header_size(VdoFrame* self);
gint vdo_frame_get_fd(VdoFrame* self);            /* -1: the memory has no descriptor */
VdoMap* vdo_frame_get_extra_info(VdoFrame* self); /* the frame's own; may be NULL */
gpointer vdo_frame_get_opaque(VdoFrame* self);
gboolean vdo_frame_get_is_last_buffer(VdoFrame* self);

void vdo_frame_set_size(VdoFrame* self, gsize size);
void vdo_frame_set_frame_type(VdoFrame* self, VdoFrameType type);
void vdo_frame_set_sequence_nbr(VdoFrame* self, guint number);
void vdo_frame_set_timestamp(VdoFrame* self, guint64 timestamp);
void vdo_frame_set_custom_timestamp(VdoFrame* self, gint64 timestamp);
void vdo_frame_set_header_size(VdoFrame* self, gssize size);
void vdo_frame_set_is_last_buffer(VdoFrame* self, gboolean last);
void vdo_frame_set_extra_info(VdoFrame* self, VdoMap* info); /* the frame keeps a reference */

/* Deprecated: vdo_buffer_get_data(). The memory stays mapped for as long as the frame is held. */
gpointer vdo_frame_memmap(VdoFrame* self);
void vdo_frame_unmap(VdoFrame* self); /* deprecated, has no effect */

/* The frame's data in pieces; a piece of size 0 ends it. */
VdoChunk vdo_frame_take_chunk(VdoFrame* self, GError** error);

G_END_DECLS

#endif
