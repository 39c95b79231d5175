// Picture conversions beside a plain copy of as many bytes.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "core/Logger.h"
#include "platform/hostcam/camera.h"
#include "video/VideoStreamSource.h"
#include "video/imgconverter.h"

Logger g_Logger("conversion_bench", "/dev/null");

namespace {

using Bytes = std::vector<std::uint8_t>;

void convertWhole(unsigned width, unsigned height, int rounds) {
    const std::size_t pixels = std::size_t{width} * height;
    Bytes nv12(pixels * 3 / 2, 128);
    Bytes rgb(pixels * 3);
    Bytes copy(pixels * 3);
    bench::sideBySide(
        std::to_string(width) + "x" + std::to_string(height) + " NV12 to RGB",
        {{"memcpy of the RGB bytes", [&] { std::memcpy(copy.data(), rgb.data(), rgb.size()); }},
         {"whole picture",
          [&] { convertU8yuvToRGBlibYuv(width, height, nv12.data(), rgb.data()); }},
         {"cropped, scaled to 640x480",
          [&] {
              (void)convertCropScaleU8yuvToRGB(nv12.data(), width, height, copy.data(), 640, 480);
          }}},
        rounds);
}

/// Opens a stream of the built-in scene, whose frames are not looked at, for its rotation copies.
void rotate(unsigned width, unsigned height, int rounds) {
    const auto config = std::filesystem::temp_directory_path() / "zerith-conversion-bench.conf";
    std::ofstream(config) << "[http]\nport=0\n";
    setenv("HOSTCAM_CONFIG", config.c_str(), 1);
    const std::size_t bytes = std::size_t{width} * height * 3;
    Bytes from(bytes, 1);
    Bytes to(bytes);
    const VideoStreamSource source(static_cast<int>(height), static_cast<int>(width), 0);
    bench::sideBySide(std::to_string(width) + "x" + std::to_string(height) + " rotation copies",
                      {{"memcpy", [&] { std::memcpy(to.data(), from.data(), bytes); }},
                       {"rotate0", [&] { source.rotate0(from.data(), to.data()); }},
                       {"rotate90", [&] { source.rotate90(from.data(), to.data()); }},
                       {"rotate90_R90", [&] { source.rotate90_R90(from.data(), to.data()); }},
                       {"rotate180", [&] { source.rotate180(from.data(), to.data()); }},
                       {"rotate270", [&] { source.rotate270(from.data(), to.data()); }},
                       {"rotate270_R90", [&] { source.rotate270_R90(from.data(), to.data()); }}},
                      rounds);
    std::filesystem::remove(config);
}

} // namespace

int main() {
    constexpr int kRounds = 51;
    const unsigned sizes[][2] = {{1280, 720}, {1920, 1080}};
    for (const auto& size : sizes) {
        convertWhole(size[0], size[1], kRounds);
        rotate(size[0], size[1], kRounds);
    }
    convertWhole(3840, 2160, kRounds);
    return 0;
}
