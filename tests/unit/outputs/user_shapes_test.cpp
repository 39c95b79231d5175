// The store of user shapes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/overlay_manager.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/overlay_stand_ins.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::logLines;

class UserShapesTest : public testing::Test {
  protected:
    UserShapesTest() { overlay_stand_ins::reset(); }
    ~UserShapesTest() override { OverlayManager::clearUserOverlays(); }
};

TEST_F(UserShapesTest, EachShapeIsStoredBehindTheOthersOfItsKind) {
    OverlayManager::addUserRectangle(1, 2, 3, 4, 5, 6);
    OverlayManager::addUserRectangle(11, 12, 13, 14, 15, 16);
    OverlayManager::addUserCircle(21, 22, 23, 4, 25);
    OverlayManager::addUserLine(31, 32, 33, 34, 5, 36);

    ASSERT_EQ(g_nUserRectangles, 2);
    EXPECT_EQ(g_UserRectangles[0].rect.X, 1);
    EXPECT_EQ(g_UserRectangles[0].rect.Y, 2);
    EXPECT_EQ(g_UserRectangles[0].rect.W, 3);
    EXPECT_EQ(g_UserRectangles[0].rect.H, 4);
    EXPECT_EQ(g_UserRectangles[0].colorIndex, 5);
    EXPECT_EQ(g_UserRectangles[0].lineWidth, 6);
    EXPECT_EQ(g_UserRectangles[1].rect.X, 11);
    EXPECT_EQ(g_UserRectangles[1].lineWidth, 16);
    ASSERT_EQ(g_nUserCircles, 1);
    EXPECT_EQ(g_UserCircles[0].cx, 21);
    EXPECT_EQ(g_UserCircles[0].cy, 22);
    EXPECT_EQ(g_UserCircles[0].radius, 23);
    EXPECT_EQ(g_UserCircles[0].colorIndex, 4);
    EXPECT_EQ(g_UserCircles[0].lineWidth, 25);
    ASSERT_EQ(g_nUserLines, 1);
    EXPECT_EQ(g_UserLines[0].x0, 31);
    EXPECT_EQ(g_UserLines[0].y0, 32);
    EXPECT_EQ(g_UserLines[0].x1, 33);
    EXPECT_EQ(g_UserLines[0].y1, 34);
    EXPECT_EQ(g_UserLines[0].colorIndex, 5);
    EXPECT_EQ(g_UserLines[0].lineWidth, 36);
}

TEST_F(UserShapesTest, The257thLineIsLoggedAndDropped) {
    for (int i = 0; i < 256; ++i) {
        OverlayManager::addUserLine(i, 0, 0, 0, 1, 1);
    }
    EXPECT_THAT(logLines(), IsEmpty());
    OverlayManager::addUserLine(256, 0, 0, 0, 1, 1);

    EXPECT_EQ(g_nUserLines, 256);
    EXPECT_EQ(g_UserLines[0].x0, 0);
    EXPECT_EQ(g_UserLines[255].x0, 255);
    EXPECT_THAT(logLines(), ElementsAre("error|addUserLine: Too many user lines."));
}

TEST_F(UserShapesTest, The257thCircleIsLoggedAndDropped) {
    for (int i = 0; i < 257; ++i) {
        OverlayManager::addUserCircle(i, 0, 0, 1, 1);
    }

    EXPECT_EQ(g_nUserCircles, 256);
    EXPECT_EQ(g_UserCircles[255].cx, 255);
    EXPECT_THAT(logLines(), ElementsAre("error|addUserCircle: Too many user circles."));
}

TEST_F(UserShapesTest, The257thRectangleIsLoggedAndDropped) {
    for (int i = 0; i < 257; ++i) {
        OverlayManager::addUserRectangle(i, 0, 0, 0, 1, 1);
    }

    EXPECT_EQ(g_nUserRectangles, 256);
    EXPECT_EQ(g_UserRectangles[255].rect.X, 255);
    EXPECT_THAT(logLines(), ElementsAre("error|addUserRectangle: Too many user rectangles."));
}

TEST_F(UserShapesTest, AfterClearingEverythingTheNextShapeOfEachKindIsTheFirst) {
    for (int i = 0; i < 3; ++i) {
        OverlayManager::addUserRectangle(i, i, i, i, i, i);
        OverlayManager::addUserCircle(i, i, i, i, i);
        OverlayManager::addUserLine(i, i, i, i, i, i);
    }

    OverlayManager::clearUserOverlays();

    EXPECT_EQ(g_nUserRectangles, 0);
    EXPECT_EQ(g_nUserCircles, 0);
    EXPECT_EQ(g_nUserLines, 0);
    OverlayManager::addUserRectangle(91, 0, 0, 0, 0, 0);
    OverlayManager::addUserCircle(92, 0, 0, 0, 0);
    OverlayManager::addUserLine(93, 0, 0, 0, 0, 0);
    EXPECT_EQ(g_UserRectangles[0].rect.X, 91);
    EXPECT_EQ(g_UserCircles[0].cx, 92);
    EXPECT_EQ(g_UserLines[0].x0, 93);
    EXPECT_EQ(g_nUserRectangles, 1);
    EXPECT_EQ(g_nUserCircles, 1);
    EXPECT_EQ(g_nUserLines, 1);
}

TEST_F(UserShapesTest, ClearingTheRectanglesLeavesTheOtherShapes) {
    OverlayManager::addUserRectangle(1, 1, 1, 1, 1, 1);
    OverlayManager::addUserCircle(1, 1, 1, 1, 1);
    OverlayManager::addUserLine(1, 1, 1, 1, 1, 1);

    OverlayManager::clearUserRectangles();

    EXPECT_EQ(g_nUserRectangles, 0);
    EXPECT_EQ(g_nUserCircles, 1);
    EXPECT_EQ(g_nUserLines, 1);
}

TEST_F(UserShapesTest, TheStoreHasRoomFor256OfEachKind) {
    EXPECT_EQ(MAX_USER_RECTANGLES, 256);
    EXPECT_EQ(MAX_USER_CIRCLES, 256);
    EXPECT_EQ(MAX_USER_LINES, 256);
}

} // namespace
