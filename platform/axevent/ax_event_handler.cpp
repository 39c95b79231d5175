// Event handlers of the host camera's axevent library: the C interface over the event system.

#include "platform/axevent/event_errors.h"
#include "platform/axevent/event_system.h"
#include "platform/hostcam/faults.h"
#include "platform/hostcam/live_objects.h"
#include "platform/hostcam/misuse.h"

struct _AXEventHandler {
    hostcam::EventSystem::Handler number;
};

namespace {

using hostcam::EventFailure;
using hostcam::EventSystem;
using hostcam::requireArgument;

EventSystem::Handler checkedHandler(AXEventHandler* handler) {
    requireArgument(handler, "the event handler");
    if (!hostcam::isLive(hostcam::Kind::EventHandler, handler)) {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, "the event handler is none");
    }
    return handler->number;
}

} // namespace

AXEventHandler* ax_event_handler_new(void) {
    if (hostcam::mustFail(__func__)) {
        return nullptr;
    }
    auto handler = std::make_unique<AXEventHandler>();
    handler->number = EventSystem::instance().addHandler();
    hostcam::addLive(hostcam::Kind::EventHandler, handler.get());
    return handler.release();
}

void ax_event_handler_free(AXEventHandler* event_handler) {
    if (hostcam::mustFail(__func__) || event_handler == nullptr) {
        return;
    }
    if (!hostcam::removeLive(hostcam::Kind::EventHandler, event_handler)) {
        hostcam::reportMisuse("ax_event_handler_free was called with a handler that is none");
        return;
    }
    EventSystem::instance().removeHandler(event_handler->number);
    delete event_handler;
}

gboolean ax_event_handler_declare(AXEventHandler* event_handler, AXEventKeyValueSet* key_value_set,
                                  gboolean stateless, guint* declaration,
                                  AXDeclarationCompleteCallback callback, gpointer user_data,
                                  GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return hostcam::runEventCall(error, AX_EVENT_ERROR_DECLARATION, [&] {
        const EventSystem::Handler handler = checkedHandler(event_handler);
        const AXEventKeyValueSet& set = hostcam::checkedSet(key_value_set);
        requireArgument(declaration, "the place for the declaration's id");
        *declaration = EventSystem::instance().declare(
            handler, hostcam::makeDeclaration(set.entries, stateless == FALSE), callback,
            user_data);
    });
}

gboolean ax_event_handler_declare_from_template(AXEventHandler* event_handler,
                                                const gchar* /*template_name*/,
                                                AXEventKeyValueSet* key_value_set,
                                                guint* /*declaration*/,
                                                AXDeclarationCompleteCallback /*callback*/,
                                                gpointer /*user_data*/, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return hostcam::runEventCall(error, AX_EVENT_ERROR_DECLARATION, [&] {
        (void)checkedHandler(event_handler);
        (void)hostcam::checkedSet(key_value_set);
        // Deliberate: cameras have stopped offering this.
        throw EventFailure(AX_EVENT_ERROR_DECLARATION,
                           "declarations from a template are no longer supported");
    });
}

gboolean ax_event_handler_undeclare(AXEventHandler* event_handler, guint declaration,
                                    GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return hostcam::runEventCall(error, AX_EVENT_ERROR_UNDECLARE, [&] {
        if (!EventSystem::instance().undeclare(checkedHandler(event_handler), declaration)) {
            throw EventFailure(AX_EVENT_ERROR_UNDECLARE,
                               "no event is declared with the id " + std::to_string(declaration));
        }
    });
}

gboolean ax_event_handler_send_event(AXEventHandler* event_handler, guint declaration,
                                     AXEvent* event, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return hostcam::runEventCall(error, AX_EVENT_ERROR_SEND, [&] {
        const EventSystem::Handler handler = checkedHandler(event_handler);
        requireArgument(event, "the event");
        if (!hostcam::isLive(hostcam::Kind::Event, event)) {
            throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, "the event is none");
        }
        EventSystem::instance().send(handler, declaration, *event);
    });
}

gboolean ax_event_handler_subscribe(AXEventHandler* event_handler,
                                    AXEventKeyValueSet* key_value_set, guint* subscription,
                                    AXSubscriptionCallback callback, gpointer user_data,
                                    GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return hostcam::runEventCall(error, AX_EVENT_ERROR_SUBSCRIPTION, [&] {
        const EventSystem::Handler handler = checkedHandler(event_handler);
        hostcam::Subscription made;
        made.filter = hostcam::checkedSet(key_value_set).entries;
        made.callback = requireArgument(callback, "the callback");
        made.userData = user_data;
        requireArgument(subscription, "the place for the subscription's id");
        *subscription = EventSystem::instance().subscribe(handler, std::move(made));
    });
}

gboolean ax_event_handler_unsubscribe(AXEventHandler* event_handler, guint subscription,
                                      GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return hostcam::runEventCall(error, AX_EVENT_ERROR_UNSUBSCRIBE, [&] {
        if (!EventSystem::instance().unsubscribe(checkedHandler(event_handler), subscription)) {
            throw EventFailure(AX_EVENT_ERROR_UNSUBSCRIBE, "there is no subscription with the id " +
                                                               std::to_string(subscription));
        }
    });
}
