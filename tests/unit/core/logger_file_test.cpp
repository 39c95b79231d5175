#include <filesystem>
#include <fstream>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/core/logger_fixture.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing_support::forgetSyslog;
using testing_support::syslogLines;
using testing_support::writeFile;

namespace {

TEST_F(LoggerTest, StartIsWrittenToTheFileAtOnce) {
    const Logger logger("app", path());
    EXPECT_THAT(fileLines(), ElementsAre(EndsWith("|app|warning|STARTING app")));
    EXPECT_THAT(syslogLines(), ElementsAre("4|STARTING app"));
}

TEST_F(LoggerTest, DestructionAppendsAStoppingWarningAndAnEmptyMessage) {
    std::optional<Logger> logger(std::in_place, "app", path());
    logger->info("waiting");
    forgetSyslog();
    logger.reset();
    EXPECT_THAT(fileLines(),
                ElementsAre(EndsWith("|warning|STARTING app"), EndsWith("|info|waiting"),
                            EndsWith("|app|warning|STOPPING app"), EndsWith("|app|warning|")));
    EXPECT_THAT(syslogLines(), ElementsAre("4|STOPPING app", "4|"));
}

TEST_F(LoggerTest, NewLogContinuesAnExistingFile) {
    writeFile(path(), "old line\n");
    const Logger logger("app", path());
    EXPECT_THAT(fileLines(), ElementsAre("old line", EndsWith("STARTING app")));
}

TEST_F(LoggerTest, EveryLevelGoesToSyslogAsItStands) {
    Logger logger("app", path());
    forgetSyslog();
    logger.info("one %s %n");
    logger.warning("two");
    logger.error("three");
    EXPECT_THAT(syslogLines(), ElementsAre("6|one %s %n", "4|two", "3|three"));
}

TEST_F(LoggerTest, AddedEntryDoesNotGoToSyslog) {
    Logger logger("app", path());
    forgetSyslog();
    logger.addLogEntry(LogLevel::Error, "quiet");
    EXPECT_THAT(syslogLines(), IsEmpty());
    EXPECT_EQ(logger.getLogEntries().size(), 1U);
}

TEST_F(LoggerTest, HundredInfoEntriesWaitAndTheHundredAndFirstIsWrittenWithThem) {
    Logger logger("app", path());
    for (int i = 0; i < 100; ++i) {
        logger.info(std::to_string(i));
    }
    EXPECT_EQ(fileLines().size(), 1U);
    EXPECT_EQ(logger.getLogEntries().size(), 100U);
    logger.info("last");
    ASSERT_EQ(fileLines().size(), 102U);
    EXPECT_THAT(fileLines()[1], EndsWith("|info|0"));
    EXPECT_THAT(fileLines()[101], EndsWith("|info|last"));
    EXPECT_THAT(logger.getLogEntries(), IsEmpty());
}

TEST_F(LoggerTest, WarningsAndErrorsAreWrittenAtOnceWithWhatWaitedBefore) {
    Logger logger("app", path());
    logger.info("waiting");
    logger.warning("w");
    EXPECT_THAT(fileLines(), ElementsAre(EndsWith("STARTING app"), EndsWith("|info|waiting"),
                                         EndsWith("|warning|w")));
    logger.error("e");
    EXPECT_THAT(fileLines().back(), EndsWith("|error|e"));
}

TEST_F(LoggerTest, MessageWithABarStandsInTheFileAndIsReadBackFromItsLastBar) {
    Logger logger("app", path());
    logger.info("a|b");
    logger.flush();
    EXPECT_THAT(fileLines().back(), EndsWith("|info|a|b"));
    EXPECT_EQ(logger.getLogEntriesFromFile().back()._message, "b");
}

TEST_F(LoggerTest, EveryLineEndsWithANewline) {
    Logger logger("app", path());
    logger.info("x");
    logger.flush();
    EXPECT_THAT(fileContent(), EndsWith("|info|x\n"));
}

TEST_F(LoggerTest, ReadersWriteWhatWaitsFirst) {
    Logger logger("app", path());
    logger.clear();
    logger.info("waiting");
    EXPECT_THAT(logger.getSerializedLogContents(), EndsWith("|app|info|waiting\n"));
    logger.info("more");
    EXPECT_THAT(logger.getPlainLogContents(), EndsWith(" app info more\n"));
    EXPECT_EQ(fileLines().size(), 2U);
}

TEST_F(LoggerTest, SerializedContentsPassEachLineThroughTheReader) {
    Logger logger("app", path());
    logger.clear();
    writeFile(path(), "d|app|info|a|b\ntext\n");
    EXPECT_EQ(logger.getSerializedLogContents(), "d|app|info|b\n|||text\n");
    EXPECT_EQ(logger.getPlainLogContents(), "d app info b\n   text\n");
}

TEST_F(LoggerTest, LinesComeWithoutTheirNewlines) {
    Logger logger("app", path());
    writeFile(path(), "one\n\ntwo");
    EXPECT_THAT(logger.getLogLines(), ElementsAre("one", "", "two"));
}

TEST_F(LoggerTest, ClearEmptiesTheBufferAndTheFile) {
    Logger logger("app", path());
    logger.info("waiting");
    logger.clear();
    EXPECT_EQ(logger.getLogFileSize(), 0);
    EXPECT_THAT(logger.getLogEntries(), IsEmpty());
    EXPECT_EQ(logger.getSerializedLogContents(), "");
}

TEST_F(LoggerTest, FileSizeIsInBytes) {
    Logger logger("app", path());
    writeFile(path(), "12345\r\n");
    EXPECT_EQ(logger.getLogFileSize(), 7);
}

TEST_F(LoggerTest, MissingFileHasNoLinesAndTheSizeMinusOne) {
    Logger logger("app", path());
    std::filesystem::remove(path());
    EXPECT_EQ(logger.getLogFileSize(), -1);
    EXPECT_THAT(logger.getLogLines(), IsEmpty());
    EXPECT_THAT(logger.getLogEntriesFromFile(), IsEmpty());
}

TEST_F(LoggerTest, FileThatCannotBeOpenedLosesTheEntriesSilently) {
    Logger logger("app", path() + "/no/such/folder/log.txt");
    forgetSyslog();
    logger.info("lost");
    logger.flush();
    EXPECT_THAT(logger.getLogEntries(), IsEmpty());
    EXPECT_EQ(logger.getSerializedLogContents(), "");
    EXPECT_THAT(syslogLines(), ElementsAre("6|lost"));
}

TEST_F(LoggerTest, FileIsNeverHeldOpen) {
    Logger logger("app", path());
    logger.warning("first");
    std::filesystem::rename(path(), path() + ".old");
    logger.warning("second");
    EXPECT_THAT(fileLines(), ElementsAre(EndsWith("|warning|second")));
}

} // namespace
