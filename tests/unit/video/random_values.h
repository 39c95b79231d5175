#pragma once

// Random input for tests that compare with a reference: reproducible from the seed that is printed.

#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

namespace video_test {

class RandomValues {
  public:
    explicit RandomValues(std::uint32_t seed) : m_engine(seed) {
        std::printf("random seed %u\n", seed);
    }

    /// Uniform, both ends included.
    template <typename Integer>
    [[nodiscard]] Integer between(Integer low, Integer high) {
        return std::uniform_int_distribution<Integer>(low, high)(m_engine);
    }

    [[nodiscard]] bool coin() { return (m_engine() & 1U) != 0; }

    [[nodiscard]] float real(float low, float high) {
        return std::uniform_real_distribution<float>(low, high)(m_engine);
    }

    [[nodiscard]] std::vector<std::uint8_t> bytes(std::size_t count) {
        std::vector<std::uint8_t> result(count);
        for (std::uint8_t& byte : result) {
            byte = static_cast<std::uint8_t>(m_engine() & 0xFFU);
        }
        return result;
    }

    /// One of the given values.
    template <typename T>
    [[nodiscard]] T oneOf(const std::vector<T>& values) {
        return values[between<std::size_t>(0, values.size() - 1)];
    }

  private:
    std::mt19937 m_engine;
};

} // namespace video_test
