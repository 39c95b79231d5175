// How long each stage of a tick takes, by size and noise of the picture: a table for each. One
// overlay stream of 1280x720 is drawn for.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "bench/watched_picture.h"
#include "platform/hostcam/stage_times.h"

int main(int argc, char** argv) {
    try {
        const int ticks = argc > 1 ? std::stoi(argv[1]) : 100;
        const auto folder = std::filesystem::temp_directory_path() / "zerith-stage-bench";
        std::filesystem::create_directories(folder);
        bench::tellLibrary();
        const unsigned sizes[][2] = {{1280, 720}, {1920, 1080}, {3840, 2160}};
        for (const auto& size : sizes) {
            for (const double noise : {0.0, 4.0}) {
                const bench::WatchedPicture watched(folder, size[0], size[1], 4, noise, "1280x720");
                bench::WatchedPicture::tick(); // not measured: it fills caches and makes threads
                hostcam::resetStageTimes();
                for (int i = 0; i < ticks; ++i) {
                    bench::WatchedPicture::tick();
                }
                std::printf("%ux%u, 4 markers, noise %.0f\n%s\n", size[0], size[1], noise,
                            hostcam::stageTable().c_str());
            }
        }
        std::filesystem::remove_all(folder);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "stage_bench: %s\n", problem.what());
        return 2;
    }
}
