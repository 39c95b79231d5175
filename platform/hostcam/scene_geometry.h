#pragma once

// The geometry of the built-in scene: one pinhole camera, places of actors in front of it, and the
// rectangles that are drawn. Plain values and functions; any thread.
//
// Picture points are in pixels, a whole number being the middle of a pixel. Points in space are in
// the camera's own axes: x to the right, y down, z into the picture.

#include <array>
#include <optional>
#include <vector>

#include <opencv2/core.hpp>

#include "platform/hostcam/scene_script.h"

namespace hostcam {

/// How far the scene's camera looks down, in degrees. What stands upright in the scene has this
/// pitch.
inline constexpr double kCameraTilt = 14.0;

/// Four points in the picture, clockwise from the upper left one.
using SceneQuad = std::array<cv::Point2d, 4>;

/// The scene's camera for one picture size.
struct SceneCamera {
    explicit SceneCamera(cv::Size picture);

    [[nodiscard]] cv::Point2d project(const cv::Vec3d& point) const;

    cv::Size size;
    double focal;       ///< pixels
    cv::Point2d centre; ///< where the optical axis meets the picture
};

/// A flat rectangle in space: origin + s * right + t * down, s and t from 0 to 1.
struct SceneRectangle {
    cv::Vec3d origin, right, down;

    [[nodiscard]] SceneQuad project(const SceneCamera& camera) const;
    /// Whether its front, from which right leads clockwise to down, can be seen.
    [[nodiscard]] bool facesCamera() const;
    /// Whether all of it lies in front of the camera.
    [[nodiscard]] bool inFront() const;
};

/// Where a marker is in space. Lengths are in multiples of its side.
struct ScenePose {
    cv::Vec3d centre;            ///< the marker's middle
    cv::Vec3d right, down, into; ///< unit vectors: in the marker's plane, and away from the viewer

    /// The rectangle of the marker's plane with these edges; the marker itself is -0.5 to 0.5.
    [[nodiscard]] SceneRectangle plane(double left, double top, double rightEdge,
                                       double bottom) const;
    [[nodiscard]] cv::Vec3d point(double x, double y, double z) const;
};

/// The rotation that these angles, in degrees, mean for an actor.
[[nodiscard]] cv::Matx33d turnOf(double yaw, double pitch, double roll);

/// The pose at a key frame.
[[nodiscard]] ScenePose poseOf(const SceneKeyFrame& place, const SceneCamera& camera);

/// Where an actor on this path is at this time. The path holds at least one key frame.
[[nodiscard]] SceneKeyFrame placeAt(const std::vector<SceneKeyFrame>& path, double seconds);

/// An actor's true corners, and its pose unless the script gives the corners themselves.
struct ScenePlacement {
    SceneQuad corners;
    std::optional<ScenePose> pose;
};

/// Where an actor is at this time.
/// @param wholePixels every corner is moved to the middle of the nearest pixel
[[nodiscard]] ScenePlacement placementOf(const SceneActor& actor, double seconds,
                                         const SceneCamera& camera, bool wholePixels);

/// The quadrilateral with every edge moved outwards by this many pixels.
[[nodiscard]] SceneQuad grown(const SceneQuad& quad, double pixels);

/// The projective map that takes the first four points to the second.
[[nodiscard]] cv::Matx33d mapBetween(const SceneQuad& from, const SceneQuad& to);

/// Twice the area of a quadrilateral; below 0 when its points run anticlockwise, as those of a
/// marker do that is seen from behind.
[[nodiscard]] double twiceTheArea(const SceneQuad& quad);

[[nodiscard]] cv::Point2d mapped(const cv::Matx33d& map, const cv::Point2d& point);

/// The four corners of a rectangle, clockwise from the upper left one.
[[nodiscard]] SceneQuad cornersOf(const cv::Rect2d& rect);

/// The pixels that a quadrilateral can touch, with a margin around it.
[[nodiscard]] cv::Rect boundsOf(const SceneQuad& quad, int margin);

} // namespace hostcam
