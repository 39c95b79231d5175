#include <algorithm>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/core/logger_fixture.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::forgetSyslog;
using testing_support::MovedClock;
using testing_support::syslogLines;
using testing_support::writeFile;

namespace {

constexpr int kMinSize = 1'048'576;
constexpr int kMaxSize = 2'097'152;

class LoggerPurgeTest : public LoggerTest {
  protected:
    /// A log whose file holds exactly `size` bytes: lines of 64 bytes, newline included, numbered,
    /// and one longer first line.
    void writeLog(int size) {
        std::string content(static_cast<std::size_t>(size % 64), 'x');
        for (int i = 0; i < size / 64; ++i) {
            std::string line = "line " + std::to_string(i) + " ";
            line.resize(63, '.');
            content += line + "\n";
        }
        ASSERT_EQ(content.size(), static_cast<std::size_t>(size));
        writeFile(path(), content);
    }

    void moveToTheDueDate() { MovedClock::set(kStart + kDay); }
    void movePastTheDueDate() { MovedClock::set(kStart + kDay + 1); }
};

TEST_F(LoggerPurgeTest, FirstCheckIsDueOneDayAfterTheStart) {
    Logger logger("app", path());
    EXPECT_EQ(logger.incrementNextPurgeDate(), kStart + 2 * kDay);
}

TEST_F(LoggerPurgeTest, FileOneByteBelowTheUpperSizeIsNeverPurged) {
    Logger logger("app", path());
    writeLog(kMaxSize - 1);
    movePastTheDueDate();
    logger.flush();
    EXPECT_EQ(logger.getLogFileSize(), kMaxSize - 1);
    EXPECT_THAT(logger.getLogEntries(), IsEmpty());
    logger.purge();
    EXPECT_EQ(logger.getLogFileSize(), kMaxSize - 1);
}

TEST_F(LoggerPurgeTest, FileOfTheUpperSizeIsNotPurgedAtTheDueDateItself) {
    Logger logger("app", path());
    writeLog(kMaxSize);
    moveToTheDueDate();
    logger.flush();
    EXPECT_EQ(logger.getLogFileSize(), kMaxSize);
}

TEST_F(LoggerPurgeTest, FileOfTheUpperSizeIsPurgedOnTheFirstFlushAfterTheDueDate) {
    Logger logger("app", path());
    writeLog(kMaxSize);
    movePastTheDueDate();
    logger.flush();

    // Lines of 63 characters: 16645 of them are the first to exceed the lower size.
    const std::vector<std::string> lines = fileLines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kMinSize / 63 + 1));
    EXPECT_THAT(lines.back(), HasSubstr("line 32767 "));
    EXPECT_THAT(lines.front(), HasSubstr("line " + std::to_string(32768 - lines.size()) + " "));
    std::size_t text = 0;
    for (const std::string& line : lines) {
        text += line.size();
    }
    EXPECT_GT(text, static_cast<std::size_t>(kMinSize));
    EXPECT_LE(text - lines.front().size(), static_cast<std::size_t>(kMinSize));
}

TEST_F(LoggerPurgeTest, PurgeTellsBothSizesInEntriesThatWaitForTheNextFlush) {
    Logger logger("app", path());
    writeLog(kMaxSize);
    movePastTheDueDate();
    forgetSyslog();
    logger.flush();
    const int finalSize = logger.getLogFileSize();
    const LogEntries waiting = logger.getLogEntries();
    ASSERT_EQ(waiting.size(), 2U);
    EXPECT_EQ(waiting[0]._message, "Purging log file. Initial log file size=2097152 bytes.");
    EXPECT_EQ(waiting[0]._logLevel, "info");
    EXPECT_EQ(waiting[1]._message,
              "Purging log file. Final log file size=" + std::to_string(finalSize) + " bytes.");
    EXPECT_THAT(syslogLines(), ElementsAre("6|" + waiting[0]._message, "6|" + waiting[1]._message));
    EXPECT_THAT(fileContent(), testing::Not(HasSubstr("Purging")));
}

TEST_F(LoggerPurgeTest, LineThatCrossesTheLowerSizeIsKept) {
    Logger logger("app", path());
    logger.setSizeLimits(10, 20);
    writeFile(path(), "aaaaaaaaaa\nbbbbb\nccccc\nd\n"); // from the end: 1, 6, 11
    logger.purge();
    EXPECT_THAT(fileLines(), ElementsAre("bbbbb", "ccccc", "d"));
}

TEST_F(LoggerPurgeTest, SumThatEqualsTheLowerSizeDoesNotStopTheWalk) {
    Logger logger("app", path());
    logger.setSizeLimits(10, 20);
    writeFile(path(), "aaaaaaaaaa\nbbb\nccccc\nddddd\n"); // from the end: 5, 10, 13
    logger.purge();
    EXPECT_THAT(fileLines(), ElementsAre("bbb", "ccccc", "ddddd"));
}

TEST_F(LoggerPurgeTest, OnlyTheLastLineIsKeptWhenAllTogetherDoNotExceedTheLowerSize) {
    Logger logger("app", path());
    logger.setSizeLimits(1000, 5);
    writeFile(path(), "one\ntwo\nthree\n");
    logger.purge();
    EXPECT_THAT(fileLines(), ElementsAre("three"));
}

TEST_F(LoggerPurgeTest, LastLineAloneAboveTheLowerSizeTakesTheOneBeforeItAlong) {
    Logger logger("app", path());
    logger.setSizeLimits(2, 5);
    writeFile(path(), "one\ntwo\nthree\n");
    logger.purge();
    EXPECT_THAT(fileLines(), ElementsAre("two", "three"));
}

TEST_F(LoggerPurgeTest, NextCheckIsDueOneDayAfterThePreviousDueDateAndNotAfterNow) {
    Logger logger("app", path());
    logger.setSizeLimits(1, 1);
    MovedClock::set(kStart + 3 * kDay + 1); // three checks are due
    forgetSyslog();
    for (int i = 0; i < 5; ++i) {
        writeFile(path(), "aaaa\nbbbb\n");
        logger.flush();
    }
    const std::vector<std::string> lines = syslogLines();
    EXPECT_EQ(
        std::ranges::count_if(
            lines, [](const std::string& line) { return line.find("Initial") < line.size(); }),
        3);
    EXPECT_EQ(logger.incrementNextPurgeDate(), kStart + 5 * kDay);
}

TEST_F(LoggerPurgeTest, CheckThatFindsASmallFileStillMovesTheDueDate) {
    Logger logger("app", path());
    movePastTheDueDate();
    logger.flush();
    EXPECT_EQ(logger.incrementNextPurgeDate(), kStart + 3 * kDay);
}

TEST_F(LoggerPurgeTest, MissingFileIsNeverPurged) {
    Logger logger("app", path());
    std::filesystem::remove(path());
    forgetSyslog();
    logger.purge();
    EXPECT_THAT(syslogLines(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(LoggerPurgeTest, PurgeWhoseMessageFillsTheBufferFlushesAndComesToAnEnd) {
    Logger logger("app", path());
    logger.setSizeLimits(1, 5);
    for (int i = 0; i < 100; ++i) {
        logger.info("waiting");
    }
    movePastTheDueDate();
    logger.purge(); // its first message is the 101st entry
    EXPECT_EQ(logger.incrementNextPurgeDate(), kStart + 3 * kDay);
    EXPECT_THAT(fileLines().back(), EndsWith("bytes."));
}

} // namespace
