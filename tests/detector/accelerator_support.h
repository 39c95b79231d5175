#pragma once

// What the tests of the accelerator compare with: the library's own thresholding and contour
// search.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "tools/opencv/accelerator/marker_contours.h"

namespace detector {

using Contours = std::vector<std::vector<cv::Point>>;

/// How many random pictures to try: ZM_RANDOM_PICTURES, or a number that takes seconds.
inline std::uint64_t picturesToTry(std::uint64_t usual) {
    const char* const asked = std::getenv("ZM_RANDOM_PICTURES");
    return asked == nullptr ? usual : std::strtoull(asked, nullptr, 10);
}

/// The forms that this processor can run.
inline std::vector<zerith::Form> forms() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2") == 0) {
        return {zerith::Form::plain, zerith::Form::sse};
    }
    return {zerith::Form::plain, zerith::Form::sse, zerith::Form::avx2};
#elif defined(__aarch64__)
    return {zerith::Form::plain, zerith::Form::neon};
#else
    return {zerith::Form::plain};
#endif
}

inline cv::Mat stockThreshold(const cv::Mat& grey, int side, double constant) {
    cv::Mat mask;
    cv::adaptiveThreshold(grey, mask, 255, cv::ADAPTIVE_THRESH_MEAN_C, cv::THRESH_BINARY_INV, side,
                          constant);
    return mask;
}

inline Contours stockContours(const cv::Mat& mask, unsigned shortest, unsigned longest) {
    Contours contours;
    cv::findContours(mask, contours, cv::RETR_LIST, cv::CHAIN_APPROX_NONE);
    std::erase_if(contours, [&](const auto& contour) {
        return contour.size() < shortest || contour.size() > longest;
    });
    return contours;
}

inline zerith::GreyPicture greyPicture(const cv::Mat& grey) {
    return {grey.ptr<std::uint8_t>(), grey.step, grey.cols, grey.rows};
}

inline zerith::BitPicture bitsOf(const cv::Mat& mask) {
    zerith::BitPicture bits(mask.cols, mask.rows);
    zerith::takeMask(mask, bits);
    return bits;
}

/// Whether a picture has the same pixels as a mask, and its frame and the rest of its words are
/// zero.
inline bool same(const zerith::BitPicture& bits, const cv::Mat& mask) {
    const zerith::BitPicture wanted = bitsOf(mask);
    for (int y = -1; y <= bits.height(); ++y) {
        for (int i = -1; i <= bits.words(); ++i) {
            if (bits.row(y)[i] != wanted.row(y)[i]) {
                return false;
            }
        }
    }
    return bits.width() == mask.cols && bits.height() == mask.rows;
}

} // namespace detector
