#include "platform/hostcam/scene_noise.h"

#include <algorithm>
#include <cmath>

#include <opencv2/core.hpp>

namespace hostcam {

namespace {

constexpr std::size_t kPool = 1U << 18U;   // places where a row can begin
constexpr std::size_t kLongestRow = 16384; // the scene's widest picture

// Colour is sampled from four pixels and smoothed by every camera.
constexpr double kColourShare = 0.45;

std::uint64_t mixed(std::uint64_t x) {
    x = (x ^ (x >> 30U)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27U)) * 0x94d049bb133111ebULL;
    return x ^ (x >> 31U);
}

/// Normal noise whose neighbours are a little alike, as interpolation of the colour mosaic makes
/// them.
/// @param step distance of neighbours of the same kind in a row
SceneNoise::Pool makePool(cv::RNG& random, double deviation, std::size_t step) {
    constexpr double kNeighbour = 0.25;
    SceneNoise::Pool pool;
    if (deviation <= 0) {
        return pool;
    }
    std::vector<float> raw(kPool + kLongestRow + 2 * step);
    random.fill(raw, cv::RNG::NORMAL, 0, deviation / std::sqrt(1 + 2 * kNeighbour * kNeighbour));
    pool.more.resize(kPool + kLongestRow);
    pool.less.resize(kPool + kLongestRow);
    for (std::size_t i = 0; i < pool.more.size(); ++i) {
        const double value = raw[i + step] + kNeighbour * (raw[i] + raw[i + 2 * step]);
        const long noise = std::clamp(std::lround(value), -255L, 255L);
        pool.more[i] = static_cast<std::uint8_t>(std::max(noise, 0L));
        pool.less[i] = static_cast<std::uint8_t>(std::max(-noise, 0L));
    }
    return pool;
}

/// Adds noise to this many pixels. Everything stays within 8 bits, and the length is known, so that
/// compilers use vector instructions.
template <std::size_t count>
void addBlock(std::uint8_t* __restrict pixels, const std::uint8_t* __restrict more,
              const std::uint8_t* __restrict less) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto room = static_cast<std::uint8_t>(255 - more[i]);
        const std::uint8_t limited = pixels[i] < room ? pixels[i] : room;
        const auto raised = static_cast<std::uint8_t>(limited + more[i]);
        const std::uint8_t floor = raised > less[i] ? raised : less[i];
        pixels[i] = static_cast<std::uint8_t>(floor - less[i]);
    }
}

/// Adds what lies in the pool from the key's place on.
void add(const SceneNoise::Pool& pool, std::uint64_t key, std::uint8_t* pixels, std::size_t count) {
    if (pool.more.empty()) {
        return;
    }
    constexpr std::size_t kBlock = 64;
    const std::uint8_t* more = pool.more.data() + mixed(key) % kPool;
    const std::uint8_t* less = pool.less.data() + mixed(key) % kPool;
    std::size_t i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        addBlock<kBlock>(pixels + i, more + i, less + i);
    }
    for (; i < count; ++i) {
        addBlock<1>(pixels + i, more + i, less + i);
    }
}

/// A number for each row of each frame of each scene.
std::uint64_t keyOf(std::uint64_t seed, std::uint64_t frame, std::size_t row) {
    return mixed(seed + frame * 0x9e3779b97f4a7c15ULL) + row * 0xd1b54a32d192ed03ULL;
}

} // namespace

SceneNoise::SceneNoise(std::uint32_t seed, double deviation)
    : m_seed(mixed(seed + 0x5851f42d4c957f2dULL)) {
    cv::RNG random(m_seed | 1U);
    m_brightness = makePool(random, deviation, 1);
    m_colour = makePool(random, deviation * kColourShare, 2);
}

void SceneNoise::addToBrightness(std::uint64_t frame, std::size_t row, std::uint8_t* pixels,
                                 std::size_t count) const {
    add(m_brightness, keyOf(m_seed, frame, row), pixels, count);
}

void SceneNoise::addToColour(std::uint64_t frame, std::size_t row, std::uint8_t* pixels,
                             std::size_t count) const {
    add(m_colour, keyOf(~m_seed, frame, row), pixels, count);
}

} // namespace hostcam
