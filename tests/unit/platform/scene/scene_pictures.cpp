#include "tests/unit/platform/scene/scene_pictures.h"

#include <algorithm>
#include <numeric>

#include <libyuv.h>
#include <opencv2/objdetect/aruco_detector.hpp>

namespace testing_support {

namespace {

cv::aruco::Dictionary dictionaryOf(const std::string& name) {
    const auto place = std::find(kDictionaries.begin(), kDictionaries.end(), name);
    constexpr std::array kinds{cv::aruco::DICT_4X4_50, cv::aruco::DICT_5X5_100,
                               cv::aruco::DICT_6X6_250, cv::aruco::DICT_7X7_1000};
    return cv::aruco::getPredefinedDictionary(
        kinds.at(static_cast<std::size_t>(place - kDictionaries.begin())));
}

std::size_t evenWidth(cv::Size size) {
    return (static_cast<std::size_t>(size.width) + 1) / 2 * 2;
}

} // namespace

int markersOf(const std::string& dictionary) {
    return dictionaryOf(dictionary).bytesList.rows;
}

std::vector<std::uint8_t> nv12Of(const hostcam::Scene& scene, std::uint64_t frame, cv::Size size) {
    const auto rows = static_cast<std::size_t>(size.height + (size.height + 1) / 2);
    // 0xEE marks what is not drawn: the last byte of an odd row.
    std::vector<std::uint8_t> bytes(evenWidth(size) * rows, 0xEE);
    scene.render(frame, static_cast<unsigned>(size.width), static_cast<unsigned>(size.height),
                 bytes.data(), evenWidth(size));
    return bytes;
}

std::uint64_t hashOf(const std::vector<std::uint8_t>& bytes) {
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (const std::uint8_t byte : bytes) {
        hash = (hash ^ byte) * 0x100000001b3ULL;
    }
    return hash;
}

cv::Mat rgbOf(const hostcam::Scene& scene, std::uint64_t frame, cv::Size size) {
    const std::vector<std::uint8_t> bytes = nv12Of(scene, frame, size);
    const auto pitch = static_cast<int>(evenWidth(size));
    cv::Mat rgb(size, CV_8UC3);
    libyuv::NV12ToRAW(bytes.data(), pitch,
                      bytes.data() + evenWidth(size) * static_cast<std::size_t>(size.height), pitch,
                      rgb.data, size.width * 3, size.width, size.height);
    return rgb;
}

std::vector<Found> detect(const cv::Mat& rgb, const std::string& dictionary) {
    const cv::aruco::ArucoDetector detector(dictionaryOf(dictionary), {},
                                            cv::aruco::RefineParameters(10.0F, 3.0F, true));
    std::vector<std::vector<cv::Point2f>> corners;
    std::vector<int> ids;
    detector.detectMarkers(rgb, corners, ids);
    std::vector<Found> found;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        found.push_back({ids[i], corners[i]});
    }
    return found;
}

void Comparison::add(const Comparison& other) {
    errors.insert(errors.end(), other.errors.begin(), other.errors.end());
    missed.insert(missed.end(), other.missed.begin(), other.missed.end());
    phantoms.insert(phantoms.end(), other.phantoms.begin(), other.phantoms.end());
}

double Comparison::mean() const {
    return std::accumulate(errors.begin(), errors.end(), 0.0) / static_cast<double>(errors.size());
}

double Comparison::worst() const {
    return *std::max_element(errors.begin(), errors.end());
}

double Comparison::quantile(double share) const {
    std::vector<double> sorted = errors;
    std::sort(sorted.begin(), sorted.end());
    return sorted.at(static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1)));
}

Comparison compare(const hostcam::Scene& scene, const std::string& dictionary, std::uint64_t frame,
                   cv::Size size) {
    const std::vector<Found> found = detect(rgbOf(scene, frame, size), dictionary);
    const std::vector<hostcam::SceneMarker> there = scene.markersAt(
        frame, static_cast<unsigned>(size.width), static_cast<unsigned>(size.height));
    Comparison result;
    for (const hostcam::SceneMarker& marker : there) {
        const auto seen = std::find_if(found.begin(), found.end(),
                                       [&](const Found& one) { return one.id == marker.id; });
        if (seen == found.end()) {
            if (marker.whole) {
                result.missed.push_back(marker.id);
            }
            continue;
        }
        for (std::size_t i = 0; i < 4; ++i) {
            result.errors.push_back(cv::norm(seen->corners[i] - marker.corners[i]));
        }
    }
    for (const Found& one : found) {
        if (std::none_of(there.begin(), there.end(),
                         [&](const auto& marker) { return marker.id == one.id; })) {
            result.phantoms.push_back(one.id);
        }
    }
    return result;
}

} // namespace testing_support
