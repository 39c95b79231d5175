#pragma once

// The surfaces of the built-in scene: procedural textures, printed markers, and how a flat textured
// rectangle is drawn in perspective. Pictures are 8-bit RGB. Functions on const objects may be
// called from any thread.

#include <cstdint>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/objdetect/aruco_dictionary.hpp>

#include "platform/hostcam/scene_geometry.h"

namespace hostcam {

/// A texture in several sizes, so that it can be drawn at any scale without aliasing.
class SceneTexture {
  public:
    SceneTexture() = default;
    explicit SceneTexture(const cv::Mat& rgb);

    /// The smallest of its sizes that still has enough detail for this many pixels in the picture.
    [[nodiscard]] const cv::Mat& levelFor(double pixels) const;
    [[nodiscard]] cv::Size size() const { return m_levels.front().size(); }

  private:
    std::vector<cv::Mat> m_levels; // each 1 / sqrt(2) as wide and high as the one before
};

/// Part of a picture that is drawn into: pixels holds what begins at origin.
struct SceneCanvas {
    cv::Mat pixels;
    cv::Point origin;

    [[nodiscard]] cv::Rect area() const { return {origin, pixels.size()}; }
};

/// Draws a texture over a quadrilateral.
/// @param toPicture takes texture coordinates, 0 to 1 both ways, to the picture
/// @param shade factor on the texture's brightness
/// @param repeats how often the texture is laid side by side, mirrored each time
void drawTexture(const SceneCanvas& canvas, const SceneTexture& texture,
                 const cv::Matx33d& toPicture, double shade, cv::Size repeats = {1, 1});

/// Draws a textured rectangle in space, if its front faces the camera.
void drawRectangle(const SceneCanvas& canvas, const SceneCamera& camera,
                   const SceneRectangle& rectangle, const SceneTexture& texture, double shade,
                   cv::Size repeats = {1, 1});

/// A box in a pose: its front is the pose's plane between the edges given.
struct SceneBox {
    ScenePose pose;
    double left, top, right, bottom, depth; ///< as in ScenePose::plane()
};

/// Draws those faces of a box that can be seen.
/// @param front null: the front is drawn by the caller afterwards
void drawBox(const SceneCanvas& canvas, const SceneCamera& camera, const SceneBox& box,
             const SceneTexture* front, const SceneTexture& side);

/// Draws the shadow of a box that stands on the floor, before the box itself.
void drawBoxShadow(const SceneCanvas& canvas, const SceneCamera& camera, const SceneBox& box);

/// Darkens a polygon with a soft edge.
/// @param strength 0: nothing, 1: black
/// @param softness standard deviation of the edge in pixels
void drawShadow(const SceneCanvas& canvas, const std::vector<cv::Point2d>& polygon, double strength,
                double softness);

/// Cloudy noise: a sum of smooth random fields, each twice as fine and half as strong as the one
/// before, with a standard deviation of about 1.
/// @param coarse how many cells the first field has along the shorter side
[[nodiscard]] cv::Mat clouds(cv::RNG& random, cv::Size size, int coarse, int octaves);

/// A surface of one colour with cloudy variations and fine grain, both in grey levels.
[[nodiscard]] cv::Mat mottled(cv::RNG& random, cv::Size size, const cv::Scalar& rgb,
                              double clouding, double grain, int coarse = 3);

/// Cardboard.
[[nodiscard]] cv::Mat cardboard(cv::RNG& random, cv::Size size);

/// Cardboard with a strip of tape and worn edges, with printed symbols or without: a crate's side.
[[nodiscard]] cv::Mat crateSide(cv::RNG& random, cv::Size size, bool stamped);

/// A surface with a marker on it.
struct PrintedMarker {
    SceneTexture texture;
    cv::Rect2d marker; ///< the black square in texture coordinates, 0 to 1 both ways

    /// The map that draws the black square so that these are its corners as SceneMarker defines
    /// them.
    [[nodiscard]] cv::Matx33d mapTo(const SceneQuad& corners) const;
};

/// "4x4", "5x5", "6x6" or "7x7". @throws std::invalid_argument for any other name
[[nodiscard]] cv::aruco::Dictionary sceneDictionary(const std::string& name);

/// Prints the markers of one dictionary on cards and on the fronts of crates.
class MarkerPrinter {
  public:
    /// @throws std::invalid_argument for an unknown dictionary
    MarkerPrinter(std::uint32_t seed, const std::string& dictionary);

    [[nodiscard]] PrintedMarker onCard(int id) const;
    [[nodiscard]] PrintedMarker onCrate(int id) const;

  private:
    [[nodiscard]] PrintedMarker onSurface(const cv::Mat& blank, int id) const;

    cv::aruco::Dictionary m_dictionary;
    cv::Mat m_card, m_crateFront; // without a marker
};

/// How far the printed surfaces reach beyond the middle of the marker, in multiples of its side.
inline constexpr double kCardReach = 0.72;
inline constexpr double kCrateReach = 0.92;
inline constexpr double kCrateDepth = 1.5;

} // namespace hostcam
