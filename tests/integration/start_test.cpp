// How the program begins: first start, factory settings, settings of an earlier run, a camera that
// cannot give what is asked.

#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/application_process.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing_support::ApplicationProcess;
using testing_support::readLines;
using testing_support::writeFile;

namespace {

/// Starts the program and lets it run until its event declarations stand in the journal.
void startAndWait(ApplicationProcess& program) {
    program.configure("camera", "resolutions", "320x180");
    program.start();
    ASSERT_TRUE(program.waitForMainLoop(20s)) << program.log() << program.output();
}

void stopInOrder(ApplicationProcess& program) {
    program.signal(SIGTERM);
    const auto end = program.waitForEnd(5s);
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited);
    EXPECT_EQ(end->status, 0);
}

TEST(FirstStart, All39ParametersExistWithZero) {
    ApplicationProcess program(ZM_PROGRAM);
    startAndWait(program);
    stopInOrder(program);
    int parameters = 0;
    for (const std::string& line : readLines(program.stateDir() / "parameters.conf")) {
        if (line.starts_with("root.Zerith_markers.")) {
            ++parameters;
            EXPECT_TRUE(line.ends_with("=0")) << line;
        }
    }
    EXPECT_EQ(parameters, 39);
    EXPECT_EQ(program.stored("Detection33y"), "0");
    EXPECT_EQ(program.stored("SelectedDictionary"), "0");
}

TEST(LaterStart, FindsTheParametersThatAnEarlierRunLeft) {
    ApplicationProcess program(ZM_PROGRAM);
    startAndWait(program);
    stopInOrder(program);
    program.store("MarkersSeconds", "17");
    startAndWait(program);
    stopInOrder(program);
    EXPECT_EQ(program.stored("MarkersSeconds"), "17");
}

TEST(StartFailure, CameraWithoutAStreamOfTheSensorsShapeEndsTheProgram) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "resolutions", "640x480");
    program.start();
    const auto end = program.waitForEnd(20s);
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited);
    EXPECT_EQ(end->status, 255);
    EXPECT_THAT(program.log(), HasSubstr("|error|main: Failed to choose max resolution\n"));
}

TEST(StartFailure, MissingSourceEndsTheProgramAndNamesTheFile) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "source", "/nowhere/video.mp4");
    program.start();
    const auto end = program.waitForEnd(20s);
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited);
    EXPECT_EQ(end->status, 255);
    EXPECT_THAT(
        program.log(),
        HasSubstr("|error|VideoStreamSource: Failed to create new VDO stream from settings. "));
    EXPECT_THAT(program.log(), HasSubstr("/nowhere/video.mp4"));
}

TEST(StartFailure, SourceThatIsNoPictureEndsTheProgramAndNamesTheFile) {
    ApplicationProcess program(ZM_PROGRAM);
    const auto file = program.packageDir() / "picture.jpg";
    writeFile(file, "this is a text, not a picture\n");
    program.configure("camera", "source", file);
    program.start();
    const auto end = program.waitForEnd(20s);
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited);
    EXPECT_EQ(end->status, 255);
    EXPECT_THAT(program.log(), HasSubstr("picture.jpg"));
}

TEST(StartFailure, WrongValueInTheConfigurationIsNamedWithWhatIsAllowed) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "rotation", "45");
    program.start();
    const auto end = program.waitForEnd(20s);
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited);
    EXPECT_EQ(end->status, 255);
    EXPECT_THAT(program.log(), HasSubstr("[camera] rotation=45: allowed is 0, 90, 180, 270"));
}

TEST(StoredSettings, ValueThatNoLongerConvertsIsLoggedAndStaysAsItIs) {
    ApplicationProcess program(ZM_PROGRAM);
    program.store("MarkersSeconds", "4294967295");
    startAndWait(program);
    stopInOrder(program);
    EXPECT_THAT(program.log(), HasSubstr("|error|"));
    EXPECT_THAT(program.log(), HasSubstr("MarkersSeconds"));
    EXPECT_EQ(program.stored("MarkersSeconds"), "4294967295");
}

TEST(Rotation, QuarterTurnMakesThePictureAndTheStreamPortrait) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "rotation", "90");
    startAndWait(program);
    stopInOrder(program);
    EXPECT_THAT(program.log(), HasSubstr("VDO_FORMAT_YUV, 320x180, rotation 90, 25 fps"));
}

} // namespace
