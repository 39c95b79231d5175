#pragma once

// Follows the borders of a picture, after S. Suzuki and K. Abe, "Topological structural analysis of
// digitized binary images by border following", 1985: the algorithm 1 there, without the hierarchy.
//
// A border is a closed way along pixels that are one, with zeros on one side of it: the outside of
// what is joined (at sides or corners), or a hole in it. Every side of a pixel with a zero to its
// left or right belongs to exactly one border. Rows are looked at from the top, each from the left;
// the first such side of a border is where its following begins, and following it crosses all its
// sides out, so that what is still there later begins another border. So nothing but the picture
// decides which borders there are, where each begins and which points it has.
//
// Sides to be found are bits of their own, and the picture is never written: how the way goes on
// from a pixel is one look into a table, by where one came from and which of the eight neighbours
// are ones.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "bit_picture.h"

namespace zerith {

namespace borders {

static_assert(std::endian::native == std::endian::little, "bits are read across bytes of a word");

// Directions: 0 to the right, then counterclockwise as seen, 45 degrees each.
constexpr unsigned kRight = 0;
constexpr unsigned kLeft = 4;
constexpr std::array<int, 8> kStepX{1, 1, 0, -1, -1, -1, 0, 1};
constexpr std::array<int, 8> kStepY{0, -1, -1, -1, 0, 1, 1, 1};

constexpr unsigned opposite(unsigned direction) {
    return (direction + 4) % 8;
}

// The nine pixels around and including a pixel, as bits: the row above in bits 0 to 2, its own in 3
// to 5, the row below in 6 to 8, each from the left.
using Neighbours = unsigned;

constexpr bool isOne(Neighbours around, unsigned direction) {
    return (around >> ((kStepY[direction] + 1) * 3 + kStepX[direction] + 1) & 1U) != 0;
}

/// How the way goes on: bits 0 to 2 the direction; bit 3, the left side of the pixel has been
/// passed, bit 4, the right one.
using Turn = std::uint8_t;
constexpr Turn kPassedLeft = 8;
constexpr Turn kPassedRight = 16;

/// By the direction of the last step and the neighbours: from where one came from,
/// counterclockwise, to the first one that is one.
constexpr auto makeTurns() {
    std::array<std::array<Turn, 512>, 8> turns{};
    for (unsigned arrived = 0; arrived < 8; ++arrived) {
        for (Neighbours around = 0; around < 512; ++around) {
            Turn turn = 0;
            unsigned direction = opposite(arrived);
            for (int tried = 0; tried < 8; ++tried) {
                direction = (direction + 1) % 8;
                if (isOne(around, direction)) {
                    break;
                }
                turn |= direction == kLeft ? kPassedLeft : 0;
                turn |= direction == kRight ? kPassedRight : 0;
            }
            turns[arrived][around] = static_cast<Turn>(turn | direction);
        }
    }
    return turns;
}
inline constexpr auto kTurns = makeTurns();

/// A place as one number: the row in the upper half, the column in the lower, as a point has them
/// in memory.
using Place = std::uint64_t;

constexpr Place placeAt(int x, int y) {
    return static_cast<Place>(static_cast<std::uint32_t>(y)) << 32U | static_cast<std::uint32_t>(x);
}

/// What a step adds to a place; a column to the left borrows from nothing, as columns are above 0
/// then.
constexpr auto makeSteps() {
    std::array<Place, 8> steps{};
    for (std::size_t d = 0; d < 8; ++d) {
        steps[d] =
            static_cast<Place>(kStepY[d]) * (Place{1} << 32U) + static_cast<Place>(kStepX[d]);
    }
    return steps;
}
inline constexpr auto kSteps = makeSteps();

/// The sides that have not been found: for every 32 pixels a word, left sides in its lower half.
class Sides {
  public:
    explicit Sides(const BitPicture& picture)
        : m_words(2 * picture.words()),
          m_bits(std::make_unique_for_overwrite<std::uint64_t[]>(
              static_cast<std::size_t>(m_words) * static_cast<std::size_t>(picture.height()))) {
        constexpr std::uint64_t kLower = 0xffffffffU;
        for (int y = 0; y < picture.height(); ++y) {
            const std::uint64_t* const from = picture.row(y);
            std::uint64_t* const to = row(y);
            for (int i = 0; i < picture.words(); ++i) {
                const std::uint64_t left = from[i] & ~(from[i] << 1U | from[i - 1] >> 63U);
                const std::uint64_t right = from[i] & ~(from[i] >> 1U | from[i + 1] << 63U);
                to[2 * i] = (left & kLower) | right << 32U;
                to[2 * i + 1] = left >> 32U | (right & ~kLower);
            }
        }
    }

    [[nodiscard]] int words() const { return m_words; }
    [[nodiscard]] std::uint64_t* row(int y) {
        return m_bits.get() + static_cast<std::size_t>(y) * static_cast<std::size_t>(m_words);
    }

    void crossOut(std::uint32_t x, std::uint32_t y, Turn turn) {
        constexpr std::array<std::uint64_t, 4> kPassed{0, 1, std::uint64_t{1} << 32U,
                                                       1 | std::uint64_t{1} << 32U};
        m_bits[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_words) + x / 32] &=
            ~(kPassed[turn >> 3U] << (x % 32));
    }

  private:
    int m_words;
    std::unique_ptr<std::uint64_t[]> m_bits;
};

class Follower {
  public:
    /// @param longest points beyond these are not kept
    Follower(const BitPicture& picture, unsigned longest)
        : m_pitch(picture.pitch() * sizeof(std::uint64_t)),
          m_origin(reinterpret_cast<const unsigned char*>(picture.row(0)) - 1), m_sides(picture),
          m_longest(longest), m_points(std::min(1024U, longest)) {}

    [[nodiscard]] Sides& sides() { return m_sides; }
    [[nodiscard]] const Place* points() const { return m_points.data(); }

    /// Follows the border that begins at a pixel's left side (the outside of something) or right
    /// side (a hole).
    /// @return how many points it has; points() has them, up to the longest length
    unsigned follow(Place start, bool outside) {
        // The last step of the way leads from the neighbour that is the first one clockwise to the
        // start. No neighbour: the border is one point.
        const Neighbours around = neighbours(start);
        unsigned back = outside ? kLeft : kRight;
        for (int tried = 0; !isOne(around, back); ++tried) {
            if (tried == 8) {
                keep(0, start);
                crossOut(start, kPassedLeft | kPassedRight);
                return 1;
            }
            back = (back + 7) % 8;
        }
        const unsigned last = opposite(back);
        unsigned arrived = last;
        unsigned count = 0;
        Place at = start;
        do {
            const Turn turn = kTurns[arrived][neighbours(at)];
            crossOut(at, turn);
            keep(count, at);
            ++count;
            arrived = turn % 8;
            at += kSteps[arrived];
        } while (at != start || arrived != last);
        return count;
    }

  private:
    [[nodiscard]] Neighbours neighbours(Place place) const {
        const auto x = static_cast<std::uint32_t>(place);
        const auto y = static_cast<std::uint32_t>(place >> 32U);
        // Pixel x - 1, counted from the byte before the row's first.
        const std::uint32_t bit = x + 7;
        const unsigned char* const middle =
            m_origin + static_cast<std::size_t>(y) * m_pitch + bit / 8;
        return three(middle - m_pitch, bit % 8) | three(middle, bit % 8) << 3U |
               three(middle + m_pitch, bit % 8) << 6U;
    }

    static Neighbours three(const unsigned char* byte, unsigned shift) {
        std::uint16_t bits = 0;
        std::memcpy(&bits, byte, sizeof(bits));
        return static_cast<unsigned>(bits) >> shift & 7U;
    }

    void crossOut(Place place, Turn turn) {
        m_sides.crossOut(static_cast<std::uint32_t>(place),
                         static_cast<std::uint32_t>(place >> 32U), turn);
    }

    void keep(unsigned count, Place place) {
        if (count < m_points.size()) [[likely]] {
            m_points[count] = place;
        } else if (count < m_longest) {
            m_points.resize(std::min<std::size_t>(m_points.size() * 2, m_longest));
            m_points[count] = place;
        }
    }

    std::size_t m_pitch;
    const unsigned char* m_origin;
    Sides m_sides;
    unsigned m_longest;
    std::vector<Place> m_points;
};

} // namespace borders

/// Finds the borders whose length in points lies between two limits.
/// @param sink is called as sink(points, count) for each, in the order in which they begin; points
/// is borrowed for
///             the call, each a column in the lower and a row in the upper half
template <class Sink>
void followBorders(const BitPicture& picture, unsigned shortest, unsigned longest, Sink&& sink) {
    borders::Follower follower(picture, longest);
    borders::Sides& sides = follower.sides();
    for (int y = 0; y < picture.height(); ++y) {
        std::uint64_t* const row = sides.row(y);
        for (int i = 0; i < sides.words(); ++i) {
            while (row[i] != 0) {
                // A right side stands where the next pixel begins.
                const std::uint64_t left = row[i] & 0xffffffffU;
                const std::uint64_t right = row[i] >> 32U;
                const int first = std::countr_zero(left | right << 1U);
                const bool outside = (left >> static_cast<unsigned>(first) & 1U) != 0;
                const int x = i * 32 + first - (outside ? 0 : 1);
                const unsigned count = follower.follow(borders::placeAt(x, y), outside);
                if (count >= shortest && count <= longest) {
                    sink(follower.points(), count);
                }
            }
        }
    }
}

} // namespace zerith
