#pragma once

// Grey pictures by number, for comparing the accelerated marker detection with the library's own:
// the same number gives the same picture, on every processor: dice are thrown in the order of
// statements or of lists in braces, never of arguments.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect/aruco_dictionary.hpp>

namespace detector {

/// Numbers from a seed (splitmix64, by S. Vigna).
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        m_state += 0x9e3779b97f4a7c15U;
        std::uint64_t z = m_state;
        z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31U);
    }

    /// A whole number from low to high, both included.
    int in(int low, int high) {
        return low + static_cast<int>(next() % static_cast<std::uint64_t>(high - low + 1));
    }

    double between(double low, double high) {
        return low + (high - low) * static_cast<double>(next() >> 11U) * 0x1p-53;
    }

    bool oneIn(int n) { return in(1, n) == 1; }

    std::uint8_t grey() { return static_cast<std::uint8_t>(next() >> 56U); }

  private:
    std::uint64_t m_state;
};

namespace pictures {

inline void addNoise(cv::Mat& picture, Dice& dice, int strength) {
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            // Nearly normal: the sum of four.
            int sum = 0;
            for (int i = 0; i < 4; ++i) {
                sum += dice.in(-strength, strength);
            }
            auto& pixel = picture.at<std::uint8_t>(y, x);
            pixel = static_cast<std::uint8_t>(std::clamp(pixel + sum / 2, 0, 255));
        }
    }
}

inline void noise(cv::Mat& picture, Dice& dice) {
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            picture.at<std::uint8_t>(y, x) = dice.grey();
        }
    }
}

inline void blackAndWhite(cv::Mat& picture, Dice& dice) {
    const int share = dice.in(1, 99);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            picture.at<std::uint8_t>(y, x) = dice.in(0, 99) < share ? 255 : 0;
        }
    }
}

inline void stripes(cv::Mat& picture, Dice& dice) {
    const int period = dice.in(2, 17);
    const int right = dice.in(-3, 3);
    const int down = dice.in(0, 3);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const int at = (x * right + y * down + 1000 * period) % period;
            picture.at<std::uint8_t>(y, x) = at < period / 2 ? 30 : 220;
        }
    }
}

inline void checkers(cv::Mat& picture, Dice& dice) {
    const int side = dice.in(1, 12);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            picture.at<std::uint8_t>(y, x) = (x / side + y / side) % 2 == 0 ? 20 : 200;
        }
    }
}

inline void singlePixels(cv::Mat& picture, Dice& dice) {
    picture.setTo(dice.grey());
    for (int n = dice.in(1, picture.rows * picture.cols / 8 + 1); n > 0; --n) {
        const cv::Point place{dice.in(0, picture.cols - 1), dice.in(0, picture.rows - 1)};
        picture.at<std::uint8_t>(place) = dice.grey();
    }
}

/// Rectangles of which most cross or touch the picture's edges.
inline void edges(cv::Mat& picture, Dice& dice) {
    picture.setTo(dice.grey());
    for (int n = dice.in(1, 10); n > 0; --n) {
        const int width = dice.in(1, picture.cols);
        const int height = dice.in(1, picture.rows);
        const int x = dice.oneIn(2) ? dice.in(-width, picture.cols)
                                    : (dice.oneIn(2) ? 0 : picture.cols - width);
        const int y = dice.oneIn(2) ? dice.in(-height, picture.rows)
                                    : (dice.oneIn(2) ? 0 : picture.rows - height);
        const cv::Scalar colour(dice.grey());
        cv::rectangle(picture, cv::Rect(x, y, width, height), colour,
                      dice.oneIn(2) ? cv::FILLED : 1);
    }
}

inline void quadrilaterals(cv::Mat& picture, Dice& dice) {
    picture.setTo(dice.in(120, 255));
    for (int n = dice.in(1, 6); n > 0; --n) {
        const int x = dice.in(0, picture.cols - 1);
        const int y = dice.in(0, picture.rows - 1);
        const int side = dice.in(2, std::max(3, std::min(picture.cols, picture.rows) / 2));
        const auto corner = [&](int dx, int dy) {
            return cv::Point{x + dx * side + dice.in(-side / 4, side / 4),
                             y + dy * side + dice.in(-side / 4, side / 4)};
        };
        const std::vector<cv::Point> corners{corner(0, 0), corner(1, 0), corner(1, 1),
                                             corner(0, 1)};
        cv::fillConvexPoly(picture, corners, cv::Scalar(dice.in(0, 120)));
    }
    if (dice.oneIn(2)) {
        addNoise(picture, dice, dice.in(1, 12));
    }
}

/// Winding shapes of all sizes.
inline void labyrinth(cv::Mat& picture, Dice& dice) {
    noise(picture, dice);
    const int side = 1 + 2 * dice.in(1, 5);
    cv::blur(picture, picture, cv::Size(side, side));
    picture = (picture - 110) * 6;
}

inline void slope(cv::Mat& picture, Dice& dice) {
    const int right = dice.in(-4, 4);
    const int down = dice.in(-4, 4);
    const int fold = dice.in(1, 31);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            picture.at<std::uint8_t>(y, x) =
                static_cast<std::uint8_t>(x * right + y * down + x * y / fold);
        }
    }
}

/// Markers of the dictionary 5x5, turned and slanted.
inline void markers(cv::Mat& picture, Dice& dice) {
    picture.setTo(dice.in(140, 255));
    const auto dictionary = cv::aruco::getPredefinedDictionary(cv::aruco::DICT_5X5_100);
    const int smaller = std::min(picture.cols, picture.rows);
    for (int n = dice.in(1, 1 + smaller / 60); n > 0; --n) {
        constexpr int kSide = 70;
        cv::Mat marker;
        dictionary.generateImageMarker(dice.in(0, 99), kSide, marker);
        cv::copyMakeBorder(marker, marker, 10, 10, 10, 10, cv::BORDER_CONSTANT,
                           cv::Scalar(dice.in(180, 255)));
        const int side = dice.in(smaller / 4 + 1, smaller);
        const int x = dice.in(0, picture.cols - side / 2);
        const int y = dice.in(0, picture.rows - side / 2);
        const auto corner = [&](int dx, int dy) {
            return cv::Point2f{static_cast<float>(x + dx * side + dice.in(-side / 6, side / 6)),
                               static_cast<float>(y + dy * side + dice.in(-side / 6, side / 6))};
        };
        const float end = static_cast<float>(marker.cols - 1);
        const std::vector<cv::Point2f> from{{0, 0}, {end, 0}, {end, end}, {0, end}};
        const std::vector<cv::Point2f> to{corner(0, 0), corner(1, 0), corner(1, 1), corner(0, 1)};
        cv::warpPerspective(marker, picture, cv::getPerspectiveTransform(from, to), picture.size(),
                            cv::INTER_NEAREST, cv::BORDER_TRANSPARENT);
    }
    if (dice.oneIn(2)) {
        addNoise(picture, dice, dice.in(1, 12));
    }
}

} // namespace pictures

/// A picture of a kind and size by chance.
/// @param number its name
/// @param smallest, largest limits of both sides, in pixels
inline cv::Mat randomPicture(std::uint64_t number, int smallest, int largest) {
    using Paint = void (*)(cv::Mat&, Dice&);
    constexpr Paint kKinds[] = {
        pictures::noise,          pictures::blackAndWhite, pictures::stripes,
        pictures::checkers,       pictures::singlePixels,  pictures::edges,
        pictures::quadrilaterals, pictures::labyrinth,     pictures::slope,
        pictures::markers,        pictures::markers,       pictures::quadrilaterals};
    Dice dice(number * 0x2545f4914f6cdd1dU + 1);
    const int width = dice.in(smallest, largest);
    const int height = dice.in(smallest, largest);
    // A wider picture around it: rows need not follow each other in memory.
    cv::Mat whole(height, width + (dice.oneIn(3) ? dice.in(1, 40) : 0), CV_8UC1, cv::Scalar(77));
    cv::Mat picture = whole(cv::Rect(0, 0, width, height));
    cv::Mat painted(height, width, CV_8UC1);
    kKinds[number % std::size(kKinds)](painted, dice);
    painted.copyTo(picture);
    return picture;
}

} // namespace detector
