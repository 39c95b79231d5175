#pragma once

// The host camera's built-in scene: pictures of a warehouse with ArUco markers in it, as a camera
// would deliver them, without any file or device. A seed and a frame number give a frame, bit for
// bit, in every run and on every thread, and the true corners of every marker are known, so that
// what a detector finds can be compared with what is there.
//
// A picture is made of a backdrop (wall, floor and clutter in perspective, with everything in the
// scene that stands still), the actors that move, the lens (some blur, darker towards the corners),
// uneven light, and the sensor's noise. All but moving actors and noise is computed once for each
// picture size (a tenth of a second at 1920x1080) and kept for the last few sizes; a frame then
// takes a few milliseconds.
//
// Colours: NV12 with the limited range of BT.601, the counterpart of libyuv's NV12ToRAW: a grey of
// the scene is a grey there.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <opencv2/core/types.hpp>

#include "platform/hostcam/scene_script.h"

namespace hostcam {

/// One marker of a picture.
struct SceneMarker {
    int id = 0;

    /// Its true corners in pixels of that picture, in the marker detector's order (the marker's own
    /// upper left, upper right, lower right, lower left) and convention: a whole number is the
    /// middle of a pixel, and a corner is the middle of the outermost black pixel there. A black
    /// square that covers the columns 100 to 159 has its corners at 100 and 159.
    std::array<cv::Point2f, 4> corners;

    /// Whether the marker and the white around it lie in the picture, some pixels from its edge, so
    /// that a detector can find it. What stands in front of it is not considered.
    bool whole = false;
};

/// What a scene is made from.
///
/// A detector without corner refinement reports whole pixels. With wholePixels it finds nearly
/// every corner exactly where SceneMarker says, at any turn of the marker; without, a found corner
/// is off by half a pixel on average and by less than two at most, as the true one lies between
/// pixels. Nobody sees the difference.
struct SceneOptions {
    std::uint32_t seed = 1;         ///< textures, clutter and noise
    std::string dictionary = "5x5"; ///< "4x4", "5x5", "6x6" or "7x7": 50, 100, 250 or 1000 markers
    double framerate = 25.0;        ///< frames a second, above 0: what the script's seconds mean
    SceneScript script = storyScript({7, 23, 42});
    bool wholePixels = true; ///< every corner is moved to the middle of the nearest pixel
    double noise = 2.0; ///< standard deviation of the sensor's noise in grey levels, 0 (none) to 30
    double blur = 0.5;  ///< standard deviation of the lens's blur, in pixels of a picture 1920
                        ///< pixels long, 0 (none) to 5; other sizes are blurred in proportion
};

/// A deterministic video. The object does not change after its construction but for the cache of
/// backdrops, which has a lock of its own: any number of threads may use one scene at the same
/// time.
class Scene {
  public:
    static constexpr unsigned kMinSide = 16;    ///< the smallest width and height, in pixels
    static constexpr unsigned kMaxSide = 16384; ///< the largest

    /// @throws std::invalid_argument naming the option that is wrong: an unknown dictionary, an id
    /// that
    ///         the dictionary does not have, a frame rate, noise or blur out of range, an actor
    ///         with neither path nor corners, corners that are no convex quadrilateral in clockwise
    ///         order, a size out of range, key frames out of order, a script longer than a day
    explicit Scene(SceneOptions options);
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// Draws a frame.
    /// @param frameNumber 0 is the beginning of the script
    /// @param width, height of the picture in pixels, kMinSide to kMaxSide; odd ones are allowed
    /// @param nv12 borrowed for the call: height rows of brightness, then (height + 1) / 2 rows of
    ///             interleaved colour, all pitch bytes apart
    /// @param pitch at least the width, rounded up to an even number; what lies between the end of
    /// a
    ///              row and the pitch is left as it is
    /// @throws std::invalid_argument for a size or pitch out of range; nothing is drawn then
    void render(std::uint64_t frameNumber, unsigned width, unsigned height, std::uint8_t* nv12,
                std::size_t pitch) const;

    /// The markers of a frame, in the script's order, but for those that lie wholly outside the
    /// picture.
    /// @throws std::invalid_argument for a size out of range
    [[nodiscard]] std::vector<SceneMarker> markersAt(std::uint64_t frameNumber, unsigned width,
                                                     unsigned height) const;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace hostcam
