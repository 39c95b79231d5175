// The scripts, the movement between key frames, and the refusal of wrong options.

#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/scene.h"
#include "platform/hostcam/scene_geometry.h"

namespace {

using hostcam::gridScript;
using hostcam::grown;
using hostcam::placeAt;
using hostcam::poseOf;
using hostcam::Scene;
using hostcam::SceneActor;
using hostcam::SceneCamera;
using hostcam::SceneKeyFrame;
using hostcam::SceneMarker;
using hostcam::SceneOptions;
using hostcam::SceneQuad;
using hostcam::stillScript;
using hostcam::storyScript;
using testing::HasSubstr;

std::vector<int> idsUpTo(int count) {
    std::vector<int> ids(static_cast<std::size_t>(count));
    std::iota(ids.begin(), ids.end(), 0);
    return ids;
}

/// What the constructor says about these options; empty when it accepts them.
std::string refusalOf(const SceneOptions& options) {
    try {
        const Scene scene(options);
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
    return "";
}

SceneOptions withPath(std::vector<SceneKeyFrame> path) {
    SceneOptions options;
    SceneActor actor;
    actor.id = 3;
    actor.path = std::move(path);
    options.script = {10, {actor}};
    return options;
}

TEST(SceneOptionsTest, AWrongOptionIsRefusedByName) {
    SceneOptions options;
    EXPECT_EQ(refusalOf(options), "");
    options.dictionary = "8x8";
    EXPECT_THAT(refusalOf(options), HasSubstr("\"8x8\" is unknown"));
    options = {};
    options.script = storyScript({7, 100});
    EXPECT_EQ(refusalOf(options),
              "scene: the dictionary 5x5 has no marker 100: allowed are 0 to 99");
    options.script = storyScript({-1});
    EXPECT_THAT(refusalOf(options), HasSubstr("no marker -1"));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double rate : {0.0, -25.0, nan, 1e9}) {
        options = {};
        options.framerate = rate;
        EXPECT_THAT(refusalOf(options), HasSubstr("the frame rate")) << rate;
    }
    for (const double value : {-0.1, 31.0, nan}) {
        options = {};
        options.noise = value;
        EXPECT_THAT(refusalOf(options), HasSubstr("the noise")) << value;
        options = {};
        options.blur = value;
        EXPECT_THAT(refusalOf(options), HasSubstr("the blur")) << value;
        options = {};
        options.script.seconds = value < 0 ? value : 1e9;
        EXPECT_THAT(refusalOf(options), HasSubstr("the script lasts")) << value;
    }
}

TEST(SceneOptionsTest, AWrongActorIsRefusedByItsId) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(refusalOf(withPath({{}})), "");
    EXPECT_THAT(refusalOf(withPath({})), HasSubstr("id 3 has neither path nor corners"));
    EXPECT_THAT(refusalOf(withPath({{.size = 0}})), HasSubstr("id 3 has the size"));
    EXPECT_THAT(refusalOf(withPath({{.size = 1.5}})), HasSubstr("id 3 has the size"));
    EXPECT_THAT(refusalOf(withPath({{.x = nan}})), HasSubstr("place out of range"));
    EXPECT_THAT(refusalOf(withPath({{.y = 1e9}})), HasSubstr("place out of range"));
    EXPECT_THAT(refusalOf(withPath({{.yaw = nan}})), HasSubstr("place out of range"));
    EXPECT_THAT(refusalOf(withPath({{.seconds = 2}, {.seconds = 1}})), HasSubstr("out of order"));
    EXPECT_THAT(refusalOf(withPath({{.seconds = 2}, {.seconds = 2}})), HasSubstr("out of order"));
    SceneOptions options;
    options.script = stillScript({{3, {{{0, 0}, {0, 9}, {9, 9}, {9, 0}}}}}); // anticlockwise
    EXPECT_THAT(refusalOf(options), HasSubstr("marker 3 are no convex quadrilateral"));
    options.script = stillScript({{3, {{{0, 0}, {90, 0}, {20, 20}, {0, 90}}}}});
    EXPECT_THAT(refusalOf(options), HasSubstr("marker 3 are no convex quadrilateral"));
}

TEST(SceneGeometryTest, AMarkerThatFacesTheCameraIsASquareOfItsSizeAtItsPlace) {
    const SceneCamera camera({1920, 1080});
    const SceneQuad quad = poseOf({.x = 0.3, .y = 0.6, .size = 0.1}, camera)
                               .plane(-0.5, -0.5, 0.5, 0.5)
                               .project(camera);
    // A picture of 1920 pixels reaches from -0.5 to 1919.5: the middle of a pixel is a whole
    // number.
    EXPECT_NEAR(quad[0].x, 0.3 * 1920 - 0.5 - 54, 1e-6);
    EXPECT_NEAR(quad[0].y, 0.6 * 1080 - 0.5 - 54, 1e-6);
    EXPECT_NEAR(quad[2].x, 0.3 * 1920 - 0.5 + 54, 1e-6);
    EXPECT_NEAR(quad[2].y, 0.6 * 1080 - 0.5 + 54, 1e-6);
}

TEST(SceneGeometryTest, AnglesTurnTheMarkerAsDocumented) {
    const SceneCamera camera({1920, 1080});
    const auto at = [&](const SceneKeyFrame& place) {
        return poseOf(place, camera).plane(-0.5, -0.5, 0.5, 0.5).project(camera);
    };
    const SceneQuad yawed = at({.yaw = 30});
    EXPECT_GT(cv::norm(yawed[3] - yawed[0]), cv::norm(yawed[2] - yawed[1]) + 1) << "left is nearer";
    const SceneQuad pitched = at({.pitch = 30});
    EXPECT_GT(cv::norm(pitched[1] - pitched[0]), cv::norm(pitched[2] - pitched[3]) + 1)
        << "the upper side is nearer";
    const SceneQuad rolled = at({.roll = 30});
    EXPECT_GT(rolled[1].y, rolled[0].y + 1) << "clockwise";
    EXPECT_NEAR(cv::norm(rolled[1] - rolled[0]), 108, 1e-6);
}

TEST(SceneGeometryTest, BetweenKeyFramesAnActorMovesSmoothlyFromRestToRest) {
    const std::vector<SceneKeyFrame> path{{.seconds = 1, .x = 0.2}, {.seconds = 3, .x = 0.6}};
    EXPECT_EQ(placeAt(path, 0).x, 0.2);
    EXPECT_EQ(placeAt(path, 1).x, 0.2);
    EXPECT_NEAR(placeAt(path, 2).x, 0.4, 1e-12);
    EXPECT_EQ(placeAt(path, 3).x, 0.6);
    EXPECT_EQ(placeAt(path, 9).x, 0.6);
    EXPECT_LT(placeAt(path, 1.1).x, 0.2 + 0.4 * 0.05 / 2) << "slower than on average";
    double before = 0;
    for (double seconds = 1; seconds <= 3; seconds += 0.1) {
        EXPECT_GE(placeAt(path, seconds).x, before);
        before = placeAt(path, seconds).x;
    }
}

TEST(SceneGeometryTest, AGrownQuadrilateralHasEveryEdgeMovedOutwards) {
    const SceneQuad quad{cv::Point2d{10, 10}, {20, 10}, {20, 30}, {10, 30}};
    const SceneQuad larger = grown(quad, 2);
    EXPECT_EQ(larger[0], cv::Point2d(8, 8));
    EXPECT_EQ(larger[1], cv::Point2d(22, 8));
    EXPECT_EQ(larger[2], cv::Point2d(22, 32));
    EXPECT_EQ(larger[3], cv::Point2d(8, 32));
}

/// Whether two markers come so near that the white around them overlaps.
bool tooNear(const SceneMarker& a, const SceneMarker& b) {
    const auto boxOf = [](const SceneMarker& marker) {
        cv::Rect2f box = cv::Rect2f(marker.corners[0], marker.corners[2]) |
                         cv::Rect2f(marker.corners[1], marker.corners[3]);
        const float margin = 0.1F * box.width;
        return cv::Rect2f(box.tl() - cv::Point2f(margin, margin),
                          box.br() + cv::Point2f(margin, margin));
    };
    return (boxOf(a) & boxOf(b)).area() > 0;
}

void expectRoomForAll(const Scene& scene, unsigned width, unsigned height, std::size_t count) {
    const auto markers = scene.markersAt(225, width, height);
    EXPECT_EQ(markers.size(), count);
    for (std::size_t i = 0; i < markers.size(); ++i) {
        EXPECT_TRUE(markers[i].whole || i + 1 == markers.size()) << markers[i].id;
        for (std::size_t k = 0; k < i; ++k) {
            EXPECT_FALSE(tooNear(markers[i], markers[k]))
                << markers[i].id << " and " << markers[k].id << " of " << count;
        }
    }
}

TEST(GridScriptTest, AnyNumberOfMarkersHasRoomInAnyPicture) {
    for (const int count : {0, 1, 2, 4, 5, 20, 50}) {
        SceneOptions options;
        options.script = gridScript(idsUpTo(count));
        const Scene scene(options); // making one takes its time
        expectRoomForAll(scene, 1920, 1080, static_cast<std::size_t>(count));
        expectRoomForAll(scene, 1080, 1920, static_cast<std::size_t>(count));
        expectRoomForAll(scene, 720, 720, static_cast<std::size_t>(count));
    }
}

TEST(StoryScriptTest, AnyNumberOfMarkersHasRoomInAnyPicture) {
    for (const int count : {0, 1, 2, 3, 4, 9, 20}) {
        SceneOptions options;
        options.script = storyScript(idsUpTo(count));
        const Scene scene(options); // making one takes its time
        expectRoomForAll(scene, 1920, 1080, static_cast<std::size_t>(count));
        expectRoomForAll(scene, 1080, 1920, static_cast<std::size_t>(count));
        expectRoomForAll(scene, 640, 480, static_cast<std::size_t>(count));
    }
}

TEST(SceneOptionsTest, AScriptWithoutLengthEndsWithItsLastPicture) {
    SceneOptions options = withPath({{.seconds = 0, .x = 0.2}, {.seconds = 2, .x = 0.8}});
    options.script.seconds = 0;
    const Scene scene(options);
    EXPECT_NEAR(scene.markersAt(0, 1000, 500)[0].corners[0].x, 200 - 25, 2);
    EXPECT_NEAR(scene.markersAt(50, 1000, 500)[0].corners[0].x, 800 - 25, 2);
    EXPECT_EQ(scene.markersAt(50, 1000, 500)[0].corners,
              scene.markersAt(1000000, 1000, 500)[0].corners);
}

TEST(SceneOptionsTest, AMarkerThatTurnsItsBackIsNotThere) {
    const Scene scene(withPath({{.yaw = 180}}));
    EXPECT_TRUE(scene.markersAt(0, 640, 360).empty());
    std::vector<std::uint8_t> bytes(640UL * 540);
    scene.render(0, 640, 360, bytes.data(), 640);
}

} // namespace
