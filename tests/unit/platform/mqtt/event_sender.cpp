// A process that sends events and ends like any program, by returning from main: the event "1" at
// once, "2" to "5" when its standard input ends. With the argument "patient" the publishing has an
// hour to come to its end.

#include <chrono>
#include <string>
#include <string_view>

#include <unistd.h>

#include <axsdk/axevent.h>

#include "platform/hostcam/event_publisher.h"
#include "platform/hostcam/mqtt_link.h"

namespace {

void addPayload(AXEventKeyValueSet* set, const std::string& payload) {
    ax_event_key_value_set_add_key_value(set, "payload", nullptr, payload.c_str(),
                                         AX_VALUE_TYPE_STRING, nullptr);
    ax_event_key_value_set_mark_as_data(set, "payload", nullptr, nullptr);
}

guint declare(AXEventHandler* handler) {
    AXEventKeyValueSet* const set = ax_event_key_value_set_new();
    guint id = 0;
    ax_event_key_value_set_add_key_value(set, "topic0", "tnsaxis", "Sender", AX_VALUE_TYPE_STRING,
                                         nullptr);
    addPayload(set, "placeholder");
    ax_event_handler_declare(handler, set, TRUE, &id, nullptr, nullptr, nullptr);
    ax_event_key_value_set_free(set);
    return id;
}

bool send(AXEventHandler* handler, guint id, int number) {
    AXEventKeyValueSet* const set = ax_event_key_value_set_new();
    addPayload(set, std::to_string(number));
    AXEvent* const event = ax_event_new2(set, nullptr);
    const gboolean done = ax_event_handler_send_event(handler, id, event, nullptr);
    ax_event_free(event);
    ax_event_key_value_set_free(set);
    return done != FALSE;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string_view(argv[1]) == "patient") {
        hostcam::MqttTiming timing;
        timing.flush = timing.ending = std::chrono::hours(1);
        hostcam::setMqttTiming(timing);
    }
    AXEventHandler* const handler = ax_event_handler_new();
    const guint id = declare(handler);
    bool done = send(handler, id, 1);
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    for (int number = 2; number <= 5; ++number) {
        done = send(handler, id, number) && done;
    }
    ax_event_handler_free(handler);
    return done ? 0 : 1;
}
