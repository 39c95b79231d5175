#pragma once

// A transparent picture to draw on with cairo, and to look at.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include <cairo.h>

class Canvas {
  public:
    Canvas(int width, int height)
        : m_surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height)),
          m_cairo(cairo_create(m_surface)) {}
    ~Canvas() {
        cairo_destroy(m_cairo);
        cairo_surface_destroy(m_surface);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    [[nodiscard]] cairo_t* cairo() const { return m_cairo; }
    [[nodiscard]] int width() const { return cairo_image_surface_get_width(m_surface); }
    [[nodiscard]] int height() const { return cairo_image_surface_get_height(m_surface); }

    /// One pixel as 0xAARRGGBB, premultiplied.
    [[nodiscard]] std::uint32_t pixel(int x, int y) const {
        cairo_surface_flush(m_surface);
        const unsigned char* const row =
            cairo_image_surface_get_data(m_surface) +
            static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(m_surface);
        std::uint32_t value = 0;
        std::memcpy(&value, row + static_cast<std::ptrdiff_t>(x) * 4, sizeof value);
        return value;
    }

    /// How many pixels are not transparent.
    [[nodiscard]] int ink() const { return inkIn(0, 0, width(), height()); }

    /// The same within a rectangle.
    [[nodiscard]] int inkIn(int left, int top, int inkWidth, int inkHeight) const {
        int count = 0;
        for (int y = top; y < std::min(top + inkHeight, height()); ++y) {
            for (int x = left; x < std::min(left + inkWidth, width()); ++x) {
                count += pixel(x, y) >> 24 == 0 ? 0 : 1;
            }
        }
        return count;
    }

    /// How many pixels have exactly this value.
    [[nodiscard]] int count(std::uint32_t value) const {
        int found = 0;
        for (int y = 0; y < height(); ++y) {
            for (int x = 0; x < width(); ++x) {
                found += pixel(x, y) == value ? 1 : 0;
            }
        }
        return found;
    }

    /// Where two pictures of the same size differ first, or "" when they are the same.
    [[nodiscard]] std::string differenceFrom(const Canvas& other) const {
        for (int y = 0; y < height(); ++y) {
            for (int x = 0; x < width(); ++x) {
                if (pixel(x, y) != other.pixel(x, y)) {
                    char text[80];
                    std::snprintf(text, sizeof text, "(%d, %d): %08X, expected %08X", x, y,
                                  pixel(x, y), other.pixel(x, y));
                    return text;
                }
            }
        }
        return "";
    }

  private:
    cairo_surface_t* m_surface;
    cairo_t* m_cairo;
};
