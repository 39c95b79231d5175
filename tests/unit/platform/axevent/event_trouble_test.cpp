// The event library when the disk gets in its way, with many threads, and with injected faults.

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <axsdk/axevent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/event_publisher.h"
#include "tests/unit/platform/axevent/event_fixture.h"
#include "tests/unit/platform/axevent/json_text.h"
#include "tests/unit/platform/host_trouble.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing_support::Event;
using testing_support::FileSizeLimit;
using testing_support::JsonText;
using testing_support::KeyValueSet;
using testing_support::OrdinaryUser;
using testing_support::readFile;
using testing_support::readLines;
using testing_support::SmallDisk;
using testing_support::writeFile;

class EventTrouble : public testing_support::EventTest {
  protected:
    void expectReason(int code, const std::string& reason) {
        EXPECT_EQ(error.code(), code);
        EXPECT_THAT(error.text(), HasSubstr(camera.journal().string()));
        EXPECT_THAT(error.text(), EndsWith(reason));
        EXPECT_THAT(camera.takeWarnings(), Contains(error.text()));
    }
};

TEST_F(EventTrouble, InAReadOnlyFolderADeclarationFailsAndNamesTheFile) {
    fs::create_directories(camera.state());
    OrdinaryUser::open(camera.state());
    fs::permissions(camera.state(), OrdinaryUser::kReadOnly);
    (void)hostcam::currentConfig();
    const OrdinaryUser user;
    EXPECT_EQ(declareState(), 0U);
    expectReason(AX_EVENT_ERROR_DECLARATION, "Permission denied");
}

TEST_F(EventTrouble, AStateFolderThatCannotBeMadeIsAnError) {
    writeFile(camera.state(), "a file where the folder should be");
    EXPECT_EQ(declareState(), 0U);
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_DECLARATION);
    EXPECT_THAT(error.text(), HasSubstr(camera.state().string()));
}

TEST_F(EventTrouble, AJournalThatIsNoFileIsAnError) {
    fs::create_directories(camera.journal());
    EXPECT_EQ(declareState(), 0U);
    expectReason(AX_EVENT_ERROR_DECLARATION, "Is a directory");
}

TEST_F(EventTrouble, AFullAllowanceFailsTheSendAndLeavesWholeLines) {
    const guint alert = declareState();
    ASSERT_TRUE(sendState(alert, true));
    const std::string before = readFile(camera.journal());
    {
        const FileSizeLimit limit(before.size() + 10);
        EXPECT_FALSE(sendState(alert, false));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_SEND);
        EXPECT_THAT(error.text(), HasSubstr(camera.journal().string() + ": cannot be written: "));
        EXPECT_EQ(readFile(camera.journal()), before);
    }
    EXPECT_TRUE(sendState(alert, false));
    EXPECT_THAT(readLines(camera.journal()), SizeIs(3));
}

TEST_F(EventTrouble, AFullDiskFailsTheSendAndLeavesWholeLines) {
    const SmallDisk disk(camera.state());
    if (!disk.isMounted()) {
        GTEST_SKIP() << "a small disk cannot be mounted here";
    }
    const guint data = declarePulse();
    ASSERT_TRUE(sendPulse(data, "before"));
    disk.fill();
    const std::string large(5000, 'x'); // more than what is left of the file's last block
    EXPECT_FALSE(sendPulse(data, large));
    expectReason(AX_EVENT_ERROR_SEND, "No space left on device");
    EXPECT_THAT(readLines(camera.journal()), SizeIs(2));
    disk.empty();
    EXPECT_TRUE(sendPulse(data, large));
    for (const std::string& line : readLines(camera.journal())) {
        EXPECT_TRUE(JsonText(line).isObject()) << line;
    }
    // The journal is closed, so that the disk can go.
    hostcam::resetConfig();
}

TEST_F(EventTrouble, ASendThatFailsIsSeenByNobodyAndChangesNoState) {
    const guint alert = declareState();
    std::vector<int> told;
    const KeyValueSet filter = topicSet("Alert");
    guint subscription = 0;
    ASSERT_TRUE(ax_event_handler_subscribe(
        handler.get(), filter.get(), &subscription,
        [](guint, AXEvent* event, gpointer data) {
            gboolean active = FALSE;
            ax_event_key_value_set_get_boolean(ax_event_get_key_value_set(event), "active", nullptr,
                                               &active, nullptr);
            static_cast<std::vector<int>*>(data)->push_back(active);
            ax_event_free(event);
        },
        &told, error.out()));
    {
        const FileSizeLimit limit(10);
        EXPECT_FALSE(sendState(alert, true));
    }
    testing_support::runMainContext();
    EXPECT_THAT(told, ElementsAre(FALSE)); // the state at the time of subscribing
}

TEST_F(EventTrouble, AnotherCamerasEventsGoToItsOwnJournal) {
    const guint alert = declareState();
    const testing_support::HostCamera other; // its configuration is now the one in force
    ASSERT_TRUE(sendState(alert, true));
    EXPECT_THAT(readLines(other.journal()), SizeIs(1));
    EXPECT_THAT(readLines(camera.journal()), SizeIs(1));
}

/// Counts, and checks that calls come one at a time.
class Counter : public hostcam::EventObserver {
  public:
    Counter() { hostcam::addEventObserver(*this); }
    ~Counter() override { hostcam::removeEventObserver(*this); }
    void onEvent(const hostcam::EventRecord& record) noexcept override {
        texts.push_back(hostcam::toJson(record)); // not guarded: a race would show
    }
    std::vector<std::string> texts;
};

TEST_F(EventTrouble, EventsFromManyThreadsAreAllJournalledInTheOrderThatObserversSee) {
    const guint data = declarePulse();
    Counter counter;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, data, thread] {
            for (int round = 0; round < 15; ++round) {
                const std::string payload = std::to_string(thread) + "," + std::to_string(round);
                const Event event = makeEvent("payload", payload.c_str(), AX_VALUE_TYPE_STRING);
                EXPECT_TRUE(ax_event_handler_send_event(handler.get(), data, event.get(), nullptr));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::vector<std::string> lines = readLines(camera.journal());
    ASSERT_EQ(lines.size(), 61U);
    lines.erase(lines.begin());
    EXPECT_EQ(lines, counter.texts);
}

/// Frees a handler while an event of it is being journalled, as another thread might.
class Freer : public hostcam::EventObserver {
  public:
    explicit Freer(testing_support::Handler& handler) : m_handler(handler) {
        hostcam::addEventObserver(*this);
    }
    ~Freer() override { hostcam::removeEventObserver(*this); }
    void onEvent(const hostcam::EventRecord& /*record*/) noexcept override { m_handler.reset(); }

  private:
    testing_support::Handler& m_handler;
};

TEST_F(EventTrouble, AHandlerThatIsFreedWhileItDeclaresLeavesNothingBehind) {
    {
        const Freer freer(handler);
        EXPECT_EQ(declareState("Ghost"), 0U);
    }
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
    handler.reset(ax_event_handler_new());
    int told = 0;
    guint subscription = 0;
    const KeyValueSet filter = topicSet("Ghost");
    ASSERT_TRUE(ax_event_handler_subscribe(
        handler.get(), filter.get(), &subscription,
        [](guint, AXEvent* event, gpointer count) {
            ax_event_free(event);
            ++*static_cast<int*>(count);
        },
        &told, error.out()));
    testing_support::runMainContext();
    EXPECT_EQ(told, 0); // nobody declares that state
}

TEST_F(EventTrouble, AnEventWhoseHandlerIsFreedMeanwhileIsStillSent) {
    const guint alert = declareState();
    {
        const Freer freer(handler);
        const gboolean on = TRUE;
        const Event event = makeEvent("active", &on, AX_VALUE_TYPE_BOOL);
        EXPECT_TRUE(send(alert, event.get())) << error.text();
    }
    EXPECT_THAT(readLines(camera.journal()), SizeIs(2));
}

TEST_F(EventTrouble, DeclaringSubscribingAndSendingFromManyThreadsIsRaceFree) {
    std::atomic<int> told{0};
    const auto count = [](guint, AXEvent* event, gpointer data) {
        ax_event_free(event);
        ++*static_cast<std::atomic<int>*>(data);
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&] {
            const testing_support::Handler mine(ax_event_handler_new());
            for (int round = 0; round < 5; ++round) {
                const KeyValueSet set(ax_event_key_value_set_new());
                const gboolean off = FALSE;
                ax_event_key_value_set_add_key_values(set.get(), nullptr, "topic0", "tnsaxis", "A",
                                                      AX_VALUE_TYPE_STRING, "active", nullptr, &off,
                                                      AX_VALUE_TYPE_BOOL, nullptr);
                guint id = 0;
                guint subscription = 0;
                EXPECT_TRUE(ax_event_handler_declare(mine.get(), set.get(), FALSE, &id, nullptr,
                                                     nullptr, nullptr));
                EXPECT_TRUE(ax_event_handler_subscribe(mine.get(), set.get(), &subscription, count,
                                                       &told, nullptr));
                const Event event(ax_event_new2(set.get(), nullptr));
                EXPECT_TRUE(ax_event_handler_send_event(mine.get(), id, event.get(), nullptr));
                EXPECT_TRUE(ax_event_handler_undeclare(mine.get(), id, nullptr));
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        testing_support::runMainContext();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    testing_support::runMainContext();
    EXPECT_THAT(readLines(camera.journal()), SizeIs(30));
}

TEST_F(EventTrouble, EachCallThatCanFailFailsWithThePlannedError) {
    const KeyValueSet set = topicSet("Alert");
    const guint alert = declareState();
    hostcam::addFaults(
        "ax_event_handler_declare code=3; ax_event_handler_undeclare code=4;"
        "ax_event_handler_send_event code=5; ax_event_handler_subscribe code=6;"
        "ax_event_handler_unsubscribe code=7; ax_event_key_value_set_add_key_value code=1;"
        "ax_event_key_value_set_add_key_values code=1; ax_event_key_value_set_mark_as_data code=8;"
        "ax_event_key_value_set_add_nice_names code=8; ax_event_handler_new; ax_event_new2;"
        "ax_event_key_value_set_new; ax_event_element_item_new");
    guint id = 0;
    EXPECT_FALSE(ax_event_handler_declare(handler.get(), set.get(), TRUE, &id, nullptr, nullptr,
                                          error.out()));
    EXPECT_EQ(error.code(), 3);
    EXPECT_EQ(error.domain(), AX_EVENT_ERROR);
    EXPECT_EQ(id, 0U);
    EXPECT_FALSE(ax_event_handler_undeclare(handler.get(), alert, error.out()));
    EXPECT_EQ(error.code(), 4);
    const gboolean on = TRUE;
    EXPECT_EQ(ax_event_new2(set.get(), nullptr), nullptr);
    EXPECT_FALSE(
        ax_event_handler_subscribe(handler.get(), set.get(), &id, nullptr, nullptr, error.out()));
    EXPECT_EQ(error.code(), 6);
    EXPECT_FALSE(ax_event_handler_unsubscribe(handler.get(), 1, error.out()));
    EXPECT_EQ(error.code(), 7);
    EXPECT_FALSE(ax_event_key_value_set_add_key_value(set.get(), "k", nullptr, &on,
                                                      AX_VALUE_TYPE_BOOL, error.out()));
    EXPECT_EQ(error.code(), 1);
    EXPECT_FALSE(ax_event_key_value_set_add_key_values(set.get(), error.out(), nullptr));
    EXPECT_EQ(error.code(), 1);
    EXPECT_FALSE(ax_event_key_value_set_mark_as_data(set.get(), "topic0", "tnsaxis", error.out()));
    EXPECT_EQ(error.code(), 8);
    EXPECT_FALSE(ax_event_key_value_set_add_nice_names(set.get(), "topic0", "tnsaxis", "a", "b",
                                                       error.out()));
    EXPECT_EQ(ax_event_handler_new(), nullptr);
    EXPECT_EQ(ax_event_key_value_set_new(), nullptr);
    EXPECT_EQ(ax_event_element_item_new("x", nullptr), nullptr);
    EXPECT_FALSE(sendState(alert, true));
    EXPECT_EQ(error.code(), 5);
    EXPECT_TRUE(sendState(alert, true));
    EXPECT_THAT(readLines(camera.journal()), SizeIs(2));
}

} // namespace
