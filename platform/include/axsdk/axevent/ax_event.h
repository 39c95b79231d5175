/* Events: a key-value set and a time. */
#ifndef AXSDK_AX_EVENT_H
#define AXSDK_AX_EVENT_H

#include <axsdk/axevent/ax_event_types.h>
#include <glib.h>

G_BEGIN_DECLS

/**
 * Makes an event from copies of the set and the time; time_stamp null: now. The caller keeps both,
 * and frees the event with ax_event_free().
 */
AXEvent* ax_event_new2(AXEventKeyValueSet* key_value_set, GDateTime* time_stamp);

void ax_event_free(AXEvent* event);

/** Borrows the event's set, for as long as the event lives. */
const AXEventKeyValueSet* ax_event_get_key_value_set(AXEvent* event);

/** Borrows the event's time, for as long as the event lives. */
GDateTime* ax_event_get_time_stamp2(AXEvent* event);

G_END_DECLS

#endif
