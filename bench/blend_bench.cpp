// What a viewer's picture costs: blending a layer beside a plain copy of the layer's bytes, the
// step to full range, and the JPEG.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "platform/hostcam/overlay_layers.h"
#include "platform/hostcam/picture.h"
#include "platform/hostcam/scene.h"
#include "platform/hostcam/viewer_jpeg.h"
#include "platform/hostcam/viewer_picture.h"

namespace {

using hostcam::OverlayLayer;
using hostcam::Size;

constexpr int kQuality = 75;

OverlayLayer layerOf(Size size, std::uint32_t pixel) {
    return {size, std::vector<std::uint32_t>(std::size_t{size.width} * size.height, pixel), 1};
}

/// What the application draws in the built-in scene: outlines of four markers and a line of text.
OverlayLayer usualLayer(Size size) {
    OverlayLayer layer = layerOf(size, 0);
    const auto fill = [&](std::size_t left, std::size_t top, std::size_t width,
                          std::size_t height) {
        for (std::size_t row = top; row < top + height; ++row) {
            for (std::size_t column = left; column < left + width; ++column) {
                layer.pixels[row * size.width + column] = 0xFF00FF00;
            }
        }
    };
    const std::size_t side = size.width / 12;
    for (std::size_t marker = 1; marker <= 4; ++marker) {
        const std::size_t left = size.width / 5 * marker;
        const std::size_t top = size.height / 6 * marker;
        fill(left, top, side, 3);
        fill(left, top + side, side, 3);
        fill(left, top, 3, side);
        fill(left + side, top, 3, side);
    }
    fill(10, size.height - 50, size.width / 7, 20);
    return layer;
}

void comparePictures(Size size, int rounds) {
    const std::string title = hostcam::toText(size);
    hostcam::Picture frame(size);
    const hostcam::Scene scene(hostcam::SceneOptions{});
    scene.render(0, size.width, size.height, frame.target().y, frame.pitch());
    const hostcam::ViewerPicture picture(size);
    widen(frame.view(), picture.planes());
    const OverlayLayer empty = layerOf(size, 0);
    const OverlayLayer usual = usualLayer(size);
    const OverlayLayer full = layerOf(size, 0x80402010);
    std::vector<std::uint32_t> copy(full.pixels.size());
    hostcam::JpegEncoder encoder;
    bench::sideBySide(
        title + " picture of a viewer",
        {{"memcpy of the layer's bytes",
          [&] { std::memcpy(copy.data(), full.pixels.data(), full.pixels.size() * 4); }},
         {"blend: nothing drawn", [&] { blendOver(empty, picture.planes()); }},
         {"blend: four outlines, text", [&] { blendOver(usual, picture.planes()); }},
         {"blend: every pixel", [&] { blendOver(full, picture.planes()); }},
         {"to full range", [&] { widen(frame.view(), picture.planes()); }},
         {"JPEG", [&] { (void)encoder.encode(picture.planes(), kQuality); }}},
        rounds);
}

} // namespace

int main() {
    constexpr int kRounds = 101;
    comparePictures({1280, 720}, kRounds);
    comparePictures({1920, 1080}, kRounds);
    return 0;
}
