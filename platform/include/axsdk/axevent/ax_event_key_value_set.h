/*
 * Key-value sets: what an event says and where it stands in the topic tree.
 *
 * A key is named by a key and a namespace (null: none). The set copies what it is given. Text is
 * UTF-8. A set must not be used by two threads at a time.
 */
#ifndef AXSDK_AX_EVENT_KEY_VALUE_SET_H
#define AXSDK_AX_EVENT_KEY_VALUE_SET_H

#include <axsdk/axevent/ax_event_types.h>
#include <glib.h>

G_BEGIN_DECLS

/** Makes an empty set, freed with ax_event_key_value_set_free(). */
AXEventKeyValueSet* ax_event_key_value_set_new(void);

/** Frees a set that ax_event_key_value_set_new() made. */
void ax_event_key_value_set_free(AXEventKeyValueSet* key_value_set);

/** Adds a key, or replaces the value of one that is there. A null value: a key without one. */
gboolean ax_event_key_value_set_add_key_value(AXEventKeyValueSet* key_value_set, const gchar* key,
                                              const gchar* name_space, gconstpointer value,
                                              AXEventValueType value_type, GError** error);

/** Adds keys as key, namespace, value pointer, value type, ... and a null pointer at the end. */
gboolean ax_event_key_value_set_add_key_values(AXEventKeyValueSet* key_value_set, GError** error,
                                               ...);

/** Marks a key as one that says what the event is about. */
gboolean ax_event_key_value_set_mark_as_source(AXEventKeyValueSet* key_value_set, const gchar* key,
                                               const gchar* name_space, GError** error);

/** Marks a key as one that the event reports. */
gboolean ax_event_key_value_set_mark_as_data(AXEventKeyValueSet* key_value_set, const gchar* key,
                                             const gchar* name_space, GError** error);

/** Gives a key a tag of the application's own. */
gboolean ax_event_key_value_set_mark_as_user_defined(AXEventKeyValueSet* key_value_set,
                                                     const gchar* key, const gchar* name_space,
                                                     const gchar* user_tag, GError** error);

/** Gives a key, its value, or both a label for people to read; null: no label. */
gboolean ax_event_key_value_set_add_nice_names(AXEventKeyValueSet* key_value_set, const gchar* key,
                                               const gchar* name_space, const gchar* key_nice_name,
                                               const gchar* value_nice_name, GError** error);

gboolean ax_event_key_value_set_get_value_type(const AXEventKeyValueSet* key_value_set,
                                               const gchar* key, const gchar* name_space,
                                               AXEventValueType* value_type, GError** error);

gboolean ax_event_key_value_set_get_integer(const AXEventKeyValueSet* key_value_set,
                                            const gchar* key, const gchar* name_space, gint* value,
                                            GError** error);

gboolean ax_event_key_value_set_get_boolean(const AXEventKeyValueSet* key_value_set,
                                            const gchar* key, const gchar* name_space,
                                            gboolean* value, GError** error);

gboolean ax_event_key_value_set_get_double(const AXEventKeyValueSet* key_value_set,
                                           const gchar* key, const gchar* name_space,
                                           gdouble* value, GError** error);

/** Copies the text; the caller frees it with g_free(). */
gboolean ax_event_key_value_set_get_string(const AXEventKeyValueSet* key_value_set,
                                           const gchar* key, const gchar* name_space, gchar** value,
                                           GError** error);

/** Copies the element with its children; the caller frees it with ax_event_element_item_free(). */
gboolean ax_event_key_value_set_get_element(const AXEventKeyValueSet* key_value_set,
                                            const gchar* key, const gchar* name_space,
                                            AXEventElementItem** value, GError** error);

gboolean ax_event_key_value_set_remove_key(AXEventKeyValueSet* key_value_set, const gchar* key,
                                           const gchar* name_space, GError** error);

G_END_DECLS

#endif
