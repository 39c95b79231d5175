// The event manager on the host camera's event system: what stands in the journal, and what the log
// says when the camera's calls fail.

#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/event_manager.h"
#include "platform/hostcam/live_objects.h"
#include "tests/support/log_lines.h"
#include "tests/unit/platform/host_camera.h"

Logger g_Logger("test", "./event_manager_host_test.log");

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::forgetLog;
using testing_support::HostCamera;
using testing_support::logLines;

const std::string kTopic =
    R"("topic":"tnsaxis:CameraApplicationPlatform/ZerithMarkersApplication/)";

std::string alertLine(bool active) {
    return kTopic + R"(ZerithMarkersAlert","stateful":true,"data":{"active":)" +
           (active ? "true" : "false") + "}}";
}

std::string dataLine(const std::string& payload) {
    return kTopic + R"(ZerithMarkersData","stateful":false,"data":{"payload":")" + payload + "\"}}";
}

class EventManagerHostTest : public testing::Test {
  protected:
    EventManagerHostTest() { forgetLog(); }
    ~EventManagerHostTest() override {
        m_manager.reset();
        EXPECT_EQ(hostcam::liveCount(hostcam::Kind::EventHandler), 0U);
        EXPECT_EQ(hostcam::liveCount(hostcam::Kind::EventKeyValueSet), 0U);
        EXPECT_EQ(hostcam::liveCount(hostcam::Kind::EventElementItem), 0U);
        EXPECT_EQ(hostcam::liveCount(hostcam::Kind::Event), 0U);
        EXPECT_THAT(hostcam::misuses(), IsEmpty());
    }

    void declareBoth() {
        m_manager->addEvent("Zerith Markers Alert");
        m_manager->addDataEvent();
    }

    /// The journal's lines from the topic on.
    [[nodiscard]] std::vector<std::string> journal() const {
        std::vector<std::string> lines = testing_support::readLines(m_camera.journal());
        for (std::string& line : lines) {
            line.erase(0, line.find("\"topic\""));
        }
        return lines;
    }

    static void failNext(const std::string& call) {
        hostcam::Fault fault;
        fault.call = call;
        hostcam::addFault(fault);
    }

    HostCamera m_camera;
    std::unique_ptr<EventManager> m_manager = std::make_unique<EventManager>();
    std::string m_alert = "Zerith Markers Alert";
    std::string m_ids = "3,7";
};

TEST_F(EventManagerHostTest, TheJournalTellsTheStoryInItsOrder) {
    declareBoth();
    const std::size_t declared = journal().size();
    m_manager->sendEventStarted(m_alert);
    m_manager->sendEventStarted(m_alert);
    m_manager->sendDataEvent(m_ids);
    m_manager->sendEventStartedManually(m_alert);
    m_manager->sendEventStopped(m_alert);
    m_ids = "";
    m_manager->sendDataEvent(m_ids);

    std::vector<std::string> lines = journal();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(declared));
    EXPECT_THAT(lines, ElementsAre(alertLine(true), dataLine("3,7"), alertLine(true),
                                   alertLine(false), dataLine("")));
}

TEST_F(EventManagerHostTest, EveryFailedCallOfADeclarationIsLoggedAndLeavesNothingBehind) {
    failNext("ax_event_key_value_set_add_key_values");
    m_manager->addEvent(m_alert);
    failNext("ax_event_handler_declare");
    m_manager->addEvent(m_alert);
    m_manager->sendEventStarted(m_alert);

    EXPECT_THAT(logLines(),
                testing::IsSupersetOf(
                    {"error|addEvent: Error creating key value set for event Zerith Markers Alert",
                     "error|addEvent: Failed to declare event Zerith Markers Alert",
                     "error|sendEvent: No declaration for event Zerith Markers Alert"}));
}

TEST_F(EventManagerHostTest, EveryFailedCallOfASendIsLoggedAndTheNextChangeIsSent) {
    declareBoth();
    forgetLog();
    failNext("ax_event_key_value_set_new");
    m_manager->sendEvent(m_alert, true);
    failNext("ax_event_key_value_set_add_key_value");
    m_manager->sendEvent(m_alert, true);
    failNext("ax_event_new2");
    m_manager->sendEvent(m_alert, true);
    failNext("ax_event_handler_send_event");
    m_manager->sendEvent(m_alert, false);
    failNext("ax_event_handler_send_event");
    m_manager->sendDataEvent(m_ids);

    const std::string added =
        "error|sendEvent: Failed to add active key value to event Zerith Markers Alert";
    EXPECT_THAT(
        logLines(),
        ElementsAre(added, added,
                    "error|sendEvent: Failed to send event Zerith Markers Alert activeValue=1",
                    "error|sendEvent: Failed to send event Zerith Markers Alert activeValue=0",
                    "error|sendDataEvent: Failed to send event Zerith Markers Data"));
    m_manager->sendEvent(m_alert, true);
    EXPECT_EQ(journal().back(), alertLine(true));
}

TEST_F(EventManagerHostTest, AnEventSystemThatCannotBeOpenedLeavesAManagerThatSendsNothing) {
    m_manager.reset();
    failNext("ax_event_handler_new");
    m_manager = std::make_unique<EventManager>();

    declareBoth();
    m_manager->sendEventStarted(m_alert);

    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_TRUE(m_manager->isEventStarted(m_alert));
    m_manager.reset();
    EXPECT_THAT(logLines(), testing::Contains("error|addEvent: Failed to declare event Zerith "
                                              "Markers Alert"));
}

TEST_F(EventManagerHostTest, ARefusedUndeclarationIsLogged) {
    declareBoth();
    failNext("ax_event_handler_undeclare");

    m_manager.reset();

    EXPECT_THAT(logLines(),
                testing::IsSupersetOf(
                    {"error|~EventManager: EventManager destructor failed to undeclare event "
                     "Zerith Markers Alert : DeclarationID=1",
                     "info|~EventManager: EventManager destructor successfully undeclared event "
                     "Zerith Markers Data : DeclarationID=2"}));
}

} // namespace
