/*
 * Element items: named nodes with attributes, a text and children, as the value of a key.
 *
 * A node owns its children. Node functions must not be called for one tree from two threads at a
 * time.
 */
#ifndef AXSDK_AX_EVENT_ELEMENT_ITEM_H
#define AXSDK_AX_EVENT_ELEMENT_ITEM_H

#include <axsdk/axevent/ax_event_types.h>
#include <glib.h>

G_BEGIN_DECLS

/** Makes a node; name_space may be null. Null when the name is missing. */
AXEventElementItem* ax_event_element_item_new(const gchar* name, const gchar* name_space);

/** Frees a node that has no parent, with its children. */
void ax_event_element_item_free(AXEventElementItem* node);

/** Copies the name; the caller frees it with g_free(). */
gboolean ax_event_element_item_get_name(AXEventElementItem* node, gchar** name, GError** error);

/** Copies the namespace, null when there is none; the caller frees it with g_free(). */
gboolean ax_event_element_item_get_name_space(AXEventElementItem* node, gchar** name_space,
                                              GError** error);

/** Replaces the attributes by copies of a table from string to string; null removes them all. */
gboolean ax_event_element_item_set_attributes(AXEventElementItem* node, GHashTable* attributes,
                                              GError** error);

/** Copies the attributes; the caller releases the table with g_hash_table_unref(). */
gboolean ax_event_element_item_get_attributes(AXEventElementItem* node, GHashTable** attributes,
                                              GError** error);

/** Replaces the text; null removes it. */
gboolean ax_event_element_item_set_body(AXEventElementItem* node, const gchar* body,
                                        GError** error);

/** Copies the text, null when there is none; the caller frees it with g_free(). */
gboolean ax_event_element_item_get_body(AXEventElementItem* node, gchar** body, GError** error);

/** Appends a child, which the node then owns. A child has one parent. */
gboolean ax_event_element_item_add_child(AXEventElementItem* node, AXEventElementItem* child,
                                         GError** error);

/** Borrows the first child; null when there is none. */
gboolean ax_event_element_item_get_first_child(AXEventElementItem* parent,
                                               AXEventElementItem** child, GError** error);

/** Borrows the child after this one; null when it is the last. */
gboolean ax_event_element_item_get_next_child(AXEventElementItem* child,
                                              AXEventElementItem** sibling, GError** error);

G_END_DECLS

#endif
