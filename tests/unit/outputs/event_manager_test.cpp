// The event manager on an event system that only writes down what is asked of it: which calls, with
// which arguments, in which order, and what the log says.

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/event_manager.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/axevent_stand_in.h"

Logger g_Logger("test", "./event_manager_test.log");

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::forgetLog;
using testing_support::logLines;

const std::string kAlert = "Zerith Markers Alert";
const std::string kData = "Zerith Markers Data";

class EventManagerTest : public testing::Test {
  protected:
    EventManagerTest() {
        axevent_stand_in::reset();
        forgetLog();
    }

    /// Declares both events, as start-up does, and forgets how.
    void declareBoth() {
        m_manager->addEvent(kAlert);
        m_manager->addDataEvent();
        axevent_stand_in::reset();
        forgetLog();
    }

    static std::vector<std::string> sends() {
        return axevent_stand_in::callsOf("ax_event_handler_send_event");
    }

    std::string m_alert = kAlert;
    std::unique_ptr<EventManager> m_manager = std::make_unique<EventManager>();
};

TEST_F(EventManagerTest, ConstructionOpensTheEventSystemWithEmptyMaps) {
    m_manager.reset();
    axevent_stand_in::reset();
    forgetLog();

    m_manager = std::make_unique<EventManager>();

    EXPECT_THAT(axevent_stand_in::calls(), ElementsAre("ax_event_handler_new"));
    EXPECT_THAT(logLines(), ElementsAre("info|EventManager: EventManager constructor"));
    EXPECT_THAT(m_manager->m_eventDeclarationIDs, IsEmpty());
    EXPECT_THAT(m_manager->m_eventStarted, IsEmpty());
    EXPECT_THAT(m_manager->m_eventStartedManually, IsEmpty());
    EXPECT_NE(m_manager->m_pHandler, nullptr);
}

TEST_F(EventManagerTest, TheKeyOfANameIsItsAlphanumericCharacters) {
    EXPECT_EQ(EventManager::friendlyToKey("Zerith Markers Alert"), "ZerithMarkersAlert");
    EXPECT_EQ(EventManager::friendlyToKey("Zerith Markers Data"), "ZerithMarkersData");
    EXPECT_EQ(EventManager::friendlyToKey("a-b c_1"), "abc1");
    EXPECT_EQ(EventManager::friendlyToKey(""), "");
    EXPECT_EQ(EventManager::friendlyToKey("\xc3\xa4 9"), "9");
}

TEST_F(EventManagerTest, TheAlertEventIsDeclaredStatefulWithAnInactiveState) {
    axevent_stand_in::reset();
    forgetLog();

    m_manager->addEvent(kAlert);

    EXPECT_THAT(
        axevent_stand_in::calls(),
        ElementsAre(
            "ax_event_key_value_set_new",
            "ax_event_key_value_set_add_key_values "
            "topic0@tnsaxis=string:CameraApplicationPlatform "
            "topic1@tnsaxis=string:ZerithMarkersApplication "
            "topic2@tnsaxis=string:ZerithMarkersAlert active@none=bool:FALSE",
            "ax_event_key_value_set_mark_as_data active@none",
            "ax_event_key_value_set_add_nice_names topic2@tnsaxis 'Zerith Markers' "
            "'Zerith Markers Alert'",
            "ax_event_handler_declare stateful topic0@tnsaxis=string:CameraApplicationPlatform "
            "topic1@tnsaxis=string:ZerithMarkersApplication "
            "topic2@tnsaxis=string:ZerithMarkersAlert active@none=bool:FALSE",
            "ax_event_key_value_set_free"));
    EXPECT_THAT(
        logLines(),
        ElementsAre(
            "info|addEvent: Successfully declared event Zerith Markers Alert. Declaration ID=1",
            "info|registerEvent: EventManager registering event Zerith Markers Alert to "
            "DeclarationID=1"));
    EXPECT_EQ(m_manager->getDeclarationID(kAlert), 1U);
    EXPECT_FALSE(m_manager->isEventStarted(kAlert));
}

TEST_F(EventManagerTest, TheDataEventIsDeclaredStatelessWithAPlaceholderAndItsOwnSpelling) {
    axevent_stand_in::reset();
    forgetLog();

    m_manager->addDataEvent();

    const std::string topics = "topic0@tnsaxis=string:CameraApplicationPlatform "
                               "topic1@tnsaxis=string:ZerithMarkersApplication "
                               "topic2@tnsaxis=string:ZerithMarkersData";
    EXPECT_THAT(axevent_stand_in::calls(),
                ElementsAre("ax_event_element_item_new analyticdata", "ax_event_key_value_set_new",
                            "ax_event_key_value_set_add_key_values " + topics,
                            "ax_event_key_value_set_add_key_value payload@none=string:placeholder",
                            "ax_event_key_value_set_mark_as_data payload@none",
                            "ax_event_key_value_set_add_nice_names topic2@tnsaxis "
                            "'Zerith MArkers' 'Zerith Markers Data'",
                            "ax_event_handler_declare stateless " + topics +
                                " payload@none=string:placeholder",
                            "ax_event_key_value_set_free", "ax_event_element_item_free"));
    EXPECT_THAT(
        logLines(),
        ElementsAre(
            "info|addDataEvent: EventManager::addDataEvent called",
            "info|addDataEvent: Successfully declared event Zerith Markers Data. Declaration ID=1",
            "info|registerEvent: EventManager registering event Zerith Markers Data to "
            "DeclarationID=1"));
    EXPECT_EQ(m_manager->getDeclarationID(kData), 1U);
}

TEST_F(EventManagerTest, AnEventWhoseKeysCannotBeSetIsNotRegistered) {
    axevent_stand_in::fail("ax_event_key_value_set_add_key_values");
    forgetLog();
    const int liveBefore = axevent_stand_in::live();

    m_manager->addEvent(kAlert);
    m_manager->addDataEvent();

    EXPECT_THAT(
        logLines(),
        ElementsAre("error|addEvent: Error creating key value set for event Zerith Markers Alert",
                    "info|addDataEvent: EventManager::addDataEvent called",
                    "error|addDataEvent: Error creating key value set for event Zerith Markers "
                    "Data"));
    EXPECT_THAT(axevent_stand_in::callsOf("ax_event_handler_declare"), IsEmpty());
    EXPECT_THAT(m_manager->m_eventDeclarationIDs, IsEmpty());
    EXPECT_THAT(m_manager->m_eventStarted, IsEmpty());
    EXPECT_EQ(axevent_stand_in::live(), liveBefore);
}

TEST_F(EventManagerTest, AFailedDeclarationIsRegisteredWithTheIdThatTheSystemLeft) {
    axevent_stand_in::fail("ax_event_handler_declare");
    forgetLog();
    const int liveBefore = axevent_stand_in::live();

    m_manager->addEvent(kAlert);
    axevent_stand_in::leaveIdOnFailure(77);
    m_manager->addDataEvent();

    EXPECT_THAT(logLines(),
                ElementsAre("error|addEvent: Failed to declare event Zerith Markers Alert",
                            "info|registerEvent: EventManager registering event Zerith Markers "
                            "Alert to DeclarationID=0",
                            "info|addDataEvent: EventManager::addDataEvent called",
                            "error|addDataEvent: Failed to declare event Zerith Markers Data",
                            "info|registerEvent: EventManager registering event Zerith Markers "
                            "Data to DeclarationID=77"));
    EXPECT_EQ(m_manager->getDeclarationID(kData), 77U);
    EXPECT_EQ(axevent_stand_in::live(), liveBefore);
}

TEST_F(EventManagerTest, AnEventIsDeclaredAlsoWithoutItsMarksAndNiceNames) {
    axevent_stand_in::fail("ax_event_key_value_set_add_key_value");
    axevent_stand_in::fail("ax_event_key_value_set_mark_as_data");
    axevent_stand_in::fail("ax_event_key_value_set_add_nice_names");
    forgetLog();

    m_manager->addDataEvent();

    m_manager->addEvent(kAlert);

    EXPECT_THAT(axevent_stand_in::callsOf("ax_event_handler_declare").size(), 2U);
    EXPECT_THAT(
        logLines(),
        ElementsAre(
            "info|addDataEvent: EventManager::addDataEvent called",
            "info|addDataEvent: Successfully declared event Zerith Markers Data. Declaration ID=1",
            "info|registerEvent: EventManager registering event Zerith Markers Data to "
            "DeclarationID=1",
            "info|addEvent: Successfully declared event Zerith Markers Alert. Declaration ID=2",
            "info|registerEvent: EventManager registering event Zerith Markers Alert to "
            "DeclarationID=2"));
}

TEST_F(EventManagerTest, StartingTwiceSendsOneEventAndLogsOneWarning) {
    declareBoth();

    m_manager->sendEventStarted(m_alert);
    m_manager->sendEventStarted(m_alert);

    EXPECT_THAT(sends(), ElementsAre("ax_event_handler_send_event 1 active@none=bool:TRUE"));
    EXPECT_THAT(logLines(),
                ElementsAre("warning|sendEventStarted: Starting event Zerith Markers Alert"));
    EXPECT_TRUE(m_manager->isEventStarted(kAlert));
}

TEST_F(EventManagerTest, StoppingBeforeAnyStartSendsNothing) {
    declareBoth();

    m_manager->sendEventStopped(m_alert);
    m_manager->sendEventStoppedManually(m_alert);

    EXPECT_THAT(axevent_stand_in::calls(), IsEmpty());
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(EventManagerTest, StoppingAStartedEventSendsOnce) {
    declareBoth();
    m_manager->sendEventStarted(m_alert);
    axevent_stand_in::reset();
    forgetLog();

    m_manager->sendEventStopped(m_alert);
    m_manager->sendEventStopped(m_alert);

    EXPECT_THAT(sends(), ElementsAre("ax_event_handler_send_event 1 active@none=bool:FALSE"));
    EXPECT_THAT(logLines(),
                ElementsAre("warning|sendEventStopped: Stopping event Zerith Markers Alert"));
    EXPECT_FALSE(m_manager->isEventStarted(kAlert));
}

TEST_F(EventManagerTest, TheManualStateHasItsOwnWarningsAndSendsOnChange) {
    declareBoth();

    m_manager->sendEventStartedManually(m_alert);
    m_manager->sendEventStartedManually(m_alert);
    EXPECT_TRUE(m_manager->isEventStartedManually(kAlert));
    EXPECT_FALSE(m_manager->isEventStarted(kAlert));
    m_manager->sendEventStoppedManually(m_alert);
    m_manager->sendEventStoppedManually(m_alert);
    EXPECT_FALSE(m_manager->isEventStartedManually(kAlert));

    EXPECT_THAT(sends(), ElementsAre("ax_event_handler_send_event 1 active@none=bool:TRUE",
                                     "ax_event_handler_send_event 1 active@none=bool:FALSE"));
    EXPECT_THAT(
        logLines(),
        ElementsAre("warning|sendEventStartedManually: Manually Starting event Zerith Markers "
                    "Alert",
                    "warning|sendEventStoppedManually: Manually Stopping event Zerith Markers "
                    "Alert"));
}

TEST_F(EventManagerTest, AManualStartWhileStartedAutomaticallyStillSendsActive) {
    declareBoth();
    m_manager->sendEventStarted(m_alert);
    axevent_stand_in::reset();

    m_manager->sendEventStartedManually(m_alert);

    EXPECT_THAT(sends(), ElementsAre("ax_event_handler_send_event 1 active@none=bool:TRUE"));
}

TEST_F(EventManagerTest, AnAutomaticStopLeavesTheManualStateOn) {
    declareBoth();
    m_manager->sendEventStarted(m_alert);
    m_manager->sendEventStartedManually(m_alert);
    axevent_stand_in::reset();

    m_manager->sendEventStopped(m_alert);

    EXPECT_THAT(sends(), ElementsAre("ax_event_handler_send_event 1 active@none=bool:FALSE"));
    EXPECT_TRUE(m_manager->isEventStartedManually(kAlert));
    EXPECT_FALSE(m_manager->isEventStarted(kAlert));
}

TEST_F(EventManagerTest, RegisteringAgainResetsOnlyTheAutomaticState) {
    declareBoth();
    m_manager->sendEventStarted(m_alert);
    m_manager->sendEventStartedManually(m_alert);

    m_manager->registerEvent(kAlert, 9);

    EXPECT_EQ(m_manager->getDeclarationID(kAlert), 9U);
    EXPECT_FALSE(m_manager->isEventStarted(kAlert));
    EXPECT_TRUE(m_manager->isEventStartedManually(kAlert));
}

TEST_F(EventManagerTest, SendingForANameNeverDeclaredLogsAndRemembersItWithIdZero) {
    forgetLog();

    m_manager->sendEvent("Other", true);

    EXPECT_THAT(logLines(), ElementsAre("error|sendEvent: No declaration for event Other"));
    EXPECT_THAT(m_manager->m_eventDeclarationIDs, ElementsAre(testing::Pair("Other", 0U)));
    EXPECT_THAT(axevent_stand_in::callsOf("ax_event_key_value_set_new"), IsEmpty());
}

TEST_F(EventManagerTest, AStateChangesAlsoWhenItsEventWasNeverDeclared) {
    forgetLog();

    m_manager->sendEventStarted(m_alert);

    EXPECT_TRUE(m_manager->isEventStarted(kAlert));
    EXPECT_THAT(logLines(),
                ElementsAre("warning|sendEventStarted: Starting event Zerith Markers Alert",
                            "error|sendEvent: No declaration for event Zerith Markers Alert"));
}

TEST_F(EventManagerTest, AskingForAnUnknownNameInsertsIt) {
    EXPECT_EQ(m_manager->getDeclarationID("a"), 0U);
    EXPECT_FALSE(m_manager->isEventStarted("b"));
    EXPECT_FALSE(m_manager->isEventStartedManually("c"));

    EXPECT_THAT(m_manager->m_eventDeclarationIDs, ElementsAre(testing::Pair("a", 0U)));
    EXPECT_THAT(m_manager->m_eventStarted, ElementsAre(testing::Pair("b", false)));
    EXPECT_THAT(m_manager->m_eventStartedManually, ElementsAre(testing::Pair("c", false)));
}

TEST_F(EventManagerTest, ASendStampsTheEventWithTheTimeNowAndReleasesSetAndEvent) {
    declareBoth();
    const auto microsecondsNow = [] {
        return std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };

    const long long before = microsecondsNow();
    m_manager->sendEvent(kAlert, true);
    const long long after = microsecondsNow();

    EXPECT_THAT(axevent_stand_in::calls(),
                ElementsAre("ax_event_key_value_set_new",
                            "ax_event_key_value_set_add_key_value active@none=bool:TRUE",
                            "ax_event_new2", "ax_event_handler_send_event 1 active@none=bool:TRUE",
                            "ax_event_key_value_set_free", "ax_event_free"));
    ASSERT_EQ(axevent_stand_in::timeStamps().size(), 1U);
    EXPECT_GE(axevent_stand_in::timeStamps()[0], before);
    EXPECT_LE(axevent_stand_in::timeStamps()[0], after);
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(EventManagerTest, ATimeStampIsInLocalTime) {
    declareBoth();
    std::string text = "1";
    setenv("TZ", "EAST-3", 1); // three hours east of Greenwich
    tzset();

    m_manager->sendEvent(kAlert, true);
    m_manager->sendDataEvent(text);

    unsetenv("TZ");
    tzset();
    EXPECT_THAT(axevent_stand_in::timeZones(), ElementsAre(3 * 3600, 3 * 3600));
}

TEST_F(EventManagerTest, AStateIsChangedOnceItsEventHasBeenSent) {
    declareBoth();
    std::vector<bool> statesAtTheSends;
    axevent_stand_in::onSend([&] {
        statesAtTheSends.push_back(m_manager->isEventStarted(kAlert));
        statesAtTheSends.push_back(m_manager->isEventStartedManually(kAlert));
    });

    m_manager->sendEventStarted(m_alert);
    m_manager->sendEventStartedManually(m_alert);
    m_manager->sendEventStopped(m_alert);
    m_manager->sendEventStoppedManually(m_alert);

    EXPECT_THAT(statesAtTheSends, ElementsAre(false, false, true, false, true, true, false, true));
}

TEST_F(EventManagerTest, ASendWhoseValueCannotBeSetIsLoggedAndReleased) {
    declareBoth();
    axevent_stand_in::fail("ax_event_key_value_set_add_key_value");
    const int liveBefore = axevent_stand_in::live();
    std::string text = "1,2";

    m_manager->sendEvent(kAlert, true);
    m_manager->sendDataEvent(text);

    EXPECT_THAT(
        logLines(),
        ElementsAre("error|sendEvent: Failed to add active key value to event Zerith Markers "
                    "Alert",
                    "error|sendDataEvent: Failed to add active key value to event Zerith Markers "
                    "Data"));
    EXPECT_THAT(axevent_stand_in::callsOf("ax_event_new2"), IsEmpty());
    EXPECT_EQ(axevent_stand_in::live(), liveBefore);
}

TEST_F(EventManagerTest, ARefusedSendIsLoggedWithItsValueAndReleased) {
    declareBoth();
    axevent_stand_in::fail("ax_event_handler_send_event");
    const int liveBefore = axevent_stand_in::live();
    std::string text = "1,2";

    m_manager->sendEvent(kAlert, true);
    m_manager->sendEvent(kAlert, false);
    m_manager->sendDataEvent(text);

    EXPECT_THAT(
        logLines(),
        ElementsAre("error|sendEvent: Failed to send event Zerith Markers Alert activeValue=1",
                    "error|sendEvent: Failed to send event Zerith Markers Alert activeValue=0",
                    "error|sendDataEvent: Failed to send event Zerith Markers Data"));
    EXPECT_EQ(axevent_stand_in::live(), liveBefore);
}

TEST_F(EventManagerTest, AnEventThatCannotBeMadeCountsAsNotSent) {
    declareBoth();
    axevent_stand_in::fail("ax_event_new2");
    const int liveBefore = axevent_stand_in::live();

    m_manager->sendEvent(kAlert, true);

    EXPECT_THAT(
        logLines(),
        ElementsAre("error|sendEvent: Failed to send event Zerith Markers Alert activeValue=1"));
    EXPECT_THAT(sends(), IsEmpty());
    EXPECT_EQ(axevent_stand_in::live(), liveBefore);
}

TEST_F(EventManagerTest, ARefusedStartCountsAsStarted) {
    declareBoth();
    axevent_stand_in::fail("ax_event_handler_send_event");

    m_manager->sendEventStarted(m_alert);
    m_manager->sendEventStarted(m_alert);

    EXPECT_THAT(sends().size(), 1U);
    EXPECT_TRUE(m_manager->isEventStarted(kAlert));
}

TEST_F(EventManagerTest, EveryDataEventIsSentEvenWithTheSameText) {
    declareBoth();
    std::string text = "3,7,12";
    std::string nothing;

    m_manager->sendDataEvent(text);
    m_manager->sendDataEvent(text);
    m_manager->sendDataEvent(nothing);

    EXPECT_THAT(sends(), ElementsAre("ax_event_handler_send_event 2 payload@none=string:3,7,12",
                                     "ax_event_handler_send_event 2 payload@none=string:3,7,12",
                                     "ax_event_handler_send_event 2 payload@none=string:"));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(EventManagerTest, ADataEventWithoutDeclarationIsLogged) {
    forgetLog();
    std::string text = "1";

    m_manager->sendDataEvent(text);

    EXPECT_THAT(logLines(),
                ElementsAre("error|sendDataEvent: No declaration for event Zerith Markers Data"));
}

TEST_F(EventManagerTest, DestructionUndeclaresEveryEventAndFreesTheHandler) {
    declareBoth();

    m_manager.reset();

    EXPECT_THAT(axevent_stand_in::calls(),
                ElementsAre("ax_event_handler_undeclare 1", "ax_event_handler_undeclare 2",
                            "ax_event_handler_free"));
    EXPECT_THAT(
        logLines(),
        ElementsAre("info|~EventManager: EventManager destructor called",
                    "info|~EventManager: EventManager undeclaring event Zerith Markers Alert : "
                    "DeclarationID=1",
                    "info|~EventManager: EventManager destructor successfully undeclared event "
                    "Zerith Markers Alert : DeclarationID=1",
                    "info|~EventManager: EventManager undeclaring event Zerith Markers Data : "
                    "DeclarationID=2",
                    "info|~EventManager: EventManager destructor successfully undeclared event "
                    "Zerith Markers Data : DeclarationID=2",
                    "info|~EventManager: Going to free the event handler",
                    "info|~EventManager: EventManager destructor complete"));
    EXPECT_EQ(axevent_stand_in::live(), 0);
}

TEST_F(EventManagerTest, ARefusedUndeclarationIsLoggedAndDestructionGoesOn) {
    declareBoth();
    axevent_stand_in::fail("ax_event_handler_undeclare");

    m_manager.reset();

    EXPECT_THAT(logLines(),
                testing::IsSupersetOf(
                    {"error|~EventManager: EventManager destructor failed to undeclare event "
                     "Zerith Markers Alert : DeclarationID=1",
                     "error|~EventManager: EventManager destructor failed to undeclare event "
                     "Zerith Markers Data : DeclarationID=2",
                     "info|~EventManager: EventManager destructor complete"}));
    EXPECT_EQ(axevent_stand_in::live(), 0);
}

} // namespace
