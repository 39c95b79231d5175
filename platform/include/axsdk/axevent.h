/* The camera's event system: everything, in one include. */
#ifndef AXSDK_AXEVENT_H
#define AXSDK_AXEVENT_H

#include <axsdk/axevent/ax_event.h>
#include <axsdk/axevent/ax_event_element_item.h>
#include <axsdk/axevent/ax_event_error.h>
#include <axsdk/axevent/ax_event_handler.h>
#include <axsdk/axevent/ax_event_key_value_set.h>
#include <axsdk/axevent/ax_event_types.h>
#include <glib.h>

#endif
