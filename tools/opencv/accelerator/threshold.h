#pragma once

// Thresholds a grey picture by the mean of a square window, as the marker detector does at the
// window sizes 3, 13 and 23: a pixel is set when the rounded mean of the window around it, less the
// pixel, is at least a constant. Beyond its rim the picture goes on with the pixel that is nearest.
//
// The area A of such a window is odd, so the mean's fraction is never a half, and rounding needs no
// mean: round(S / A) - p >= C is 2 S - 2 A p >= (2 C - 1) A, which for whole numbers is S >= A p +
// A C - (A - 1) / 2. What is left is the sum S of the window, of which the sums of its columns are
// kept from row to row.
//
// Every form computes the same whole numbers; plain C++ is the one that the others are tested
// against.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "bit_picture.h"

namespace zerith {

/// A grey picture that somebody else owns.
struct GreyPicture {
    const std::uint8_t* pixels;
    std::size_t pitch; ///< bytes from a row to the next
    int width;         ///< at least 1
    int height;        ///< at least 1

    /// A row; beyond the rim the nearest one.
    [[nodiscard]] const std::uint8_t* row(int y) const {
        return pixels + static_cast<std::size_t>(std::clamp(y, 0, height - 1)) * pitch;
    }
};

enum class Form { plain, sse, avx2, neon };

namespace threshold {

inline constexpr int kLargestRadius = 11;

/// The sum that a window of an area needs for a pixel of value 0.
constexpr int sumForZero(int area, int constant) {
    return area * constant - (area - 1) / 2;
}

/// A row at work.
struct Row {
    const std::uint8_t* pixels;
    const std::uint16_t*
        sums; ///< of the columns; as many again as the radius stand before and after
    std::uint64_t* bits;
    int width;
    int constant;
};

/// The 64 pixels from x on, of which those beyond the row are zero.
class Block {
  public:
    const std::uint8_t* of(const Row& row, int x) {
        if (x + BitPicture::kWordBits <= row.width) {
            return row.pixels + x;
        }
        m_pixels.fill(0);
        std::memcpy(m_pixels.data(), row.pixels + x, static_cast<std::size_t>(row.width - x));
        return m_pixels.data();
    }

  private:
    std::array<std::uint8_t, BitPicture::kWordBits> m_pixels;
};

namespace plain {

/// sums += added - taken
inline void moveDown(std::uint16_t* sums, const std::uint8_t* added, const std::uint8_t* taken,
                     int width) {
    for (int x = 0; x < width; ++x) {
        sums[x] = static_cast<std::uint16_t>(sums[x] + added[x] - taken[x]);
    }
}

template <int kRadius>
void thresholdRow(const Row& row) {
    constexpr int kSide = 2 * kRadius + 1;
    constexpr int kArea = kSide * kSide;
    const int least = sumForZero(kArea, row.constant);
    int sum = 0;
    for (int x = -kRadius; x < kRadius; ++x) {
        sum += row.sums[x];
    }
    for (int x0 = 0; x0 < row.width; x0 += BitPicture::kWordBits) {
        std::uint64_t word = 0;
        for (int x = x0; x < std::min(x0 + BitPicture::kWordBits, row.width); ++x) {
            sum += row.sums[x + kRadius];
            const bool set = sum >= kArea * row.pixels[x] + least;
            word |= static_cast<std::uint64_t>(set) << static_cast<unsigned>(x - x0);
            sum -= row.sums[x - kRadius];
        }
        row.bits[x0 / BitPicture::kWordBits] = word;
    }
}

} // namespace plain
} // namespace threshold
} // namespace zerith

// The vectorised forms: the same text for each, with its own vectors.
#if defined(__x86_64__)
#include "vectors_x86.h"
#elif defined(__aarch64__)
#include "vectors_neon.h"
#endif

namespace zerith {
namespace threshold {

struct Functions {
    void (*moveDown)(std::uint16_t*, const std::uint8_t*, const std::uint8_t*, int);
    void (*row3)(const Row&);
    void (*row13)(const Row&);
    void (*row23)(const Row&);
};

inline Functions functionsOf([[maybe_unused]] Form form) {
#if defined(__x86_64__)
    if (form == Form::avx2) {
        return {avx2::moveDown, avx2::thresholdRow3, avx2::thresholdRow13, avx2::thresholdRow23};
    }
    if (form == Form::sse) {
        return {sse::moveDown, sse::thresholdRow3, sse::thresholdRow13, sse::thresholdRow23};
    }
#elif defined(__aarch64__)
    if (form == Form::neon) {
        return {neon::moveDown, neon::thresholdRow3, neon::thresholdRow13, neon::thresholdRow23};
    }
#endif
    return {plain::moveDown, plain::thresholdRow<1>, plain::thresholdRow<6>,
            plain::thresholdRow<11>};
}

/// One window's sums of columns while it moves down a picture.
class Window {
  public:
    /// The window around the pixels of row y.
    Window(const Functions& functions, const GreyPicture& grey, int radius, int y)
        : m_functions(functions), m_grey(grey), m_radius(radius), m_y(y),
          m_sums(static_cast<std::size_t>(grey.width) + 2 * kLargestRadius +
                 2 * BitPicture::kWordBits) {
        const std::vector<std::uint8_t> nothing(static_cast<std::size_t>(grey.width));
        for (int row = y - radius; row <= y + radius; ++row) {
            m_functions.moveDown(columns(), grey.row(row), nothing.data(), grey.width);
        }
    }

    /// Thresholds its row and moves down to the next.
    void step(int constant, BitPicture& to) {
        std::uint16_t* const sums = columns();
        for (int i = 1; i <= m_radius; ++i) {
            sums[-i] = sums[0];
            sums[m_grey.width - 1 + i] = sums[m_grey.width - 1];
        }
        const Row row{m_grey.row(m_y), sums, to.row(m_y), m_grey.width, constant};
        (m_radius == 1   ? m_functions.row3
         : m_radius == 6 ? m_functions.row13
                         : m_functions.row23)(row);
        row.bits[to.words() - 1] &= to.lastWordMask();
        m_functions.moveDown(sums, m_grey.row(m_y + m_radius + 1), m_grey.row(m_y - m_radius),
                             m_grey.width);
        ++m_y;
    }

  private:
    std::uint16_t* columns() { return m_sums.data() + kLargestRadius; }

    const Functions& m_functions;
    GreyPicture m_grey;
    int m_radius;
    int m_y;
    std::vector<std::uint16_t> m_sums;
};

} // namespace threshold

/// The fastest form that this processor has.
inline Form bestForm() {
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2") != 0 ? Form::avx2 : Form::sse;
#elif defined(__aarch64__)
    return Form::neon;
#else
    return Form::plain;
#endif
}

/// Whether thresholdMean() knows a window and a constant. With other constants its sums could leave
/// the range of their numbers.
inline bool canThreshold(int side, double constant) {
    constexpr double kMostConstant = 128;
    return (side == 3 || side == 13 || side == 23) && constant >= 1 && constant <= kMostConstant &&
           constant == static_cast<double>(static_cast<int>(constant));
}

/// One of several thresholdings of the same picture.
struct Thresholding {
    int side;       ///< of the window, in pixels: see canThreshold()
    int constant;   ///< see canThreshold()
    BitPicture* to; ///< of the grey picture's size
};

/// Thresholds some rows of a picture by several windows at once, so that it is read only once.
/// Different rows may be done on different threads at the same time.
/// @param begin, end the rows, end excluded
inline void thresholdMean(const GreyPicture& grey, int begin, int end,
                          const std::vector<Thresholding>& tasks, Form form = bestForm()) {
    const threshold::Functions functions = threshold::functionsOf(form);
    std::vector<threshold::Window> windows;
    windows.reserve(tasks.size());
    for (const Thresholding& task : tasks) {
        windows.emplace_back(functions, grey, task.side / 2, begin);
    }
    for (int y = begin; y < end; ++y) {
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            windows[i].step(tasks[i].constant, *tasks[i].to);
        }
    }
}

} // namespace zerith
