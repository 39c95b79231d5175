#pragma once

// Pictures of the built-in scene, and what the marker detector sees in them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "platform/hostcam/scene.h"

namespace testing_support {

inline const std::array<const char*, 4> kDictionaries{"4x4", "5x5", "6x6", "7x7"};

/// How many markers a dictionary has.
[[nodiscard]] int markersOf(const std::string& dictionary);

/// A frame as it is delivered, rows without gaps (an odd width is rounded up).
[[nodiscard]] std::vector<std::uint8_t> nv12Of(const hostcam::Scene& scene, std::uint64_t frame,
                                               cv::Size size);

/// A number that tells pictures apart.
[[nodiscard]] std::uint64_t hashOf(const std::vector<std::uint8_t>& bytes);

/// A frame converted to RGB as the application converts it.
[[nodiscard]] cv::Mat rgbOf(const hostcam::Scene& scene, std::uint64_t frame, cv::Size size);

struct Found {
    int id;
    std::vector<cv::Point2f> corners;
};

/// The markers that the library's detector finds with its default parameters.
[[nodiscard]] std::vector<Found> detect(const cv::Mat& rgb, const std::string& dictionary);

/// Found corners compared with the true ones.
struct Comparison {
    std::vector<double> errors; ///< distances in pixels, one for each corner
    std::vector<int> missed;    ///< ids that are whole in the picture and were not found
    std::vector<int> phantoms;  ///< ids that were found and are not there

    void add(const Comparison& other);
    [[nodiscard]] double mean() const;
    [[nodiscard]] double worst() const;
    /// The error that this share of the corners does not exceed. Corners are needed.
    [[nodiscard]] double quantile(double share) const;
};

/// Detects the markers of one frame and compares them with the truth. Each id stands in the picture
/// at most once.
[[nodiscard]] Comparison compare(const hostcam::Scene& scene, const std::string& dictionary,
                                 std::uint64_t frame, cv::Size size);

} // namespace testing_support
