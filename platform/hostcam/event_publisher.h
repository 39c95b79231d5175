#pragma once

// The way of an event out of the process: first into the journal, then to whoever observes events
// (a publisher to the outside, a program that shows alerts as they happen). Events reach the
// journal and every observer in one and the same order.

#include <cstdint>
#include <memory>

#include "platform/hostcam/event_record.h"

namespace hostcam {

struct MqttTiming;

/// Sees each event that was journalled.
class EventObserver {
  public:
    EventObserver() = default;
    virtual ~EventObserver() = default;
    EventObserver(const EventObserver&) = delete;
    EventObserver& operator=(const EventObserver&) = delete;

    /// Called in the sending thread, one call at a time, in the order of the journal. It must be
    /// short (an observer that sends over a network has a queue and a thread of its own), must not
    /// throw, and must not call a function of this file.
    virtual void onEvent(const EventRecord& record) noexcept = 0;
};

/// Puts an event into the journal of the configuration in force and shows it to the observers; with
/// the first one the publishing over MQTT begins, if the configuration names a broker. *Any
/// thread.*
/// @throws FileError, ConfigError; no observer has seen the event then
void publishEvent(const EventRecord& record);

/// Has an observer see the events from now on. *Any thread.*
/// @param observer borrowed until removeEventObserver()
void addEventObserver(EventObserver& observer);

/// Ends that; when this returns, the observer is not being called. *Any thread.*
void removeEventObserver(EventObserver& observer);

/// For tests that run several cameras in one process: lets go of the journal, and of the broker,
/// until the next event.
void resetEvents();

/// For tests: how patient the publishing over MQTT is when it begins the next time.
void setMqttTiming(const MqttTiming& timing);

} // namespace hostcam
