// Texts of others in the log: whatever a setting, a submission or a request has in it stays what it
// is in syslog, in the file and in what the page gets, and does nothing there.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/core/logger_fixture.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing_support::forgetSyslog;
using testing_support::syslogLines;

namespace {

struct HostileText {
    const char* name;
    std::string text;
};

class HostileTextTest : public LoggerTest, public testing::WithParamInterface<HostileText> {};

TEST_P(HostileTextTest, IsOneLineWithThatText) {
    const std::string& text = GetParam().text;
    Logger logger("app", path());
    logger.clear();
    forgetSyslog();
    logger.error(text);

    const std::string line = "2024-05-01 13:45:10|app|error|" + text;
    EXPECT_EQ(fileContent(), line + "\n");
    EXPECT_THAT(syslogLines(), ElementsAre("3|" + text));
    EXPECT_EQ(logger.getSerializedLogContents(), line + "\n");
    EXPECT_EQ(logger.getPlainLogContents(), "2024-05-01 13:45:10 app error " + text + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Texts, HostileTextTest,
    testing::Values(HostileText{"formats", "%s%n%x%p%100000d%%"},
                    HostileText{"markup", "<script>alert(1)</script>&lt;b&gt; ]]> --> \"'"},
                    HostileText{"controlCharacters", "\x01\x07\x08\t\r\x1b[2J\x7f"},
                    HostileText{"invalidUtf8", "\xff\xfe\xc3( \xed\xa0\x80 \xf8\x88\x80\x80\x80"},
                    HostileText{"directions", "\xe2\x80\xae"
                                              "txt.exe \xe2\x80\xa8 \xc2\x85"},
                    HostileText{"shell", "$(reboot) `reboot` ; reboot & reboot"},
                    HostileText{"overlong", std::string(1U << 20U, 'x')}),
    [](const auto& instance) { return std::string(instance.param.name); });

// Deliberate: the file's format escapes nothing. A message with line ends is several lines of it,
// the later of which say what they like.
TEST_F(LoggerTest, AMessageWithLineEndsIsSeveralLinesOfTheFileAndOneOfSyslog) {
    Logger logger("app", path());
    logger.clear();
    forgetSyslog();
    logger.info("one\n2000-01-01 00:00:00|app|error|forged");
    logger.warning("next");

    EXPECT_THAT(fileLines(),
                ElementsAre(EndsWith("|info|one"), "2000-01-01 00:00:00|app|error|forged",
                            EndsWith("|warning|next")));
    EXPECT_THAT(syslogLines(),
                ElementsAre("6|one\n2000-01-01 00:00:00|app|error|forged", "4|next"));
    EXPECT_EQ(logger.getLogEntriesFromFile().size(), 3U);
}

// Deliberate: for the same reason a message with bars is read back as what stands behind the last.
TEST_F(LoggerTest, AMessageWithBarsCannotTakeTheFieldsBeforeIt) {
    Logger logger("app", path());
    logger.clear();
    logger.warning("a|error|b");

    const LogEntries entries = logger.getLogEntriesFromFile();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0]._logLevel, "warning");
    EXPECT_EQ(entries[0]._appName, "app");
    EXPECT_EQ(entries[0]._message, "b");
}

TEST_F(LoggerTest, AZeroByteEndsAMessageForSyslogOnly) {
    using namespace std::string_literals;
    Logger logger("app", path());
    logger.clear();
    forgetSyslog();
    logger.error("shown\0hidden"s);

    EXPECT_TRUE(fileContent().ends_with("|error|shown\0hidden\n"s));
    EXPECT_TRUE(logger.getSerializedLogContents().ends_with("|error|shown\0hidden\n"s));
    EXPECT_THAT(syslogLines(), ElementsAre("3|shown"));
}

} // namespace
