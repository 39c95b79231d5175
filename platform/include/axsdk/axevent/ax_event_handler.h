/*
 * Event handlers: declare events, send them, and subscribe to them.
 *
 * These functions may be called from any thread. Callbacks come from the default main context's
 * loop and must be short.
 */
#ifndef AXSDK_AX_EVENT_HANDLER_H
#define AXSDK_AX_EVENT_HANDLER_H

#include <axsdk/axevent/ax_event_types.h>
#include <glib.h>

G_BEGIN_DECLS

AXEventHandler* ax_event_handler_new(void);

/** Ends every declaration and subscription of the handler; callbacks that wait are dropped. */
void ax_event_handler_free(AXEventHandler* event_handler);

/**
 * Declares an event. The keys topic0, topic1, ... name its place in the topic tree.
 * stateless FALSE: a state, with the initial value in the set. TRUE: a pulse.
 * declaration: receives the id, never 0. callback: may be null.
 */
gboolean ax_event_handler_declare(AXEventHandler* event_handler, AXEventKeyValueSet* key_value_set,
                                  gboolean stateless, guint* declaration,
                                  AXDeclarationCompleteCallback callback, gpointer user_data,
                                  GError** error);

/** No longer offered by cameras: fails. */
gboolean ax_event_handler_declare_from_template(
    AXEventHandler* event_handler, const gchar* template_name, AXEventKeyValueSet* key_value_set,
    guint* declaration, AXDeclarationCompleteCallback callback, gpointer user_data, GError** error);

gboolean ax_event_handler_undeclare(AXEventHandler* event_handler, guint declaration,
                                    GError** error);

/** Sends an event with a value for each key that varies. The event stays the caller's. */
gboolean ax_event_handler_send_event(AXEventHandler* event_handler, guint declaration,
                                     AXEvent* event, GError** error);

/** Subscribes to the events that have the set's keys with the set's values (none: any value). */
gboolean ax_event_handler_subscribe(AXEventHandler* event_handler,
                                    AXEventKeyValueSet* key_value_set, guint* subscription,
                                    AXSubscriptionCallback callback, gpointer user_data,
                                    GError** error);

gboolean ax_event_handler_unsubscribe(AXEventHandler* event_handler, guint subscription,
                                      GError** error);

G_END_DECLS

#endif
