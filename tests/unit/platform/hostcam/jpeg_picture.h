#pragma once

// A JPEG as a viewer sees it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <turbojpeg.h>

#include "platform/hostcam/config.h"

namespace testing_support {

struct Colour {
    int red = 0;
    int green = 0;
    int blue = 0;
};

inline std::ostream& operator<<(std::ostream& out, const Colour& colour) {
    return out << "(" << colour.red << ", " << colour.green << ", " << colour.blue << ")";
}

/// Whether two colours are as near as a JPEG of good quality has them.
inline bool isNear(const Colour& a, const Colour& b, int distance = 6) {
    const auto near = [distance](int x, int y) { return x - y <= distance && y - x <= distance; };
    return near(a.red, b.red) && near(a.green, b.green) && near(a.blue, b.blue);
}

class JpegPicture {
  public:
    /// @throws std::runtime_error for what is no whole JPEG
    explicit JpegPicture(std::string_view jpeg) {
        const std::unique_ptr<void, int (*)(void*)> decoder(tjInitDecompress(), tjDestroy);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(jpeg.data());
        int width = 0;
        int height = 0;
        int sampling = 0;
        int colours = 0;
        if (tjDecompressHeader3(decoder.get(), bytes, jpeg.size(), &width, &height, &sampling,
                                &colours) != 0) {
            throw std::runtime_error("no JPEG");
        }
        size = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
        m_rgb.resize(std::size_t{size.width} * size.height * 3);
        if (tjDecompress2(decoder.get(), bytes, jpeg.size(), m_rgb.data(), width, 0, height,
                          TJPF_RGB, TJFLAG_STOPONWARNING) != 0) {
            throw std::runtime_error("a broken JPEG");
        }
    }

    [[nodiscard]] Colour at(std::size_t x, std::size_t y) const {
        const std::uint8_t* const pixel = m_rgb.data() + (y * size.width + x) * 3;
        return {pixel[0], pixel[1], pixel[2]};
    }

    hostcam::Size size;

  private:
    std::vector<std::uint8_t> m_rgb;
};

} // namespace testing_support
