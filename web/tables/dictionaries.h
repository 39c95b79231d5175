/// The four dictionaries of markers that the application offers, under the names that the setting
/// SelectedDictionary has for them.
#pragma once

#include <opencv2/objdetect/aruco_dictionary.hpp>

struct NamedDictionary {
    const char* name;
    cv::aruco::PredefinedDictionaryType type;
};

inline constexpr NamedDictionary kDictionaries[] = {
    {"4x4", cv::aruco::DICT_4X4_50},
    {"5x5", cv::aruco::DICT_5X5_100},
    {"6x6", cv::aruco::DICT_6X6_250},
    {"7x7", cv::aruco::DICT_7X7_1000},
};
