// Events of the host camera's axevent library.

#include "platform/axevent/event.h"
#include "platform/hostcam/faults.h"
#include "platform/hostcam/misuse.h"

AXEvent* ax_event_new2(AXEventKeyValueSet* key_value_set, GDateTime* time_stamp) {
    if (hostcam::mustFail(__func__) ||
        !hostcam::isLive(hostcam::Kind::EventKeyValueSet, key_value_set)) {
        return nullptr;
    }
    DateTime time(time_stamp == nullptr ? g_date_time_new_now_local()
                                        : g_date_time_ref(time_stamp));
    return std::make_unique<AXEvent>(key_value_set->entries, std::move(time)).release();
}

void ax_event_free(AXEvent* event) {
    if (hostcam::mustFail(__func__) || event == nullptr) {
        return;
    }
    if (!hostcam::isLive(hostcam::Kind::Event, event)) {
        hostcam::reportMisuse("ax_event_free was called with an event that is none");
        return;
    }
    delete event;
}

const AXEventKeyValueSet* ax_event_get_key_value_set(AXEvent* event) {
    if (hostcam::mustFail(__func__) || !hostcam::isLive(hostcam::Kind::Event, event)) {
        return nullptr;
    }
    return &event->set;
}

GDateTime* ax_event_get_time_stamp2(AXEvent* event) {
    if (hostcam::mustFail(__func__) || !hostcam::isLive(hostcam::Kind::Event, event)) {
        return nullptr;
    }
    return event->time.get();
}
