#pragma once

// A black and white picture with one bit a pixel: what the accelerated detector thresholds into,
// cleans and follows borders in. Sixty-four neighbouring pixels are one word, so that most of what
// has to be done to a picture is done to so many pixels at once, and a picture of 3840x2160 fits
// into a megabyte.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace zerith {

/// A frame of zeros surrounds the picture: a row above, a row below, and a word at either end of
/// every row, so that nobody who looks at a pixel's neighbours has to ask whether they exist.
class BitPicture {
  public:
    static constexpr int kWordBits = 64;

    /// All pixels are zero.
    /// @param width, height in pixels, at least 1
    BitPicture(int width, int height)
        : m_width(width), m_height(height), m_words((width + kWordBits - 1) / kWordBits),
          m_bits(
              std::make_unique<std::uint64_t[]>(pitch() * (static_cast<std::size_t>(height) + 2))) {
    }

    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }

    /// Words of a row that hold pixels.
    [[nodiscard]] int words() const { return m_words; }

    /// Words from a row to the next.
    [[nodiscard]] std::size_t pitch() const { return static_cast<std::size_t>(m_words) + 2; }

    /// The words of a row: pixel x is bit x % 64 of word x / 64. Words -1 and words() may be read
    /// too and are zero, as are the bits beyond the width; whoever writes keeps them so.
    /// @param y -1 to height()
    [[nodiscard]] std::uint64_t* row(int y) {
        return m_bits.get() + static_cast<std::size_t>(y + 1) * pitch() + 1;
    }
    [[nodiscard]] const std::uint64_t* row(int y) const {
        return m_bits.get() + static_cast<std::size_t>(y + 1) * pitch() + 1;
    }

    [[nodiscard]] bool at(int x, int y) const {
        return (row(y)[x / kWordBits] >> (x % kWordBits) & 1U) != 0;
    }

    /// The bits of a row's last word that are pixels.
    [[nodiscard]] std::uint64_t lastWordMask() const {
        return ~std::uint64_t{0} >> ((kWordBits - m_width % kWordBits) % kWordBits);
    }

  private:
    int m_width;
    int m_height;
    int m_words;
    std::unique_ptr<std::uint64_t[]> m_bits;
};

} // namespace zerith
