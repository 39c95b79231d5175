// What the overlay manager asks of the overlay service, in which order, and what it answers to it.

#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/overlay_manager.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/overlay_stand_ins.h"

namespace {

using overlay_stand_ins::world;
using testing::ElementsAre;
using testing_support::forgetLog;
using testing_support::logLines;

class OverlayServiceTest : public testing::Test {
  protected:
    OverlayServiceTest() { overlay_stand_ins::reset(); }
};

TEST_F(OverlayServiceTest, ConstructionConnectsAndCreatesTheOverlayOverTheLargestResolution) {
    const OverlayManager manager;

    EXPECT_THAT(world().calls,
                ElementsAre("axoverlay_is_backend_supported 1", "axoverlay_init_axoverlay_settings",
                            "axoverlay_init", "axoverlay_get_max_resolution_width 1",
                            "axoverlay_get_max_resolution_height 1", "axoverlay_init_overlay_data",
                            "axoverlay_create_overlay", "axoverlay_redraw"));
    EXPECT_THAT(logLines(),
                ElementsAre("info|OverlayManager: OverlayManager constructor invoked."));
    EXPECT_EQ(OverlayManager::m_OverlayID, 5);
    EXPECT_EQ(world().overlay.width, 3840);
    EXPECT_EQ(world().overlay.height, 2160);
}

TEST_F(OverlayServiceTest, TheStaticMembersAreTheServicesCallbacks) {
    const OverlayManager manager;

    EXPECT_EQ(world().settings.backend, AXOVERLAY_CAIRO_IMAGE_BACKEND);
    EXPECT_EQ(world().settings.render_callback, &OverlayManager::renderCallback);
    EXPECT_EQ(world().settings.adjustment_callback, &OverlayManager::adjustmentCallback);
    EXPECT_EQ(world().settings.select_callback, &OverlayManager::selectStreamCallback);
}

TEST_F(OverlayServiceTest, TheOverlayStandsAtTheTopLeftWithEveryOtherFieldZero) {
    EXPECT_EQ(OverlayManager::createOverlay(640, 480), 5);

    EXPECT_EQ(world().overlay.anchor_point, AXOVERLAY_ANCHOR_TOP_LEFT);
    EXPECT_EQ(world().overlay.postype, AXOVERLAY_TOP_LEFT);
    EXPECT_EQ(world().overlay.x, 0.0F);
    EXPECT_EQ(world().overlay.y, 0.0F);
    EXPECT_EQ(world().overlay.width, 640);
    EXPECT_EQ(world().overlay.height, 480);
    EXPECT_EQ(world().overlay.z_priority, 0);
    EXPECT_EQ(static_cast<int>(world().overlay.colorspace), 0);
    EXPECT_EQ(world().overlay.scale_to_stream, FALSE);
    EXPECT_EQ(world().userData, &g_OverlayInfo);
}

TEST_F(OverlayServiceTest, AMissingBackendIsLoggedAndSetUpGoesOn) {
    world().isBackendSupported = false;

    const OverlayManager manager;

    EXPECT_THAT(logLines(),
                ElementsAre("info|OverlayManager: OverlayManager constructor invoked.",
                            "error|OverlayManager: AXOVERLAY_CAIRO_IMAGE_BACKEND is not "
                            "supported"));
    EXPECT_EQ(OverlayManager::m_OverlayID, 5);
}

TEST_F(OverlayServiceTest, AFailedInitialisationIsLoggedAndSetUpGoesOn) {
    world().failing = {"axoverlay_init"};

    const OverlayManager manager;

    EXPECT_THAT(logLines(),
                ElementsAre("info|OverlayManager: OverlayManager constructor invoked.",
                            "error|OverlayManager: Failed to initialize axoverlay: broken"));
    EXPECT_EQ(OverlayManager::m_OverlayID, 5);
}

TEST_F(OverlayServiceTest, AnUnknownLargestResolutionIsIgnored) {
    world().failing = {"axoverlay_get_max_resolution_width", "axoverlay_get_max_resolution_height"};

    const OverlayManager manager;

    EXPECT_THAT(logLines(),
                ElementsAre("info|OverlayManager: OverlayManager constructor invoked."));
    EXPECT_EQ(world().overlay.width, 7);
    EXPECT_EQ(world().overlay.height, 8);
    EXPECT_EQ(OverlayManager::m_OverlayID, 5);
}

TEST_F(OverlayServiceTest, AnOverlayThatCannotBeCreatedIsLoggedAndHasTheIdZero) {
    world().failing = {"axoverlay_create_overlay"};

    const OverlayManager manager;

    EXPECT_THAT(logLines(), ElementsAre("info|OverlayManager: OverlayManager constructor invoked.",
                                        "error|createOverlay: Failed to create overlay: broken"));
    EXPECT_EQ(OverlayManager::m_OverlayID, 0);
}

TEST_F(OverlayServiceTest, AFailedFirstDrawIsLoggedAndTheServiceIsLeft) {
    world().failing = {"axoverlay_redraw"};

    const OverlayManager manager;

    EXPECT_THAT(logLines(),
                ElementsAre("info|OverlayManager: OverlayManager constructor invoked.",
                            "error|OverlayManager: Failed to do initial draw of overlays: broken"));
    const auto& calls = world().calls;
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(calls[calls.size() - 3], "axoverlay_redraw");
    EXPECT_EQ(calls[calls.size() - 2], "axoverlay_destroy_overlay 5");
    EXPECT_EQ(calls[calls.size() - 1], "axoverlay_cleanup");
}

TEST_F(OverlayServiceTest, RenderingAsksForOneRedraw) {
    const OverlayManager manager;
    world().calls.clear();
    forgetLog();

    EXPECT_EQ(manager.renderFindings(), 1);

    EXPECT_THAT(world().calls, ElementsAre("axoverlay_redraw"));
    EXPECT_THAT(logLines(), testing::IsEmpty());
}

TEST_F(OverlayServiceTest, AFailedRedrawIsLoggedAndTold) {
    const OverlayManager manager;
    world().failing = {"axoverlay_redraw"};
    forgetLog();

    EXPECT_EQ(manager.renderFindings(), 0);
    EXPECT_EQ(manager.renderFindings(), 0);

    EXPECT_THAT(logLines(), ElementsAre("error|renderFindings: Failed to redraw overlay: broken",
                                        "error|renderFindings: Failed to redraw overlay: broken"));
}

TEST_F(OverlayServiceTest, DestructionDestroysTheOverlayAndLeavesTheService) {
    auto manager = std::make_unique<OverlayManager>();
    world().calls.clear();
    world().failing = {"axoverlay_destroy_overlay"};
    forgetLog();

    manager.reset();

    EXPECT_THAT(world().calls, ElementsAre("axoverlay_destroy_overlay 5", "axoverlay_cleanup"));
    EXPECT_THAT(logLines(), testing::IsEmpty());
}

TEST_F(OverlayServiceTest, TheOverlayIsAsLargeAsTheStreamIsForItsViewer) {
    for (const int rotation : {0, 90, 180, 270}) {
        axoverlay_stream_data stream{1, 1, 1280, 720, rotation, FALSE, AXOVERLAY_STREAM_JPEG};
        axoverlay_position_type position = AXOVERLAY_BOTTOM_RIGHT;
        gfloat x = 0.25F;
        gfloat y = 0.5F;
        gint width = 1;
        gint height = 2;

        OverlayManager::adjustmentCallback(5, &stream, &position, &x, &y, &width, &height, nullptr);

        const bool turned = rotation == 90 || rotation == 270;
        EXPECT_EQ(width, turned ? 720 : 1280) << rotation;
        EXPECT_EQ(height, turned ? 1280 : 720) << rotation;
        EXPECT_EQ(position, AXOVERLAY_BOTTOM_RIGHT);
        EXPECT_EQ(x, 0.25F);
        EXPECT_EQ(y, 0.5F);
    }
}

TEST_F(OverlayServiceTest, EveryStreamIsTaken) {
    for (int type = AXOVERLAY_STREAM_JPEG; type <= AXOVERLAY_STREAM_AV1; ++type) {
        EXPECT_EQ(OverlayManager::selectStreamCallback(0, 1, 2, 90, TRUE,
                                                       static_cast<axoverlay_stream_type>(type)),
                  1);
    }
}

} // namespace
