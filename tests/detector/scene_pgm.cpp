// Pictures of the built-in scene at twenty sizes, as binary PGM one after the other: what
// detector_dump reads.
//
//   scene_pgm FRAMES   frames of each size, from different places of the script

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

#include "platform/hostcam/scene.h"

namespace {

constexpr unsigned kSizes[][2] = {
    {160, 90},  {176, 144},  {200, 150},  {320, 180},   {320, 240},   {333, 251},  {400, 300},
    {480, 270}, {512, 512},  {640, 360},  {640, 480},   {720, 576},   {799, 601},  {800, 600},
    {960, 540}, {1024, 768}, {1280, 720}, {1280, 1024}, {1920, 1080}, {3840, 2160}};

void print(unsigned frames) {
    hostcam::SceneOptions options;
    options.noise = 4;
    const hostcam::Scene scene(options);
    for (const auto& [width, height] : kSizes) {
        const std::size_t pitch = (width + 1) / 2 * 2;
        std::vector<std::uint8_t> nv12(pitch * (height + (height + 1) / 2));
        for (unsigned frame = 0; frame < frames; ++frame) {
            scene.render(100 + 150 * frame, width, height, nv12.data(), pitch);
            std::printf("P5\n%u %u\n255\n", width, height);
            for (unsigned y = 0; y < height; ++y) {
                std::fwrite(nv12.data() + y * pitch, 1, width, stdout);
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        const int frames = argc == 2 ? std::atoi(argv[1]) : 0;
        if (frames < 1) {
            std::fprintf(stderr, "usage: scene_pgm FRAMES\n");
            return 2;
        }
        print(static_cast<unsigned>(frames));
        return std::fflush(stdout) == 0 ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "scene_pgm: %s\n", problem.what());
        return 1;
    }
}
