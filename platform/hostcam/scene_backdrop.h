#pragma once

// The backdrop of the built-in scene: a warehouse with a wall, a roller door, a rack, crates and a
// concrete floor, seen by the scene's camera. It holds no marker. Any thread may use a const
// object.

#include <cstdint>

#include <opencv2/core.hpp>

#include "platform/hostcam/scene_geometry.h"
#include "platform/hostcam/scene_texture.h"

namespace hostcam {

class SceneBackdrop {
  public:
    /// Makes the surfaces.
    explicit SceneBackdrop(std::uint32_t seed);

    /// Paints a part of the backdrop in even light and without blur. Parts that are painted one by
    /// one fit together.
    /// @param canvas 8-bit RGB; all of it is overwritten
    void paint(const SceneCanvas& canvas, const SceneCamera& camera) const;

    /// The side of a crate, for crates that stand in front of the backdrop.
    [[nodiscard]] const SceneTexture& crate() const { return m_crate; }

  private:
    void paintRoom(const SceneCanvas& canvas, const SceneCamera& camera) const;
    void paintStains(const SceneCanvas& canvas, const SceneCamera& camera, cv::RNG& random) const;
    void paintDoor(const SceneCanvas& canvas, const SceneCamera& camera) const;
    void paintRack(const SceneCanvas& canvas, const SceneCamera& camera, cv::RNG& random) const;
    void paintCrates(const SceneCanvas& canvas, const SceneCamera& camera, cv::RNG& random) const;

    std::uint32_t m_seed;
    SceneTexture m_wall, m_dado, m_floor, m_steel, m_slats, m_beam, m_upright, m_hazard, m_line,
        m_red, m_sign, m_wood, m_crate, m_plainCrate, m_darkCrate;
};

/// How bright each part of the picture is lit, the lens's loss towards the corners included: 255 is
/// full light.
[[nodiscard]] cv::Mat sceneLight(const SceneCamera& camera, std::uint32_t seed);

} // namespace hostcam
