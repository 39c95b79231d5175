// The main job, end to end: video in, alert out, with the built-in scene and the demonstration
// settings.

#include <algorithm>
#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/application_process.h"

using namespace std::chrono_literals;
using testing_support::ApplicationProcess;

namespace {

constexpr const char* kAlertTopic =
    R"("topic":"tnsaxis:CameraApplicationPlatform/ZerithMarkersApplication/ZerithMarkersAlert")";
constexpr const char* kDataTopic =
    R"("topic":"tnsaxis:CameraApplicationPlatform/ZerithMarkersApplication/ZerithMarkersData")";

bool holds(const std::string& line, const std::string& text) {
    return line.find(text) != std::string::npos;
}

/// Position of the first journal line at or after a position that is a sent event with both texts;
/// -1 when there is none.
int findEvent(const std::vector<std::string>& journal, int from, const std::string& topic,
              const std::string& data) {
    for (int i = from; i < static_cast<int>(journal.size()); ++i) {
        const std::string& line = journal[static_cast<std::size_t>(i)];
        if (!holds(line, R"("declared":true)") && holds(line, topic) && holds(line, data)) {
            return i;
        }
    }
    return -1;
}

TEST(Story, AlertStartsWhileAMarkerStaysInsideTheAreaAndStopsWhenItLeaves) {
    ApplicationProcess program(ZM_PROGRAM);
    program.storeDemonstrationSettings(1920, 1080);
    program.start();

    const auto alertCameAndWent = [&] {
        const auto journal = program.journal();
        const int started = findEvent(journal, 0, kAlertTopic, R"("active":true)");
        return started >= 0 && findEvent(journal, started, kAlertTopic, R"("active":false)") >= 0;
    };
    EXPECT_TRUE(program.waitUntil(alertCameAndWent, 60s)) << program.log() << program.output();

    program.signal(SIGTERM);
    const auto end = program.waitForEnd(5s);
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited);
    EXPECT_EQ(end->status, 0);

    const auto journal = program.journal();
    const auto declares = [&](const char* topic) {
        return std::any_of(journal.begin(), journal.end(), [&](const std::string& line) {
            return holds(line, R"("declared":true)") && holds(line, topic);
        });
    };
    EXPECT_TRUE(declares(kAlertTopic));
    EXPECT_TRUE(declares(kDataTopic));
    // The others stand outside the area; the one that tells the story is inside alone.
    const auto entered = std::find_if(journal.begin(), journal.end(), [](const std::string& line) {
        return !holds(line, R"("declared":true)") && holds(line, kDataTopic) &&
               !holds(line, R"("payload":"")");
    });
    ASSERT_NE(entered, journal.end()) << "no data event with an id list";
    const auto from = static_cast<int>(entered - journal.begin());
    EXPECT_GE(findEvent(journal, from, kDataTopic, R"("payload":"")"), 0)
        << "no data event when the area is empty again";
}

TEST(Story, LogFileHoldsTheLinesOfARun) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "resolutions", "640x360");
    program.storeDemonstrationSettings(640, 360);
    program.start();
    EXPECT_TRUE(program.waitForMainLoop(20s));
    program.signal(SIGTERM);
    ASSERT_TRUE(program.waitForEnd(5s).has_value());

    const std::string log = program.log();
    for (
        const char* line : {
            "|zerith_markers|warning|STARTING zerith_markers\n",
            "|zerith_markers|info|logMemoryUsage: Starting Zerith Markers version 1.0.0 - Total memory: ",
            "|info|find_rotation_parameter: Camera rotation : 0\n",
            "|info|chooseMaxResolution: Found a stream with the largest area WxH=640x360\n",
            "|info|VideoStreamSource: VideoStreamSource constructor called\n",
            "|info|VideoStreamSource: Starting stream: VDO_FORMAT_YUV, 640x360, rotation 0, 25 fps\n",
            "|info|VideoStreamSource: Successfully created VideoStreamSource instance\n",
            "|info|init_sensor_aspect_ratio: Image sensor aspect ratio: 16:9 (16x9 = 1)\n",
            "|info|EventManager: EventManager constructor\n",
            "|info|addEvent: Successfully declared event Zerith Markers Alert. Declaration ID=",
            "|info|addDataEvent: EventManager::addDataEvent called\n",
            "|info|addDataEvent: Successfully declared event Zerith Markers Data. Declaration ID=",
            "|info|registerEvent: EventManager registering event Zerith Markers Alert to DeclarationID=",
            "|info|logMemoryUsage: Ending Zerith Markers - Total memory: ",
            "|zerith_markers|warning|STOPPING zerith_markers\n",
        }) {
        EXPECT_THAT(log, testing::HasSubstr(line));
    }
    EXPECT_TRUE(log.ends_with("|zerith_markers|warning|\n")) << "the end of a run is not marked";
}

TEST(Story, WithPresenceNotRequiredTheAlertStartsWhenNoMarkerHasBeenSeenForTooLong) {
    ApplicationProcess program(ZM_PROGRAM);
    program.configure("camera", "resolutions", "640x360");
    program.storeDemonstrationSettings(640, 360);
    program.store("IsRequirePresent", "false");
    program.store("MarkersSeconds", "1");
    // No marker of this dictionary is in the scene.
    program.store("SelectedDictionary", "7x7");
    program.start();
    EXPECT_TRUE(program.waitUntil(
        [&] { return findEvent(program.journal(), 0, kAlertTopic, R"("active":true)") >= 0; }, 20s))
        << program.log();
    EXPECT_TRUE(
        program.logHolds("|warning|sendEventStarted: Starting event Zerith Markers Alert\n"));
}

} // namespace
