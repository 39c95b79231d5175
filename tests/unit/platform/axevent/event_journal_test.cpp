// The event journal after a crash, and while others move, mend or lock it.

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>

#include <axsdk/axevent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/event_journal.h"
#include "tests/unit/platform/axevent/event_fixture.h"
#include "tests/unit/platform/axevent/json_text.h"
#include "tests/unit/platform/host_trouble.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing_support::FileSizeLimit;
using testing_support::JsonText;
using testing_support::readFile;
using testing_support::readLines;
using testing_support::writeFile;

class EventJournalTest : public testing_support::EventTest {
  protected:
    /// What the journal holds after a new process has opened it.
    [[nodiscard]] std::string journalAfterRestart(const std::string& before) {
        fs::create_directories(camera.state());
        writeFile(camera.journal(), before);
        const hostcam::EventJournal journal(camera.state().string());
        return readFile(camera.journal());
    }
};

TEST_F(EventJournalTest, AHalfLastLineIsCutOffAtTheNextStart) {
    const std::string whole = "{\"a\":1}\n{\"b\":\"}\\\"\"}\n";
    for (const char* half : {"{", "{\"time\":\"20", "{\"a\":{\"b\":1}", "{\"a\":\"}",
                             "{\"a\":\"\\\"}", "{\"a\":1}}", "garbage"}) {
        EXPECT_EQ(journalAfterRestart(whole + half), whole) << half;
        EXPECT_THAT(camera.takeWarnings(), ElementsAre(HasSubstr("only half written"))) << half;
        EXPECT_EQ(journalAfterRestart(half), "") << half;
        EXPECT_THAT(camera.takeWarnings(), SizeIs(1));
    }
    EXPECT_EQ(journalAfterRestart(whole + std::string(10000, '\0')), whole);
}

TEST_F(EventJournalTest, AWholeLastLineWithoutItsEndIsKept) {
    EXPECT_EQ(journalAfterRestart("{\"a\":1}\n{\"b\":\"{\"}"), "{\"a\":1}\n{\"b\":\"{\"}\n");
    EXPECT_EQ(journalAfterRestart(""), "");
    EXPECT_THAT(camera.takeWarnings(), SizeIs(0));
}

TEST_F(EventJournalTest, ALongHalfLineIsCutOffWholly) {
    const std::string half = "{\"payload\":\"" + std::string(20000, 'x');
    EXPECT_EQ(journalAfterRestart("{\"a\":1}\n" + half), "{\"a\":1}\n");
    EXPECT_EQ(journalAfterRestart("{\"a\":1}\n" + half + "\"}"), "{\"a\":1}\n" + half + "\"}\n");
}

TEST_F(EventJournalTest, AJournalThatWasMovedAwayOrRemovedIsBegunAnew) {
    const guint alert = declareState();
    ASSERT_TRUE(sendState(alert, true));
    fs::rename(camera.journal(), camera.state() / "old.jsonl");
    ASSERT_TRUE(sendState(alert, false));
    EXPECT_THAT(journalWithoutTimes(), ElementsAre(HasSubstr("\"active\":false")));
    fs::remove(camera.journal());
    ASSERT_TRUE(sendState(alert, true));
    EXPECT_THAT(journalWithoutTimes(), ElementsAre(HasSubstr("\"active\":true")));
    EXPECT_THAT(readLines(camera.state() / "old.jsonl"), SizeIs(2));
}

/// Keeps the journal locked, as a process that was stopped in the middle does.
class KeptLock {
  public:
    explicit KeptLock(const fs::path& journal)
        : m_file(::open(journal.c_str(), O_RDWR | O_CLOEXEC)), m_lock(m_file.get(), journal) {}

  private:
    hostcam::Descriptor m_file;
    hostcam::FileLock m_lock;
};

TEST_F(EventJournalTest, AJournalThatAnotherProcessKeepsLockedHoldsUpNoEvent) {
    const guint data = declarePulse();
    {
        const KeptLock kept(camera.journal());
        // If an event waited for the lock, it would in vain.
        for (const char* payload : {"1", "2", "3"}) {
            EXPECT_TRUE(sendPulse(data, payload)) << error.text();
        }
        EXPECT_THAT(camera.takeWarnings(),
                    ElementsAre(camera.journal().string() +
                                ": cannot be locked: another process keeps it locked; events are "
                                "appended all the same"));
    }
    EXPECT_TRUE(sendPulse(data, "4"));
    const std::vector<std::string> lines = journalWithoutTimes();
    ASSERT_THAT(lines, SizeIs(5));
    for (std::size_t number = 1; number < lines.size(); ++number) {
        EXPECT_THAT(lines[number], HasSubstr("\"" + std::to_string(number) + "\""));
    }
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(EventJournalTest, AJournalThatIsKeptLockedFromTheBeginningTakesEventsAfterHalfALine) {
    fs::create_directories(camera.state());
    writeFile(camera.journal(), "{\"a\":1}\n{\"half");
    const KeptLock kept(camera.journal());
    EXPECT_NE(declareState(), 0U);
    const std::vector<std::string> lines = readLines(camera.journal());
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[1], "{\"half");
    EXPECT_TRUE(JsonText(lines[2]).isObject());
}

TEST_F(EventJournalTest, WritersWithoutTheLockTearNoLine) {
    constexpr int kRounds = 50;
    fs::create_directories(camera.state());
    writeFile(camera.journal(), "");
    const KeptLock kept(camera.journal());
    const auto write = [&](int writer) {
        hostcam::EventJournal journal(camera.state().string());
        for (int round = 0; round < kRounds; ++round) {
            journal.append("{\"w" + std::to_string(writer) + "\":\"" +
                           std::string(static_cast<std::size_t>(100 * round), 'x') + "\"}");
        }
    };
    std::thread other(write, 1);
    write(2);
    other.join();
    const std::vector<std::string> lines = readLines(camera.journal());
    EXPECT_THAT(lines, SizeIs(2 * kRounds));
    for (const std::string& line : lines) {
        EXPECT_TRUE(JsonText(line).isObject()) << line;
    }
}

TEST_F(EventJournalTest, AFailedLineIsNotCutOffWithWhatOthersWroteAfterIt) {
    const guint data = declarePulse();
    const std::string before = readFile(camera.journal());
    const KeptLock kept(camera.journal());
    {
        const FileSizeLimit limit(before.size() + 10);
        EXPECT_FALSE(sendPulse(data, "too long"));
    }
    EXPECT_TRUE(sendPulse(data, "next"));
    EXPECT_THAT(readFile(camera.journal()), testing::StartsWith(before));
    EXPECT_TRUE(JsonText(readLines(camera.journal()).back()).isObject());
}

TEST_F(EventJournalTest, TheJournalGoesOnAfterARestart) {
    ASSERT_TRUE(sendState(declareState(), true));
    camera.restart();
    handler.reset(ax_event_handler_new());
    ASSERT_TRUE(sendState(declareState(), true));
    EXPECT_THAT(readLines(camera.journal()), SizeIs(4));
}

} // namespace
