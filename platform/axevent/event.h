#pragma once

// An event: a set of keys and a time.

#include <memory>

#include <axsdk/axevent.h>

#include "platform/axevent/key_value_set.h"

struct DateTimeDeleter {
    void operator()(GDateTime* time) const { g_date_time_unref(time); }
};
using DateTime = std::unique_ptr<GDateTime, DateTimeDeleter>;

struct _AXEvent {
    _AXEvent(hostcam::KeyEntries entries, DateTime timeStamp)
        : set(false), time(std::move(timeStamp)) {
        set.entries = std::move(entries);
        hostcam::addLive(hostcam::Kind::Event, this);
    }
    ~_AXEvent() { hostcam::removeLive(hostcam::Kind::Event, this); }
    _AXEvent(const _AXEvent&) = delete;
    _AXEvent& operator=(const _AXEvent&) = delete;

    AXEventKeyValueSet set;
    DateTime time;
};
