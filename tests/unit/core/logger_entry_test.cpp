#include <chrono>
#include <string>

#include <gtest/gtest.h>
#include <time.h>

#include "tests/unit/core/logger_fixture.h"

namespace {

LogEntry makeEntry() {
    LogEntry entry;
    entry._dateTime = "2024-05-01 13:45:10";
    entry._appName = "app";
    entry._logLevel = "error";
    entry._message = "x";
    return entry;
}

LogEntry readBack(std::string line) {
    LogEntry entry;
    entry.deserialize(line);
    return entry;
}

/// Sets the time zone for one test.
class Zone {
  public:
    explicit Zone(const char* name) {
        setenv("TZ", name, 1);
        tzset();
    }
    ~Zone() {
        unsetenv("TZ");
        tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
};

TEST(LogLevels, HaveTheNumbersOfTheirWords) {
    EXPECT_EQ(static_cast<int>(LogLevel::Info), 0);
    EXPECT_EQ(static_cast<int>(LogLevel::Warning), 1);
    EXPECT_EQ(static_cast<int>(LogLevel::Error), 2);
}

TEST(LogEntries, FileFormJoinsTheFieldsWithBars) {
    EXPECT_EQ(makeEntry().serialize(), "2024-05-01 13:45:10|app|error|x");
}

TEST(LogEntries, PlainFormJoinsTheFieldsWithBlanks) {
    EXPECT_EQ(makeEntry().serializeAsPlainText(), "2024-05-01 13:45:10 app error x");
}

TEST(LogEntries, PlainFormOfALineOfTheFile) {
    EXPECT_EQ(readBack("2024-05-01 13:45:10|app|error|x").serializeAsPlainText(),
              "2024-05-01 13:45:10 app error x");
}

TEST(LogEntries, LineIsReadBackIntoItsFields) {
    const LogEntry entry = readBack("2024-05-01 13:45:10|app|warning|STARTING app");
    EXPECT_EQ(entry._dateTime, "2024-05-01 13:45:10");
    EXPECT_EQ(entry._appName, "app");
    EXPECT_EQ(entry._logLevel, "warning");
    EXPECT_EQ(entry._message, "STARTING app");
}

TEST(LogEntries, MessageWithBarsComesBackAsTheTextAfterItsLastBar) {
    EXPECT_EQ(readBack("d|app|info|a|b")._message, "b");
    EXPECT_EQ(readBack("d|app|info|a|b|")._message, "");
}

TEST(LogEntries, LineWithTooFewFieldsPutsItsLastTextIntoTheMessage) {
    const LogEntry entry = readBack("only text");
    EXPECT_EQ(entry._dateTime, "");
    EXPECT_EQ(entry._message, "only text");
    EXPECT_EQ(readBack("d|app")._dateTime, "d");
    EXPECT_EQ(readBack("d|app")._appName, "");
    EXPECT_EQ(readBack("d|app")._message, "app");
    EXPECT_EQ(readBack("")._message, "");
}

TEST(LogEntries, ReadingConsumesTheLineUpToItsMessage) {
    std::string line = "d|app|info|text";
    LogEntry().deserialize(line);
    EXPECT_EQ(line, "text");
}

// A line that a web page submitted may be a megabyte of bars. Were each erased on its own, this
// would move 10^12 bytes and run into the test's time limit.
TEST(LogEntries, LineOfAMillionBarsIsReadInOneGo) {
    EXPECT_EQ(readBack(std::string(4'000'000, '|') + "end")._message, "end");
}

TEST(LogEntries, LevelWordsAreInfoWarningAndError) {
    testing_support::TempDir dir;
    Logger logger("app", dir / "log.txt");
    logger.clear();
    logger.addLogEntry(LogLevel::Info, "a");
    logger.addLogEntry(LogLevel::Warning, "b");
    logger.addLogEntry(LogLevel::Error, "c");
    const LogEntries entries = logger.getLogEntries();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0]._logLevel, "info");
    EXPECT_EQ(entries[1]._logLevel, "warning");
    EXPECT_EQ(entries[2]._logLevel, "error");
    EXPECT_EQ(entries[2]._appName, "app");
    EXPECT_EQ(entries[2]._message, "c");
}

TEST_F(LoggerTest, TimesAreToldInLocalTime) {
    {
        const Zone zone("UTC0");
        EXPECT_EQ(Logger::timeToString(kStart), "2024-05-01 13:45:10");
        EXPECT_EQ(Logger::getCurrentDateTime(), "2024-05-01 13:45:10");
        EXPECT_EQ(Logger::timeToString(0), "1970-01-01 00:00:00");
    }
    const Zone zone("EAST-3");
    EXPECT_EQ(Logger::timeToString(kStart), "2024-05-01 16:45:10");
}

TEST_F(LoggerTest, EntriesCarryTheTimeOfTheirCreation) {
    const Zone zone("UTC0");
    Logger logger("app", path());
    testing_support::MovedClock::set(kStart + 61);
    logger.info("later");
    EXPECT_EQ(logger.getSerializedLogContents(), "2024-05-01 13:45:10|app|warning|STARTING app\n"
                                                 "2024-05-01 13:46:11|app|info|later\n");
}

} // namespace
