#pragma once

// Takes out of a picture what is too small for any border of a length that counts, sixty-four
// places at once and without following anything: in a noisy picture nearly all there is.
//
// Pixels are joined when they touch at a side or a corner. When a frame one pixel thick around a
// box of a by b pixels is all zero, then whatever lies in the box is joined to nothing outside:
// taking it out takes out its borders and changes no other border, nor the place where another one
// begins. How long can a border in the box be? A border passes between pixels, and each of its
// steps from a pixel to the next is made at a corner where four pixels meet: at most one step for
// each of the two borders that can pass there, at most one altogether on the rim of the box where
// two of the four are zero, and none at the box's own four corners.

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "bit_picture.h"

namespace zerith {

/// The longest border that a box of zeros around a by b pixels can hold, in points; not always
/// reached.
constexpr unsigned longestBorderInBox(unsigned a, unsigned b) {
    return 2 * (a - 1) * (b - 1) + 2 * (a - 1) + 2 * (b - 1) + (a * b == 1 ? 1 : 0);
}

namespace specks {

using Words = std::vector<std::uint64_t>;

/// The row with pixel x - 1 in the place of x.
inline std::uint64_t before(const std::uint64_t* row, int i) {
    return row[i] << 1U | row[i - 1] >> 63U;
}

/// The row with pixel x + k in the place of x, k in 1 to 63.
template <unsigned k>
std::uint64_t after(const std::uint64_t* row, int i) {
    return row[i] >> k | row[i + 1] << (64U - k);
}

/// What a row can be for a box of a width: bit x of `closed` is set when the pixels x - 1 to x +
/// width are zero, bit x of `sides` when those two are.
struct RowFacts {
    Words closed;
    Words sides;
};

template <unsigned... k>
void lookAt(const std::uint64_t* row, int words, RowFacts& facts,
            std::integer_sequence<unsigned, k...> /*inner*/) {
    constexpr unsigned kWidth = sizeof...(k) + 1;
    std::uint64_t* const closed = facts.closed.data();
    std::uint64_t* const sides = facts.sides.data();
    for (int i = 0; i < words; ++i) {
        const std::uint64_t ends = before(row, i) | after<kWidth>(row, i);
        sides[i] = ~ends;
        closed[i] = ~(ends | row[i] | (after<k + 1>(row, i) | ... | 0));
    }
}

/// Takes the boxes of one width and of the heights 1 to kHeight out.
template <unsigned kWidth, int kHeight>
void removeBoxes(BitPicture& picture) {
    const int words = picture.words();
    const auto size = static_cast<std::size_t>(words);
    constexpr int kRows = kHeight + 2;
    std::array<RowFacts, kRows> rows;
    for (RowFacts& facts : rows) {
        facts.closed.assign(size, ~std::uint64_t{0});
        facts.sides.assign(size, ~std::uint64_t{0});
    }
    // Word -1 stays zero: what a box at the end of a word reaches into the next one.
    std::array<Words, kHeight> found;
    for (Words& boxes : found) {
        boxes.assign(size + 1, 0);
    }
    for (int y = -kRows; y < picture.height(); ++y) {
        // The box's frame has its upper side in row y.
        const int newest = y + kRows - 1;
        RowFacts& facts = rows[static_cast<std::size_t>((newest + kRows) % kRows)];
        if (newest >= 0 && newest < picture.height()) {
            lookAt(picture.row(newest), words, facts,
                   std::make_integer_sequence<unsigned, kWidth - 1>{});
        } else {
            facts.closed.assign(size, ~std::uint64_t{0});
            facts.sides.assign(size, ~std::uint64_t{0});
        }
        if (y < -1) {
            continue;
        }
        std::array<const std::uint64_t*, kRows> closed;
        std::array<const std::uint64_t*, kRows> sides;
        for (int r = 0; r < kRows; ++r) {
            const RowFacts& at = rows[static_cast<std::size_t>((y + r + kRows) % kRows)];
            closed[static_cast<std::size_t>(r)] = at.closed.data();
            sides[static_cast<std::size_t>(r)] = at.sides.data();
        }
        for (int i = 0; i < words; ++i) {
            std::uint64_t open = closed[0][i];
            std::array<std::uint64_t, kHeight> boxes;
            for (std::size_t a = 0; a < kHeight; ++a) {
                open &= sides[a + 1][i];
                boxes[a] = open & closed[a + 2][i];
            }
            std::uint64_t any = 0;
            for (std::size_t a = kHeight; a-- > 0;) {
                any |= boxes[a];
                found[a][static_cast<std::size_t>(i) + 1] = any;
            }
        }
        for (int a = 0; a < kHeight; ++a) {
            if (y + 1 + a >= picture.height()) {
                break;
            }
            std::uint64_t* const row = picture.row(y + 1 + a);
            const std::uint64_t* const boxes = found[static_cast<std::size_t>(a)].data() + 1;
            for (int i = 0; i < words; ++i) {
                std::uint64_t reach = boxes[i];
                for (unsigned k = 1; k < kWidth; ++k) {
                    reach |= boxes[i] << k | boxes[i - 1] >> (64U - k);
                }
                row[i] &= ~reach;
            }
        }
    }
}

} // namespace specks

/// Takes out what lies alone in boxes of up to 4x4 pixels, as far as their borders are shorter than
/// wanted.
/// @param shortest the length in points from which on a border counts
inline void removeSpecks(BitPicture& picture, unsigned shortest) {
    if (shortest > longestBorderInBox(3, 3)) {
        specks::removeBoxes<1, 3>(picture);
        specks::removeBoxes<2, 3>(picture);
        specks::removeBoxes<3, 3>(picture);
    }
}

} // namespace zerith
