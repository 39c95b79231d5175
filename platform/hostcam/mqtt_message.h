#pragma once

// An event in the form in which a camera's event bridge publishes it over MQTT.

#include <string>

#include "platform/hostcam/config.h"
#include "platform/hostcam/event_record.h"

namespace hostcam {

/// What a broker is sent.
struct MqttMessage {
    std::string topic;
    std::string payload;
    bool retain = false;

    bool operator==(const MqttMessage&) const = default;
};

/// The message for an event that was sent.
///
/// Its topic is "<topic-prefix>/<serial>/event/" and the event's topic, in which a namespace is a
/// segment of its own: "axis/000000000000/event/tns:axis/A/B". Its payload is one JSON object:
///
///     {"topic":"axis:A/B","timestamp":1692892990562,"serial":"000000000000",
///      "message":{"source":{},"key":{},"data":{"active":"1"}}}
///
/// The time is in milliseconds since 1970, UTC. Every value is a text: a boolean is "0" or "1", a
/// key without a value "".
/// @param config prefix, serial number, and which events are retained
[[nodiscard]] MqttMessage makeMqttMessage(const EventRecord& record, const Config& config);

} // namespace hostcam
