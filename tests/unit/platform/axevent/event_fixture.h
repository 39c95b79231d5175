#pragma once

// A host camera, an event handler, and short ways to declare and send the kinds of events there
// are.

#include <memory>
#include <string>
#include <vector>

#include <axsdk/axevent.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/host_camera.h"

namespace testing_support {

struct SetDeleter {
    void operator()(AXEventKeyValueSet* set) const { ax_event_key_value_set_free(set); }
};
using KeyValueSet = std::unique_ptr<AXEventKeyValueSet, SetDeleter>;

struct EventDeleter {
    void operator()(AXEvent* event) const { ax_event_free(event); }
};
using Event = std::unique_ptr<AXEvent, EventDeleter>;

struct HandlerDeleter {
    void operator()(AXEventHandler* handler) const { ax_event_handler_free(handler); }
};
using Handler = std::unique_ptr<AXEventHandler, HandlerDeleter>;

class EventTest : public testing::Test {
  protected:
    EventTest() : handler(ax_event_handler_new()) {}

    /// A set with a topic of two parts.
    [[nodiscard]] KeyValueSet topicSet(const char* leaf) {
        KeyValueSet set(ax_event_key_value_set_new());
        EXPECT_TRUE(ax_event_key_value_set_add_key_values(
            set.get(), error.out(), "topic0", "tnsaxis", "Platform", AX_VALUE_TYPE_STRING, "topic1",
            "tnsaxis", leaf, AX_VALUE_TYPE_STRING, nullptr))
            << error.text();
        return set;
    }

    void addData(AXEventKeyValueSet* set, const char* key, gconstpointer value,
                 AXEventValueType type) {
        ASSERT_TRUE(
            ax_event_key_value_set_add_key_value(set, key, nullptr, value, type, error.out()))
            << error.text();
        ASSERT_TRUE(ax_event_key_value_set_mark_as_data(set, key, nullptr, error.out()))
            << error.text();
    }

    /// Declares the set. @return the id, 0 on failure
    guint declare(AXEventKeyValueSet* set, bool stateless) {
        guint id = 0;
        const gboolean done = ax_event_handler_declare(handler.get(), set, stateless ? TRUE : FALSE,
                                                       &id, nullptr, nullptr, error.out());
        return done != FALSE ? id : 0;
    }

    /// A state with the boolean key "active", FALSE at first.
    guint declareState(const char* leaf = "Alert") {
        const KeyValueSet set = topicSet(leaf);
        const gboolean active = FALSE;
        addData(set.get(), "active", &active, AX_VALUE_TYPE_BOOL);
        return declare(set.get(), false);
    }

    /// A pulse with the text key "payload".
    guint declarePulse(const char* leaf = "Data") {
        const KeyValueSet set = topicSet(leaf);
        addData(set.get(), "payload", "placeholder", AX_VALUE_TYPE_STRING);
        return declare(set.get(), true);
    }

    [[nodiscard]] static Event makeEvent(const char* key, gconstpointer value,
                                         AXEventValueType type, GDateTime* time = nullptr) {
        const KeyValueSet set(ax_event_key_value_set_new());
        EXPECT_TRUE(
            ax_event_key_value_set_add_key_value(set.get(), key, nullptr, value, type, nullptr));
        return Event(ax_event_new2(set.get(), time));
    }

    bool sendState(guint id, bool value, GDateTime* time = nullptr) {
        const gboolean active = value ? TRUE : FALSE;
        return send(id, makeEvent("active", &active, AX_VALUE_TYPE_BOOL, time).get());
    }

    bool sendPulse(guint id, const std::string& payload) {
        return send(id, makeEvent("payload", payload.c_str(), AX_VALUE_TYPE_STRING).get());
    }

    bool send(guint id, AXEvent* event) {
        return ax_event_handler_send_event(handler.get(), id, event, error.out()) != FALSE;
    }

    /// The journal's lines without their times: what stands from the topic on.
    [[nodiscard]] std::vector<std::string> journalWithoutTimes() const {
        std::vector<std::string> lines = readLines(camera.journal());
        for (std::string& line : lines) {
            line.erase(0, line.find("\"topic\""));
        }
        return lines;
    }

    HostCamera camera;
    Handler handler;
    ErrorSlot error;
};

} // namespace testing_support
