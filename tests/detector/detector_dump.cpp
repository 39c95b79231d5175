// What cv::aruco::ArucoDetector finds, as text: linked with the library as it is and with the
// accelerated one, its outputs have to be the same byte for byte.
//
//   detector_dump random FIRST COUNT LARGEST THREADS
//       random pictures with sides up to LARGEST
//   detector_dump pictures THREADS <FILE
//       binary grey pictures (PGM), one after the other
//   detector_dump library
//       what the library tells of its build
//
// A line a picture: its number and size, and for the default settings and some by chance how many
// markers and rejected candidates there are, the ids, and a hash of the bits of all corners in
// their order.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/core/utility.hpp>
#include <opencv2/objdetect/aruco_detector.hpp>

#include "tests/detector/random_pictures.h"

namespace {

using Quads = std::vector<std::vector<cv::Point2f>>;

/// FNV-1a over the corners' bits.
std::uint64_t hashOf(const Quads& quads) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const auto& quad : quads) {
        for (const cv::Point2f& corner : quad) {
            unsigned char bytes[sizeof(corner)];
            std::memcpy(bytes, &corner, sizeof(corner));
            for (const unsigned char byte : bytes) {
                hash = (hash ^ byte) * 0x100000001b3U;
            }
        }
    }
    return hash;
}

void printDetections(const cv::Mat& picture, const cv::aruco::DetectorParameters& settings,
                     int dictionary = cv::aruco::DICT_5X5_100) {
    const cv::aruco::ArucoDetector detector(cv::aruco::getPredefinedDictionary(dictionary),
                                            settings,
                                            cv::aruco::RefineParameters(10.0F, 3.0F, true));
    Quads corners;
    Quads rejected;
    std::vector<int> ids;
    try {
        detector.detectMarkers(picture, corners, ids, rejected);
    } catch (const cv::Exception& problem) {
        // Its place in the file is another one.
        std::printf(" throws %d %s", problem.code, problem.err.c_str());
        return;
    }
    std::printf(" %zu %016llx %zu %016llx", corners.size(),
                static_cast<unsigned long long>(hashOf(corners)), rejected.size(),
                static_cast<unsigned long long>(hashOf(rejected)));
    for (const int id : ids) {
        std::printf(" %d", id);
    }
}

cv::aruco::DetectorParameters randomSettings(detector::Dice& dice) {
    cv::aruco::DetectorParameters settings;
    if (dice.oneIn(2)) {
        settings.adaptiveThreshWinSizeMin = dice.in(3, 15);
        settings.adaptiveThreshWinSizeMax = settings.adaptiveThreshWinSizeMin + dice.in(0, 30);
        settings.adaptiveThreshWinSizeStep = dice.in(4, 12);
    }
    if (dice.oneIn(2)) {
        settings.adaptiveThreshConstant = dice.oneIn(3) ? dice.between(-5, 30) : dice.in(-3, 40);
    }
    settings.minMarkerPerimeterRate =
        dice.oneIn(4) ? dice.between(0.0001, 0.1) : dice.between(0.03, 0.6);
    settings.maxMarkerPerimeterRate = dice.between(0.3, 6);
    settings.polygonalApproxAccuracyRate = dice.between(0.01, 0.1);
    settings.minCornerDistanceRate = dice.between(0, 0.2);
    settings.minDistanceToBorder = dice.in(0, 6);
    settings.minMarkerDistanceRate = dice.between(0, 0.3);
    settings.detectInvertedMarker = dice.oneIn(4);
    if (dice.oneIn(6)) {
        settings.cornerRefinementMethod =
            dice.oneIn(2) ? cv::aruco::CORNER_REFINE_SUBPIX : cv::aruco::CORNER_REFINE_CONTOUR;
    }
    if (dice.oneIn(12)) {
        settings.useAruco3Detection = true;
        settings.minSideLengthCanonicalImg = dice.in(8, 40);
        settings.minMarkerLengthRatioOriginalImg = static_cast<float>(dice.between(0, 0.2));
    }
    return settings;
}

void printWithRandomSettings(const cv::Mat& picture, detector::Dice& dice) {
    constexpr int kDictionaries[] = {cv::aruco::DICT_4X4_50, cv::aruco::DICT_5X5_100,
                                     cv::aruco::DICT_6X6_250, cv::aruco::DICT_7X7_1000};
    const int dictionary = kDictionaries[dice.in(0, 3)];
    printDetections(picture, randomSettings(dice), dictionary);
}

void dumpRandom(std::uint64_t first, std::uint64_t count, int largest) {
    for (std::uint64_t number = first; number < first + count; ++number) {
        cv::Mat picture = detector::randomPicture(number, largest > 70 ? 71 : 1, largest);
        detector::Dice dice(number);
        if (dice.oneIn(8)) {
            cv::cvtColor(picture, picture, cv::COLOR_GRAY2BGR);
        }
        std::printf("%llu %dx%d", static_cast<unsigned long long>(number), picture.cols,
                    picture.rows);
        printDetections(picture, cv::aruco::DetectorParameters());
        printWithRandomSettings(picture, dice);
        std::printf("\n");
    }
}

/// The next picture of the input; empty at its end.
cv::Mat readPicture() {
    std::string magic;
    int width = 0;
    int height = 0;
    int most = 0;
    if (!(std::cin >> magic)) {
        return {};
    }
    if (magic != "P5" || !(std::cin >> width >> height >> most) || most != 255 || width < 1 ||
        height < 1) {
        throw std::runtime_error("the input is no binary PGM");
    }
    std::cin.get();
    cv::Mat picture(height, width, CV_8UC1);
    if (!std::cin.read(picture.ptr<char>(), static_cast<std::streamsize>(picture.total()))) {
        throw std::runtime_error("the input ends inside a picture");
    }
    return picture;
}

void dumpPictures() {
    std::uint64_t number = 0;
    for (cv::Mat picture = readPicture(); !picture.empty(); picture = readPicture()) {
        std::printf("%llu %dx%d", static_cast<unsigned long long>(number), picture.cols,
                    picture.rows);
        printDetections(picture, cv::aruco::DetectorParameters());
        detector::Dice dice(number++);
        printWithRandomSettings(picture, dice);
        std::printf("\n");
    }
    if (number == 0) {
        throw std::runtime_error("the input has no picture");
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::string word = argc > 1 ? argv[1] : "";
        if (word == "random" && argc == 6) {
            cv::setNumThreads(std::atoi(argv[5]));
            dumpRandom(std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10),
                       std::atoi(argv[4]));
        } else if (word == "pictures" && argc == 3) {
            cv::setNumThreads(std::atoi(argv[2]));
            dumpPictures();
        } else if (word == "library" && argc == 2) {
            std::printf("%s", cv::getBuildInformation().c_str());
        } else {
            std::fprintf(
                stderr,
                "usage: detector_dump random FIRST COUNT LARGEST THREADS | pictures THREADS | library\n");
            return 2;
        }
        return std::fflush(stdout) == 0 ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "detector_dump: %s\n", problem.what());
        return 1;
    }
}
