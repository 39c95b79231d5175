// The event manager called from several threads at once, as the tick and the web service do. The
// thread sanitizer sees the rest.

#include <algorithm>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/event_manager.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/axevent_stand_in.h"

namespace {

const std::string kActive = "ax_event_handler_send_event 1 active@none=bool:TRUE";
const std::string kInactive = "ax_event_handler_send_event 1 active@none=bool:FALSE";

class EventManagerThreadsTest : public testing::Test {
  protected:
    EventManagerThreadsTest() {
        axevent_stand_in::reset();
        m_manager.addEvent("Zerith Markers Alert");
        m_manager.addDataEvent();
        axevent_stand_in::reset();
        testing_support::forgetLog();
    }

    static void runAtOnce(const std::vector<std::function<void()>>& works) {
        std::vector<std::thread> threads;
        threads.reserve(works.size());
        for (const auto& work : works) {
            threads.emplace_back(work);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    static std::vector<std::string> sends() {
        return axevent_stand_in::callsOf("ax_event_handler_send_event");
    }

    EventManager m_manager;
};

TEST_F(EventManagerThreadsTest, EventsOfOneStateAreSentInTheOrderOfItsChanges) {
    const auto startAndStop = [this] {
        std::string name = "Zerith Markers Alert";
        for (int i = 0; i < 200; ++i) {
            m_manager.sendEventStarted(name);
            m_manager.sendEventStopped(name);
        }
    };

    runAtOnce({startAndStop, startAndStop, startAndStop, startAndStop});

    const std::vector<std::string> sent = sends();
    ASSERT_GE(sent.size(), 2U);
    ASSERT_EQ(sent.size() % 2, 0U);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        ASSERT_EQ(sent[i], i % 2 == 0 ? kActive : kInactive) << i;
    }
    EXPECT_EQ(testing_support::logLines().size(), sent.size());
}

TEST_F(EventManagerThreadsTest, TheTickAndTheWebServiceDoNotDisturbEachOther) {
    constexpr std::size_t kTurns = 200;
    const auto tick = [this] {
        std::string name = "Zerith Markers Alert";
        std::string ids = "1,2";
        for (std::size_t i = 0; i < kTurns; ++i) {
            m_manager.sendEventStarted(name);
            EXPECT_TRUE(m_manager.isEventStarted(name));
            m_manager.sendDataEvent(ids);
            m_manager.sendEventStopped(name);
            EXPECT_FALSE(m_manager.isEventStarted(name));
        }
    };
    const auto webService = [this] {
        std::string name = "Zerith Markers Alert";
        for (std::size_t i = 0; i < kTurns; ++i) {
            m_manager.sendEventStartedManually(name);
            EXPECT_TRUE(m_manager.isEventStartedManually(name));
            m_manager.sendEventStoppedManually(name);
            EXPECT_FALSE(m_manager.isEventStartedManually(name));
            m_manager.sendEvent("Unknown " + std::to_string(i), true);
        }
    };

    runAtOnce({tick, webService});

    const std::vector<std::string> sent = sends();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), kActive), 2 * kTurns);
    EXPECT_EQ(std::count(sent.begin(), sent.end(), kInactive), 2 * kTurns);
    EXPECT_EQ(sent.size(), 5 * kTurns);
    EXPECT_EQ(m_manager.m_eventDeclarationIDs.size(), 2 + kTurns);
}

} // namespace
