#include "platform/axoverlay/overlay_geometry.h"

#include <algorithm>
#include <cmath>

namespace hostcam {
namespace {

struct Point {
    double x;
    double y;
};

/// Any float, even none or a huge one, to a pixel that can be reckoned with.
int toPixel(double value) {
    constexpr double kFar = 1'000'000;
    return std::isnan(value) ? 0 : static_cast<int>(std::lround(std::clamp(value, -kFar, kFar)));
}

/// A point of the unrotated stream, turned clockwise with it.
Point rotated(Point point, const axoverlay_stream_data& stream) {
    switch (stream.rotation) {
    case 90:
        return {stream.height - point.y, point.x};
    case 180:
        return {stream.width - point.x, stream.height - point.y};
    case 270:
        return {point.y, stream.width - point.x};
    default:
        return point;
    }
}

} // namespace

Size viewedSize(const axoverlay_stream_data& stream) {
    const auto width = static_cast<std::uint32_t>(stream.width);
    const auto height = static_cast<std::uint32_t>(stream.height);
    return stream.rotation == 90 || stream.rotation == 270 ? Size{height, width}
                                                           : Size{width, height};
}

Placement initialPlacement(const axoverlay_overlay_data& overlay,
                           const axoverlay_stream_data& stream, Size largest) {
    const double scale = overlay.scale_to_stream != FALSE && largest.width > 0
                             ? stream.width / double(largest.width)
                             : 1.0;
    return {overlay.postype, overlay.x, overlay.y, toPixel(overlay.width * scale),
            toPixel(overlay.height * scale)};
}

Place placeOf(const Placement& placement, axoverlay_anchor_point anchor,
              const axoverlay_stream_data& stream, Size largest) {
    const Size viewed = viewedSize(stream);
    const auto width = static_cast<int>(viewed.width);
    const auto height = static_cast<int>(viewed.height);
    Point point{placement.x, placement.y};
    switch (placement.postype) {
    case AXOVERLAY_TOP_LEFT:
        return {0, 0};
    case AXOVERLAY_TOP_RIGHT:
        return {width - placement.width, 0};
    case AXOVERLAY_BOTTOM_LEFT:
        return {0, height - placement.height};
    case AXOVERLAY_BOTTOM_RIGHT:
        return {width - placement.width, height - placement.height};
    case AXOVERLAY_CUSTOM_NORMALIZED:
        point = {(point.x + 1) / 2 * width, (point.y + 1) / 2 * height};
        break;
    case AXOVERLAY_CUSTOM_SOURCE:
        point = rotated({point.x * stream.width / std::max(1U, largest.width),
                         point.y * stream.height / std::max(1U, largest.height)},
                        stream);
        break;
    }
    if (anchor == AXOVERLAY_ANCHOR_CENTER) {
        point.x -= placement.width / 2.0;
        point.y -= placement.height / 2.0;
    }
    return {toPixel(point.x), toPixel(point.y)};
}

} // namespace hostcam
