// A whole tick of the application, with an overlay stream of 1280x720, beside the bare detector's
// call on the same frame: that of the library as it is (in a process of its own, on one thread),
// and the accelerated one. They take turns, each tick on one thread and on two.
//
//   whole_tick_bench [ROUNDS] [--no-overlay] [--assert]

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/core/utility.hpp>

#include "bench/side_by_side.h"
#include "bench/watched_picture.h"
#include "bench/worker_process.h"

namespace {

/// What is promised: the tick beside the library's call, and the tick's own time.
constexpr double kMostRatio = 0.30;         // 1920x1080, 4 markers, noise 4
constexpr double kMostMilliseconds = 40;    // 3840x2160, noise 4, two threads
constexpr double kPeriodMilliseconds = 100; // 3840x2160, noise 10, two threads

struct Picture {
    unsigned width;
    unsigned height;
    int markers;
    double noise;
};

struct Options {
    int rounds = 9;
    std::string viewer = "1280x720"; ///< the overlay stream; empty: none
    bool asserts = false;
};

Options optionsOf(int argc, char** argv) {
    Options options;
    for (const std::string& word : std::vector<std::string>(argv + 1, argv + argc)) {
        if (word == "--no-overlay") {
            options.viewer.clear();
        } else if (word == "--assert") {
            options.asserts = true;
        } else {
            options.rounds = std::stoi(word);
        }
    }
    return options;
}

struct Medians {
    double library;  ///< microseconds, as are the others
    double detector; ///< on one thread
    double oneThread;
    double twoThreads;
};

/// The worker's time for its library's call, in microseconds.
double askWorker(bench::WorkerProcess& worker, const std::string& path, const Picture& picture,
                 std::size_t markers) {
    std::istringstream answer(worker.ask(path + ' ' + std::to_string(picture.width) + ' ' +
                                         std::to_string(picture.height) + " 1 1"));
    double wall = 0;
    double processor = 0;
    std::size_t found = 0;
    if (!(answer >> wall >> processor >> found) || found != markers) {
        throw std::runtime_error("the library finds other markers in " + path);
    }
    return wall;
}

double timedTick(int threads) {
    cv::setNumThreads(threads);
    return bench::timed(&bench::WatchedPicture::tick);
}

Medians measure(const std::filesystem::path& folder, bench::WorkerProcess& worker,
                const Picture& picture, const Options& options) {
    bench::WatchedPicture watched(folder, picture.width, picture.height, picture.markers,
                                  picture.noise, options.viewer);
    static int count = 0;
    const std::string path = (folder / (std::to_string(count++) + ".rgb")).string();
    const std::vector<std::uint8_t>& frame = watched.frame();
    if (!std::ofstream(path, std::ios::binary)
             .write(reinterpret_cast<const char*>(frame.data()),
                    static_cast<std::streamsize>(frame.size()))) {
        throw std::runtime_error("cannot write " + path);
    }
    std::vector<double> library;
    std::vector<double> detector;
    std::vector<double> one;
    std::vector<double> two;
    for (int round = -1; round < options.rounds; ++round) {
        cv::setNumThreads(1);
        const double bare = bench::timed([&] { watched.detectOnly(); });
        const double stock = askWorker(worker, path, picture, watched.detected());
        const double tickOfOne = timedTick(1);
        const double tickOfTwo = timedTick(2);
        if (round >= 0) { // the first one fills caches and makes threads
            library.push_back(stock);
            detector.push_back(bare);
            one.push_back(tickOfOne);
            two.push_back(tickOfTwo);
        }
    }
    std::filesystem::remove(path);
    return {bench::median(library), bench::median(detector), bench::median(one),
            bench::median(two)};
}

/// @return whether what is promised of this picture is kept
bool keepsPromise(const Picture& picture, const Medians& medians) {
    constexpr double kMicroseconds = 1000;
    if (picture.width == 1920 && picture.markers == 4 && picture.noise == 4.0) {
        return medians.oneThread <= kMostRatio * medians.library;
    }
    if (picture.width == 3840 && picture.noise == 4.0) {
        return medians.twoThreads <= kMostMilliseconds * kMicroseconds;
    }
    if (picture.width == 3840 && picture.noise == 10.0) {
        return medians.twoThreads <= kPeriodMilliseconds * kMicroseconds;
    }
    return true;
}

void print(const Picture& picture, const Medians& medians, bool kept) {
    const auto milliseconds = [](double microseconds) { return microseconds / 1000; };
    std::printf("%4ux%-4u %7d %5.0f %9.2f %9.2f %9.2f %9.2f %6.2f %6.2f%s\n", picture.width,
                picture.height, picture.markers, picture.noise, milliseconds(medians.library),
                milliseconds(medians.detector), milliseconds(medians.oneThread),
                milliseconds(medians.twoThreads), medians.oneThread / medians.library,
                medians.twoThreads / medians.library, kept ? "" : "  over its limit");
    std::fflush(stdout);
}

bool compare(const std::filesystem::path& folder, const Options& options) {
    const auto programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    bench::WorkerProcess worker((programs / "detection_worker_stock").string());
    std::printf("picture   markers noise   library  detector  tick, 1t  tick, 2t   "
                "tick beside the library\n");
    bool kept = true;
    const unsigned sizes[][2] = {{1280, 720}, {1920, 1080}, {3840, 2160}};
    for (const auto& size : sizes) {
        for (const double noise : {0.0, 4.0, 10.0}) {
            for (const int markers : {0, 4, 20}) {
                const Picture picture{size[0], size[1], markers, noise};
                const Medians medians = measure(folder, worker, picture, options);
                const bool fast = keepsPromise(picture, medians);
                print(picture, medians, fast);
                kept = kept && fast;
            }
        }
    }
    return kept;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Options options = optionsOf(argc, argv);
        const auto folder = std::filesystem::temp_directory_path() / "zerith-whole-tick-bench";
        std::filesystem::create_directories(folder);
        bench::tellLibrary();
        const bool kept = compare(folder, options);
        std::filesystem::remove_all(folder);
        std::printf("all within their limits: %s\n", kept ? "yes" : "NO");
        return options.asserts && !kept ? 1 : 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "whole_tick_bench: %s\n", problem.what());
        return 2;
    }
}
