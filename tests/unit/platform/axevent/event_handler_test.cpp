#include <string>
#include <vector>

#include <axsdk/axevent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/event_publisher.h"
#include "platform/hostcam/live_objects.h"
#include "tests/unit/platform/axevent/event_fixture.h"
#include "tests/unit/platform/axevent/json_text.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing_support::Event;
using testing_support::JsonText;
using testing_support::KeyValueSet;
using testing_support::readLines;
using testing_support::runMainContext;

class EventHandlerTest : public testing_support::EventTest {};

/// What a subscription or a completion callback was told.
struct Told {
    std::vector<guint> ids;
    std::vector<std::string> states;

    static void event(guint id, AXEvent* event, gpointer data) {
        const Event owned(event);
        auto& told = *static_cast<Told*>(data);
        told.ids.push_back(id);
        gboolean active = FALSE;
        gchar* payload = nullptr;
        const AXEventKeyValueSet* const set = ax_event_get_key_value_set(event);
        if (ax_event_key_value_set_get_boolean(set, "active", nullptr, &active, nullptr) != FALSE) {
            told.states.emplace_back(active != FALSE ? "on" : "off");
        } else if (ax_event_key_value_set_get_string(set, "payload", nullptr, &payload, nullptr) !=
                   FALSE) {
            told.states.emplace_back(payload);
            g_free(payload);
        }
    }
    static void complete(guint id, gpointer data) { static_cast<Told*>(data)->ids.push_back(id); }
};

TEST_F(EventHandlerTest, DeclarationsAreNumberedFromOneForEachHandler) {
    EXPECT_EQ(declareState(), 1U);
    EXPECT_EQ(declarePulse(), 2U);
    handler.reset(ax_event_handler_new());
    EXPECT_EQ(declareState(), 1U);
}

TEST_F(EventHandlerTest, TheJournalHoldsWhatWasDeclaredAndSentInOrder) {
    const guint alert = declareState();
    const guint data = declarePulse();
    EXPECT_TRUE(sendState(alert, true));
    EXPECT_TRUE(sendPulse(data, "3,7"));
    EXPECT_TRUE(sendState(alert, false));
    EXPECT_THAT(
        journalWithoutTimes(),
        ElementsAre(
            R"("topic":"tnsaxis:Platform/Alert","stateful":true,"declared":true,"data":{"active":false}})",
            R"("topic":"tnsaxis:Platform/Data","stateful":false,"declared":true,"data":{"payload":"placeholder"}})",
            R"("topic":"tnsaxis:Platform/Alert","stateful":true,"data":{"active":true}})",
            R"("topic":"tnsaxis:Platform/Data","stateful":false,"data":{"payload":"3,7"}})",
            R"("topic":"tnsaxis:Platform/Alert","stateful":true,"data":{"active":false}})"));
}

TEST_F(EventHandlerTest, ALinesTimeIsTheEventsOwnWithItsOffsetInMilliseconds) {
    GTimeZone* const zone = g_time_zone_new_offset(-(5 * 3600 + 30 * 60));
    GDateTime* const time = g_date_time_new(zone, 2026, 1, 1, 12, 0, 7.0625);
    const guint alert = declareState();
    EXPECT_TRUE(sendState(alert, true, time));
    g_date_time_unref(time);
    g_time_zone_unref(zone);
    GDateTime* const utc = g_date_time_new_utc(2026, 1, 1, 12, 0, 0);
    EXPECT_TRUE(sendState(alert, false, utc));
    g_date_time_unref(utc);
    const std::vector<std::string> lines = readLines(camera.journal());
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines[0],
                MatchesRegex(R"(\{"time":"[0-9-]+T[0-9:]+\.[0-9]{3}[+-][0-9]{2}:[0-9]{2}",.*)"));
    EXPECT_THAT(lines[1], HasSubstr(R"({"time":"2026-01-01T12:00:07.062-05:30",)"));
    EXPECT_EQ(lines[2],
              R"({"time":"2026-01-01T12:00:00.000+00:00","topic":"tnsaxis:Platform/Alert",)"
              R"("stateful":true,"data":{"active":false}})");
}

TEST_F(EventHandlerTest, ANamespaceStandsInTheTopicWhereItChanges) {
    KeyValueSet set(ax_event_key_value_set_new());
    ASSERT_TRUE(ax_event_key_value_set_add_key_values(
        set.get(), error.out(), "topic2", "tnsaxis", "C", AX_VALUE_TYPE_STRING, "topic0", "tns1",
        "A", AX_VALUE_TYPE_STRING, "topic1", "tns1", "B", AX_VALUE_TYPE_STRING, nullptr));
    addData(set.get(), "payload", nullptr, AX_VALUE_TYPE_STRING);
    EXPECT_EQ(declare(set.get(), true), 1U);
    EXPECT_THAT(journalWithoutTimes(),
                ElementsAre(R"("topic":"tns1:A/B/tnsaxis:C","stateful":false,"declared":true,)"
                            R"("data":{"payload":null}})"));
}

TEST_F(EventHandlerTest, ValuesKeepTheirTypeInTheJournalAndSourcesStandApart) {
    const KeyValueSet set = topicSet("All");
    const gint number = 0;
    const gdouble real = 0;
    addData(set.get(), "number", &number, AX_VALUE_TYPE_INT);
    addData(set.get(), "real", &real, AX_VALUE_TYPE_DOUBLE);
    ASSERT_TRUE(ax_event_key_value_set_add_key_value(set.get(), "port", nullptr, &number,
                                                     AX_VALUE_TYPE_INT, nullptr));
    ASSERT_TRUE(ax_event_key_value_set_mark_as_source(set.get(), "port", nullptr, nullptr));
    AXEventElementItem* const item = ax_event_element_item_new("box", "tt");
    ASSERT_TRUE(ax_event_element_item_set_body(item, "a<b", nullptr));
    addData(set.get(), "element", item, AX_VALUE_TYPE_ELEMENT);
    const guint id = declare(set.get(), true);
    ASSERT_NE(id, 0U);
    const KeyValueSet values(ax_event_key_value_set_new());
    const gint five = -5;
    const gdouble third = 0.1;
    ASSERT_TRUE(ax_event_key_value_set_add_key_values(
        values.get(), error.out(), "number", nullptr, &five, AX_VALUE_TYPE_INT, "real", nullptr,
        &third, AX_VALUE_TYPE_DOUBLE, "element", nullptr, item, AX_VALUE_TYPE_ELEMENT, nullptr));
    ax_event_element_item_free(item);
    EXPECT_TRUE(send(id, Event(ax_event_new2(values.get(), nullptr)).get())) << error.text();
    EXPECT_THAT(readLines(camera.journal()).back(),
                EndsWith(R"("stateful":false,"source":{"port":0},"data":{"number":-5,"real":0.1,)"
                         R"("element":"<tt:box>a&lt;b</tt:box>"}})"));
}

TEST_F(EventHandlerTest, AnyTextGivesALineOfValidJson) {
    const guint data = declarePulse();
    const std::vector<std::string> payloads = {"",
                                               "\"\\/",
                                               "two\nlines\r\t",
                                               "\x01\x1F\x7F",
                                               "\xC3\xA4\xE2\x82\xAC",
                                               "broken \xFF\xC3 text",
                                               "{\"a\":1}"};
    for (const std::string& payload : payloads) {
        EXPECT_TRUE(sendPulse(data, payload));
    }
    const std::vector<std::string> lines = readLines(camera.journal());
    ASSERT_EQ(lines.size(), payloads.size() + 1);
    for (const std::string& line : lines) {
        EXPECT_TRUE(JsonText(line).isObject()) << line;
    }
    EXPECT_THAT(lines[2], HasSubstr(R"("payload":"\"\\/")"));
    EXPECT_THAT(lines[3], HasSubstr(R"("payload":"two\nlines\u000d\u0009")"));
    EXPECT_THAT(lines[6], HasSubstr("broken \xEF\xBF\xBD\xEF\xBF\xBD text"));
}

TEST_F(EventHandlerTest, AnEventThatIsNotDeclaredIsRefused) {
    const guint alert = declareState();
    EXPECT_FALSE(sendState(alert + 1, true));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_SEND);
    EXPECT_FALSE(sendState(0, true));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_SEND);
    ASSERT_TRUE(ax_event_handler_undeclare(handler.get(), alert, error.out()));
    EXPECT_FALSE(sendState(alert, true));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_SEND);
    EXPECT_FALSE(ax_event_handler_undeclare(handler.get(), alert, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_UNDECLARE);
    EXPECT_THAT(readLines(camera.journal()), SizeIs(1));
}

TEST_F(EventHandlerTest, AValueOfTheWrongTypeOrNoneIsRefused) {
    const guint alert = declareState();
    const gint one = 1;
    EXPECT_FALSE(send(alert, makeEvent("active", &one, AX_VALUE_TYPE_INT).get()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INCOMPATIBLE_VALUE);
    EXPECT_FALSE(send(alert, makeEvent("active", nullptr, AX_VALUE_TYPE_BOOL).get()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INCOMPATIBLE_VALUE);
    EXPECT_FALSE(send(alert, makeEvent("other", &one, AX_VALUE_TYPE_INT).get()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INCOMPATIBLE_VALUE);
    EXPECT_THAT(readLines(camera.journal()), SizeIs(1));
}

TEST_F(EventHandlerTest, TheSameStateMayBeSentAgain) {
    const guint alert = declareState();
    EXPECT_TRUE(sendState(alert, true));
    EXPECT_TRUE(sendState(alert, true));
    EXPECT_THAT(readLines(camera.journal()), SizeIs(3));
}

TEST_F(EventHandlerTest, ADeclarationNeedsAWholeTopic) {
    KeyValueSet set(ax_event_key_value_set_new());
    EXPECT_EQ(declare(set.get(), true), 0U);
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_DECLARATION);
    EXPECT_THAT(error.text(), HasSubstr("topic0"));
    ASSERT_TRUE(ax_event_key_value_set_add_key_value(set.get(), "topic0", "tnsaxis", "A",
                                                     AX_VALUE_TYPE_STRING, nullptr));
    ASSERT_TRUE(ax_event_key_value_set_add_key_value(set.get(), "topic2", "tnsaxis", "C",
                                                     AX_VALUE_TYPE_STRING, nullptr));
    EXPECT_EQ(declare(set.get(), true), 0U);
    EXPECT_THAT(error.text(), HasSubstr("topic1"));
    for (const char* name : {"", "a/b", "a:b", "two words", "\n"}) {
        ASSERT_TRUE(ax_event_key_value_set_add_key_value(set.get(), "topic1", "tnsaxis", name,
                                                         AX_VALUE_TYPE_STRING, nullptr));
        EXPECT_EQ(declare(set.get(), true), 0U) << name;
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_DECLARATION) << name;
    }
    ASSERT_TRUE(ax_event_key_value_set_add_key_value(set.get(), "topic1", "tnsaxis", nullptr,
                                                     AX_VALUE_TYPE_STRING, nullptr));
    EXPECT_EQ(declare(set.get(), true), 0U);
    EXPECT_THAT(readLines(camera.journal()), IsEmpty());
}

TEST_F(EventHandlerTest, AStateNeedsItsInitialValueAndAPulseDoesNot) {
    const KeyValueSet set = topicSet("Alert");
    addData(set.get(), "active", nullptr, AX_VALUE_TYPE_BOOL);
    EXPECT_EQ(declare(set.get(), false), 0U);
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_DECLARATION);
    EXPECT_NE(declare(set.get(), true), 0U);
}

TEST_F(EventHandlerTest, ADeclarationFromATemplateFails) {
    const KeyValueSet set = topicSet("Alert");
    guint id = 0;
    EXPECT_FALSE(ax_event_handler_declare_from_template(handler.get(), "template", set.get(), &id,
                                                        nullptr, nullptr, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_DECLARATION);
}

TEST_F(EventHandlerTest, CompletionIsToldByTheMainLoopAndNotAfterUndeclaring) {
    Told told;
    const KeyValueSet set = topicSet("Data");
    guint first = 0;
    guint second = 0;
    ASSERT_TRUE(ax_event_handler_declare(handler.get(), set.get(), TRUE, &first, Told::complete,
                                         &told, error.out()));
    ASSERT_TRUE(ax_event_handler_declare(handler.get(), set.get(), TRUE, &second, Told::complete,
                                         &told, error.out()));
    EXPECT_THAT(told.ids, IsEmpty());
    ASSERT_TRUE(ax_event_handler_undeclare(handler.get(), first, error.out()));
    runMainContext();
    EXPECT_THAT(told.ids, ElementsAre(second));
}

TEST_F(EventHandlerTest, ASubscriberIsToldThePresentStateAndEachChange) {
    const guint alert = declareState();
    ASSERT_TRUE(sendState(alert, true));
    Told told;
    const KeyValueSet filter = topicSet("Alert");
    guint subscription = 0;
    ASSERT_TRUE(ax_event_handler_subscribe(handler.get(), filter.get(), &subscription, Told::event,
                                           &told, error.out()));
    EXPECT_EQ(subscription, 1U);
    EXPECT_THAT(told.states, IsEmpty());
    runMainContext();
    EXPECT_THAT(told.states, ElementsAre("on"));
    ASSERT_TRUE(sendState(alert, false));
    ASSERT_TRUE(sendState(alert, true));
    runMainContext();
    EXPECT_THAT(told.states, ElementsAre("on", "off", "on"));
    ASSERT_TRUE(sendState(alert, false));
    ASSERT_TRUE(ax_event_handler_unsubscribe(handler.get(), subscription, error.out()));
    runMainContext();
    EXPECT_THAT(told.states, SizeIs(3));
    EXPECT_FALSE(ax_event_handler_unsubscribe(handler.get(), subscription, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_UNSUBSCRIBE);
}

TEST_F(EventHandlerTest, ASubscriberIsToldOnlyWhatMatchesItsKeysAlsoOfOtherHandlers) {
    const testing_support::Handler other(ax_event_handler_new());
    Told told;
    KeyValueSet filter(ax_event_key_value_set_new());
    ASSERT_TRUE(ax_event_key_value_set_add_key_values(
        filter.get(), error.out(), "topic0", "tnsaxis", "Platform", AX_VALUE_TYPE_STRING, "payload",
        nullptr, nullptr, AX_VALUE_TYPE_STRING, nullptr));
    guint subscription = 0;
    ASSERT_TRUE(ax_event_handler_subscribe(other.get(), filter.get(), &subscription, Told::event,
                                           &told, error.out()));
    const guint alert = declareState();
    const guint data = declarePulse();
    ASSERT_TRUE(sendState(alert, true));
    ASSERT_TRUE(sendPulse(data, "7"));
    runMainContext();
    EXPECT_THAT(told.states, ElementsAre("7"));
}

TEST_F(EventHandlerTest, FreeingTheHandlerEndsEverythingOfIt) {
    Told told;
    const guint alert = declareState();
    const KeyValueSet filter = topicSet("Alert");
    guint id = 0;
    ASSERT_TRUE(ax_event_handler_subscribe(handler.get(), filter.get(), &id, Told::event, &told,
                                           error.out()));
    ASSERT_TRUE(sendState(alert, true));
    handler.reset();
    runMainContext();
    EXPECT_THAT(told.ids, IsEmpty());
    EXPECT_EQ(hostcam::liveCount(hostcam::Kind::EventHandler), 0U);
    EXPECT_EQ(hostcam::liveCount(hostcam::Kind::Event), 0U);
}

TEST_F(EventHandlerTest, AnEventKeepsCopiesOfItsSetAndTime) {
    KeyValueSet set(ax_event_key_value_set_new());
    const gint one = 1;
    ASSERT_TRUE(ax_event_key_value_set_add_key_value(set.get(), "n", nullptr, &one,
                                                     AX_VALUE_TYPE_INT, nullptr));
    GDateTime* const time = g_date_time_new_utc(2026, 2, 3, 4, 5, 6);
    const Event event(ax_event_new2(set.get(), time));
    set.reset();
    EXPECT_TRUE(g_date_time_equal(ax_event_get_time_stamp2(event.get()), time));
    g_date_time_unref(time);
    gint value = 0;
    const AXEventKeyValueSet* const borrowed = ax_event_get_key_value_set(event.get());
    EXPECT_TRUE(ax_event_key_value_set_get_integer(borrowed, "n", nullptr, &value, error.out()));
    EXPECT_EQ(value, 1);
    EXPECT_EQ(g_date_time_get_year(ax_event_get_time_stamp2(event.get())), 2026);
    ax_event_key_value_set_free(const_cast<AXEventKeyValueSet*>(borrowed)); // the event's: refused
    EXPECT_THAT(hostcam::misuses(), SizeIs(1));
}

TEST_F(EventHandlerTest, NullAndGarbageArgumentsFailAndNeverCrash) {
    const guint alert = declareState();
    const KeyValueSet set = topicSet("Alert");
    guint id = 0;
    int nothing = 0;
    for (AXEventHandler* const bad :
         {static_cast<AXEventHandler*>(nullptr), reinterpret_cast<AXEventHandler*>(&nothing)}) {
        EXPECT_FALSE(
            ax_event_handler_declare(bad, set.get(), TRUE, &id, nullptr, nullptr, error.out()));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
        EXPECT_FALSE(ax_event_handler_undeclare(bad, 1, error.out()));
        EXPECT_FALSE(ax_event_handler_send_event(bad, 1, nullptr, error.out()));
        EXPECT_FALSE(
            ax_event_handler_subscribe(bad, set.get(), &id, Told::event, nullptr, error.out()));
        EXPECT_FALSE(ax_event_handler_unsubscribe(bad, 1, error.out()));
        EXPECT_FALSE(ax_event_handler_declare_from_template(bad, "t", set.get(), &id, nullptr,
                                                            nullptr, error.out()));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
        ax_event_handler_free(bad);
    }
    EXPECT_FALSE(
        ax_event_handler_declare(handler.get(), nullptr, TRUE, &id, nullptr, nullptr, nullptr));
    EXPECT_FALSE(ax_event_handler_declare(handler.get(), set.get(), TRUE, nullptr, nullptr, nullptr,
                                          error.out()));
    EXPECT_FALSE(ax_event_handler_subscribe(handler.get(), set.get(), nullptr, Told::event, nullptr,
                                            error.out()));
    EXPECT_FALSE(
        ax_event_handler_subscribe(handler.get(), set.get(), &id, nullptr, nullptr, error.out()));
    for (AXEvent* const bad :
         {static_cast<AXEvent*>(nullptr), reinterpret_cast<AXEvent*>(&nothing)}) {
        EXPECT_FALSE(send(alert, bad));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
        EXPECT_EQ(ax_event_get_key_value_set(bad), nullptr);
        EXPECT_EQ(ax_event_get_time_stamp2(bad), nullptr);
        ax_event_free(bad);
    }
    EXPECT_EQ(ax_event_new2(nullptr, nullptr), nullptr);
    EXPECT_EQ(ax_event_new2(reinterpret_cast<AXEventKeyValueSet*>(&nothing), nullptr), nullptr);
    EXPECT_EQ(id, 0U);
}

/// Keeps what it sees.
class Watcher : public hostcam::EventObserver {
  public:
    Watcher() { hostcam::addEventObserver(*this); }
    ~Watcher() override { hostcam::removeEventObserver(*this); }
    void onEvent(const hostcam::EventRecord& record) noexcept override { seen.push_back(record); }

    std::vector<hostcam::EventRecord> seen;
};

TEST_F(EventHandlerTest, ObserversSeeEachEventThatWasJournalledWithTypedValues) {
    std::vector<hostcam::EventRecord> seen;
    {
        Watcher watcher;
        const guint alert = declareState();
        GDateTime* const time = g_date_time_new_utc(2026, 1, 1, 12, 0, 0.5);
        ASSERT_TRUE(sendState(alert, true, time));
        g_date_time_unref(time);
        EXPECT_FALSE(sendState(99, true));
        seen = watcher.seen;
    }
    ASSERT_TRUE(sendPulse(declarePulse(), "unseen"));
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].what, hostcam::EventRecord::What::Declared);
    EXPECT_EQ(seen[1].what, hostcam::EventRecord::What::Sent);
    EXPECT_EQ(seen[1].milliseconds, 1767268800500);
    EXPECT_EQ(seen[1].topic,
              (std::vector<hostcam::TopicPart>{{"tnsaxis", "Platform"}, {"tnsaxis", "Alert"}}));
    ASSERT_EQ(seen[1].data.size(), 1U);
    EXPECT_EQ(seen[1].data[0].second, hostcam::EventValue(true));
}

} // namespace
