#include "platform/hostcam/scene_backdrop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include <opencv2/imgproc.hpp>

namespace hostcam {

namespace {

// The room, in metres, seen from the camera: x to the right, height above the floor, z away from
// it.
constexpr double kCameraHeight = 2.2;
constexpr double kWall = 8.0;

cv::Vec3d inRoom(double x, double height, double z) {
    return turnOf(0, kCameraTilt, 0) * cv::Vec3d(x, kCameraHeight - height, z);
}

/// An upright rectangle that faces the camera's side of the room.
SceneRectangle upright(double x, double height, double z, double width, double tall) {
    const cv::Vec3d origin = inRoom(x, height + tall, z);
    return {origin, inRoom(x + width, height + tall, z) - origin, inRoom(x, height, z) - origin};
}

/// A rectangle on the floor; depth reaches away from the camera.
SceneRectangle onFloor(double x, double z, double width, double depth) {
    const cv::Vec3d origin = inRoom(x, 0, z + depth);
    return {origin, inRoom(x + width, 0, z + depth) - origin, inRoom(x, 0, z) - origin};
}

/// A box that stands on something of this height.
SceneBox boxAt(double x, double height, double z, cv::Vec3d size, double yaw) {
    const cv::Matx33d turn = turnOf(yaw, kCameraTilt, 0);
    return {{inRoom(x, height, z), turn * cv::Vec3d(1, 0, 0), turn * cv::Vec3d(0, 1, 0),
             turn * cv::Vec3d(0, 0, 1)},
            -size[0] / 2,
            -size[1],
            size[0] / 2,
            0,
            size[2]};
}

/// Plastered wall with the faint courses of the blocks below.
cv::Mat wallTexels(cv::RNG& random) {
    cv::Mat wall = mottled(random, {768, 768}, {196, 194, 184}, 5, 2);
    for (int row = 0; row < 8; ++row) {
        const int y = row * 96;
        cv::Mat bed = wall(cv::Rect(0, y, 768, 3));
        bed.convertTo(bed, -1, 0.94);
        for (int x = (row % 2) * 96; x < 768; x += 192) {
            cv::Mat joint = wall(cv::Rect(x, y, 3, 96));
            joint.convertTo(joint, -1, 0.95);
        }
    }
    return wall;
}

/// Concrete slabs, scuffed, with a joint along two sides.
cv::Mat floorTexels(cv::RNG& random) {
    cv::Mat floor = mottled(random, {1024, 1024}, {146, 143, 136}, 8, 4);
    cv::Mat scuffs = cv::Mat::zeros(floor.size(), CV_8UC1);
    for (int i = 0; i < 12; ++i) {
        const cv::Point from(random.uniform(0, 1024), random.uniform(0, 1024));
        const cv::Point to = from + cv::Point(random.uniform(-120, 120), random.uniform(-50, 50));
        cv::line(scuffs, from, to, cv::Scalar(14), random.uniform(1, 3), cv::LINE_AA);
    }
    cv::GaussianBlur(scuffs, scuffs, {}, 1.2);
    cv::cvtColor(scuffs, scuffs, cv::COLOR_GRAY2RGB);
    floor -= scuffs;
    for (const cv::Rect joint : {cv::Rect(0, 0, 1024, 4), cv::Rect(0, 0, 4, 1024)}) {
        cv::Mat line = floor(joint);
        line.convertTo(line, -1, 0.6);
    }
    return floor;
}

/// The roller door's curved slats: bright above, dark below.
cv::Mat slatTexels(cv::RNG& random) {
    constexpr int kSlats = 26;
    cv::Mat door = mottled(random, {512, kSlats * 24}, {158, 164, 170}, 4, 1.5);
    for (int y = 0; y < door.rows; ++y) {
        const double phase = (y % 24) / 24.0;
        cv::Mat row = door.row(y);
        row.convertTo(row, -1, 1.1 - 0.3 * phase * phase - (y % 24 > 21 ? 0.25 : 0));
    }
    return door;
}

cv::Mat hazardTexels(cv::RNG& random) {
    cv::Mat stripes = mottled(random, {128, 512}, {208, 172, 40}, 6, 3);
    const cv::Mat dark = mottled(random, {128, 512}, {52, 50, 48}, 5, 3);
    cv::Mat mask = cv::Mat::zeros(stripes.size(), CV_8UC1);
    for (int y = -128; y < 512; y += 128) {
        cv::fillConvexPoly(
            mask, std::vector<cv::Point>{{0, y + 128}, {128, y}, {128, y + 64}, {0, y + 192}},
            cv::Scalar(255));
    }
    dark.copyTo(stripes, mask);
    return stripes;
}

/// A green sign with a white figure of no meaning.
cv::Mat signTexels(cv::RNG& random) {
    cv::Mat sign = mottled(random, {256, 128}, {38, 122, 84}, 3, 1);
    const cv::Scalar white(214, 222, 216);
    cv::circle(sign, {80, 34}, 12, white, cv::FILLED, cv::LINE_AA);
    cv::line(sign, {78, 46}, {66, 80}, white, 10, cv::LINE_AA);
    cv::line(sign, {66, 80}, {84, 108}, white, 8, cv::LINE_AA);
    cv::line(sign, {66, 80}, {44, 100}, white, 8, cv::LINE_AA);
    cv::arrowedLine(sign, {130, 64}, {220, 64}, white, 10, cv::LINE_AA, 0, 0.35);
    return sign;
}

/// Floor paint, worn through in places.
cv::Mat lineTexels(cv::RNG& random) {
    cv::Mat paint = mottled(random, {1024, 32}, {196, 170, 66}, 7, 3);
    const cv::Mat worn = clouds(random, paint.size(), 2, 5) > 1.1;
    paint.setTo(cv::Scalar(152, 146, 128), worn);
    return paint;
}

} // namespace

SceneBackdrop::SceneBackdrop(std::uint32_t seed) : m_seed(seed) {
    cv::RNG random(seed * 0x9e3779b97f4a7c15ULL + 1);
    m_wall = SceneTexture(wallTexels(random));
    m_dado = SceneTexture(mottled(random, {1024, 256}, {124, 138, 136}, 5, 2));
    m_floor = SceneTexture(floorTexels(random));
    m_steel = SceneTexture(mottled(random, {128, 512}, {104, 108, 112}, 5, 2));
    m_slats = SceneTexture(slatTexels(random));
    m_beam = SceneTexture(mottled(random, {512, 32}, {196, 106, 48}, 6, 2));
    m_upright = SceneTexture(mottled(random, {32, 512}, {56, 84, 128}, 6, 2));
    m_hazard = SceneTexture(hazardTexels(random));
    m_line = SceneTexture(lineTexels(random));
    m_red = SceneTexture(mottled(random, {64, 128}, {164, 42, 38}, 6, 2));
    m_sign = SceneTexture(signTexels(random));
    m_wood = SceneTexture(mottled(random, {256, 64}, {168, 138, 98}, 9, 4));
    m_crate = SceneTexture(crateSide(random, {320, 320}, true));
    m_plainCrate = SceneTexture(cardboard(random, {256, 256}));
    m_darkCrate = SceneTexture(mottled(random, {256, 256}, {92, 100, 108}, 6, 2));
}

void SceneBackdrop::paint(const SceneCanvas& canvas, const SceneCamera& camera) const {
    cv::Mat pixels = canvas.pixels;
    pixels.setTo(cv::Scalar(120, 118, 112));
    // Each part draws its choices from the same numbers at every picture size, in every strip.
    cv::RNG random(m_seed * 0x9e3779b97f4a7c15ULL + 2);
    paintRoom(canvas, camera);
    paintStains(canvas, camera, random);
    paintDoor(canvas, camera);
    paintRack(canvas, camera, random);
    paintCrates(canvas, camera, random);
}

void SceneBackdrop::paintRoom(const SceneCanvas& canvas, const SceneCamera& camera) const {
    // Rows of slabs from the wall towards the camera. The last one ends below the picture.
    constexpr double kSlab = 2.6;
    for (int row = 0; row < 3; ++row) {
        const double z = std::max(kWall - (row + 1) * kSlab, 0.4);
        const SceneRectangle slabs =
            onFloor(-10.4 - 0.7 * row, z, 8 * kSlab, kWall - row * kSlab - z);
        drawRectangle(canvas, camera, slabs, m_floor, 1 - 0.015 * row, {8, 1});
    }
    for (const auto& [x, z, width, depth] :
         {std::array<double, 4>{-10, 5.15, 20, 0.09}, std::array<double, 4>{-10, 3.1, 20, 0.09}}) {
        drawRectangle(canvas, camera, onFloor(x, z, width, depth), m_line, 1);
    }
    drawRectangle(canvas, camera, upright(-9.6, 0.0, kWall, 19.2, 6.4), m_wall, 1, {6, 2});
    drawRectangle(canvas, camera, upright(-9.6, 0.0, kWall, 19.2, 1.12), m_dado, 1, {4, 1});
    drawRectangle(canvas, camera, upright(-9.6, 0.0, kWall, 19.2, 0.12), m_steel, 0.7, {4, 1});
    const SceneQuad foot = onFloor(-9, kWall - 0.3, 18, 0.3).project(camera);
    drawShadow(canvas, {foot.begin(), foot.end()}, 0.35, 0.006 * camera.size.width);
}

/// Where something was spilled long ago.
void SceneBackdrop::paintStains(const SceneCanvas& canvas, const SceneCamera& camera,
                                cv::RNG& random) const {
    constexpr int kStains = 16;
    constexpr int kPoints = 12;
    for (int i = 0; i < kStains; ++i) {
        const double x = random.uniform(-3.5, 3.5);
        const double z = random.uniform(2.6, 7.4);
        const double radius = random.uniform(0.04, 0.3);
        const double strength = random.uniform(0.08, 0.3);
        std::vector<cv::Point2d> outline;
        for (int k = 0; k < kPoints; ++k) {
            const double angle = 2 * std::numbers::pi * k / kPoints;
            outline.push_back(camera.project(
                inRoom(x + radius * std::cos(angle), 0, z + 0.6 * radius * std::sin(angle))));
        }
        drawShadow(canvas, outline, strength, 0.12 * radius * camera.focal / z);
    }
}

void SceneBackdrop::paintDoor(const SceneCanvas& canvas, const SceneCamera& camera) const {
    drawRectangle(canvas, camera, upright(1.0, 0, kWall, 2.7, 2.75), m_steel, 0.75, {2, 1});
    drawRectangle(canvas, camera, upright(1.12, 0, kWall, 2.46, 2.6), m_slats, 1);
    drawRectangle(canvas, camera, upright(1.12, 0, kWall, 2.46, 0.1), m_steel, 0.55);
    for (const double x : {0.84, 3.7}) {
        drawRectangle(canvas, camera, upright(x, 0, kWall, 0.16, 1.0), m_hazard, 1);
    }
    drawRectangle(canvas, camera, upright(0.1, 1.72, kWall, 0.5, 0.25), m_sign, 1);
    const SceneBox cabinet = boxAt(0.35, 0.75, kWall - 0.16, {0.3, 0.6, 0.16}, 0);
    drawBox(canvas, camera, cabinet, &m_red, m_red);
    drawRectangle(canvas, camera, upright(-1.0, 0, kWall - 0.4, 0.26, 6), m_wall, 0.86);
    drawRectangle(canvas, camera, upright(-1.0, 0, kWall - 0.4, 0.26, 1.05), m_hazard, 0.95);
    drawRectangle(canvas, camera, upright(-0.74, 0, kWall - 0.4, 0.02, 6), m_steel, 0.8);
}

void SceneBackdrop::paintRack(const SceneCanvas& canvas, const SceneCamera& camera,
                              cv::RNG& random) const {
    constexpr double kLeft = -4.6;
    constexpr double kWidth = 2.4;
    constexpr double kFront = 6.9;
    constexpr double kDepth = 0.8;
    for (const double shelf : {0.12, 0.95, 1.75, 2.6}) {
        drawRectangle(canvas, camera, upright(kLeft, shelf + 0.04, kFront + kDepth, kWidth, 0.75),
                      m_steel, 0.5, {2, 1});
        drawBox(canvas, camera,
                boxAt(kLeft + kWidth / 2, shelf - 0.04, kFront, {kWidth, 0.04, kDepth}, 0), nullptr,
                m_wood);
        for (double x = kLeft + 0.1; x < kLeft + kWidth - 0.3;) {
            const double width = random.uniform(0.28, 0.6);
            const double tall = random.uniform(0.25, 0.62);
            const double gap = random.uniform(0.02, 0.16);
            const int kind = random.uniform(0, 4);
            const double yaw = random.uniform(-6.0, 6.0);
            if (x + width < kLeft + kWidth - 0.06 && random.uniform(0, 8) != 0) {
                const SceneTexture& side =
                    kind == 0 ? m_darkCrate : (kind == 1 ? m_crate : m_plainCrate);
                drawBox(canvas, camera,
                        boxAt(x + width / 2, shelf, kFront + random.uniform(0.04, 0.2),
                              {width, tall, 0.5}, yaw),
                        &side, side);
            }
            x += width + gap;
        }
        drawRectangle(canvas, camera, upright(kLeft, shelf - 0.1, kFront, kWidth, 0.1), m_beam, 1,
                      {2, 1});
    }
    for (const double x : {kLeft, kLeft + kWidth / 2, kLeft + kWidth}) {
        drawRectangle(canvas, camera, upright(x - 0.04, 0, kFront - 0.01, 0.08, 3.6), m_upright, 1);
    }
    const SceneQuad foot = onFloor(kLeft, kFront - 0.05, kWidth, 0.4).project(camera);
    drawShadow(canvas, {foot.begin(), foot.end()}, 0.3, 0.008 * camera.size.width);
}

void SceneBackdrop::paintCrates(const SceneCanvas& canvas, const SceneCamera& camera,
                                cv::RNG& random) const {
    // A pallet with crates in front of the door, far ones first.
    const SceneBox pallet = boxAt(2.75, 0, 6.5, {1.25, 0.14, 0.9}, -9);
    drawBoxShadow(canvas, camera, pallet);
    drawBox(canvas, camera, pallet, &m_wood, m_wood);
    for (const auto& [x, height, z, width, tall] :
         {std::array<double, 5>{2.46, 0.14, 6.72, 0.58, 0.46},
          std::array<double, 5>{3.06, 0.14, 6.62, 0.56, 0.5},
          std::array<double, 5>{2.6, 0.6, 6.74, 0.5, 0.4}}) {
        drawBox(canvas, camera,
                boxAt(x, height, z, {width, tall, 0.55}, -9 + random.uniform(-5.0, 5.0)), &m_crate,
                m_plainCrate);
    }
    // Single ones that somebody left.
    for (const auto& [x, z, width, tall] :
         {std::array<double, 4>{-2.7, 6.1, 0.5, 0.42}, std::array<double, 4>{0.2, 7.3, 0.44, 0.34},
          std::array<double, 4>{-2.15, 6.4, 0.34, 0.3}}) {
        const SceneBox box = boxAt(x + random.uniform(-0.1, 0.1), 0, z, {width, tall, width},
                                   random.uniform(-30.0, 30.0));
        drawBoxShadow(canvas, camera, box);
        drawBox(canvas, camera, box, &m_crate, m_plainCrate);
    }
    const SceneBox bin = boxAt(-3.6, 0, 6.0, {0.6, 0.9, 0.6}, 8);
    drawBoxShadow(canvas, camera, bin);
    drawBox(canvas, camera, bin, &m_darkCrate, m_darkCrate);
}

cv::Mat sceneLight(const SceneCamera& camera, std::uint32_t seed) {
    // Light varies slowly: a small map, enlarged.
    constexpr int kLonger = 96;
    const int longer = std::max(camera.size.width, camera.size.height);
    const cv::Size small(std::max(2, kLonger * camera.size.width / longer),
                         std::max(2, kLonger * camera.size.height / longer));
    cv::RNG random(seed * 0x9e3779b97f4a7c15ULL + 3);
    const cv::Mat uneven = clouds(random, small, 2, 2);
    cv::Mat light(small, CV_32FC1);
    for (int y = 0; y < small.height; ++y) {
        for (int x = 0; x < small.width; ++x) {
            const double u = (x + 0.5) / small.width;
            const double v = (y + 0.5) / small.height;
            const double dx = (x + 0.5 - small.width / 2.0) / kLonger;
            const double dy = (y + 0.5 - small.height / 2.0) / kLonger;
            const double lens = 1 - 0.75 * (dx * dx + dy * dy); // darker towards the corners
            const double window = 0.76 + 0.24 * std::exp(-2.2 * ((u - 0.25) * (u - 0.25) + v * v));
            const double lamp =
                0.10 * std::exp(-9 * ((u - 0.62) * (u - 0.62) + (v - 0.6) * (v - 0.6)));
            light.at<float>(y, x) = static_cast<float>(255 * lens * (window + lamp) *
                                                       (1 + 0.02 * uneven.at<float>(y, x)));
        }
    }
    cv::Mat smooth;
    cv::resize(light, smooth, camera.size, 0, 0, cv::INTER_CUBIC);
    smooth.convertTo(smooth, CV_8UC1);
    return smooth;
}

} // namespace hostcam
