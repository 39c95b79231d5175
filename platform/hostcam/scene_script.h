#pragma once

// What the built-in scene shows: its actors, each a printed marker with a path through the picture,
// and ready-made scripts.
//
// Places are fractions of the picture, so that one script suits every picture size: (0, 0) is the
// upper left corner of the picture, (1, 1) the lower right one. Sizes are fractions of the
// picture's shorter side. Scripts are plain values: any thread may make, copy and read them.

#include <array>
#include <optional>
#include <vector>

#include <opencv2/core/types.hpp>

namespace hostcam {

/// Where a marker is at one moment. Between two key frames it moves smoothly, starting and ending
/// at rest.
struct SceneKeyFrame {
    double seconds = 0; ///< from the beginning of the script
    double x = 0.5; ///< the marker's centre, fraction of the picture's width; may be outside 0 to 1
    double y = 0.5; ///< the same, fraction of its height
    double size =
        0.1;        ///< the side that the black square shows when it faces the camera, above 0 to 1
    double yaw = 0; ///< degrees about its upright axis; above 0: its left side comes nearer
    double pitch = 0; ///< degrees about its level axis; above 0: its upper side comes nearer
    double roll = 0;  ///< degrees in its own plane, clockwise

    bool operator==(const SceneKeyFrame&) const = default;
};

/// What a marker is printed on.
enum class SceneBody {
    card, ///< a white card
    crate ///< a white card on the front of a cardboard crate
};

/// One marker of a scene.
struct SceneActor {
    int id = 0;
    SceneBody body = SceneBody::card;
    std::vector<SceneKeyFrame> path; ///< in order of time; one key frame: it stands still

    /// Instead of a path: the corners in pixels of whatever picture is rendered, clockwise, the
    /// marker's own upper left one first. They form a convex quadrilateral.
    std::optional<std::array<cv::Point2f, 4>> corners;
};

/// All that happens in a scene. Later actors stand in front of earlier ones, and what moves stands
/// in front of what does not.
struct SceneScript {
    double seconds = 0; ///< after this time it begins again; 0: it ends and its last picture stays
    std::vector<SceneActor> actors;
};

/// A part of the picture, its edges as fractions of width and height.
struct SceneArea {
    double left, top, right, bottom;
};

/// A span of the story in seconds from its beginning.
struct SceneSpan {
    double from, to;
};

/// The area of interest that the default story is told for: the middle of the picture.
inline constexpr SceneArea kStoryArea{0.25, 0.25, 0.75, 0.75};

/// The default story's length; then it begins again.
inline constexpr double kStorySeconds = 30.0;

/// When the story's first marker is wholly inside the area, with at least 5 % of the picture to
/// spare.
inline constexpr std::array<SceneSpan, 2> kStoryInside{{{6.5, 14.0}, {21.0, 27.5}}};

/// When no corner of it is inside the area.
inline constexpr std::array<SceneSpan, 3> kStoryOutside{{{0.0, 5.0}, {15.0, 19.8}, {28.8, 30.0}}};

/// When it is out of the picture altogether.
inline constexpr std::array<SceneSpan, 3> kStoryGone{{{0.0, 4.5}, {16.0, 19.0}, {29.5, 30.0}}};

/// The default story, told by the first marker on a crate that slides over the floor:
///
///     seconds        the first marker            alert, presence 3 s     alert, absence 3 s
///      0.0 -  4.5    is out of the picture       off                     starts at about 4
///      4.5 -  6.5    comes in from the left      off                     stops at about 6
///      6.5 - 14.0    stays in the area, turning  starts at about 10      off
///     14.0 - 16.0    leaves to the right         stops at about 14.5     off
///     16.0 - 19.0    is out of the picture       off                     starts at about 18.5
///     19.0 - 21.0    comes back from the right   off                     stops at about 20.5
///     21.0 - 27.5    stays in the area, turning  starts at about 24.5    off
///     27.5 - 29.5    leaves to the left          stops at about 28       off
///     29.5 - 30.0    is out of the picture       off                     off (starts at about 32)
///
/// Each stay lasts longer than the 4 seconds after which a dwell of 3 whole seconds is exceeded,
/// and so does each absence. The other markers are seen only when the whole picture is searched:
/// the second hangs on the wall at the upper left, the third slides on a small crate below the area
/// and leaves the picture by half at its right edge between 10 and 13 seconds, all others stand
/// still above and below the area, the smaller the more they are.
/// @param ids markers of the scene's dictionary; may be empty
[[nodiscard]] SceneScript storyScript(const std::vector<int>& ids);

/// A still scene: the markers in rows and columns over the whole picture, each a little turned.
/// @param ids markers of the scene's dictionary; may be empty
/// @param size their size; 0: as large as their number allows, at most 0.25
/// @param turn how far each may be turned about each axis, degrees, 0 to 60; 0: all face the camera
[[nodiscard]] SceneScript gridScript(const std::vector<int>& ids, double size = 0,
                                     double turn = 20);

/// A marker at given corners.
struct StillMarker {
    int id = 0;
    std::array<cv::Point2f, 4> corners; ///< as SceneActor::corners
};

/// A still scene with every marker exactly where the caller wants it, in pixels.
[[nodiscard]] SceneScript stillScript(const std::vector<StillMarker>& markers);

} // namespace hostcam
