// What a whole analysis tick costs beside the marker detector alone, on the same frame with the
// same library, and whether memory grows over many ticks. The camera is the host camera with a
// still photo; its frames come by hand, so that no tick waits for one.

#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "bench/side_by_side.h"
#include "bench/watched_picture.h"

namespace {

constexpr double kMostTickRatio = 1.10;
constexpr long kMostGrowthKilobytes = 2048;

bool compareTicks(const std::filesystem::path& folder, int rounds) {
    bool withinLimit = true;
    const unsigned sizes[][2] = {{1280, 720}, {1920, 1080}, {3840, 2160}};
    for (const auto& size : sizes) {
        for (const int markers : {0, 4, 20}) {
            for (const double noise : {0.0, 4.0}) {
                bench::WatchedPicture watched(folder, size[0], size[1], markers, noise);
                const std::string title = std::to_string(size[0]) + "x" + std::to_string(size[1]) +
                                          ", " + std::to_string(markers) + " markers, " +
                                          (noise > 0 ? "noisy" : "clean");
                const auto ratios =
                    bench::sideBySide(title,
                                      {{"detector", [&] { watched.detectOnly(); }},
                                       {"whole tick", &bench::WatchedPicture::tick}},
                                      rounds);
                if (watched.detected() != static_cast<std::size_t>(markers)) {
                    std::printf("  the detector sees %zu markers\n", watched.detected());
                }
                withinLimit = withinLimit && ratios.back() <= kMostTickRatio;
            }
        }
    }
    std::printf("tick at most %.2f times the detector: %s\n\n", kMostTickRatio,
                withinLimit ? "yes" : "NO");
    return withinLimit;
}

bool watchMemory(const std::filesystem::path& folder) {
    const bench::WatchedPicture watched(folder, 640, 360, 4, 2.0);
    long after100 = 0;
    long resident = 0;
    bool flat = true;
    for (int ticks = 1; ticks <= 10'000; ++ticks) {
        bench::WatchedPicture::tick();
        if (ticks == 100 || ticks == 1'000 || ticks == 10'000) {
            resident = bench::residentKilobytes();
            after100 = ticks == 100 ? resident : after100;
            std::printf("resident memory after %6d ticks: %ld kB\n", ticks, resident);
            flat = flat && resident - after100 <= kMostGrowthKilobytes;
        }
    }
    std::printf("growth at most %ld kB: %s\n", kMostGrowthKilobytes, flat ? "yes" : "NO");
    return flat;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const int rounds = argc > 1 ? std::stoi(argv[1]) : 15;
        const auto folder = std::filesystem::temp_directory_path() / "zerith-tick-bench";
        std::filesystem::create_directories(folder);
        bench::tellLibrary();
        const bool fast = compareTicks(folder, rounds);
        const bool flat = watchMemory(folder);
        std::filesystem::remove_all(folder);
        return fast && flat ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "tick_bench: %s\n", problem.what());
        return 2;
    }
}
