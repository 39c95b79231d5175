// Start-up: the process-wide objects and each of its steps.

#include <csignal>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/area_of_interest.h"
#include "analysis/common_structs.h"
#include "analysis/tracker.h"
#include "core/PackageConfig.h"
#include "core/shared_state.h"
#include "outputs/event_manager.h"
#include "outputs/fastcgi_service.h"
#include "outputs/overlay_manager.h"
#include "tests/unit/core/app_main_fixture.h"
#include "video/StreamManager.h"
#include "video/VideoStreamSource.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing_support::AppMainTest;
using testing_support::logLines;
using testing_support::WebLibrary;

namespace {

class StartUpTest : public AppMainTest {};

// ---- At load

/// What the plain variables hold before anything runs.
struct AtLoad {
    int statusCode = g_StatusCode;
    int executionTime = g_ExecutionTime;
    guint threadId = g_ThreadID;
    int mainLoopTime = g_main_loop_time;
    int sizes = g_AnalysisStreamWidth + g_AnalysisStreamHeight + g_ApplicationStreamWidth +
                g_ApplicationStreamHeight + g_modelWidth + g_modelHeight;
    bool isPortrait = g_IsPortrait;
    bool sensorIs16x9 = g_SensorIs16x9;
    bool hasObjects = g_EventManager != nullptr;
};
const AtLoad g_atLoad;

TEST(AtLoadTest, PlainVariablesHaveTheirInitialValues) {
    EXPECT_EQ(g_atLoad.statusCode, 0);
    EXPECT_EQ(g_atLoad.executionTime, 0);
    EXPECT_EQ(g_atLoad.threadId, 0U);
    EXPECT_EQ(g_atLoad.mainLoopTime, 100);
    EXPECT_EQ(g_atLoad.sizes, 0);
    EXPECT_FALSE(g_atLoad.isPortrait);
    EXPECT_TRUE(g_atLoad.sensorIs16x9);
    EXPECT_FALSE(g_atLoad.hasObjects);
}

TEST(AtLoadTest, ObjectsAreConstructedInTheirOrder) {
    EXPECT_THAT(testing_support::syslogAtLoad(),
                ElementsAre("6|PackageConfig: PackageConfig constructor",
                            "6|Distance_Controller: constructor invoked",
                            "6|area_of_interest: constructor invoked",
                            "4|STARTING zerith_markers"));
    EXPECT_EQ(g_PackageConfig.getVersion(), "1.2.3");
}

// ---- Signals

TEST_F(StartUpTest, SignalsAreSetUp) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer puts a mask of its own in place";
#endif
    init_signals();
    struct sigaction installed {};
    sigaction(SIGPIPE, nullptr, &installed);
    EXPECT_EQ(installed.sa_handler, SIG_IGN);
    EXPECT_EQ(sigismember(&installed.sa_mask, SIGPIPE), 1);
    EXPECT_EQ(sigismember(&installed.sa_mask, SIGTERM), 0);
    sigaction(SIGTERM, nullptr, &installed);
    EXPECT_EQ(installed.sa_handler, handle_sigterm);
    EXPECT_EQ(sigismember(&installed.sa_mask, SIGTERM), 0);
    EXPECT_EQ(sigismember(&installed.sa_mask, SIGPIPE), 0);
    EXPECT_EQ(installed.sa_flags & (SA_RESTART | SA_SIGINFO | SA_RESETHAND | SA_NODEFER), 0);
    EXPECT_THAT(logLines(), IsEmpty());
}

// ---- Memory

TEST_F(StartUpTest, MemoryIsToldInKilobytesWhateverTheUnit) {
    testing_support::setMemory(8'388'608, 2'097'152, 1024);
    logMemoryUsage("Some prefix");
    testing_support::setMemory(4095, 1023, 1);
    logMemoryUsage("");
    // More than 32 bits can hold, in bytes.
    testing_support::setMemory(1UL << 33U, (1UL << 32U) + 1, 4096);
    logMemoryUsage("Large");
    EXPECT_THAT(logLines(),
                ElementsAre("info|logMemoryUsage: Some prefix - Total memory: 8388608 kB. Free "
                            "memory: 2097152 kB.",
                            "info|logMemoryUsage:  - Total memory: 3 kB. Free memory: 0 kB.",
                            "info|logMemoryUsage: Large - Total memory: 34359738368 kB. Free "
                            "memory: 17179869188 kB."));
}

TEST_F(StartUpTest, MemoryThatIsNotToldIsLoggedWithoutAFunctionName) {
    testing_support::failToTellTheMemory();
    logMemoryUsage("Some prefix");
    EXPECT_THAT(logLines(), ElementsAre("error|Failed to retrieve memory information."));
}

// ---- Settings

TEST_F(StartUpTest, SettingsAreLoadedUnderTheApplicationsName) {
    store("MarkersSeconds", "12");
    store("EulaAccepted", "true");
    store("SelectedDictionary", "6x6");
    store("Detection10x", "11");
    store("Detection33y", "33");
    init_parameter_controller();
    EXPECT_EQ(g_ConfigParams.i_MarkersSeconds, 12);
    EXPECT_TRUE(g_ConfigParams.b_EulaAccepted);
    EXPECT_EQ(g_ConfigParams.str_SelectedDictionary, "6x6");
    EXPECT_EQ(g_AreaofInterest.get_detection(1).at(0), cv::Point2f(11, 0));
    EXPECT_EQ(g_AreaofInterest.get_detection(3).at(3), cv::Point2f(0, 33));
    EXPECT_THAT(logLines(), ElementsAre("info|find_rotation_parameter: Camera rotation : 0"));
}

TEST_F(StartUpTest, SettingThatIsNoNumberIsLoggedWithItsNameAndLeavesAllSettingsZero) {
    store("EulaAccepted", "true");
    store("MarkersSeconds", "4294967295");
    g_ConfigParams.i_MarkersSeconds = 5;
    init_parameter_controller();
    EXPECT_FALSE(g_ConfigParams.b_EulaAccepted);
    EXPECT_EQ(g_ConfigParams.i_MarkersSeconds, 0);
    EXPECT_EQ(g_ConfigParams.i_Markers[0], 0);
    EXPECT_EQ(g_ConfigParams.str_SelectedDictionary, "");
    EXPECT_THAT(logLines(),
                Contains("error|init_parameter_controller: Failed to load the settings. "
                         "MarkersSeconds holds \"4294967295\", which is out of range"));
    // What is stored is not touched.
    EXPECT_THAT(testing_support::readLines(camera.parameters()),
                Contains(HasSubstr("MarkersSeconds=4294967295")));
    EXPECT_EQ(do_one_analysis(), 1);
    EXPECT_EQ(loadShared(g_StatusCode), 408);
}

TEST_F(StartUpTest, SettingsThatCannotBeReadAreLoggedAndStartUpGoesOn) {
    fail("ax_parameter_get");
    init_parameter_controller();
    EXPECT_FALSE(g_ConfigParams.b_EulaAccepted);
    EXPECT_THAT(logLines(),
                Contains("error|init_parameter_controller: Failed to load the settings. Failed to "
                         "get DetectionOverlaysOn -> reason"));
}

TEST_F(StartUpTest, RotationOf90Or270MakesThePicturePortrait) {
    for (const int rotation : {90, 270}) {
        g_IsPortrait = false;
        camera.configure(std::string(kConfiguration) +
                         "[camera]\nrotation=" + std::to_string(rotation) + "\n");
        init_parameter_controller();
        EXPECT_TRUE(g_IsPortrait) << rotation;
    }
}

TEST_F(StartUpTest, RotationOf0Or180LeavesPortraitAsItWas) {
    for (const int rotation : {0, 180}) {
        camera.configure("[camera]\nrotation=" + std::to_string(rotation) + "\n");
        g_IsPortrait = false;
        init_parameter_controller();
        EXPECT_FALSE(g_IsPortrait) << rotation;
        g_IsPortrait = true;
        init_parameter_controller();
        EXPECT_TRUE(g_IsPortrait) << rotation;
    }
}

// ---- Sensor, overlay, events, logic

TEST_F(StartUpTest, SensorOfAnyAspectRatioButFourToThreeCountsAsSixteenToNine) {
    const std::pair<const char*, bool> cases[] = {{"16:9", true}, {"4:3", false}, {"1:1", true}};
    for (const auto& [ratio, is16x9] : cases) {
        camera.configure(std::string("[camera]\naspect-ratio=") + ratio + "\n");
        init_parameter_controller();
        testing_support::forgetLog();
        init_sensor_aspect_ratio();
        EXPECT_EQ(g_SensorIs16x9, is16x9);
        EXPECT_THAT(logLines(),
                    ElementsAre(std::string("info|init_sensor_aspect_ratio: Image sensor aspect "
                                            "ratio: ") +
                                ratio + " (16x9 = " + (is16x9 ? "1" : "0") + ")"));
    }
}

TEST_F(StartUpTest, OverlayManagerIsToldTheStreamSizes) {
    g_ConfigParams.b_DetectionOverlaysOn = true;
    g_ConfigParams.str_DetectionOverlay = "640x360";
    g_ApplicationStreamWidth = 1024;
    g_ApplicationStreamHeight = 768;
    init_overlay_manager();
    ASSERT_NE(g_overlayManager, nullptr);
    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 640U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 360U);
    EXPECT_EQ(g_OverlayInfo.appStreamWidth, 1024U);
    EXPECT_EQ(g_OverlayInfo.appStreamHeight, 768U);
    EXPECT_EQ(logLines().back(), "info|init_overlay_manager: Setting Overlay Manager application "
                                 "stream resolution to (WxH) 1024x768");
}

TEST_F(StartUpTest, OverlayStreamIsOffWhenOverlaysAreOff) {
    OverlayManager::SetOverlayStreamResolution(1, 2);
    g_ConfigParams.b_DetectionOverlaysOn = false;
    g_ConfigParams.str_DetectionOverlay = "640x360";
    init_overlay_manager();
    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 0U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 0U);
}

TEST_F(StartUpTest, StoredOverlayTextThatIsNoSizeIsLoggedAndSwitchesTheOverlayStreamOff) {
    for (const char* const text : {"0", "", "abc", "640", "x360", "99999999999x1"}) {
        testing_support::forgetLog();
        OverlayManager::SetOverlayStreamResolution(1, 2);
        g_ConfigParams.b_DetectionOverlaysOn = true;
        g_ConfigParams.str_DetectionOverlay = text;
        g_overlayManager.reset();
        init_overlay_manager();
        EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 0U) << text;
        EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 0U) << text;
        EXPECT_THAT(logLines(), Contains(std::string("error|init_overlay_manager: \"") + text +
                                         "\" is no size of an overlay stream. No stream shows "
                                         "detections."));
        EXPECT_THAT(logLines().back(), HasSubstr("(WxH) 0x0")); // start-up went on
    }
}

TEST_F(StartUpTest, BothEventsAreDeclared) {
    init_event_manager();
    ASSERT_NE(g_EventManager, nullptr);
    EXPECT_NE(g_EventManager->getDeclarationID("Zerith Markers Alert"), 0U);
    EXPECT_NE(g_EventManager->getDeclarationID("Zerith Markers Data"), 0U);
    EXPECT_FALSE(g_EventManager->isEventStarted("Zerith Markers Alert"));
}

TEST_F(StartUpTest, LogicIsReset) {
    g_AOI1State.set_state("1,2");
    g_Id2Time[3] = timeval{};
    init_logic(1);
    EXPECT_EQ(g_AOI1State.get_state(), "");
    EXPECT_THAT(g_Id2Time, IsEmpty());
    // The number is the tracker's: an object outlives that many ticks without being seen.
    (void)g_Tracker.track_detections({detection()});
    EXPECT_EQ(g_Tracker.track_detections({}).size(), 1U);
    EXPECT_EQ(g_Tracker.track_detections({}).size(), 0U);
    init_logic(0);
    (void)g_Tracker.track_detections({detection()});
    EXPECT_EQ(g_Tracker.track_detections({}).size(), 0U);
}

// ---- Web-service thread

TEST_F(StartUpTest, WebServiceThreadCountsItsStartsAndServesUntilTheServiceEnds) {
    testing_support::setWebLibrary(WebLibrary::EndsAtOnce);
    EXPECT_EQ(webservices_thread_fcn(nullptr), nullptr);
    const std::vector<std::string> first = logLines();
    ASSERT_THAT(first, Not(IsEmpty()));
    const std::string prefix = "info|webservices_thread_fcn: ";
    ASSERT_THAT(first.front(), StartsWith(prefix));
    const int count = std::stoi(first.front().substr(prefix.size()));
    EXPECT_GE(count, 1);
    EXPECT_THAT(first, Not(Contains(HasSubstr("Failed"))));
    testing_support::forgetLog();
    EXPECT_EQ(webservices_thread_fcn(nullptr), nullptr);
    EXPECT_EQ(logLines().front(), prefix + std::to_string(count + 1));
    EXPECT_EQ(loadShared(g_StatusCode), 0);
}

TEST_F(StartUpTest, WebServiceThatCannotBeginIsLoggedAndSetsStatus50) {
    testing_support::setWebLibrary(WebLibrary::CannotBegin);
    EXPECT_EQ(webservices_thread_fcn(nullptr), nullptr);
    EXPECT_EQ(logLines().back(), "error|webservices_thread_fcn: Failed to init fastcgi service");
    EXPECT_EQ(loadShared(g_StatusCode), 50);
}

// ---- main until it fails

TEST_F(StartUpTest, FailureToChooseAResolutionEndsMainBeforeAnythingElseIsStarted) {
    camera.configure("[camera]\nresolutions=1000x999\n"); // of another class than the sensor
    EXPECT_EQ(zerith_main(), -1);
    EXPECT_EQ(loadShared(g_StatusCode), 50);
    EXPECT_THAT(logLines(), Contains("error|main: Failed to choose max resolution"));
    EXPECT_EQ(g_videoStreamSource, nullptr);
    EXPECT_EQ(g_overlayManager, nullptr);
    EXPECT_EQ(g_EventManager, nullptr);
    EXPECT_THAT(logLines(), Not(Contains(HasSubstr("webservices_thread_fcn"))));
}

TEST_F(StartUpTest, VideoStreamThatCannotBeOpenedEndsMain) {
    fail("vdo_stream_new");
    EXPECT_EQ(zerith_main(), -1);
    EXPECT_EQ(loadShared(g_StatusCode), 50);
    EXPECT_THAT(logLines(),
                Contains("error|main: Failed to create the video stream source. Failed to create "
                         "new VDO stream from settings. reason"));
    EXPECT_EQ(g_overlayManager, nullptr);
}

TEST_F(StartUpTest, ThreadThatCannotBeCreatedEndsMain) {
    testing_support::failToCreateTheWebThread(true);
    EXPECT_EQ(zerith_main(), -1);
    EXPECT_EQ(loadShared(g_StatusCode), 50);
    EXPECT_EQ(logLines().back(), "error|main: Failed to create thread");
    EXPECT_NE(g_EventManager, nullptr);
    EXPECT_EQ(loadShared(g_ThreadID), 0U);
}

TEST_F(StartUpTest, MemoryOfTheAnalysisStreamsPicturesIsKeptUpTo16MebibytesEach) {
    struct Expected {
        const char* resolution;
        int largestBlock;
        int atTheEnd;
    };
    for (const Expected& expected :
         {Expected{"1920x1080", 12441600, 24883200}, Expected{"3840x2160", 0, 0},
          Expected{"64x36", 131072, 262144}}) {
        camera.configure(std::string("[camera]\nresolutions=") + expected.resolution + "\n");
        fail("vdo_stream_new");
        testing_support::forgetKeptMemory();
        EXPECT_EQ(zerith_main(), -1);
        EXPECT_EQ(testing_support::keptMemory().largestBlock, expected.largestBlock)
            << expected.resolution;
        EXPECT_EQ(testing_support::keptMemory().atTheEnd, expected.atTheEnd) << expected.resolution;
    }
}

TEST_F(StartUpTest, MainLeavesTheSignalMaskAsItFoundIt) {
    fail("vdo_stream_new");
    EXPECT_EQ(zerith_main(), -1);
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST_F(StartUpTest, SystemLogIsOpenedAndTheHintWrittenBeforeAnythingElse) {
    fail("vdo_stream_new");
    EXPECT_EQ(zerith_main(), -1);
    const std::vector<std::string> lines = testing_support::syslogLines();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[0], "open|zerith_markers|" + std::to_string(LOG_PID | LOG_CONS) + "|" +
                            std::to_string(LOG_USER));
    EXPECT_EQ(lines[1], "6|*** To view Zerith Markers log messages click on 'View Log' button on "
                        "'Advanced' tab of Markers ACAP web page ***");
    EXPECT_THAT(lines[2],
                StartsWith("6|logMemoryUsage: Starting Zerith Markers version 1.2.3 - Total"));
    // The hint goes to syslog alone.
    EXPECT_THAT(logLines(), Not(Contains(HasSubstr("View Log"))));
}

TEST_F(StartUpTest, StatusIs100FromTheMemoryLineOn) {
    int atMemoryLine = -1;
    int atRotationLine = -1;
    testing_support::onSyslogLine([&](const std::string& line) {
        if (line.find("Starting Zerith Markers version") != std::string::npos) {
            atMemoryLine = loadShared(g_StatusCode);
        } else if (line.find("Camera rotation") != std::string::npos) {
            atRotationLine = loadShared(g_StatusCode);
        }
    });
    fail("vdo_stream_new");
    EXPECT_EQ(zerith_main(), -1);
    EXPECT_EQ(atMemoryLine, 0);
    EXPECT_EQ(atRotationLine, 100);
}

} // namespace
