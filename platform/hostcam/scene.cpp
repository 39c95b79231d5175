#include "platform/hostcam/scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include "platform/hostcam/scene_backdrop.h"
#include "platform/hostcam/scene_geometry.h"
#include "platform/hostcam/scene_noise.h"
#include "platform/hostcam/scene_texture.h"

namespace hostcam {

namespace {

// How many picture sizes are kept. A camera has a handful of streams.
constexpr std::size_t kKeptStages = 6;

constexpr double kLongestScript = 24.0 * 60 * 60;

// A detector passes over what comes nearer than this many pixels to the picture's edge.
constexpr double kEdge = 4;

/// What a picture size needs once: everything that stands still, before and after the lens.
struct Stage {
    explicit Stage(cv::Size size) : camera(size) {}

    SceneCamera camera;
    double blur = 0; // pixels
    cv::Mat still;   // RGB, even light, no blur: what moving actors are drawn over
    cv::Mat light;
    std::vector<std::uint8_t> nv12; // the finished still picture, rows of evenWidth bytes
    std::size_t evenWidth = 0;
};

/// A place for a stage, filled by whoever comes first.
struct StageSlot {
    explicit StageSlot(cv::Size of) : size(of) {}

    cv::Size size;
    std::once_flag once;
    std::unique_ptr<const Stage> stage;
};

struct Nv12 {
    std::uint8_t* data;
    std::size_t pitch;
    int height;

    [[nodiscard]] std::uint8_t* brightness(int y) const {
        return data + static_cast<std::size_t>(y) * pitch;
    }
    [[nodiscard]] std::uint8_t* colour(int y) const {
        return data + (static_cast<std::size_t>(height) + static_cast<std::size_t>(y) / 2) * pitch;
    }
};

/// Lights a part of a picture and converts it: BT.601, limited range.
/// @param rgb holds the part, which begins at even coordinates and ends at even ones or at the edge
void convert(const cv::Mat& rgb, const cv::Mat& light, cv::Point origin, const Nv12& target) {
    for (int y = 0; y < rgb.rows; ++y) {
        const auto* p = rgb.ptr<std::uint8_t>(y);
        const auto* lit = light.ptr<std::uint8_t>(origin.y + y) + origin.x;
        std::uint8_t* out = target.brightness(origin.y + y) + origin.x;
        for (int x = 0; x < rgb.cols; ++x, p += 3) {
            const int y8 = 66 * p[0] + 129 * p[1] + 25 * p[2]; // 255 gives 219 * 256 and a little
            out[x] = static_cast<std::uint8_t>(16 + ((y8 * (lit[x] + 1) + 32768) >> 16));
        }
    }
    for (int y = 0; y < rgb.rows; y += 2) {
        const auto* p = rgb.ptr<std::uint8_t>(y);
        const auto* q = rgb.ptr<std::uint8_t>(std::min(y + 1, rgb.rows - 1));
        const auto* lit = light.ptr<std::uint8_t>(origin.y + y) + origin.x;
        std::uint8_t* out = target.colour(origin.y + y) + origin.x;
        for (int x = 0; x < rgb.cols; x += 2) {
            const int a = 3 * x;
            const int b = 3 * std::min(x + 1, rgb.cols - 1);
            const int red = p[a] + p[b] + q[a] + q[b];
            const int green = p[a + 1] + p[b + 1] + q[a + 1] + q[b + 1];
            const int blue = p[a + 2] + p[b + 2] + q[a + 2] + q[b + 2];
            const int share = lit[x] + 1;
            out[x] = static_cast<std::uint8_t>(
                128 + (((-38 * red - 74 * green + 112 * blue) * share + (1 << 17)) >> 18));
            out[x + 1] = static_cast<std::uint8_t>(
                128 + (((112 * red - 94 * green - 18 * blue) * share + (1 << 17)) >> 18));
        }
    }
}

void lens(cv::Mat& rgb, double blur) {
    if (blur >= 0.2) {
        cv::GaussianBlur(rgb, rgb, {}, blur, blur, cv::BORDER_REPLICATE);
    }
}

int lensReach(double blur) {
    return static_cast<int>(std::ceil(4 * blur)) + 1;
}

[[noreturn]] void wrong(const std::string& text) {
    throw std::invalid_argument("scene: " + text);
}

/// Whether a marker has its front to the camera and is more than a few pixels.
bool canBeSeen(const SceneQuad& corners) {
    constexpr double kFewPixels = 9;
    return twiceTheArea(corners) >= 2 * kFewPixels;
}

void checkCorners(const SceneActor& actor) {
    for (std::size_t i = 0; i < 4; ++i) {
        const auto& at = *actor.corners;
        const cv::Point2f along = at[(i + 1) % 4] - at[i];
        const cv::Point2f next = at[(i + 2) % 4] - at[(i + 1) % 4];
        if (!(along.cross(next) > 0) || std::abs(at[i].x) > 1e6F || std::abs(at[i].y) > 1e6F) {
            wrong("the corners of the marker " + std::to_string(actor.id) +
                  " are no convex quadrilateral in clockwise order");
        }
    }
}

void checkPath(const SceneActor& actor) {
    if (actor.path.empty()) {
        wrong("the actor with id " + std::to_string(actor.id) + " has neither path nor corners");
    }
    for (std::size_t i = 0; i < actor.path.size(); ++i) {
        const SceneKeyFrame& place = actor.path[i];
        if (!(place.size > 0 && place.size <= 1)) {
            wrong("the actor with id " + std::to_string(actor.id) + " has the size " +
                  std::to_string(place.size) + ": allowed is above 0 to 1");
        }
        if (!(std::abs(place.x) <= 100 && std::abs(place.y) <= 100) ||
            !std::isfinite(place.yaw + place.pitch + place.roll + place.seconds)) {
            wrong("the actor with id " + std::to_string(actor.id) + " has a place out of range");
        }
        if (i > 0 && !(place.seconds > actor.path[i - 1].seconds)) {
            wrong("the actor with id " + std::to_string(actor.id) + " has key frames out of order");
        }
    }
}

SceneOptions checked(SceneOptions options) {
    const int ids = sceneDictionary(options.dictionary).bytesList.rows;
    if (!(options.framerate > 0) || !(options.framerate <= 100000)) {
        wrong("the frame rate is " + std::to_string(options.framerate) + ": it must be above 0");
    }
    if (!(options.noise >= 0 && options.noise <= 30)) {
        wrong("the noise is " + std::to_string(options.noise) + ": allowed are 0 to 30");
    }
    if (!(options.blur >= 0 && options.blur <= 5)) {
        wrong("the blur is " + std::to_string(options.blur) + ": allowed are 0 to 5");
    }
    if (!(options.script.seconds >= 0 && options.script.seconds <= kLongestScript)) {
        wrong("the script lasts " + std::to_string(options.script.seconds) + " seconds");
    }
    for (const SceneActor& actor : options.script.actors) {
        if (actor.id < 0 || actor.id >= ids) {
            wrong("the dictionary " + options.dictionary + " has no marker " +
                  std::to_string(actor.id) + ": allowed are 0 to " + std::to_string(ids - 1));
        }
        if (actor.corners) {
            checkCorners(actor);
        } else {
            checkPath(actor);
        }
    }
    return options;
}

cv::Size checkedSize(unsigned width, unsigned height) {
    if (std::min(width, height) < Scene::kMinSide || std::max(width, height) > Scene::kMaxSide) {
        wrong("the size " + std::to_string(width) + "x" + std::to_string(height) +
              " is out of range: each side is 16 to 16384 pixels");
    }
    return {static_cast<int>(width), static_cast<int>(height)};
}

/// Whether the marker with some white around it can be seen whole.
bool isWhole(const SceneQuad& corners, cv::Size picture) {
    const double side = cv::norm(corners[1] - corners[0]);
    for (const cv::Point2d& p : grown(corners, 0.1 * side + kEdge)) {
        if (p.x < 0 || p.y < 0 || p.x > picture.width - 1 || p.y > picture.height - 1) {
            return false;
        }
    }
    return true;
}

/// Joins rectangles that overlap until none do, so that each pixel is drawn once.
void joinOverlapping(std::vector<cv::Rect>& rects) {
    for (std::size_t i = 0; i < rects.size(); ++i) {
        for (std::size_t k = i + 1; k < rects.size();) {
            if ((rects[i] & rects[k]).empty()) {
                ++k;
                continue;
            }
            rects[i] |= rects[k];
            rects.erase(rects.begin() + static_cast<std::ptrdiff_t>(k));
            k = i + 1;
        }
    }
}

/// The same part, widened to even coordinates and cut to the picture.
cv::Rect evenPart(cv::Rect part, cv::Size picture) {
    part &= cv::Rect({}, picture);
    const cv::Point from(part.x & ~1, part.y & ~1);
    const cv::Point to(std::min((part.br().x + 1) & ~1, picture.width),
                       std::min((part.br().y + 1) & ~1, picture.height));
    return {from, to};
}

} // namespace

struct Scene::Impl {
    explicit Impl(SceneOptions given)
        : options(checked(std::move(given))), backdrop(options.seed),
          noise(options.seed, options.noise) {
        // Single patches are too small to be worth a thread, and the pictures must not compete with
        // the application for the processors. This library has an OpenCV of its own.
        cv::setNumThreads(1);
        const MarkerPrinter printer(options.seed, options.dictionary);
        for (const SceneActor& actor : options.script.actors) {
            const bool crate = actor.body == SceneBody::crate && !actor.corners;
            prints.push_back(crate ? printer.onCrate(actor.id) : printer.onCard(actor.id));
        }
        framesPerLoop = static_cast<std::uint64_t>(
            std::max(1LL, std::llround(options.script.seconds * options.framerate)));
    }

    [[nodiscard]] double secondsAt(std::uint64_t frame) const {
        if (options.script.seconds > 0) {
            frame %= framesPerLoop;
        }
        return static_cast<double>(frame) / options.framerate;
    }

    [[nodiscard]] bool moves(const SceneActor& actor) const {
        return !actor.corners && actor.path.size() > 1;
    }

    [[nodiscard]] std::shared_ptr<StageSlot> slotFor(cv::Size size) const {
        const std::lock_guard lock(mutex);
        const auto found = std::find_if(slots.begin(), slots.end(),
                                        [&](const auto& slot) { return slot->size == size; });
        std::shared_ptr<StageSlot> slot;
        if (found != slots.end()) {
            slot = *found;
            slots.erase(found);
        } else {
            slot = std::make_shared<StageSlot>(size);
        }
        slots.push_front(slot);
        if (slots.size() > kKeptStages) {
            slots.pop_back();
        }
        return slot;
    }

    [[nodiscard]] std::unique_ptr<const Stage> makeStage(cv::Size size) const;
    void drawActor(const SceneCanvas& canvas, const SceneCamera& camera, std::size_t index,
                   const ScenePlacement& placement) const;
    void drawStill(const SceneCanvas& canvas, const SceneCamera& camera) const;
    [[nodiscard]] cv::Rect reachOf(const ScenePlacement& placement, const SceneActor& actor,
                                   const SceneCamera& camera) const;
    void drawMoving(const Stage& stage, double seconds, const Nv12& target) const;

    SceneOptions options;
    SceneBackdrop backdrop;
    SceneNoise noise;
    std::vector<PrintedMarker> prints; // one for each actor
    std::uint64_t framesPerLoop = 1;
    mutable std::mutex mutex;
    mutable std::deque<std::shared_ptr<StageSlot>> slots; // guarded by mutex; last used first
};

void Scene::Impl::drawActor(const SceneCanvas& canvas, const SceneCamera& camera, std::size_t index,
                            const ScenePlacement& placement) const {
    if (options.script.actors[index].body == SceneBody::crate && placement.pose) {
        const SceneBox box{*placement.pose, -kCrateReach, -kCrateReach,
                           kCrateReach,     kCrateReach,  kCrateDepth};
        drawBoxShadow(canvas, camera, box);
        drawBox(canvas, camera, box, nullptr, backdrop.crate());
    }
    if (canBeSeen(placement.corners)) {
        drawTexture(canvas, prints[index].texture, prints[index].mapTo(placement.corners), 1);
    }
}

/// All pixels that an actor can change, before the lens.
cv::Rect Scene::Impl::reachOf(const ScenePlacement& placement, const SceneActor& actor,
                              const SceneCamera& camera) const {
    if (actor.body == SceneBody::card || !placement.pose) {
        const double side = cv::norm(placement.corners[1] - placement.corners[0]);
        return boundsOf(grown(placement.corners, side * kCardReach), 2);
    }
    // The crate and its shadow, as drawBoxShadow() lays it.
    const ScenePose& pose = *placement.pose;
    const double width = 2 * kCrateReach;
    const SceneRectangle front = pose.plane(-kCrateReach, -kCrateReach, kCrateReach, kCrateReach);
    const SceneRectangle back{pose.point(-kCrateReach, -kCrateReach, kCrateDepth), front.right,
                              front.down};
    const SceneRectangle floor{pose.point(-kCrateReach - 0.1 * width, kCrateReach, -0.2 * width),
                               1.5 * width * pose.right, (kCrateDepth + 0.3 * width) * pose.into};
    cv::Rect reach;
    for (const SceneRectangle& part : {front, back, floor}) {
        if (!part.inFront()) {
            return {{}, camera.size};
        }
        reach |= boundsOf(part.project(camera), 4);
    }
    const int softness =
        static_cast<int>(0.15 * cv::norm(placement.corners[1] - placement.corners[0]));
    return {reach.tl() - cv::Point(softness, softness), reach.br() + cv::Point(softness, softness)};
}

/// Draws everything that stands still.
void Scene::Impl::drawStill(const SceneCanvas& canvas, const SceneCamera& camera) const {
    backdrop.paint(canvas, camera);
    for (std::size_t i = 0; i < options.script.actors.size(); ++i) {
        if (!moves(options.script.actors[i])) {
            drawActor(canvas, camera, i,
                      placementOf(options.script.actors[i], 0, camera, options.wholePixels));
        }
    }
}

std::unique_ptr<const Stage> Scene::Impl::makeStage(cv::Size size) const {
    auto stage = std::make_unique<Stage>(size);
    stage->blur = options.blur * std::max(size.width, size.height) / 1920.0;
    stage->light = sceneLight(stage->camera, options.seed);
    stage->still.create(size, CV_8UC3);
    // In strips, since what is drawn on the way is as large as what is drawn on.
    constexpr int kStrip = 128;
    for (int top = 0; top < size.height; top += kStrip) {
        const cv::Range rows(top, std::min(top + kStrip, size.height));
        drawStill({stage->still.rowRange(rows), {0, top}}, stage->camera);
    }
    stage->evenWidth = (static_cast<std::size_t>(size.width) + 1) / 2 * 2;
    const std::size_t rows =
        static_cast<std::size_t>(size.height) + (static_cast<std::size_t>(size.height) + 1) / 2;
    stage->nv12.resize(stage->evenWidth * rows);
    const int reach = lensReach(stage->blur);
    const Nv12 target{stage->nv12.data(), stage->evenWidth, size.height};
    for (int top = 0; top < size.height; top += kStrip) {
        const cv::Rect strip(0, top, size.width, std::min(kStrip, size.height - top));
        // With a margin, so that the lens sees what lies next to the strip.
        const cv::Rect wide =
            cv::Rect({}, size) & cv::Rect(0, top - reach, size.width, strip.height + 2 * reach);
        cv::Mat seen = stage->still(wide).clone();
        lens(seen, stage->blur);
        convert(seen(strip - wide.tl()), stage->light, strip.tl(), target);
    }
    return stage;
}

void Scene::Impl::drawMoving(const Stage& stage, double seconds, const Nv12& target) const {
    const cv::Rect picture({}, stage.camera.size);
    const int reach = lensReach(stage.blur);
    std::vector<std::pair<std::size_t, ScenePlacement>> moving;
    std::vector<cv::Rect> parts;
    for (std::size_t i = 0; i < options.script.actors.size(); ++i) {
        const SceneActor& actor = options.script.actors[i];
        if (!moves(actor)) {
            continue;
        }
        const ScenePlacement placement =
            placementOf(actor, seconds, stage.camera, options.wholePixels);
        cv::Rect part = reachOf(placement, actor, stage.camera);
        part = {part.tl() - cv::Point(reach, reach), part.br() + cv::Point(reach, reach)};
        if ((part & picture).empty()) {
            continue;
        }
        moving.emplace_back(i, placement);
        parts.push_back(evenPart(part, stage.camera.size));
    }
    joinOverlapping(parts);
    for (const cv::Rect& part : parts) {
        // Drawn with a margin, so that the lens sees what lies next to the part.
        const cv::Rect wide = picture & cv::Rect(part.tl() - cv::Point(reach, reach),
                                                 part.br() + cv::Point(reach, reach));
        SceneCanvas canvas{stage.still(wide).clone(), wide.tl()};
        for (const auto& [index, placement] : moving) {
            drawActor(canvas, stage.camera, index, placement);
        }
        lens(canvas.pixels, stage.blur);
        convert(canvas.pixels(part - wide.tl()), stage.light, part.tl(), target);
    }
}

Scene::Scene(SceneOptions options) : m_impl(std::make_unique<Impl>(std::move(options))) {}

Scene::~Scene() = default;

void Scene::render(std::uint64_t frameNumber, unsigned width, unsigned height, std::uint8_t* nv12,
                   std::size_t pitch) const {
    const cv::Size size = checkedSize(width, height);
    if (nv12 == nullptr || pitch < (static_cast<std::size_t>(width) + 1) / 2 * 2) {
        wrong("rows of " + std::to_string(width) + " pixels do not fit into a pitch of " +
              std::to_string(pitch) + " bytes");
    }
    const std::shared_ptr<StageSlot> slot = m_impl->slotFor(size);
    std::call_once(slot->once, [&] { slot->stage = m_impl->makeStage(size); });
    const Stage& stage = *slot->stage;
    const Nv12 target{nv12, pitch, size.height};
    const std::size_t rows = stage.nv12.size() / stage.evenWidth;
    for (std::size_t row = 0; row < rows; ++row) {
        const bool colour = row >= height;
        std::memcpy(nv12 + row * pitch, stage.nv12.data() + row * stage.evenWidth,
                    colour ? stage.evenWidth : width);
    }
    m_impl->drawMoving(stage, m_impl->secondsAt(frameNumber), target);
    for (std::size_t row = 0; row < rows; ++row) {
        if (row < height) {
            m_impl->noise.addToBrightness(frameNumber, row, nv12 + row * pitch, width);
        } else {
            m_impl->noise.addToColour(frameNumber, row - height, nv12 + row * pitch,
                                      stage.evenWidth);
        }
    }
}

std::vector<SceneMarker> Scene::markersAt(std::uint64_t frameNumber, unsigned width,
                                          unsigned height) const {
    const SceneCamera camera(checkedSize(width, height));
    const double seconds = m_impl->secondsAt(frameNumber);
    std::vector<SceneMarker> markers;
    for (const SceneActor& actor : m_impl->options.script.actors) {
        const SceneQuad corners =
            placementOf(actor, seconds, camera, m_impl->options.wholePixels).corners;
        if (!canBeSeen(corners) || (boundsOf(corners, 0) & cv::Rect({}, camera.size)).empty()) {
            continue;
        }
        SceneMarker marker;
        marker.id = actor.id;
        std::copy(corners.begin(), corners.end(), marker.corners.begin());
        marker.whole = isWhole(corners, camera.size);
        markers.push_back(marker);
    }
    return markers;
}

} // namespace hostcam
