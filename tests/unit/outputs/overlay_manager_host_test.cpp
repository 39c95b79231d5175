// The overlay manager on the host camera: the layers that a viewer would see, the camera's own
// sizes, and what the log says when the camera's calls fail.

#include <algorithm>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/area_of_interest.h"
#include "analysis/detection_processing.h"
#include "analysis/distance_controller.h"
#include "analysis/tracker.h"
#include "core/app_state.h"
#include "outputs/event_manager.h"
#include "outputs/overlay_manager.h"
#include "platform/hostcam/overlay_layers.h"
#include "settings/config_params.h"
#include "settings/parameter_controller.h"
#include "tests/support/log_lines.h"
#include "tests/unit/platform/host_camera.h"
#include "video/VideoStreamSource.h"

ConfigParams g_ConfigParams{};
parameter_controller g_ParameterController;
Distance_Controller g_DistanceController;
area_of_interest g_AreaofInterest;
t_findings_list g_findings;
t_detection_list g_detections;
tracker g_Tracker;
t_id2time g_Id2Time;
aoi_state g_AOI1State;
Logger g_Logger("test", "./overlay_manager_host_test.log");
int g_StatusCode = 200;
int g_ExecutionTime = 37;
int g_AnalysisStreamWidth = 0;
int g_AnalysisStreamHeight = 0;
bool g_IsPortrait = false;
bool g_SensorIs16x9 = true;
EventManager* g_EventManager = nullptr;
std::unique_ptr<OverlayManager> g_overlayManager;
std::unique_ptr<VideoStreamSource> g_videoStreamSource;

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::forgetLog;
using testing_support::HostCamera;
using testing_support::logLines;

constexpr std::uint32_t kRed = 0xFFFF0000;

class OverlayManagerHostTest : public testing::Test {
  protected:
    OverlayManagerHostTest() {
        forgetLog();
        g_OverlayInfo = OverlayInfo{};
        OverlayManager::SetApplicationStreamResolution(1280, 720);
        g_AnalysisStreamWidth = 1920;
        g_AnalysisStreamHeight = 1080;
        g_ConfigParams = ConfigParams{};
        g_ConfigParams.b_IsRequirePresent = true;
        DetectionProcessing::resetSecsSinceMarkerLost();
        one_find finding;
        finding.detect.markerCorners = {{600, 300}, {900, 300}, {900, 600}, {600, 600}};
        finding.footing = in_AOI1_lengthily;
        g_findings = {finding};
    }
    ~OverlayManagerHostTest() override {
        m_manager.reset();
        EXPECT_THAT(hostcam::misuses(), IsEmpty());
    }

    void create() {
        m_manager = std::make_unique<OverlayManager>();
        forgetLog();
    }

    /// A pixel of a viewer's layer; 0 without a layer.
    static std::uint32_t pixel(std::size_t viewer, std::uint32_t x, std::uint32_t y) {
        const auto layer = hostcam::overlayLayer(viewer);
        return layer ? layer->pixels.at(std::size_t{y} * layer->size.width + x) : 0;
    }

    /// How many pixels of a viewer's layer are not transparent.
    static std::ptrdiff_t ink(std::size_t viewer) {
        const auto layer = hostcam::overlayLayer(viewer);
        return layer ? std::count_if(layer->pixels.begin(), layer->pixels.end(),
                                     [](std::uint32_t value) { return value >> 24 != 0; })
                     : 0;
    }

    static void fail(const std::string& call, bool withError = true) {
        hostcam::Fault fault;
        fault.call = call;
        fault.withError = withError;
        hostcam::addFault(fault);
    }

    HostCamera m_camera{"[viewers]\nstreams=1280x720,1280x720:mirrored,640x480\n"};
    std::unique_ptr<OverlayManager> m_manager;
};

// The viewers' layers.

TEST_F(OverlayManagerHostTest, ARedrawPutsTheOutlineAndTheStatusLineOntoTheApplicationStream) {
    create();
    EXPECT_EQ(m_manager->renderFindings(), 1);

    // Two thirds of (600, 300), (900, 300), (900, 600), (600, 600).
    EXPECT_EQ(pixel(0, 500, 200), kRed);
    EXPECT_EQ(pixel(0, 600, 300), kRed);
    EXPECT_EQ(pixel(0, 500, 400), kRed);
    EXPECT_EQ(pixel(0, 400, 300), kRed);
    EXPECT_GT(ink(0), 4 * 200 * 3);
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(OverlayManagerHostTest, AMirroredViewerSeesTheOutlineMirrored) {
    create();
    EXPECT_EQ(m_manager->renderFindings(), 1);

    EXPECT_EQ(pixel(1, 1279 - 600, 300), kRed);
    EXPECT_EQ(pixel(1, 1279 - 400, 300), kRed);
    EXPECT_EQ(pixel(1, 400, 300), 0U);
}

TEST_F(OverlayManagerHostTest, AViewerOfAnotherSizeSeesNothingUntilItsSizeIsSet) {
    create();
    EXPECT_EQ(m_manager->renderFindings(), 1);
    EXPECT_EQ(ink(2), 0);

    OverlayManager::SetOverlayStreamResolutionFromString("640x480");
    EXPECT_EQ(m_manager->renderFindings(), 1);
    EXPECT_GT(ink(2), 0);

    OverlayManager::SetOverlayStreamResolutionFromString("0x0");
    EXPECT_EQ(m_manager->renderFindings(), 1);
    EXPECT_EQ(ink(2), 0);
}

TEST_F(OverlayManagerHostTest, EachRedrawBeginsWithAnEmptyPicture) {
    create();
    EXPECT_EQ(m_manager->renderFindings(), 1);
    g_findings.clear();
    EXPECT_EQ(m_manager->renderFindings(), 1);

    EXPECT_EQ(pixel(0, 500, 200), 0U);
}

TEST_F(OverlayManagerHostTest, ARotatedCamerasViewerSeesItUpright) {
    m_camera.configure("[camera]\nrotation=90\n[viewers]\nstreams=1280x720\n");
    OverlayManager::SetApplicationStreamResolution(720, 1280);
    g_AnalysisStreamWidth = 1080;
    g_AnalysisStreamHeight = 1920;
    create();
    EXPECT_EQ(m_manager->renderFindings(), 1);

    const auto layer = hostcam::overlayLayer(0);
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(layer->size.width, 720U);
    EXPECT_EQ(layer->size.height, 1280U);
    EXPECT_EQ(pixel(0, 500, 200), kRed);
    EXPECT_EQ(pixel(0, 400, 300), kRed);
}

TEST_F(OverlayManagerHostTest, ADestroyedManagerLeavesNoOverlayBehind) {
    create();
    EXPECT_EQ(m_manager->renderFindings(), 1);
    m_manager.reset();

    EXPECT_EQ(ink(0), 0);
}

// Failures of the overlay service.

TEST_F(OverlayManagerHostTest, FailuresOfSetUpAreLoggedWithTheirReasons) {
    fail("axoverlay_is_backend_supported");
    fail("axoverlay_get_max_resolution_width");
    fail("axoverlay_get_max_resolution_height");
    fail("axoverlay_create_overlay");
    m_manager = std::make_unique<OverlayManager>();

    EXPECT_THAT(logLines(),
                ElementsAre("info|OverlayManager: OverlayManager constructor invoked.",
                            "error|OverlayManager: AXOVERLAY_CAIRO_IMAGE_BACKEND is not supported",
                            "error|createOverlay: Failed to create overlay: injected fault"));
    EXPECT_EQ(OverlayManager::m_OverlayID, 0);
}

TEST_F(OverlayManagerHostTest, AServiceThatCannotBeReachedIsLoggedAndNothingIsDrawn) {
    fail("axoverlay_init");
    m_manager = std::make_unique<OverlayManager>();

    EXPECT_THAT(logLines(),
                Contains("error|OverlayManager: Failed to initialize axoverlay: injected fault"));
    EXPECT_EQ(OverlayManager::m_OverlayID, 0);
    EXPECT_EQ(m_manager->renderFindings(), 0);
    EXPECT_EQ(ink(0), 0);
}

TEST_F(OverlayManagerHostTest, AFailedRedrawIsLoggedAndTheNextOneDraws) {
    create();
    fail("axoverlay_redraw");

    EXPECT_EQ(m_manager->renderFindings(), 0);
    EXPECT_THAT(logLines(),
                ElementsAre("error|renderFindings: Failed to redraw overlay: injected fault"));
    EXPECT_EQ(m_manager->renderFindings(), 1);
    EXPECT_GT(ink(0), 0);
}

TEST_F(OverlayManagerHostTest, AFailedDestructionIsNotLogged) {
    create();
    fail("axoverlay_destroy_overlay");

    m_manager.reset();

    EXPECT_THAT(logLines(), IsEmpty());
}

// The camera's sizes.

TEST_F(OverlayManagerHostTest, TheCameraTellsItsSizes) {
    m_camera.configure("[camera]\nresolutions=1920x1080,1280x720,640x360\n");

    EXPECT_EQ(OverlayManager::getCamerasResolutionsAsCsv(), "640x360,1280x720,1920x1080,");
}

TEST_F(OverlayManagerHostTest, ASquareCameraTellsItsSquareSizes) {
    m_camera.configure("[camera]\naspect-ratio=1:1\nresolutions=1920x1920,1920x1080\n");
    g_ParameterController.init_controller("test");

    EXPECT_EQ(OverlayManager::getCamerasResolutionsAsCsv(), "1920x1920,");
}

TEST_F(OverlayManagerHostTest, WithoutChannelsThereAreNoSizes) {
    fail("vdo_channel_get_all");

    EXPECT_EQ(OverlayManager::getCamerasResolutionsAsCsv(), "");
    EXPECT_THAT(logLines(), ElementsAre("error|getCameraResolutions: Failed to get all channels."));
}

TEST_F(OverlayManagerHostTest, AChannelThatFailsAddsNothing) {
    fail("vdo_channel_get_resolutions");

    EXPECT_EQ(OverlayManager::getCamerasResolutionsAsCsv(), "");
    EXPECT_THAT(logLines(), Contains("info|getCameraResolutions: Successfully got all channels."));
}

} // namespace
