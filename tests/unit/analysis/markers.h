#pragma once

// Detections at chosen places, for tests of marker analysis.

#include <utility>
#include <vector>

#include "analysis/common_structs.h"

namespace testing_support {

/// An upright square marker. Whole coordinates and an even side put its centroid exactly at (x, y).
inline detection markerAt(float x, float y, int classId = 0, float side = 20) {
    const float half = side / 2;
    detection marker;
    marker.markerCorners = {
        {x - half, y - half}, {x + half, y - half}, {x + half, y + half}, {x - half, y + half}};
    marker.classId = classId;
    return marker;
}

/// A detection with these corners.
inline detection markerWith(std::vector<cv::Point2f> corners, int classId = 0) {
    detection marker;
    marker.markerCorners = std::move(corners);
    marker.classId = classId;
    return marker;
}

inline bool sameDetection(const detection& a, const detection& b) {
    return a.classId == b.classId && a.markerCorners == b.markerCorners;
}

} // namespace testing_support
