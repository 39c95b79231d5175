/* The error domain of the event interface. */
#ifndef AXSDK_AX_EVENT_ERROR_H
#define AXSDK_AX_EVENT_ERROR_H

#include <glib.h>

G_BEGIN_DECLS

#define AX_EVENT_ERROR (ax_event_error_quark())

/** The domain of every error that an ax_event function sets. */
GQuark ax_event_error_quark(void);

typedef enum {
    AX_EVENT_ERROR_GENERIC = 0,
    AX_EVENT_ERROR_INVALID_ARGUMENT = 1,   /* a null argument, an object that is none */
    AX_EVENT_ERROR_INCOMPATIBLE_VALUE = 2, /* a value is missing or of another type */
    AX_EVENT_ERROR_DECLARATION = 3,        /* the event cannot be declared */
    AX_EVENT_ERROR_UNDECLARE = 4,          /* the declaration cannot be ended */
    AX_EVENT_ERROR_SEND = 5,               /* the event cannot be sent */
    AX_EVENT_ERROR_SUBSCRIPTION = 6,       /* the subscription cannot be made */
    AX_EVENT_ERROR_UNSUBSCRIBE = 7,        /* the subscription cannot be ended */
    AX_EVENT_ERROR_KEY_NOT_FOUND = 8,      /* the set has no such key */
    AX_EVENT_ERROR_END = 9
} AXEventErrorCode;

G_END_DECLS

#endif
