#include "platform/hostcam/scene_script.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "platform/hostcam/scene_geometry.h"

namespace hostcam {

namespace {

// How much room a marker takes, in multiples of its size, with its card or crate and a gap.
constexpr double kRoom = 1.65;

/// A repeatable number in [-1, 1) for the k-th choice about the i-th marker.
double scatter(std::size_t i, unsigned k) {
    std::uint64_t x = (static_cast<std::uint64_t>(i) + 1) * 0x9e3779b97f4a7c15ULL + k;
    x = (x ^ (x >> 30U)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27U)) * 0x94d049bb133111ebULL;
    return static_cast<double>((x ^ (x >> 31U)) >> 11U) / 4503599627370496.0 - 1.0;
}

SceneActor still(int id, SceneBody body, const SceneKeyFrame& place) {
    SceneActor actor;
    actor.id = id;
    actor.body = body;
    actor.path = {place};
    return actor;
}

/// The story's first marker. Upright for the scene's camera means a pitch of kCameraTilt.
SceneActor storyteller(int id) {
    constexpr double kSize = 0.15;
    const auto at = [](double seconds, double x, double yaw) {
        return SceneKeyFrame{seconds, x, 0.5, kSize, yaw, kCameraTilt, 0};
    };
    SceneActor actor;
    actor.id = id;
    actor.body = SceneBody::crate;
    actor.path = {at(0.0, -0.3, -20),  at(4.5, -0.3, -20), at(6.5, 0.40, -18), at(14.0, 0.60, 16),
                  at(16.0, 1.3, 20),   at(19.0, 1.3, -24), at(21.0, 0.60, 22), at(27.5, 0.40, -12),
                  at(29.5, -0.3, -20), at(30.0, -0.3, -20)};
    return actor;
}

/// The story's third marker: along the lower edge, half out of the picture between 10 and 13
/// seconds.
SceneActor passerBy(int id) {
    const auto at = [](double seconds, double x, double yaw) {
        return SceneKeyFrame{seconds, x, 0.865, 0.11, yaw, kCameraTilt, 0};
    };
    SceneActor actor;
    actor.id = id;
    actor.body = SceneBody::crate;
    actor.path = {at(0.0, 0.68, 10),  at(8.0, 0.90, -8),  at(10.0, 1.0, -15), at(13.0, 1.0, -15),
                  at(15.0, 0.90, -8), at(26.0, 0.66, 14), at(30.0, 0.68, 10)};
    return actor;
}

/// A part of the picture that still markers are lined up in.
struct Band {
    SceneArea area;
    SceneBody body;
};

/// The widest cell in which count squares fit into the band side by side and in rows.
double cellFor(const SceneArea& area, std::size_t count) {
    const double width = area.right - area.left;
    const double height = area.bottom - area.top;
    for (int rows = 1;; ++rows) {
        const double cell = height / rows;
        const auto columns = static_cast<std::size_t>(std::floor(width / cell));
        if (columns * static_cast<std::size_t>(rows) >= count) {
            return cell;
        }
    }
}

void lineUp(const std::vector<int>& ids, const Band& band, std::vector<SceneActor>& actors) {
    if (ids.empty()) {
        return;
    }
    const double cell = cellFor(band.area, ids.size());
    const auto columns =
        static_cast<std::size_t>(std::floor((band.area.right - band.area.left) / cell));
    const double columnWidth = (band.area.right - band.area.left) / static_cast<double>(columns);
    const double reach = band.body == SceneBody::crate ? 2.1 : kRoom;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        SceneKeyFrame place;
        place.x = band.area.left + columnWidth * (static_cast<double>(i % columns) + 0.5);
        place.y = band.area.top + cell * (static_cast<double>(i / columns) + 0.5);
        place.size = std::min(0.1, cell / reach);
        place.yaw = 12 * scatter(i, 0);
        place.pitch = kCameraTilt;
        place.roll = band.body == SceneBody::card ? 4 * scatter(i, 1) : 0;
        actors.push_back(still(ids[i], band.body, place));
    }
}

} // namespace

SceneScript storyScript(const std::vector<int>& ids) {
    SceneScript script;
    script.seconds = kStorySeconds;
    if (ids.size() > 1) {
        script.actors.push_back(
            still(ids[1], SceneBody::card, {0, 0.262, 0.125, 0.12, -4, kCameraTilt, 2}));
    }
    if (ids.size() > 3) {
        const std::vector<int> others(ids.begin() + 3, ids.end());
        const auto middle = others.begin() + static_cast<std::ptrdiff_t>((others.size() + 1) / 2);
        lineUp({others.begin(), middle}, {{0.37, 0.02, 0.98, 0.215}, SceneBody::card},
               script.actors);
        lineUp({middle, others.end()}, {{0.02, 0.785, 0.56, 0.985}, SceneBody::crate},
               script.actors);
    }
    if (!ids.empty()) {
        script.actors.push_back(storyteller(ids[0]));
    }
    if (ids.size() > 2) {
        script.actors.push_back(passerBy(ids[2]));
    }
    return script;
}

SceneScript gridScript(const std::vector<int>& ids, double size, double turn) {
    constexpr SceneArea kWhole{0.02, 0.02, 0.98, 0.98};
    SceneScript script;
    if (ids.empty()) {
        return script;
    }
    const double cell = cellFor(kWhole, ids.size());
    const auto columns = static_cast<std::size_t>(std::floor((kWhole.right - kWhole.left) / cell));
    const std::size_t rows = (ids.size() + columns - 1) / columns;
    turn = std::clamp(turn, 0.0, 60.0);
    for (std::size_t i = 0; i < ids.size(); ++i) {
        SceneKeyFrame place;
        place.x = kWhole.left + (kWhole.right - kWhole.left) *
                                    (static_cast<double>(i % columns) + 0.5) /
                                    static_cast<double>(columns);
        place.y = kWhole.top + (kWhole.bottom - kWhole.top) *
                                   (static_cast<double>(i / columns) + 0.5) /
                                   static_cast<double>(rows);
        place.size = size > 0 ? size : std::min(0.25, cell / (kRoom + 0.3 * turn / 60));
        place.yaw = turn * scatter(i, 0);
        place.pitch = turn * scatter(i, 1);
        place.roll = turn * scatter(i, 2);
        script.actors.push_back(still(ids[i], SceneBody::card, place));
    }
    return script;
}

SceneScript stillScript(const std::vector<StillMarker>& markers) {
    SceneScript script;
    for (const StillMarker& marker : markers) {
        SceneActor actor;
        actor.id = marker.id;
        actor.corners = marker.corners;
        script.actors.push_back(actor);
    }
    return script;
}

} // namespace hostcam
