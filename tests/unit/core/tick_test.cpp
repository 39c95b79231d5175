// One analysis step: what it does, in which order, and the status that it leaves.

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/area_of_interest.h"
#include "analysis/common_structs.h"
#include "core/shared_state.h"
#include "outputs/event_manager.h"
#include "outputs/overlay_manager.h"
#include "tests/support/moved_clock.h"
#include "tests/unit/analysis/drawn_scenes.h"
#include "tests/unit/core/app_main_fixture.h"
#include "video/VideoStreamSource.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::logLines;
using testing_support::MovedClock;

namespace {

/// The camera's stream, with a function that is called for each frame.
class ObservedSource : public VideoStreamSource {
  public:
    ObservedSource(int height, int width, std::function<void(ObservedSource&)> onFrame)
        : VideoStreamSource(height, width, 0), m_onFrame(std::move(onFrame)) {}

    bool getFrame(int requestedHeight, int requestedWidth, int rotation,
                  std::uint8_t* pOutputPixels) override {
        m_onFrame(*this);
        return VideoStreamSource::getFrame(requestedHeight, requestedWidth, rotation,
                                           pOutputPixels);
    }

  private:
    std::function<void(ObservedSource&)> m_onFrame;
};

class TickTest : public testing_support::AppMainTest {
  protected:
    static constexpr std::int64_t kNow = 1'714'571'110;

    TickTest() {
        MovedClock::set(kNow);
        g_ConfigParams.b_EulaAccepted = true;
        g_ConfigParams.b_IsRequirePresent = true;
        g_ConfigParams.i_MarkersSeconds = 3;
        g_ConfigParams.b_DisplayNonAOI = true;
        g_ConfigParams.str_SelectedDictionary = "5x5";
        g_AnalysisStreamWidth = 320;
        g_AnalysisStreamHeight = 180;
        init_overlay_manager();
        init_event_manager();
        init_logic(1);
        observe([](ObservedSource&) {});
        testing_support::forgetLog();
        hostcam::clearFaults(); // and counts
    }
    ~TickTest() override { MovedClock::release(); }

    static void observe(std::function<void(ObservedSource&)> onFrame) {
        g_videoStreamSource = std::make_unique<ObservedSource>(180, 320, std::move(onFrame));
    }
};

TEST_F(TickTest, WithoutTheAgreementNothingRunsButTheStatus408) {
    g_ConfigParams.b_EulaAccepted = false;
    storeShared(g_ExecutionTime, 77);
    for (int i = 0; i < 3; ++i) {
        storeShared(g_StatusCode, 100);
        EXPECT_EQ(do_one_analysis(), 1);
        EXPECT_EQ(loadShared(g_StatusCode), 408);
    }
    EXPECT_EQ(hostcam::callCount("vdo_stream_get_buffer"), 0U);
    EXPECT_EQ(hostcam::callCount("axoverlay_redraw"), 0U);
    EXPECT_EQ(hostcam::callCount("ax_event_handler_send_event"), 0U);
    EXPECT_FALSE(g_videoStreamSource->m_dirty);
    EXPECT_EQ(loadShared(g_ExecutionTime), 77);
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(TickTest, WithoutAFrameSourceTheStepIsSkippedAndTheStatusStays) {
    g_videoStreamSource.reset();
    storeShared(g_StatusCode, 100);
    EXPECT_EQ(do_one_analysis(), 1);
    EXPECT_EQ(loadShared(g_StatusCode), 100);
    EXPECT_THAT(logLines(), ElementsAre("error|do_one_analysis: g_videoStreamSource == nullptr"));
    EXPECT_EQ(hostcam::callCount("axoverlay_redraw"), 0U);
}

TEST_F(TickTest, StepTakesOneFreshFrameAndThenDrawsTheOverlays) {
    unsigned redrawsAtTheFrame = 99;
    bool wasDirty = false;
    observe([&](ObservedSource& source) {
        wasDirty = source.m_dirty;
        redrawsAtTheFrame = hostcam::callCount("axoverlay_redraw");
    });
    hostcam::clearFaults();
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_TRUE(wasDirty);
    EXPECT_EQ(redrawsAtTheFrame, 0U);
    EXPECT_EQ(hostcam::callCount("vdo_stream_get_buffer"), 1U);
    EXPECT_EQ(hostcam::callCount("axoverlay_redraw"), 1U);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
}

TEST_F(TickTest, StepDetectsThenDecidesThenDrawsThenSetsTheStatus) {
    g_ConfigParams.b_IsRequirePresent = false; // alert while markers are lost
    g_ConfigParams.i_MarkersSeconds = -1;      // from the first step on
    fail("vdo_stream_get_buffer");
    fail("axoverlay_redraw");
    storeShared(g_StatusCode, 100);
    int statusAtTheRedraw = -1;
    testing_support::onSyslogLine([&](const std::string& line) {
        if (line.find("Failed to redraw overlay") != std::string::npos) {
            statusAtTheRedraw = loadShared(g_StatusCode);
        }
    });
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_THAT(logLines(),
                ElementsAre("error|getFrame: VideoStreamSource::getFrame failed to get VDO buffer. "
                            "reason",
                            "error|detect_markers: unable to getFrame",
                            "warning|sendEventStarted: Starting event Zerith Markers Alert",
                            "error|renderFindings: Failed to redraw overlay: reason"));
    EXPECT_EQ(statusAtTheRedraw, 100);
    EXPECT_EQ(loadShared(g_StatusCode), 502);
}

TEST_F(TickTest, MarkerIsDetectedTrackedPublishedAndExaminedInOneStep) {
    /// One marker in a light scene, whatever the camera sees.
    struct MarkerSource : VideoStreamSource {
        using VideoStreamSource::VideoStreamSource;
        bool getFrame(int height, int width, int /*rotation*/, std::uint8_t* pixels) override {
            cv::Mat scene = testing_support::emptyScene(width, height);
            testing_support::drawMarker(scene, cv::aruco::DICT_5X5_100, 7, 100, 50);
            std::copy_n(scene.data, scene.total() * 3, pixels);
            return true;
        }
    };
    g_videoStreamSource = std::make_unique<MarkerSource>(180, 320, 0);
    g_AreaofInterest.set_detection(1, {{1, 1}, {319, 1}, {319, 179}, {1, 179}});
    g_ConfigParams.i_MarkersSeconds = -1; // a marker that is seen again is there lengthily
    hostcam::clearFaults();

    EXPECT_EQ(do_one_analysis(), 0);

    ASSERT_EQ(g_detections.size(), 1U);
    EXPECT_EQ(g_detections[0].classId, 7);
    ASSERT_EQ(g_findings.size(), 1U);
    EXPECT_EQ(g_findings[0].footing, in_AOI1_briefly);
    EXPECT_EQ(g_AOI1State.get_state(), std::to_string(g_findings[0].id));
    EXPECT_EQ(g_Id2Time.count(g_findings[0].id), 1U) << "examined once it was tracked";
    EXPECT_EQ(hostcam::callCount("ax_event_handler_send_event"), 1U);
    EXPECT_EQ(loadShared(g_StatusCode), 200);

    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(g_findings[0].footing, in_AOI1_lengthily);
    EXPECT_EQ(loadShared(g_StatusCode), 502) << "decided once it was examined";
}

TEST_F(TickTest, StepGoesOnWithoutAnOverlayManager) {
    g_overlayManager.reset();
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
}

TEST_F(TickTest, FrameThatDoesNotComeIsAStepWithoutMarkers) {
    fail("vdo_stream_get_buffer");
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
    EXPECT_EQ(hostcam::callCount("axoverlay_redraw"), 1U);
    EXPECT_THAT(logLines(), Contains("error|detect_markers: unable to getFrame"));
}

TEST_F(TickTest, StatusIs502WhileTheAlertIsStarted) {
    g_ConfigParams.b_IsRequirePresent = false; // alert while markers are lost
    g_ConfigParams.i_MarkersSeconds = -1;      // from the first step on
    fail("vdo_stream_get_buffer");
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 502);
    g_ConfigParams.i_MarkersSeconds = 3;
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
}

TEST_F(TickTest, ManualAlertDoesNotCountForTheStatus) {
    std::string name = "Zerith Markers Alert";
    g_EventManager->sendEventStartedManually(name);
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
}

TEST_F(TickTest, ExecutionTimeIsThatOfTheStepInWholeMilliseconds) {
    observe([](ObservedSource&) { MovedClock::set(kNow + 1, 234'999); });
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_ExecutionTime), 1234);
    observe([](ObservedSource&) {});
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_ExecutionTime), 0);
}

TEST_F(TickTest, StepOfExactlyFivePeriodsMakesTheNextOnesStatus600) {
    observe([](ObservedSource&) { MovedClock::advanceMilliseconds(500); });
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_ExecutionTime), 500);
    EXPECT_EQ(loadShared(g_StatusCode), 200); // the time of the step before decides
    observe([](ObservedSource&) {});
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 600);
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
}

TEST_F(TickTest, StepOfLessThanFivePeriodsDoesNotCountAsSlow) {
    storeShared(g_ExecutionTime, 499);
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
}

TEST_F(TickTest, SlowStepHidesTheAlertsStatus) {
    g_ConfigParams.b_IsRequirePresent = false;
    g_ConfigParams.i_MarkersSeconds = -1;
    storeShared(g_ExecutionTime, 500);
    EXPECT_EQ(do_one_analysis(), 0);
    EXPECT_EQ(loadShared(g_StatusCode), 600);
}

TEST_F(TickTest, TimerCallbackStaysInstalledWhateverTheStepDoes) {
    EXPECT_EQ(thread_function(nullptr), TRUE);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
    g_ConfigParams.b_EulaAccepted = false;
    EXPECT_EQ(thread_function(nullptr), TRUE);
    EXPECT_EQ(loadShared(g_StatusCode), 408);
}

TEST_F(TickTest, ExceptionOfAStepIsLoggedAndTheNextStepRuns) {
    observe([](ObservedSource&) { throw std::runtime_error("no frame today"); });
    EXPECT_EQ(thread_function(nullptr), TRUE);
    EXPECT_THAT(logLines(), Contains("error|thread_function: no frame today"));
    observe([](ObservedSource&) { throw 7; });
    EXPECT_EQ(thread_function(nullptr), TRUE);
    EXPECT_THAT(logLines(), Contains("error|thread_function: Unknown exception"));
    observe([](ObservedSource&) {});
    EXPECT_EQ(thread_function(nullptr), TRUE);
    EXPECT_EQ(loadShared(g_StatusCode), 200);
}

} // namespace
