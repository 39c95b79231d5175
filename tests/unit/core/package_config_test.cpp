#include <filesystem>
#include <optional>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Logger.h"
#include "core/PackageConfig.h"
#include "tests/support/log_lines.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/core/captured_syslog.h"

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing_support::forgetLog;
using testing_support::forgetSyslog;
using testing_support::logLines;
using testing_support::syslogLines;
using testing_support::writeFile;

// In the order of the application: the package's description comes before the log.
namespace {
bool writeDescriptionOfThisProgram() {
    std::filesystem::remove("log.txt");
    writeFile("package.conf", "APPNAME=\"early\"\nno value\n");
    return true;
}
const bool g_isWritten = writeDescriptionOfThisProgram();
} // namespace
PackageConfig g_PackageConfig;
Logger g_Logger(g_PackageConfig.getAppName(), "./log.txt");

namespace {

const std::vector<std::string> g_logAtStart = logLines();
const std::vector<std::string> g_syslogAtStart = syslogLines();

/// A folder that is the working directory, with a package.conf in it.
class PackageConfigTest : public testing::Test {
  protected:
    void writeConfig(const std::string& content) { writeFile("package.conf", content); }

    testing_support::WorkingDir m_dir;
};

TEST_F(PackageConfigTest, VersionJoinsItsThreeParts) {
    writeConfig("APPMAJORVERSION=\"1\"\nAPPMINORVERSION=\"2\"\nAPPMICROVERSION=\"3\"\n");
    EXPECT_EQ(PackageConfig().getVersion(), "1.2.3");
}

TEST_F(PackageConfigTest, MissingPartOfTheVersionLeavesItsPlaceEmpty) {
    writeConfig("APPMAJORVERSION=\"1\"\nAPPMICROVERSION=\"3\"\n");
    EXPECT_EQ(PackageConfig().getVersion(), "1..3");
}

TEST_F(PackageConfigTest, BlanksAroundTheEqualsSignDoNotCount) {
    writeConfig("APPNAME = \"my_app\"\n");
    EXPECT_EQ(PackageConfig().getAppName(), "my_app");
}

TEST_F(PackageConfigTest, SpacesAndTabsAreTrimmedAtBothEndsOfKeyAndValue) {
    writeConfig(" \tAPPNAME\t =\t \"my app\" \t\n");
    EXPECT_EQ(PackageConfig().getAppName(), "my app");
}

TEST_F(PackageConfigTest, UnquotedValueLosesItsFirstAndLastCharacter) {
    writeConfig("APPNAME=abc\n");
    EXPECT_EQ(PackageConfig().getAppName(), "b");
}

TEST_F(PackageConfigTest, ValueOfOneCharacterBecomesEmpty) {
    writeConfig("APPNAME=x\n");
    const PackageConfig config;
    EXPECT_EQ(config.getAppName(), "");
}

TEST_F(PackageConfigTest, EmptyQuotesGiveAnEmptyValue) {
    writeConfig("APPNAME=\"\"\n");
    EXPECT_EQ(PackageConfig().getAppName(), "");
}

TEST_F(PackageConfigTest, KeyWithoutAValueThrowsOutOfRange) {
    writeConfig("APPNAME=\n");
    EXPECT_THROW(PackageConfig(), std::out_of_range);
}

TEST_F(PackageConfigTest, KeyFollowedByBlanksOnlyThrowsOutOfRange) {
    writeConfig("APPNAME= \t \n");
    EXPECT_THROW(PackageConfig(), std::out_of_range);
}

TEST_F(PackageConfigTest, ValueKeepsWhatFollowsTheFirstEqualsSign) {
    writeConfig("OPTIONS=\"a=b=c\"\n");
    EXPECT_EQ(PackageConfig().getPackageConfigValue("OPTIONS"), "a=b=c");
}

TEST_F(PackageConfigTest, LaterLineReplacesAnEarlierOneOfTheSameKey) {
    writeConfig("APPNAME=\"first\"\nAPPNAME=\"second\"\n");
    EXPECT_EQ(PackageConfig().getAppName(), "second");
}

TEST_F(PackageConfigTest, CommentsAndEmptyLinesAreIgnored) {
    writeConfig("# APPNAME=\"comment\"\n\n#\nAPPNAME=\"app\"\n\n");
    forgetLog();
    const PackageConfig config;
    EXPECT_EQ(config.getAppName(), "app");
    EXPECT_THAT(logLines(), ElementsAre("info|PackageConfig: PackageConfig constructor"));
}

TEST_F(PackageConfigTest, NumberSignAfterBlanksMakesNoComment) {
    writeConfig(" #APPNAME=\"x\"\n # text\n");
    forgetLog();
    const PackageConfig config;
    EXPECT_EQ(config.getPackageConfigValue("#APPNAME"), "x");
    EXPECT_THAT(logLines(), Contains("error|loadPackageConfig: Invalid line in package "
                                     "configuration file:  # text"));
}

TEST_F(PackageConfigTest, LineOfBlanksIsReportedAsInvalidAndReadingGoesOn) {
    writeConfig("  \t\nnonsense\nAPPNAME=\"app\"\n");
    forgetLog();
    PackageConfig config;
    EXPECT_EQ(config.getAppName(), "app");
    EXPECT_THAT(
        logLines(),
        ElementsAre("info|PackageConfig: PackageConfig constructor",
                    "error|loadPackageConfig: Invalid line in package configuration file:   \t",
                    "error|loadPackageConfig: Invalid line in package configuration file: "
                    "nonsense"));
    EXPECT_TRUE(config.loadPackageConfig());
}

TEST_F(PackageConfigTest, LastLineNeedsNoNewline) {
    writeConfig("APPNAME=\"app\"");
    EXPECT_EQ(PackageConfig().getAppName(), "app");
}

TEST_F(PackageConfigTest, AbsentKeyGivesAnEmptyValue) {
    writeConfig("APPNAME=\"app\"\n");
    const PackageConfig config;
    EXPECT_EQ(config.getPackageConfigValue("NONE"), "");
    EXPECT_EQ(config.getPackageConfigValue("appname"), "");
}

TEST_F(PackageConfigTest, MissingFileIsLoggedAndGivesAnEmptyNameAndTheVersionOfTwoDots) {
    forgetLog();
    PackageConfig config;
    EXPECT_EQ(config.getAppName(), "");
    EXPECT_EQ(config.getVersion(), "..");
    EXPECT_THAT(logLines(),
                ElementsAre("info|PackageConfig: PackageConfig constructor",
                            "error|loadPackageConfig: Failed to open package configuration file: "
                            "./package.conf",
                            "error|PackageConfig: Failed to load package configuration"));
    EXPECT_FALSE(config.loadPackageConfig());
}

TEST_F(PackageConfigTest, WhatWasReadStaysWhenTheFileCannotBeReadAgain) {
    writeConfig("APPNAME=\"app\"\n");
    PackageConfig config;
    std::filesystem::remove("package.conf");
    EXPECT_FALSE(config.loadPackageConfig());
    EXPECT_EQ(config.getAppName(), "app");
}

TEST_F(PackageConfigTest, DestructionIsLogged) {
    writeConfig("");
    std::optional<PackageConfig> config(std::in_place);
    forgetLog();
    config.reset();
    EXPECT_THAT(logLines(), ElementsAre("info|~PackageConfig: PackageConfig destructor"));
}

TEST(PackageConfigAtLoad, MessagesBeforeTheLogExistsReachSyslogOnly) {
    EXPECT_EQ(g_PackageConfig.getAppName(), "early");
    EXPECT_THAT(g_logAtStart, ElementsAre("warning|STARTING early"));
    EXPECT_THAT(g_syslogAtStart,
                ElementsAre("6|PackageConfig: PackageConfig constructor",
                            "3|loadPackageConfig: Invalid line in package configuration file: "
                            "no value",
                            "4|STARTING early"));
}

} // namespace
