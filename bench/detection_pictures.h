#pragma once

// The pictures in which detection_bench has markers found: RGB, three bytes a pixel, in files.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include <libyuv.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect/aruco_dictionary.hpp>

#include "platform/hostcam/scene.h"

namespace bench {

enum class Content {
    empty,   ///< even grey
    clutter, ///< the built-in scene without noise
    noise1,  ///< and with the sensor's noise, its standard deviation in grey levels
    noise4,
    noise10
};

inline constexpr Content kContents[] = {Content::empty, Content::clutter, Content::noise1,
                                        Content::noise4, Content::noise10};

inline const char* nameOf(Content content) {
    constexpr const char* kNames[] = {"empty", "clutter", "noise 1", "noise 4", "noise 10"};
    return kNames[static_cast<int>(content)];
}

/// Markers in rows and columns on even grey.
inline cv::Mat emptyPicture(int width, int height, int markers) {
    cv::Mat grey(height, width, CV_8UC1, cv::Scalar(150));
    if (markers > 0) {
        const auto dictionary = cv::aruco::getPredefinedDictionary(cv::aruco::DICT_5X5_100);
        const int across = static_cast<int>(std::ceil(std::sqrt(2.0 * markers)));
        const int cell = std::min(width / across, height / ((markers + across - 1) / across));
        const int side = std::min(cell / 2, height / 4);
        for (int id = 0; id < markers; ++id) {
            cv::Mat marker;
            dictionary.generateImageMarker(id, side, marker);
            cv::Mat place = grey(cv::Rect(id % across * cell, id / across * cell, cell, cell));
            place.setTo(230);
            marker.copyTo(place(cv::Rect((cell - side) / 2, (cell - side) / 2, side, side)));
        }
    }
    cv::cvtColor(grey, grey, cv::COLOR_GRAY2RGB);
    return grey;
}

inline cv::Mat scenePicture(int width, int height, int markers, double noise) {
    hostcam::SceneOptions options;
    std::vector<int> ids(static_cast<std::size_t>(markers));
    std::iota(ids.begin(), ids.end(), 0);
    options.script = hostcam::gridScript(ids);
    options.noise = noise;
    std::vector<std::uint8_t> nv12(static_cast<std::size_t>(width) *
                                   static_cast<std::size_t>(height) * 3 / 2);
    hostcam::Scene(options).render(0, static_cast<unsigned>(width), static_cast<unsigned>(height),
                                   nv12.data(), static_cast<std::size_t>(width));
    cv::Mat picture(height, width, CV_8UC3);
    libyuv::NV12ToRAW(nv12.data(), width,
                      nv12.data() +
                          static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                      width, picture.ptr(), width * 3, width, height);
    return picture;
}

inline void writePicture(const std::filesystem::path& path, Content content, int width, int height,
                         int markers) {
    constexpr double kNoise[] = {0, 0, 1, 4, 10};
    const cv::Mat picture =
        content == Content::empty
            ? emptyPicture(width, height, markers)
            : scenePicture(width, height, markers, kNoise[static_cast<int>(content)]);
    std::ofstream file(path, std::ios::binary);
    file.write(picture.ptr<char>(), static_cast<std::streamsize>(picture.total() * 3));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

} // namespace bench
