// Marker detection for detection_bench and its instruction count: the same source is linked with
// the library as it is and with the accelerated one. It reads requests from its input, a line each:
//
//   PATH WIDTH HEIGHT THREADS REPEAT
//
// and answers each with a line: the last detection's wall time and processor time in microseconds,
// how many markers it has found, and a hash of their ids and of all corners, rejected ones
// included. The picture is RGB, three bytes a pixel, and is read again only when the path changes.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/core/utility.hpp>
#include <opencv2/objdetect/aruco_detector.hpp>

namespace {

using Quads = std::vector<std::vector<cv::Point2f>>;

struct Request {
    std::string path;
    int width = 0;
    int height = 0;
    int threads = 0;
    int repeat = 0;
};

/// FNV-1a.
void mix(std::uint64_t& hash, const void* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ static_cast<const unsigned char*>(bytes)[i]) * 0x100000001b3U;
    }
}

double processorMicroseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

void detect(const cv::Mat& picture, int repeat) {
    const cv::aruco::ArucoDetector detector(
        cv::aruco::getPredefinedDictionary(cv::aruco::DICT_5X5_100),
        cv::aruco::DetectorParameters(), cv::aruco::RefineParameters(10.0F, 3.0F, true));
    Quads corners;
    Quads rejected;
    std::vector<int> ids;
    double wall = 0;
    double processor = 0;
    for (int i = 0; i < repeat; ++i) {
        const double processorBefore = processorMicroseconds();
        const auto before = std::chrono::steady_clock::now();
        detector.detectMarkers(picture, corners, ids, rejected);
        const std::chrono::duration<double, std::micro> spent =
            std::chrono::steady_clock::now() - before;
        wall = spent.count();
        processor = processorMicroseconds() - processorBefore;
    }
    std::uint64_t hash = 0xcbf29ce484222325U;
    mix(hash, ids.data(), ids.size() * sizeof(int));
    for (const Quads* const quads : {&corners, &rejected}) {
        for (const auto& quad : *quads) {
            mix(hash, quad.data(), quad.size() * sizeof(cv::Point2f));
        }
    }
    std::printf("%.1f %.1f %zu %016llx\n", wall, processor, ids.size(),
                static_cast<unsigned long long>(hash));
    std::fflush(stdout);
}

void answerRequests() {
    std::string path;
    cv::Mat picture;
    Request request;
    while (std::cin >> request.path >> request.width >> request.height >> request.threads >>
           request.repeat) {
        if (request.path != path) {
            path = request.path;
            picture.create(request.height, request.width, CV_8UC3);
            if (!std::ifstream(path, std::ios::binary)
                     .read(picture.ptr<char>(),
                           static_cast<std::streamsize>(picture.total() * 3))) {
                throw std::runtime_error("cannot read " + path);
            }
        }
        cv::setNumThreads(request.threads);
        detect(picture, request.repeat);
    }
}

} // namespace

int main() {
    try {
        answerRequests();
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "detection_worker: %s\n", problem.what());
        return 1;
    }
}
