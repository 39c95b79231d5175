#pragma once

// What the marker detector asks instead of thresholding and searching contours itself: the same
// contours in the same order, those that it would drop for their length left out.
// accelerate-opencv.sh puts the calls into its source. Everything here may be called from any
// thread, for one object at a time.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bit_picture.h"
#include "borders.h"
#include "specks.h"
#include "threshold.h"

namespace zerith {

/// A picture of one channel whose pixels that are not zero become ones.
inline void takeMask(const cv::Mat& mask, BitPicture& to) {
    for (int y = 0; y < mask.rows; ++y) {
        const std::uint8_t* const from = mask.ptr<std::uint8_t>(y);
        std::uint64_t* const row = to.row(y);
        std::fill_n(row, to.words(), 0);
        for (int x = 0; x < mask.cols; ++x) {
            row[x / BitPicture::kWordBits] |= static_cast<std::uint64_t>(from[x] != 0)
                                              << (x % BitPicture::kWordBits);
        }
    }
}

/// A grey picture thresholded at every window size that the detector is set to.
class ThresholdedPictures {
  public:
    /// Thresholds on as many threads as OpenCV may use.
    /// @param grey borrowed for the call
    /// @param count how many window sizes, the smallest and from each to the next in pixels; even
    /// ones are taken one
    ///              pixel larger, as the detector does
    /// @param constant as cv::adaptiveThreshold() takes it
    ThresholdedPictures(const cv::Mat& grey, int count, int smallest, int step, double constant) {
        std::vector<Thresholding> tasks;
        std::vector<Thresholding> others;
        m_pictures.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            m_pictures.emplace_back(grey.cols, grey.rows);
            const int side = (smallest + i * step) | 1;
            if (canThreshold(side, constant)) {
                tasks.push_back({side, static_cast<int>(constant), &m_pictures.back()});
            } else {
                others.push_back({side, 0, &m_pictures.back()});
            }
        }
        threshold(grey, tasks);
        cv::parallel_for_(
            cv::Range(0, static_cast<int>(others.size())), [&](const cv::Range& range) {
                for (int i = range.start; i < range.end; ++i) {
                    const Thresholding& other = others[static_cast<std::size_t>(i)];
                    cv::Mat mask;
                    cv::adaptiveThreshold(grey, mask, 255, cv::ADAPTIVE_THRESH_MEAN_C,
                                          cv::THRESH_BINARY_INV, other.side, constant);
                    takeMask(mask, *other.to);
                }
            });
    }

    BitPicture& operator[](int i) { return m_pictures[static_cast<std::size_t>(i)]; }

  private:
    /// In bands of rows, of which the threads take one after the other.
    static void threshold(const cv::Mat& grey, const std::vector<Thresholding>& tasks) {
        if (tasks.empty()) {
            return;
        }
        constexpr int kLeastRows = 64;
        const int threads = cv::getNumThreads();
        const int bands = threads <= 1 ? 1 : std::clamp(grey.rows / kLeastRows, 1, 4 * threads);
        const GreyPicture picture{grey.ptr<std::uint8_t>(), grey.step, grey.cols, grey.rows};
        const auto begin = [&](int band) {
            return static_cast<int>(static_cast<std::int64_t>(grey.rows) * band / bands);
        };
        cv::parallel_for_(cv::Range(0, bands), [&](const cv::Range& range) {
            thresholdMean(picture, begin(range.start), begin(range.end), tasks);
        });
    }

    std::vector<BitPicture> m_pictures;
};

/// The contours of a thresholded picture, as cv::findContours() gives them with RETR_LIST and
/// CHAIN_APPROX_NONE, less those whose length lies outside the limits.
/// @param picture loses what is too small to count
/// @param shortest, longest limits of the length in points, both included
inline void findContours(BitPicture& picture, std::vector<std::vector<cv::Point>>& contours,
                         unsigned shortest, unsigned longest) {
    removeSpecks(picture, shortest);
    contours.clear();
    followBorders(picture, shortest, longest,
                  [&contours](const borders::Place* points, unsigned count) {
                      std::vector<cv::Point>& contour = contours.emplace_back(count);
                      for (unsigned i = 0; i < count; ++i) {
                          contour[i] = cv::Point(static_cast<int>(points[i] & 0xffffffffU),
                                                 static_cast<int>(points[i] >> 32U));
                      }
                  });
    // What was found last comes first there.
    std::reverse(contours.begin(), contours.end());
}

} // namespace zerith
