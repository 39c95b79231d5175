/* Video stream service: the camera's views and what they offer. */
#ifndef VDO_CHANNEL_H
#define VDO_CHANNEL_H

#include "vdo-map.h"
#include "vdo-types.h"

G_BEGIN_DECLS

#define VDO_CHANNEL_GLOBAL NULL

#define VDO_TYPE_CHANNEL (vdo_channel_get_type())
G_DECLARE_FINAL_TYPE(VdoChannel, vdo_channel, VDO, CHANNEL, GObject)

/* Channels, maps and lists that are returned belong to the caller, each channel with a reference.
 */
VdoChannel* vdo_channel_get(guint channel_nbr, GError** error);
VdoChannel* vdo_channel_get_ex(VdoMap* desc, GError** error);
GList* vdo_channel_get_all(GError** error);
GList* vdo_channel_get_filtered(VdoMap* filter, GError** error);
VdoMap* vdo_channel_get_info(VdoChannel* self, GError** error);
VdoMap* vdo_channel_get_settings(VdoChannel* self, GError** error);
gboolean vdo_channel_set_settings(VdoChannel* self, VdoMap* settings, GError** error);
VdoMap* vdo_channel_get_stream_profile(VdoChannel* self, const gchar* profile, VdoFormat format,
                                       GError** error);

/* The sizes that the channel's streams come in, before rotation; g_free() the result. */
VdoResolutionSet* vdo_channel_get_resolutions(VdoChannel* self, VdoMap* filter, GError** error);

guint vdo_channel_get_id(VdoChannel* self);

G_END_DECLS

#endif
