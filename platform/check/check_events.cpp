// The event library against its contract. Declares two events of its own and undeclares them.

#include <fstream>
#include <string>
#include <vector>

#include <axsdk/axevent.h>

#include "platform/check/check.h"

namespace platform_check {
namespace {

constexpr const char* kApplication = "PlatformCheckApplication";

/// What subscriptions and completions were told.
struct Told {
    std::vector<guint> completed;
    std::vector<gboolean> states;

    static void completion(guint declaration, gpointer data) {
        static_cast<Told*>(data)->completed.push_back(declaration);
    }
    static void event(guint /*subscription*/, AXEvent* event, gpointer data) {
        gboolean active = FALSE;
        if (ax_event_key_value_set_get_boolean(ax_event_get_key_value_set(event), "active", nullptr,
                                               &active, nullptr) != FALSE) {
            static_cast<Told*>(data)->states.push_back(active);
        }
        ax_event_free(event);
    }
};

class Events {
  public:
    Events(const Subject& its, Report& to) : subject(its), report(to) {}

    void run() {
        checkDomain();
        checkSets();
        checkElements();
        handler = ax_event_handler_new();
        if (!PLATFORM_CHECK("an event handler is made", handler != nullptr)) {
            return;
        }
        checkDeclarations();
        checkSending();
        checkSubscriptions();
        if (subject.isHost()) {
            checkHost();
        } else {
            report.skip("null arguments, refused declarations and journal of the host camera",
                        "no host camera");
        }
        checkUndeclaring();
        ax_event_handler_free(handler);
    }

  private:
    void checkDomain() {
        PLATFORM_CHECK("there is an error domain", AX_EVENT_ERROR != 0);
        PLATFORM_CHECK("the value types have their numbers",
                       AX_VALUE_TYPE_INT == 0 && AX_VALUE_TYPE_BOOL == 1 &&
                           AX_VALUE_TYPE_DOUBLE == 2 && AX_VALUE_TYPE_STRING == 3 &&
                           AX_VALUE_TYPE_ELEMENT == 4);
    }

    void checkSets() {
        AXEventKeyValueSet* const set = ax_event_key_value_set_new();
        const gint number = -7;
        const gdouble real = 0.5;
        gboolean truth = TRUE;
        std::string text = "text";
        PLATFORM_CHECK("a set is made", set != nullptr);
        PLATFORM_CHECK("keys of each type are added in one call",
                       ax_event_key_value_set_add_key_values(
                           set, error.out(), "int", nullptr, &number, AX_VALUE_TYPE_INT, "bool",
                           "tnsaxis", &truth, AX_VALUE_TYPE_BOOL, "double", nullptr, &real,
                           AX_VALUE_TYPE_DOUBLE, "string", nullptr, text.c_str(),
                           AX_VALUE_TYPE_STRING, nullptr));
        truth = FALSE;
        text = "else";
        gint gotNumber = 0;
        gboolean gotTruth = FALSE;
        gdouble gotReal = 0;
        gchar* gotText = nullptr;
        PLATFORM_CHECK("an integer comes back", ax_event_key_value_set_get_integer(
                                                    set, "int", nullptr, &gotNumber, error.out()) &&
                                                    gotNumber == -7);
        PLATFORM_CHECK(
            "a boolean comes back as it was when it was added",
            ax_event_key_value_set_get_boolean(set, "bool", "tnsaxis", &gotTruth, error.out()) &&
                gotTruth != FALSE);
        PLATFORM_CHECK("a double comes back", ax_event_key_value_set_get_double(
                                                  set, "double", nullptr, &gotReal, error.out()) &&
                                                  gotReal == 0.5);
        PLATFORM_CHECK(
            "a string comes back as a copy",
            ax_event_key_value_set_get_string(set, "string", nullptr, &gotText, error.out()) &&
                std::string(gotText) == "text");
        g_free(gotText);
        AXEventValueType type = AX_VALUE_TYPE_INT;
        PLATFORM_CHECK("a key tells its type", ax_event_key_value_set_get_value_type(
                                                   set, "string", nullptr, &type, error.out()) &&
                                                   type == AX_VALUE_TYPE_STRING);
        PLATFORM_CHECK(
            "the namespace is part of the name",
            !ax_event_key_value_set_get_boolean(set, "bool", nullptr, &gotTruth, error.out()) &&
                error.is(AX_EVENT_ERROR, AX_EVENT_ERROR_KEY_NOT_FOUND));
        PLATFORM_CHECK(
            "a value of another type is not handed out",
            !ax_event_key_value_set_get_integer(set, "string", nullptr, &gotNumber, error.out()) &&
                error.isOf(AX_EVENT_ERROR));
        const gint other = 8;
        PLATFORM_CHECK(
            "a key that is there gets the new value",
            ax_event_key_value_set_add_key_value(set, "int", nullptr, &other, AX_VALUE_TYPE_INT,
                                                 error.out()) &&
                ax_event_key_value_set_get_integer(set, "int", nullptr, &gotNumber, error.out()) &&
                gotNumber == 8);
        PLATFORM_CHECK("a key is added without a value",
                       ax_event_key_value_set_add_key_value(set, "none", nullptr, nullptr,
                                                            AX_VALUE_TYPE_STRING, error.out()));
        checkMarks(set);
        PLATFORM_CHECK(
            "a key is removed",
            ax_event_key_value_set_remove_key(set, "int", nullptr, error.out()) &&
                !ax_event_key_value_set_get_integer(set, "int", nullptr, &gotNumber, error.out()));
        ax_event_key_value_set_free(set);
    }

    void checkMarks(AXEventKeyValueSet* set) {
        PLATFORM_CHECK("a key is marked as data",
                       ax_event_key_value_set_mark_as_data(set, "int", nullptr, error.out()));
        PLATFORM_CHECK("a key is marked as source",
                       ax_event_key_value_set_mark_as_source(set, "string", nullptr, error.out()));
        PLATFORM_CHECK("a key is given a tag", ax_event_key_value_set_mark_as_user_defined(
                                                   set, "double", nullptr, "tag", error.out()));
        PLATFORM_CHECK("a key is given names",
                       ax_event_key_value_set_add_nice_names(set, "bool", "tnsaxis", "Key", "Value",
                                                             error.out()));
        PLATFORM_CHECK("a key that is not there cannot be marked",
                       !ax_event_key_value_set_mark_as_data(set, "missing", nullptr, error.out()) &&
                           error.isOf(AX_EVENT_ERROR));
        PLATFORM_CHECK("a failing call takes no error argument",
                       !ax_event_key_value_set_mark_as_data(set, "missing", nullptr, nullptr));
    }

    void checkElements() {
        AXEventElementItem* const item = ax_event_element_item_new("platformcheck", nullptr);
        PLATFORM_CHECK("an element item is made", item != nullptr);
        ax_event_element_item_free(item);
    }

    [[nodiscard]] static AXEventKeyValueSet* topicSet(const char* leaf) {
        AXEventKeyValueSet* const set = ax_event_key_value_set_new();
        ax_event_key_value_set_add_key_values(
            set, nullptr, "topic0", "tnsaxis", "CameraApplicationPlatform", AX_VALUE_TYPE_STRING,
            "topic1", "tnsaxis", kApplication, AX_VALUE_TYPE_STRING, "topic2", "tnsaxis", leaf,
            AX_VALUE_TYPE_STRING, nullptr);
        return set;
    }

    void checkDeclarations() {
        AXEventKeyValueSet* const state = topicSet("State");
        const gboolean off = FALSE;
        ax_event_key_value_set_add_key_value(state, "active", nullptr, &off, AX_VALUE_TYPE_BOOL,
                                             nullptr);
        ax_event_key_value_set_mark_as_data(state, "active", nullptr, nullptr);
        PLATFORM_CHECK("a state is declared",
                       ax_event_handler_declare(handler, state, FALSE, &stateId, Told::completion,
                                                &told, error.out()));
        PLATFORM_CHECK("its id is not 0", stateId != 0);
        ax_event_key_value_set_free(state);
        AXEventKeyValueSet* const pulse = topicSet("Pulse");
        ax_event_key_value_set_add_key_value(pulse, "payload", nullptr, "placeholder",
                                             AX_VALUE_TYPE_STRING, nullptr);
        ax_event_key_value_set_mark_as_data(pulse, "payload", nullptr, nullptr);
        PLATFORM_CHECK("a pulse is declared, without a callback",
                       ax_event_handler_declare(handler, pulse, TRUE, &pulseId, nullptr, nullptr,
                                                error.out()));
        PLATFORM_CHECK("its id is another one", pulseId != 0 && pulseId != stateId);
        ax_event_key_value_set_free(pulse);
        PLATFORM_CHECK("the main loop tells when a declaration is complete",
                       runLoopUntil([this] { return !told.completed.empty(); }) &&
                           told.completed.front() == stateId);
        AXEventKeyValueSet* const set = topicSet("Template");
        guint id = 0;
        PLATFORM_CHECK("a declaration from a template fails",
                       !ax_event_handler_declare_from_template(handler, "template", set, &id,
                                                               nullptr, nullptr, error.out()));
        ax_event_key_value_set_free(set);
    }

    [[nodiscard]] bool sendValue(guint id, const char* key, gconstpointer value,
                                 AXEventValueType type) {
        AXEventKeyValueSet* const set = ax_event_key_value_set_new();
        ax_event_key_value_set_add_key_value(set, key, nullptr, value, type, nullptr);
        GDateTime* const time = g_date_time_new_now_local();
        AXEvent* const event = ax_event_new2(set, time);
        const bool isSent = ax_event_handler_send_event(handler, id, event, error.out()) != FALSE;
        ax_event_key_value_set_free(set);
        ax_event_free(event);
        g_date_time_unref(time);
        return isSent;
    }
    [[nodiscard]] bool sendState(gboolean active) {
        return sendValue(stateId, "active", &active, AX_VALUE_TYPE_BOOL);
    }

    void checkSending() {
        PLATFORM_CHECK("a state is sent", sendState(TRUE));
        PLATFORM_CHECK("the same state is sent again", sendState(TRUE));
        PLATFORM_CHECK("a pulse is sent",
                       sendValue(pulseId, "payload", "3,7", AX_VALUE_TYPE_STRING));
        PLATFORM_CHECK("an event that is not declared is refused",
                       !sendValue(stateId + pulseId + 100, "payload", "x", AX_VALUE_TYPE_STRING) &&
                           error.isOf(AX_EVENT_ERROR));
        const gint number = 1;
        PLATFORM_CHECK("a value of the wrong type is refused",
                       !sendValue(stateId, "active", &number, AX_VALUE_TYPE_INT) &&
                           error.isOf(AX_EVENT_ERROR));
        PLATFORM_CHECK("a declared key without a value is refused",
                       !sendValue(stateId, "active", nullptr, AX_VALUE_TYPE_BOOL) &&
                           error.isOf(AX_EVENT_ERROR));
        AXEventKeyValueSet* const set = ax_event_key_value_set_new();
        AXEvent* const event = ax_event_new2(set, nullptr);
        GDateTime* const now = g_date_time_new_now_utc();
        PLATFORM_CHECK("an event without a time has that of its making",
                       g_date_time_difference(now, ax_event_get_time_stamp2(event)) <
                           10 * G_TIME_SPAN_SECOND);
        g_date_time_unref(now);
        ax_event_free(event);
        ax_event_key_value_set_free(set);
    }

    void checkSubscriptions() {
        AXEventKeyValueSet* const filter = topicSet("State");
        guint subscription = 0;
        PLATFORM_CHECK("a state is subscribed to",
                       ax_event_handler_subscribe(handler, filter, &subscription, Told::event,
                                                  &told, error.out()));
        ax_event_key_value_set_free(filter);
        PLATFORM_CHECK("the subscriber is told the present state",
                       runLoopUntil([this] { return told.states.size() == 1; }) &&
                           told.states.back() != FALSE);
        PLATFORM_CHECK("... and its changes", sendState(FALSE) && runLoopUntil([this] {
                                                  return told.states.size() == 2;
                                              }) &&
                                                  told.states.back() == FALSE);
        PLATFORM_CHECK("the subscription is ended",
                       ax_event_handler_unsubscribe(handler, subscription, error.out()));
        PLATFORM_CHECK("it cannot be ended twice",
                       !ax_event_handler_unsubscribe(handler, subscription, error.out()) &&
                           error.isOf(AX_EVENT_ERROR));
    }

    void checkUndeclaring() {
        PLATFORM_CHECK("a state is undeclared",
                       ax_event_handler_undeclare(handler, stateId, error.out()));
        PLATFORM_CHECK("... and cannot be sent any more",
                       !sendState(TRUE) && error.isOf(AX_EVENT_ERROR));
        PLATFORM_CHECK("... nor undeclared again",
                       !ax_event_handler_undeclare(handler, stateId, error.out()) &&
                           error.isOf(AX_EVENT_ERROR));
        PLATFORM_CHECK("a pulse is undeclared",
                       ax_event_handler_undeclare(handler, pulseId, error.out()));
    }

    void checkHost() {
        PLATFORM_CHECK("host: ids begin with 1", stateId == 1 && pulseId == 2);
        const std::string topic =
            R"("topic":"tnsaxis:CameraApplicationPlatform/PlatformCheckApplication/)";
        PLATFORM_CHECK(
            "host: the journal holds the declared state",
            journalHas(topic +
                       R"(State","stateful":true,"declared":true,"data":{"active":false}})"));
        PLATFORM_CHECK("host: ... the state that was sent, with a JSON boolean",
                       journalHas(topic + R"(State","stateful":true,"data":{"active":true}})"));
        PLATFORM_CHECK("host: ... and the pulse",
                       journalHas(topic + R"(Pulse","stateful":false,"data":{"payload":"3,7"}})"));
        AXEventKeyValueSet* const empty = ax_event_key_value_set_new();
        guint id = 0;
        PLATFORM_CHECK(
            "host: an event without a topic is refused",
            !ax_event_handler_declare(handler, empty, TRUE, &id, nullptr, nullptr, error.out()) &&
                error.is(AX_EVENT_ERROR, AX_EVENT_ERROR_DECLARATION));
        ax_event_key_value_set_free(empty);
        PLATFORM_CHECK("host: a missing event is an error",
                       !ax_event_handler_send_event(handler, stateId, nullptr, error.out()) &&
                           error.is(AX_EVENT_ERROR, AX_EVENT_ERROR_INVALID_ARGUMENT));
        PLATFORM_CHECK("host: a missing handler is an error",
                       !ax_event_handler_undeclare(nullptr, 1, error.out()) &&
                           error.isOf(AX_EVENT_ERROR));
    }

    [[nodiscard]] bool journalHas(const std::string& wanted) const {
        std::ifstream file(*subject.hostState / "events.jsonl");
        for (std::string line; std::getline(file, line);) {
            if (line.ends_with(wanted)) {
                return true;
            }
        }
        return false;
    }

    const Subject& subject;
    Report& report;
    Error error;
    Told told;
    AXEventHandler* handler = nullptr;
    guint stateId = 0;
    guint pulseId = 0;
};

} // namespace

void checkEvents(const Subject& subject, Report& report) {
    Events(subject, report).run();
}

} // namespace platform_check
