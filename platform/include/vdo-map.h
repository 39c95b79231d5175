/* Video stream service: named values of one type each, in which settings and information travel. */
#ifndef VDO_MAP_H
#define VDO_MAP_H

#include <glib-object.h>

#include "vdo-types.h"

G_BEGIN_DECLS

#define VDO_TYPE_MAP (vdo_map_get_type())
G_DECLARE_FINAL_TYPE(VdoMap, vdo_map, VDO, MAP, GObject)

/* Every function that takes names by "..." takes them up to a NULL. A map may be used from one
 * thread at a time. */

VdoMap* vdo_map_new(void);
VdoMap* vdo_map_new_from_variant(GVariant* dict); /* dict: "a{sv}"; a floating reference is taken */
gboolean vdo_map_empty(const VdoMap* self);
gsize vdo_map_size(const VdoMap* self);
void vdo_map_swap(VdoMap* lhs, VdoMap* rhs);
gboolean vdo_map_contains(const VdoMap* self, const gchar* name);
gboolean vdo_map_contains_va(const VdoMap* self, ...);
gboolean vdo_map_contains_strv(const VdoMap* self, const gchar* const* names);
gboolean vdo_map_entry_equals(const VdoMap* self, const VdoMap* map, const gchar* name);
gboolean vdo_map_entry_updates(const VdoMap* self, const VdoMap* map, const gchar* name);
gboolean vdo_map_equals(const VdoMap* self, const VdoMap* map);
gboolean vdo_map_equals_va(const VdoMap* self, const VdoMap* map, ...);
gboolean vdo_map_equals_strv(const VdoMap* self, const VdoMap* map, const gchar* const* names);
void vdo_map_remove(VdoMap* self, const gchar* name);
void vdo_map_remove_va(VdoMap* self, ...);
void vdo_map_remove_strv(VdoMap* self, const gchar* const* names);
void vdo_map_clear(VdoMap* self);
VdoMap* vdo_map_filter_prefix(const VdoMap* self, const gchar* prefix);
VdoMap* vdo_map_filter_va(const VdoMap* self, ...);
VdoMap* vdo_map_filter_strv(const VdoMap* self, const gchar* const* names);
void vdo_map_merge(VdoMap* self, const VdoMap* map);
void vdo_map_copy_value(VdoMap* self, const gchar* src, const gchar* dst);
GVariant* vdo_map_to_variant(const VdoMap* self); /* floating, "a{sv}" */
void vdo_map_dump(const VdoMap* self);            /* prints to stdout */

/* Getters: the default when the name is missing or holds another type. Numbers are never converted.
 * Texts, variants and arrays that the map hands out are its own, valid until the entry changes. */
guchar vdo_map_get_byte(const VdoMap* self, const gchar* name, guchar def);
gint16 vdo_map_get_int16(const VdoMap* self, const gchar* name, gint16 def);
guint16 vdo_map_get_uint16(const VdoMap* self, const gchar* name, guint16 def);
gint32 vdo_map_get_int32(const VdoMap* self, const gchar* name, gint32 def);
guint32 vdo_map_get_uint32(const VdoMap* self, const gchar* name, guint32 def);
gint64 vdo_map_get_int64(const VdoMap* self, const gchar* name, gint64 def);
guint64 vdo_map_get_uint64(const VdoMap* self, const gchar* name, guint64 def);
gdouble vdo_map_get_double(const VdoMap* self, const gchar* name, gdouble def);
gboolean vdo_map_get_boolean(const VdoMap* self, const gchar* name, gboolean def);
const gchar* vdo_map_get_string(const VdoMap* self, const gchar* name, gsize* size,
                                const gchar* def);
gchar* vdo_map_dup_string(const VdoMap* self, const gchar* name, const gchar* def); /* g_free() */
GVariant* vdo_map_get_variant(const VdoMap* self, const gchar* name, GVariant* def);
guint32* vdo_map_get_uint32x2(const VdoMap* self, const gchar* name, guint32 def[2]);
guint32* vdo_map_get_uint32x4(const VdoMap* self, const gchar* name, guint32 def[4]);
gdouble* vdo_map_get_doublex4(const VdoMap* self, const gchar* name, gdouble def[4]);
VdoPair32i vdo_map_get_pair32i(const VdoMap* self, const gchar* name, VdoPair32i def);
VdoPair32u vdo_map_get_pair32u(const VdoMap* self, const gchar* name, VdoPair32u def);

/* Setters: replace the entry, whatever its type was. */
void vdo_map_set_byte(VdoMap* self, const gchar* name, guchar value);
void vdo_map_set_int16(VdoMap* self, const gchar* name, gint16 value);
void vdo_map_set_uint16(VdoMap* self, const gchar* name, guint16 value);
void vdo_map_set_int32(VdoMap* self, const gchar* name, gint32 value);
void vdo_map_set_uint32(VdoMap* self, const gchar* name, guint32 value);
void vdo_map_set_int64(VdoMap* self, const gchar* name, gint64 value);
void vdo_map_set_uint64(VdoMap* self, const gchar* name, guint64 value);
void vdo_map_set_double(VdoMap* self, const gchar* name, gdouble value);
void vdo_map_set_boolean(VdoMap* self, const gchar* name, gboolean value);
void vdo_map_set_string(VdoMap* self, const gchar* name, const gchar* value);
void vdo_map_set_uint32x2(VdoMap* self, const gchar* name, const guint32 value[2]);
void vdo_map_set_uint32x4(VdoMap* self, const gchar* name, const guint32 value[4]);
void vdo_map_set_doublex4(VdoMap* self, const gchar* name, const gdouble value[4]);
void vdo_map_set_pair32i(VdoMap* self, const gchar* name, VdoPair32i value);
void vdo_map_set_pair32u(VdoMap* self, const gchar* name, VdoPair32u value);

G_END_DECLS

#endif
