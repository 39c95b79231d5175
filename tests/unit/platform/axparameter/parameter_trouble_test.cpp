// The parameter library when the disk, a person or another process gets in its way.

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <axsdk/axparameter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/declared_parameters.h"
#include "platform/hostcam/parameter_store.h"
#include "tests/unit/platform/axparameter/parameter_fixture.h"
#include "tests/unit/platform/host_trouble.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing_support::FileSizeLimit;
using testing_support::OrdinaryUser;
using testing_support::readFile;
using testing_support::SmallDisk;
using testing_support::writeFile;

class ParameterTrouble : public testing_support::ParameterTest {
  protected:
    /// The handle that a new process would have, with what is in the file now.
    void openWith(const std::string& content) {
        fs::create_directories(camera.state());
        writeFile(camera.parameters(), content);
        camera.restart();
        open();
    }

    bool trySet(const char* name, const char* value) {
        return ax_parameter_set(handle, name, value, TRUE, error.out()) != FALSE;
    }

    /// That a failed call named the file and the reason, and said so aloud.
    void expectReason(int code, const std::string& reason) {
        EXPECT_EQ(error.code(), code);
        EXPECT_THAT(error.text(), HasSubstr(camera.parameters().string()));
        EXPECT_THAT(error.text(), EndsWith(reason));
        EXPECT_THAT(camera.takeWarnings(), Contains(error.text()));
    }
};

TEST_F(ParameterTrouble, AFileThatCannotBeReadIsAnErrorAndStaysAsItIs) {
    open();
    set("MarkersSeconds", "5");
    OrdinaryUser::open(camera.state());
    fs::permissions(camera.parameters(), fs::perms::none);
    close();
    {
        camera.restart();
        (void)hostcam::currentConfig(); // the configuration itself is readable
        const OrdinaryUser user;
        EXPECT_EQ(ax_parameter_new("zerith_markers", error.out()), nullptr);
    }
    expectReason(AX_PARAMETER_FILE_OPEN_ERROR, "Permission denied");
    fs::permissions(camera.parameters(), fs::perms::owner_all);
    reopen();
    EXPECT_EQ(get("MarkersSeconds"), "5");
}

TEST_F(ParameterTrouble, WhatIsNoRegularFileIsAnError) {
    fs::create_directories(camera.parameters());
    EXPECT_EQ(ax_parameter_new("zerith_markers", error.out()), nullptr);
    expectReason(AX_PARAMETER_FILE_OPEN_ERROR, "it is no regular file");
    fs::remove(camera.parameters());
    ASSERT_EQ(mkfifo(camera.parameters().c_str(), 0600), 0);
    EXPECT_EQ(ax_parameter_new("zerith_markers", error.out()), nullptr);
    EXPECT_THAT(error.text(), EndsWith("it is no regular file"));
}

TEST_F(ParameterTrouble, AFileThatBecomesUnreadableWhileInUseFailsEachCallUntilItIsMended) {
    open();
    set("MarkersSeconds", "5");
    const fs::path aside = camera.state() / "aside";
    fs::rename(camera.parameters(), aside);
    fs::create_directory(camera.parameters());
    EXPECT_EQ(codeOfGet("MarkersSeconds"), AX_PARAMETER_FILE_OPEN_ERROR);
    EXPECT_FALSE(trySet("MarkersSeconds", "6"));
    EXPECT_EQ(ax_parameter_list(handle, error.out()), nullptr);
    EXPECT_EQ(error.code(), AX_PARAMETER_FILE_OPEN_ERROR);
    fs::remove(camera.parameters());
    fs::rename(aside, camera.parameters());
    EXPECT_EQ(get("MarkersSeconds"), "5");
}

TEST_F(ParameterTrouble, AStateFolderThatCannotBeMadeIsAnError) {
    writeFile(camera.state(), "a file where the folder should be");
    EXPECT_EQ(ax_parameter_new("zerith_markers", error.out()), nullptr);
    EXPECT_EQ(error.code(), AX_PARAMETER_FILE_PATH_ERROR);
    EXPECT_THAT(error.text(), HasSubstr(camera.state().string()));
}

TEST_F(ParameterTrouble, InAReadOnlyFolderParametersCanBeReadAndAChangeFailsWithoutLoss) {
    open();
    set("MarkersSeconds", "5");
    OrdinaryUser::open(camera.state());
    fs::permissions(camera.state(), OrdinaryUser::kReadOnly);
    {
        const OrdinaryUser user;
        EXPECT_EQ(get("MarkersSeconds"), "5");
        EXPECT_FALSE(trySet("MarkersSeconds", "6"));
        expectReason(AX_PARAMETER_FILE_CREATE_ERROR, "parameters.conf.new: Permission denied");
        EXPECT_EQ(get("MarkersSeconds"), "5");
    }
    EXPECT_THAT(readFile(camera.parameters()), HasSubstr("MarkersSeconds=5\n"));
    EXPECT_TRUE(trySet("MarkersSeconds", "6"));
}

TEST_F(ParameterTrouble, InAReadOnlyFolderWithoutAFileThereIsNoHandle) {
    fs::create_directories(camera.state());
    OrdinaryUser::open(camera.state());
    fs::permissions(camera.state(), OrdinaryUser::kReadOnly);
    {
        (void)hostcam::currentConfig();
        const OrdinaryUser user;
        EXPECT_EQ(ax_parameter_new("zerith_markers", error.out()), nullptr);
    }
    expectReason(AX_PARAMETER_FILE_CREATE_ERROR, "parameters.conf.new: Permission denied");
}

TEST_F(ParameterTrouble, DeclaredParametersThatTheFileLacksExistEvenWhenItCannotBeWritten) {
    fs::create_directories(camera.state());
    writeFile(camera.parameters(), "root.Zerith_markers.MarkersSeconds=4\n");
    fs::create_directory(camera.state() / "parameters.conf.new");
    open();
    EXPECT_THAT(camera.takeWarnings(), Contains(HasSubstr("cannot be created")));
    EXPECT_EQ(get("MarkersSeconds"), "4");
    EXPECT_EQ(get("EulaAccepted"), "0");
    EXPECT_THAT(list(), SizeIs(39));
    fs::remove(camera.state() / "parameters.conf.new");
    set("IsRequirePresent", "true");
    EXPECT_THAT(readFile(camera.parameters()),
                AllOf(HasSubstr("MarkersSeconds=4\n"), HasSubstr("EulaAccepted=0\n")));
}

TEST_F(ParameterTrouble, AFullAllowanceFailsAChangeWithoutLoss) {
    open();
    set("MarkersSeconds", "5");
    const std::string before = readFile(camera.parameters());
    {
        const FileSizeLimit limit(100);
        EXPECT_FALSE(trySet("MarkersSeconds", "6"));
        expectReason(AX_PARAMETER_FILE_WRITE_ERROR, "File too large");
        EXPECT_EQ(get("MarkersSeconds"), "5");
    }
    EXPECT_EQ(readFile(camera.parameters()), before);
    EXPECT_FALSE(fs::exists(camera.state() / "parameters.conf.new"));
    EXPECT_TRUE(trySet("MarkersSeconds", "6"));
}

TEST_F(ParameterTrouble, AFullDiskFailsAChangeWithoutLoss) {
    const SmallDisk disk(camera.state());
    if (!disk.isMounted()) {
        GTEST_SKIP() << "a small disk cannot be mounted here";
    }
    open();
    set("MarkersSeconds", "5");
    const std::string before = readFile(camera.parameters());
    disk.fill();
    EXPECT_FALSE(trySet("MarkersSeconds", "6"));
    expectReason(AX_PARAMETER_FILE_WRITE_ERROR, "No space left on device");
    EXPECT_EQ(get("MarkersSeconds"), "5");
    EXPECT_FALSE(ax_parameter_add(handle, "More", "1", nullptr, error.out()));
    EXPECT_FALSE(ax_parameter_remove(handle, "EulaAccepted", error.out()));
    EXPECT_EQ(readFile(camera.parameters()), before);
    disk.empty();
    EXPECT_TRUE(trySet("MarkersSeconds", "6"));
    close();
    camera.restart();
}

TEST_F(ParameterTrouble, LinesThatAreWrongAreReportedWithTheirNumberAndKept) {
    openWith(
        "# by hand\nroot.Zerith_markers.MarkersSeconds=7\nMarkers0x=1\nroot.Zerith_markers.EulaAccepted\n");
    const std::string path = camera.parameters().string();
    const std::vector<std::string> warnings = camera.takeWarnings();
    ASSERT_THAT(warnings, SizeIs(2));
    EXPECT_THAT(warnings[0], HasSubstr(path + ":3: "));
    EXPECT_THAT(warnings[1], HasSubstr(path + ":4: "));
    EXPECT_EQ(get("MarkersSeconds"), "7");
    EXPECT_EQ(get("EulaAccepted"), "0");
    set("MarkersSeconds", "8");
    EXPECT_THAT(readFile(camera.parameters()),
                testing::StartsWith("# by hand\nroot.Zerith_markers.MarkersSeconds=8\nMarkers0x=1\n"
                                    "root.Zerith_markers.EulaAccepted\n"));
}

TEST_F(ParameterTrouble, AFileCutShortAnywhereLosesNothingThatIsLeftOfIt) {
    open();
    for (const std::string& name : hostcam::declaredParameters()) {
        set(name, "value of " + name);
    }
    const std::string whole = readFile(camera.parameters());
    for (std::size_t length = 0; length < whole.size(); length += 97) {
        const std::string left = whole.substr(0, length);
        openWith(left);
        const bool clean = !left.empty() && left.back() == '\n';
        EXPECT_EQ(camera.takeWarnings().empty(), clean) << length;
        const std::string lines =
            left.substr(0, left.rfind('\n') == std::string::npos ? 0 : left.rfind('\n') + 1);
        EXPECT_EQ(readFile(camera.parameters()).substr(0, lines.size()), lines) << length;
        EXPECT_THAT(list(), SizeIs(39)) << length;
    }
}

TEST_F(ParameterTrouble, ACameraParameterInTheFileIsReportedAndHasNoEffect) {
    openWith("root.Image.I0.Appearance.Rotation=180\n");
    EXPECT_THAT(camera.takeWarnings(),
                ElementsAre(HasSubstr("root.Image.I0.Appearance.Rotation is the camera's own")));
    EXPECT_EQ(get("root.Image.I0.Appearance.Rotation"), "0");
}

TEST_F(ParameterTrouble, ParametersOfOthersInTheFileCanBeReadAndChangedButNotRemoved) {
    openWith("root.Other_app.Level=3\n");
    EXPECT_EQ(get("root.Other_app.Level"), "3");
    EXPECT_TRUE(trySet("root.Other_app.Level", "4"));
    EXPECT_EQ(get("root.Other_app.Level"), "4");
    EXPECT_FALSE(ax_parameter_remove(handle, "root.Other_app.Level", error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_PARAM_PATH_ERROR);
    EXPECT_THAT(list(), SizeIs(39));
}

TEST_F(ParameterTrouble, AHandEditWhileInUseIsSeenAndSurvivesTheNextChange) {
    open();
    set("MarkersSeconds", "5");
    std::ofstream(camera.parameters(), std::ios::app) << "root.Zerith_markers.ByHand=yes\n";
    EXPECT_EQ(get("ByHand"), "yes");
    set("MarkersSeconds", "6");
    EXPECT_THAT(readFile(camera.parameters()),
                AllOf(HasSubstr("ByHand=yes\n"), HasSubstr("MarkersSeconds=6\n")));
}

TEST_F(ParameterTrouble, AFileThatIsTakenAwayIsWrittenAnewWithEverything) {
    open();
    set("MarkersSeconds", "5");
    const std::string before = readFile(camera.parameters());
    fs::remove(camera.parameters());
    EXPECT_EQ(get("MarkersSeconds"), "5");
    EXPECT_TRUE(trySet("MarkersSeconds", "5")); // unchanged, but on the disk no more
    EXPECT_EQ(readFile(camera.parameters()), before);
}

TEST_F(ParameterTrouble, TheFilesPermissionsAreKept) {
    open();
    fs::permissions(camera.parameters(), fs::perms::owner_read | fs::perms::owner_write);
    set("MarkersSeconds", "5");
    EXPECT_EQ(fs::status(camera.parameters()).permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ParameterTrouble, TwoStoresOfOneFolderSeeEachOthersChanges) {
    open();
    const hostcam::Config& config = *hostcam::currentConfig();
    hostcam::ParameterStore other(config);
    other.set("root.Zerith_markers.MarkersSeconds", "8", true);
    EXPECT_EQ(get("MarkersSeconds"), "8");
    set("IsRequirePresent", "true");
    EXPECT_EQ(other.get("root.Zerith_markers.IsRequirePresent"), "true");
    EXPECT_EQ(other.get("root.Zerith_markers.MarkersSeconds"), "8");
}

TEST_F(ParameterTrouble, AFolderThatSomebodyKeepsLockedIsAnErrorThatNamesTheFile) {
    open();
    const hostcam::StateFolder mine(camera.state().string());
    const hostcam::FileLock held = mine.lock("parameters.conf");
    const testing_support::TempDir unused;
    const hostcam::Descriptor other(
        ::open(camera.state().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    try {
        const hostcam::FileLock second(other.get(), camera.parameters().string(),
                                       std::chrono::milliseconds(20));
        FAIL() << "locked twice";
    } catch (const hostcam::FileError& problem) {
        EXPECT_EQ(problem.step(), hostcam::FileError::Step::Lock);
        EXPECT_EQ(std::string(problem.what()),
                  camera.parameters().string() +
                      ": cannot be locked: another process keeps it locked");
    }
    EXPECT_EQ(get("MarkersSeconds"), "0"); // reading needs no lock
}

} // namespace
