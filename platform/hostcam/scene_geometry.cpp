#include "platform/hostcam/scene_geometry.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include <opencv2/imgproc.hpp>

namespace hostcam {

namespace {

// About 51 degrees along the longer side: a usual fixed camera.
constexpr double kFocalPerSide = 1.05;

// What comes nearer to the camera than this many pixels' worth of depth is not drawn.
constexpr double kNearest = 1e-3;

cv::Matx33d aboutX(double degrees) {
    const double a = degrees * std::numbers::pi / 180;
    return {1, 0, 0, 0, std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a)};
}

cv::Matx33d aboutY(double degrees) {
    const double a = degrees * std::numbers::pi / 180;
    return {std::cos(a), 0, -std::sin(a), 0, 1, 0, std::sin(a), 0, std::cos(a)};
}

cv::Matx33d aboutZ(double degrees) {
    const double a = degrees * std::numbers::pi / 180;
    return {std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a), 0, 0, 0, 1};
}

/// Between two key frames: at rest at both ends.
SceneKeyFrame between(const SceneKeyFrame& a, const SceneKeyFrame& b, double seconds) {
    const double u = (seconds - a.seconds) / (b.seconds - a.seconds);
    const double w = u * u * (3 - 2 * u);
    SceneKeyFrame place = a;
    place.seconds = seconds;
    place.x += w * (b.x - a.x);
    place.y += w * (b.y - a.y);
    place.size += w * (b.size - a.size);
    place.yaw += w * (b.yaw - a.yaw);
    place.pitch += w * (b.pitch - a.pitch);
    place.roll += w * (b.roll - a.roll);
    return place;
}

} // namespace

SceneCamera::SceneCamera(cv::Size picture)
    : size(picture), focal(kFocalPerSide * std::max(picture.width, picture.height)),
      centre((picture.width - 1) / 2.0, (picture.height - 1) / 2.0) {}

cv::Point2d SceneCamera::project(const cv::Vec3d& point) const {
    return {centre.x + focal * point[0] / point[2], centre.y + focal * point[1] / point[2]};
}

SceneQuad SceneRectangle::project(const SceneCamera& camera) const {
    return {camera.project(origin), camera.project(origin + right),
            camera.project(origin + right + down), camera.project(origin + down)};
}

bool SceneRectangle::facesCamera() const {
    return right.cross(down).dot(origin) > 0;
}

bool SceneRectangle::inFront() const {
    return origin[2] > kNearest && origin[2] + right[2] > kNearest &&
           origin[2] + down[2] > kNearest && origin[2] + right[2] + down[2] > kNearest;
}

SceneRectangle ScenePose::plane(double left, double top, double rightEdge, double bottom) const {
    return {point(left, top, 0), (rightEdge - left) * right, (bottom - top) * down};
}

cv::Vec3d ScenePose::point(double x, double y, double z) const {
    return centre + x * right + y * down + z * into;
}

cv::Matx33d turnOf(double yaw, double pitch, double roll) {
    return aboutX(pitch) * aboutY(yaw) * aboutZ(roll);
}

ScenePose poseOf(const SceneKeyFrame& place, const SceneCamera& camera) {
    const double side = place.size * std::min(camera.size.width, camera.size.height);
    const double depth = camera.focal / side;
    const double px = place.x * camera.size.width - 0.5 - camera.centre.x;
    const double py = place.y * camera.size.height - 0.5 - camera.centre.y;
    const cv::Matx33d turn = turnOf(place.yaw, place.pitch, place.roll);
    return {{px / side, py / side, depth},
            turn * cv::Vec3d(1, 0, 0),
            turn * cv::Vec3d(0, 1, 0),
            turn * cv::Vec3d(0, 0, 1)};
}

SceneKeyFrame placeAt(const std::vector<SceneKeyFrame>& path, double seconds) {
    const auto next = std::upper_bound(
        path.begin(), path.end(), seconds,
        [](double value, const SceneKeyFrame& place) { return value < place.seconds; });
    if (next == path.begin()) {
        return path.front();
    }
    if (next == path.end()) {
        return path.back();
    }
    return between(*(next - 1), *next, seconds);
}

ScenePlacement placementOf(const SceneActor& actor, double seconds, const SceneCamera& camera,
                           bool wholePixels) {
    ScenePlacement placement;
    if (actor.corners) {
        std::copy(actor.corners->begin(), actor.corners->end(), placement.corners.begin());
    } else {
        placement.pose = poseOf(placeAt(actor.path, seconds), camera);
        placement.corners = placement.pose->plane(-0.5, -0.5, 0.5, 0.5).project(camera);
    }
    if (wholePixels) {
        for (cv::Point2d& p : placement.corners) {
            p = {std::round(p.x), std::round(p.y)};
        }
    }
    return placement;
}

SceneQuad grown(const SceneQuad& quad, double pixels) {
    // Each edge as a line n * p = d with its normal pointing outwards; corners are where two meet.
    std::array<cv::Point2d, 4> normals;
    std::array<double, 4> distances{};
    for (std::size_t i = 0; i < 4; ++i) {
        const cv::Point2d along = quad[(i + 1) % 4] - quad[i];
        const double length = std::max(std::hypot(along.x, along.y), 1e-9);
        normals[i] = {along.y / length, -along.x / length};
        distances[i] = normals[i].dot(quad[i]) + pixels;
    }
    SceneQuad result;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t before = (i + 3) % 4;
        const double cross = normals[before].cross(normals[i]);
        if (std::abs(cross) < 1e-9) {
            result[i] = quad[i];
            continue;
        }
        result[i] = {(distances[before] * normals[i].y - distances[i] * normals[before].y) / cross,
                     (normals[before].x * distances[i] - normals[i].x * distances[before]) / cross};
    }
    return result;
}

cv::Matx33d mapBetween(const SceneQuad& from, const SceneQuad& to) {
    std::array<cv::Point2f, 4> a;
    std::array<cv::Point2f, 4> b;
    std::copy(from.begin(), from.end(), a.begin());
    std::copy(to.begin(), to.end(), b.begin());
    return cv::getPerspectiveTransform(a.data(), b.data());
}

double twiceTheArea(const SceneQuad& quad) {
    double sum = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        sum += quad[i].cross(quad[(i + 1) % 4]);
    }
    return sum;
}

cv::Point2d mapped(const cv::Matx33d& map, const cv::Point2d& point) {
    const cv::Vec3d p = map * cv::Vec3d(point.x, point.y, 1);
    return {p[0] / p[2], p[1] / p[2]};
}

SceneQuad cornersOf(const cv::Rect2d& rect) {
    return {cv::Point2d{rect.x, rect.y},
            {rect.x + rect.width, rect.y},
            {rect.x + rect.width, rect.y + rect.height},
            {rect.x, rect.y + rect.height}};
}

cv::Rect boundsOf(const SceneQuad& quad, int margin) {
    // Far outside the picture is clamped, so that the numbers stay whole numbers.
    constexpr double kFar = 1e6;
    double left = kFar;
    double top = kFar;
    double right = -kFar;
    double bottom = -kFar;
    for (const cv::Point2d& p : quad) {
        left = std::min(left, p.x);
        top = std::min(top, p.y);
        right = std::max(right, p.x);
        bottom = std::max(bottom, p.y);
    }
    const auto whole = [&](double value) {
        return static_cast<int>(std::floor(std::clamp(value, -kFar, kFar)));
    };
    return {cv::Point{whole(left) - margin, whole(top) - margin},
            cv::Point{whole(right) + margin + 2, whole(bottom) + margin + 2}};
}

} // namespace hostcam
