#include "platform/hostcam/scene_texture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numbers>
#include <optional>

#include <opencv2/imgproc.hpp>

namespace hostcam {

namespace {

constexpr int kSmallestLevel = 8;

/// The part of the canvas that a quadrilateral can touch, as a canvas of its own.
SceneCanvas clipped(const SceneCanvas& canvas, const SceneQuad& quad, int margin) {
    const cv::Rect part = boundsOf(quad, margin) & canvas.area();
    if (part.empty()) {
        return {};
    }
    return {canvas.pixels(part - canvas.origin), part.tl()};
}

/// 255 inside the polygon, 0 outside, smooth along the edge.
cv::Mat maskOf(const std::vector<cv::Point2d>& polygon, cv::Size size, cv::Point2d origin,
               double scale) {
    constexpr int kShift = 4;
    constexpr double kUnit = 1 << kShift;
    constexpr double kFar = 30000; // beyond, fixed-point numbers overflow
    std::vector<cv::Point> points;
    points.reserve(polygon.size());
    for (const cv::Point2d& p : polygon) {
        const cv::Point2d q = (p - origin) * scale;
        points.emplace_back(cvRound(std::clamp(q.x, -kFar, kFar) * kUnit),
                            cvRound(std::clamp(q.y, -kFar, kFar) * kUnit));
    }
    cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
    cv::fillConvexPoly(mask, points, cv::Scalar(255), cv::LINE_AA, kShift);
    return mask;
}

/// target = source where the mask is 255, unchanged where it is 0, a mixture between.
void blend(cv::Mat& target, const cv::Mat& source, const cv::Mat& mask) {
    for (int y = 0; y < target.rows; ++y) {
        auto* to = target.ptr<std::uint8_t>(y);
        const auto* from = source.ptr<std::uint8_t>(y);
        const auto* share = mask.ptr<std::uint8_t>(y);
        for (int x = 0; x < target.cols; ++x) {
            const int a = share[x];
            if (a == 0) {
                continue;
            }
            if (a == 255) {
                std::memcpy(to + 3 * x, from + 3 * x, 3);
                continue;
            }
            for (int c = 3 * x; c < 3 * x + 3; ++c) {
                to[c] = static_cast<std::uint8_t>((to[c] * (255 - a) + from[c] * a + 127) / 255);
            }
        }
    }
}

/// The unit square's corners in the picture; nothing when a part of it lies behind the camera.
std::optional<SceneQuad> mappedSquare(const cv::Matx33d& toPicture) {
    SceneQuad quad = cornersOf({0, 0, 1, 1});
    for (cv::Point2d& p : quad) {
        const cv::Vec3d q = toPicture * cv::Vec3d(p.x, p.y, 1);
        if (!(q[2] > 1e-6)) {
            return std::nullopt;
        }
        p = {q[0] / q[2], q[1] / q[2]};
    }
    return quad;
}

} // namespace

SceneTexture::SceneTexture(const cv::Mat& rgb) : m_levels{rgb} {
    // Every second level is half of the one before the last: halving is by far the fastest.
    for (std::size_t step = 1;; ++step) {
        const double scale = step == 1 ? 1 / std::numbers::sqrt2 : 0.5;
        const cv::Mat& from = step == 1 ? m_levels[0] : m_levels[step - 2];
        const cv::Size smaller(cvRound(from.cols * scale), cvRound(from.rows * scale));
        if (std::min(smaller.width, smaller.height) < kSmallestLevel) {
            break;
        }
        cv::Mat level;
        cv::resize(from, level, smaller, 0, 0, cv::INTER_AREA);
        m_levels.push_back(level);
    }
}

const cv::Mat& SceneTexture::levelFor(double pixels) const {
    // One and a third texels a pixel at most: more alias, fewer blur.
    const double texels = static_cast<double>(size().area());
    const double steps = std::log2(std::max(texels / std::max(pixels, 1.0), 1.0)) - 0.8;
    const auto level = static_cast<std::size_t>(std::max(0.0, std::ceil(steps)));
    return m_levels[std::min(level, m_levels.size() - 1)];
}

void drawTexture(const SceneCanvas& canvas, const SceneTexture& texture,
                 const cv::Matx33d& toPicture, double shade, cv::Size repeats) {
    const std::optional<SceneQuad> square = mappedSquare(toPicture);
    if (!square) {
        return;
    }
    const SceneQuad& quad = *square;
    SceneCanvas part = clipped(canvas, quad, 1);
    if (part.pixels.empty()) {
        return;
    }
    const cv::Mat& level = texture.levelFor(twiceTheArea(quad) / 2 / repeats.area());
    // Texel (i, j) has its middle at ((i + 0.5) / columns, (j + 0.5) / rows).
    const double w = static_cast<double>(repeats.width) * level.cols;
    const double h = static_cast<double>(repeats.height) * level.rows;
    const cv::Matx33d fromTexels(1 / w, 0, 0.5 / w, 0, 1 / h, 0.5 / h, 0, 0, 1);
    const cv::Matx33d toPart(1, 0, -part.origin.x, 0, 1, -part.origin.y, 0, 0, 1);
    cv::Mat surface;
    cv::warpPerspective(level, surface, toPart * toPicture * fromTexels, part.pixels.size(),
                        cv::INTER_LINEAR,
                        repeats.area() > 1 ? cv::BORDER_REFLECT : cv::BORDER_REPLICATE);
    if (shade != 1) {
        surface.convertTo(surface, -1, shade);
    }
    blend(part.pixels, surface,
          maskOf({quad.begin(), quad.end()}, part.pixels.size(), part.origin, 1));
}

void drawRectangle(const SceneCanvas& canvas, const SceneCamera& camera,
                   const SceneRectangle& rectangle, const SceneTexture& texture, double shade,
                   cv::Size repeats) {
    if (rectangle.facesCamera() && rectangle.inFront()) {
        drawTexture(canvas, texture, mapBetween(cornersOf({0, 0, 1, 1}), rectangle.project(camera)),
                    shade, repeats);
    }
}

void drawBox(const SceneCanvas& canvas, const SceneCamera& camera, const SceneBox& box,
             const SceneTexture* front, const SceneTexture& side) {
    const ScenePose& pose = box.pose;
    const cv::Vec3d across = (box.right - box.left) * pose.right;
    const cv::Vec3d down = (box.bottom - box.top) * pose.down;
    const cv::Vec3d into = box.depth * pose.into;
    // The light comes from above and from the left.
    drawRectangle(canvas, camera, {pose.point(box.left, box.top, box.depth), across, -into}, side,
                  1.14);
    drawRectangle(canvas, camera, {pose.point(box.left, box.top, box.depth), -into, down}, side,
                  0.86);
    drawRectangle(canvas, camera, {pose.point(box.right, box.top, 0), into, down}, side, 0.66);
    if (front != nullptr) {
        drawRectangle(canvas, camera, pose.plane(box.left, box.top, box.right, box.bottom), *front,
                      1);
    }
}

void drawBoxShadow(const SceneCanvas& canvas, const SceneCamera& camera, const SceneBox& box) {
    const double w = box.right - box.left;
    const ScenePose& pose = box.pose;
    const SceneRectangle footprint{pose.point(box.left - 0.04 * w, box.bottom, -0.07 * w),
                                   1.34 * w * pose.right, (box.depth + 0.12 * w) * pose.into};
    if (!footprint.inFront()) {
        return;
    }
    const SceneQuad quad = footprint.project(camera);
    drawShadow(canvas, {quad.begin(), quad.end()}, 0.5, 0.035 * cv::norm(quad[1] - quad[0]) + 0.3);
}

void drawShadow(const SceneCanvas& canvas, const std::vector<cv::Point2d>& polygon, double strength,
                double softness) {
    const cv::Rect2f bounds =
        cv::boundingRect(std::vector<cv::Point2f>(polygon.begin(), polygon.end()));
    const int reach = static_cast<int>(std::ceil(3 * softness));
    SceneCanvas part = clipped(canvas, cornersOf(bounds), reach);
    if (part.pixels.empty()) {
        return;
    }
    // A soft edge needs no resolution: the mask is drawn and blurred small, with a margin from
    // which the edge reaches into the part, on a grid that is the same for neighbouring parts.
    const int shrink = std::max(1, static_cast<int>(softness / 2));
    const auto onGrid = [shrink](int at) { return at - ((at % shrink) + shrink) % shrink; };
    const cv::Point origin(onGrid(part.origin.x - reach), onGrid(part.origin.y - reach));
    const cv::Point end = part.area().br() + cv::Point(reach, reach);
    const cv::Size small((end.x - origin.x) / shrink + 2, (end.y - origin.y) / shrink + 2);
    cv::Mat mask = maskOf(polygon, small, origin, 1.0 / shrink);
    cv::GaussianBlur(mask, mask, {}, std::max(softness / shrink, 0.3));
    cv::Mat share;
    const cv::Matx23d enlarge(shrink, 0, origin.x - part.origin.x, 0, shrink,
                              origin.y - part.origin.y);
    cv::warpAffine(mask, share, enlarge, part.pixels.size(), cv::INTER_LINEAR,
                   cv::BORDER_REPLICATE);
    const int most = cvRound(256 * std::clamp(strength, 0.0, 1.0));
    for (int y = 0; y < share.rows; ++y) {
        auto* to = part.pixels.ptr<std::uint8_t>(y);
        const auto* a = share.ptr<std::uint8_t>(y);
        for (int x = 0; x < share.cols; ++x) {
            if (a[x] == 0) {
                continue;
            }
            const int keep = 65536 - most * a[x] - most * a[x] / 255;
            for (int c = 3 * x; c < 3 * x + 3; ++c) {
                to[c] = static_cast<std::uint8_t>((to[c] * keep + 32768) >> 16);
            }
        }
    }
}

cv::Mat clouds(cv::RNG& random, cv::Size size, int coarse, int octaves) {
    cv::Mat sum = cv::Mat::zeros(size, CV_32FC1);
    const int shorter = std::min(size.width, size.height);
    double weight = 1;
    double variance = 0;
    for (int i = 0; i < octaves; ++i) {
        const int cells = std::min(coarse << i, shorter);
        cv::Mat field(std::max(2, cells * size.height / shorter),
                      std::max(2, cells * size.width / shorter), CV_32FC1);
        random.fill(field, cv::RNG::NORMAL, 0, 1);
        cv::Mat smooth;
        cv::resize(field, smooth, size, 0, 0, cv::INTER_CUBIC);
        sum += weight * smooth;
        variance += weight * weight;
        weight /= 2;
    }
    return sum / std::sqrt(variance);
}

cv::Mat mottled(cv::RNG& random, cv::Size size, const cv::Scalar& rgb, double clouding,
                double grain, int coarse) {
    cv::Mat fine(size, CV_32FC1);
    random.fill(fine, cv::RNG::NORMAL, 0, grain);
    const cv::Mat variation = clouding * clouds(random, size, coarse, 6) + fine;
    std::vector<cv::Mat> channels(3);
    for (int c = 0; c < 3; ++c) {
        // Dirt takes a little more of the blue, as it does.
        channels[static_cast<std::size_t>(c)] = rgb[c] + (1 + 0.08 * c) * variation;
    }
    cv::Mat picture;
    cv::merge(channels, picture);
    picture.convertTo(picture, CV_8UC3);
    return picture;
}

} // namespace hostcam
