/// Prints the ids of the markers in a picture, in ascending order, one a line, found as the
/// application finds them. The tests of the marker sheets ask it.
///
///     detect_sheet 5x5 < picture.pgm
///
/// The picture is a binary grey PGM with values to 255.

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include <opencv2/objdetect/aruco_detector.hpp>

#include "web/tables/dictionaries.h"

namespace {

int fail(const std::string& reason) {
    std::cerr << "detect_sheet: " << reason << '\n';
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const NamedDictionary* const dictionary = std::find_if(
        std::begin(kDictionaries), std::end(kDictionaries),
        [&](const NamedDictionary& d) { return argc == 2 && argv[1] == std::string(d.name); });
    if (dictionary == std::end(kDictionaries)) {
        std::cerr << "Usage: detect_sheet 4x4|5x5|6x6|7x7 < PICTURE.pgm\n";
        return 2;
    }
    std::string kind;
    int width = 0;
    int height = 0;
    int brightest = 0;
    constexpr int kMaxSide = 20000;
    if (!(std::cin >> kind >> width >> height >> brightest) || kind != "P5" || brightest != 255 ||
        width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
        return fail("the picture is no binary grey PGM");
    }
    std::cin.get();
    std::vector<unsigned char> grey(static_cast<std::size_t>(width) *
                                    static_cast<std::size_t>(height));
    std::cin.read(reinterpret_cast<char*>(grey.data()), static_cast<std::streamsize>(grey.size()));
    if (static_cast<std::size_t>(std::cin.gcount()) != grey.size()) {
        return fail("the picture ends early");
    }
    const cv::Mat picture(height, width, CV_8UC1, grey.data());
    const cv::aruco::ArucoDetector detector(cv::aruco::getPredefinedDictionary(dictionary->type),
                                            cv::aruco::DetectorParameters(),
                                            cv::aruco::RefineParameters(10.0F, 3.0F, true));
    std::vector<std::vector<cv::Point2f>> corners;
    std::vector<int> ids;
    detector.detectMarkers(picture, corners, ids);
    std::sort(ids.begin(), ids.end());
    for (const int id : ids) {
        std::cout << id << '\n';
    }
    return std::cout.good() ? 0 : 1;
}
