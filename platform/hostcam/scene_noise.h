#pragma once

// The sensor's noise of the built-in scene. It is taken from pools of noise that are made once;
// where in the pool a row begins depends on the seed, the frame and the row, so that every frame
// has noise of its own and always the same. Any thread may use a const object.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace hostcam {

class SceneNoise {
  public:
    /// @param deviation standard deviation in grey levels, 0 to 30; colour gets less
    SceneNoise(std::uint32_t seed, double deviation);

    /// Adds noise to a row of brightness.
    void addToBrightness(std::uint64_t frame, std::size_t row, std::uint8_t* pixels,
                         std::size_t count) const;
    /// Adds noise to a row of interleaved colour of count bytes.
    void addToColour(std::uint64_t frame, std::size_t row, std::uint8_t* pixels,
                     std::size_t count) const;

    /// Noise in two parts, of which one is 0 everywhere: what is added and what is taken away.
    struct Pool {
        std::vector<std::uint8_t> more, less; // both empty: no noise
    };

  private:
    std::uint64_t m_seed;
    Pool m_brightness, m_colour;
};

} // namespace hostcam
