/* The types that the event interface's headers share. */
#ifndef AXSDK_AX_EVENT_TYPES_H
#define AXSDK_AX_EVENT_TYPES_H

#include <glib.h>

G_BEGIN_DECLS

typedef struct _AXEvent AXEvent;
typedef struct _AXEventHandler AXEventHandler;
typedef struct _AXEventKeyValueSet AXEventKeyValueSet;
typedef struct _AXEventElementItem AXEventElementItem;

/** What the pointer to a key's value points to. */
typedef enum {
    AX_VALUE_TYPE_INT = 0,    /* a gint */
    AX_VALUE_TYPE_BOOL = 1,   /* a gboolean: four bytes, a C++ bool is too small */
    AX_VALUE_TYPE_DOUBLE = 2, /* a gdouble */
    AX_VALUE_TYPE_STRING = 3, /* the pointer itself is the gchar pointer */
    AX_VALUE_TYPE_ELEMENT = 4 /* the pointer itself is the AXEventElementItem pointer */
} AXEventValueType;

/**
 * Handed an event by the default main context's loop. The callback owns the event and frees it with
 * ax_event_free().
 */
typedef void (*AXSubscriptionCallback)(guint subscription, AXEvent* event, gpointer user_data);

/** Told by the default main context's loop that a declaration is in force. */
typedef void (*AXDeclarationCompleteCallback)(guint declaration, gpointer user_data);

G_END_DECLS

#endif
