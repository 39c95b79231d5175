// In which order the disk is asked to do what, and what happens when it fails at a step. This
// program stands in for the C library's functions that bring data to the disk.

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <axsdk/axevent.h>
#include <axsdk/axparameter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/axevent/event_fixture.h"
#include "tests/unit/platform/axparameter/parameter_fixture.h"

namespace {

/// The steps that were asked for, and the one that shall fail.
struct Disk {
    std::vector<std::string> steps;
    std::string failing;
    int reason = 0;

    /// @return true when the step must fail; errno is set then
    bool take(const std::string& step) {
        steps.push_back(step);
        if (step != failing) {
            return false;
        }
        errno = reason;
        return true;
    }
    void fail(const std::string& step, int why) {
        failing = step;
        reason = why;
        steps.clear();
    }
    void mend() { fail("", 0); }
};

Disk& disk() {
    static auto* const instance = new Disk;
    return *instance;
}

bool isFolder(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

extern "C" {

int fsync(int fd) {
    return disk().take(isFolder(fd) ? "sync folder" : "sync file")
               ? -1
               : static_cast<int>(syscall(SYS_fsync, fd));
}

int fdatasync(int fd) {
    return disk().take("sync data") ? -1 : static_cast<int>(syscall(SYS_fdatasync, fd));
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
    return disk().take("rename")
               ? -1
               : static_cast<int>(syscall(SYS_renameat2, fromFolder, from, toFolder, to, 0));
}

} // extern "C"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing_support::readFile;
using testing_support::readLines;

class ParameterDurability : public testing_support::ParameterTest {
  protected:
    ParameterDurability() { disk().mend(); }
    ~ParameterDurability() override { disk().mend(); }

    int codeOfSet(const char* value) {
        (void)ax_parameter_set(handle, "MarkersSeconds", value, TRUE, error.out());
        return error.code();
    }
};

TEST_F(ParameterDurability, AChangeIsAcknowledgedWhenFileAndFolderAreOnTheDisk) {
    open();
    disk().mend();
    set("MarkersSeconds", "5");
    EXPECT_THAT(disk().steps, ElementsAre("sync file", "rename", "sync folder"));
}

TEST_F(ParameterDurability, AChangeWithoutSyncAndAnUnchangedValueAskNothingOfTheDisk) {
    open();
    set("MarkersSeconds", "5");
    disk().mend();
    set("MarkersSeconds", "5");
    ASSERT_TRUE(ax_parameter_set(handle, "MarkersSeconds", "6", FALSE, error.out()));
    EXPECT_THAT(disk().steps, IsEmpty());
}

TEST_F(ParameterDurability, AValueThatSomebodyElseWroteIsBroughtToTheDiskBeforeItIsAcknowledged) {
    open();
    set("MarkersSeconds", "5");
    reopen();
    disk().mend();
    set("MarkersSeconds", "5");
    EXPECT_THAT(disk().steps, ElementsAre("sync file", "sync folder"));
}

TEST_F(ParameterDurability, AFailureBeforeTheRenameLeavesFileAndValueAsTheyWere) {
    open();
    set("MarkersSeconds", "5");
    const std::string before = readFile(camera.parameters());
    disk().fail("sync file", EIO);
    EXPECT_EQ(codeOfSet("6"), AX_PARAMETER_FILE_SYNC_ERROR);
    EXPECT_EQ(error.text(),
              camera.parameters().string() + ": cannot be brought to the disk: Input/output error");
    disk().fail("rename", EXDEV);
    EXPECT_EQ(codeOfSet("6"), AX_PARAMETER_FILE_RENAME_ERROR);
    disk().mend();
    EXPECT_EQ(readFile(camera.parameters()), before);
    EXPECT_EQ(get("MarkersSeconds"), "5");
    EXPECT_FALSE(std::filesystem::exists(camera.state() / "parameters.conf.new"));
    EXPECT_EQ(codeOfSet("6"), -1);
}

TEST_F(ParameterDurability, AfterAFailureOfTheLastStepTheFileIsWholeAndTheNextSetMakesItSure) {
    open();
    set("MarkersSeconds", "5");
    disk().fail("sync folder", EIO);
    EXPECT_EQ(codeOfSet("6"), AX_PARAMETER_FILE_SYNC_ERROR);
    EXPECT_EQ(get("MarkersSeconds"), "6"); // it is in place, though not for sure
    EXPECT_EQ(codeOfSet("6"), AX_PARAMETER_FILE_SYNC_ERROR);
    disk().mend();
    EXPECT_EQ(codeOfSet("6"), -1);
    EXPECT_THAT(disk().steps, ElementsAre("sync file", "sync folder"));
}

class EventDurability : public testing_support::EventTest {
  protected:
    EventDurability() { disk().mend(); }
    ~EventDurability() override { disk().mend(); }
};

TEST_F(EventDurability, AnEventIsAcknowledgedWhenItsLineIsOnTheDisk) {
    const guint alert = declareState();
    EXPECT_THAT(disk().steps, Contains("sync folder")); // the journal's name
    EXPECT_EQ(disk().steps.back(), "sync data");
    disk().mend();
    ASSERT_TRUE(sendState(alert, true));
    EXPECT_THAT(disk().steps, ElementsAre("sync data"));
}

TEST_F(EventDurability, AnEventThatCannotBeBroughtToTheDiskIsNotInTheJournal) {
    const guint alert = declareState();
    disk().fail("sync data", EIO);
    EXPECT_FALSE(sendState(alert, true));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_SEND);
    EXPECT_EQ(error.text(),
              camera.journal().string() + ": cannot be brought to the disk: Input/output error");
    EXPECT_THAT(readLines(camera.journal()), SizeIs(1));
    disk().mend();
    EXPECT_TRUE(sendState(alert, true));
    EXPECT_THAT(readLines(camera.journal()), SizeIs(2));
}

} // namespace
