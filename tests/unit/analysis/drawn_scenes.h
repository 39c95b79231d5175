#pragma once

// Pictures with markers and chessboards whose true places are known.

#include <cmath>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/objdetect/aruco_detector.hpp>

namespace testing_support {

/// An even light grey RGB picture.
inline cv::Mat emptyScene(int width, int height) {
    return cv::Mat(height, width, CV_8UC3, cv::Scalar(200, 200, 200));
}

/// Draws an upright marker with its black border and a white one around it.
/// @param cell pixels of one of its bits
/// @return its true corners: the centres of its outermost pixels, clockwise from the top left
inline std::vector<cv::Point2f> drawMarker(cv::Mat& scene,
                                           cv::aruco::PredefinedDictionaryType dictionary, int id,
                                           int left, int top, int cell = 10) {
    const cv::aruco::Dictionary markers = cv::aruco::getPredefinedDictionary(dictionary);
    const int side = (markers.markerSize + 2) * cell;
    cv::Mat grey;
    cv::aruco::generateImageMarker(markers, id, side, grey, 1);
    cv::Mat rgb;
    cv::merge(std::vector<cv::Mat>{grey, grey, grey}, rgb);
    const cv::Rect place(left, top, side, side);
    const cv::Rect frame(left - cell, top - cell, side + 2 * cell, side + 2 * cell);
    scene(frame & cv::Rect(cv::Point(), scene.size())).setTo(cv::Scalar::all(255));
    rgb.copyTo(scene(place));
    const auto x = static_cast<float>(left);
    const auto y = static_cast<float>(top);
    const auto far = static_cast<float>(side - 1);
    return {{x, y}, {x + far, y}, {x + far, y + far}, {x, y + far}};
}

/// Draws a chessboard of 10 x 7 squares in a white border: 9 x 6 inner corners.
/// @param left, top the outer corner of the first, black, square
/// @return the inner corners, row by row: on the edges between pixels, so halves
inline std::vector<cv::Point2f> drawChessboard(cv::Mat& scene, int left, int top, int square) {
    scene(cv::Rect(left - square, top - square, 12 * square, 9 * square))
        .setTo(cv::Scalar::all(255));
    std::vector<cv::Point2f> inner;
    for (int row = 0; row < 7; ++row) {
        for (int column = 0; column < 10; ++column) {
            const cv::Rect field(left + column * square, top + row * square, square, square);
            if ((row + column) % 2 == 0) {
                scene(field).setTo(cv::Scalar::all(0));
            }
            if (row > 0 && column > 0) {
                inner.emplace_back(static_cast<float>(field.x) - 0.5F,
                                   static_cast<float>(field.y) - 0.5F);
            }
        }
    }
    return inner;
}

/// Whether each corner lies within so many pixels of its true place, in x and in y.
inline bool cornersAgree(const std::vector<cv::Point2f>& found,
                         const std::vector<cv::Point2f>& expected, float tolerance) {
    bool agree = found.size() == expected.size();
    for (std::size_t i = 0; agree && i < found.size(); ++i) {
        agree = std::abs(found[i].x - expected[i].x) <= tolerance &&
                std::abs(found[i].y - expected[i].y) <= tolerance;
    }
    return agree;
}

} // namespace testing_support
