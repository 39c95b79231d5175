#pragma once

// The plain records of marker analysis: a marker seen in one frame, a tracked marker with its place
// and age, and the lists of them that one tick hands from stage to stage. All are values without
// locks; the process-wide lists are used on the main loop only.

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <sys/time.h>

#include <opencv2/core/types.hpp>

#include "analysis/truncation.h"

/// An axis-aligned rectangle in pixels: left, top, width, height.
struct rectangle {
    int X;
    int Y;
    int W;
    int H;
};

/// One marker seen in one frame.
struct detection {
    /// Corners in analysis-stream pixels: top-left, top-right, bottom-right, bottom-left of the
    /// marker.
    std::vector<cv::Point2f> markerCorners;
    /// The marker's id in the selected dictionary.
    int classId = 0;

    /// The middle of the corners' integer bounding box, in whole analysis-stream pixels.
    /// Coordinates are truncated as truncateToInt() does; one that is not a number is left out.
    /// Deliberate: the maxima start at 0 and the minima at 100000, so corners that are all negative
    /// keep a maximum of 0, and a detection without corners has its centroid at (50000, 50000).
    [[nodiscard]] cv::Point2f get_centroid() const {
        int minX = 100000;
        int minY = 100000;
        int maxX = 0;
        int maxY = 0;
        for (const cv::Point2f& corner : markerCorners) {
            if (corner.x < static_cast<float>(minX)) {
                minX = truncateToInt(corner.x);
            }
            if (corner.y < static_cast<float>(minY)) {
                minY = truncateToInt(corner.y);
            }
            if (corner.x > static_cast<float>(maxX)) {
                maxX = truncateToInt(corner.x);
            }
            if (corner.y > static_cast<float>(maxY)) {
                maxY = truncateToInt(corner.y);
            }
        }
        return {static_cast<float>(midpoint(minX, maxX)), static_cast<float>(midpoint(minY, maxY))};
    }

  private:
    /// In 64 bits, since the distance of two ints need not fit an int.
    static std::int64_t midpoint(std::int64_t low, std::int64_t high) {
        return low + (high - low) / 2;
    }
};

/// Where a tracked marker stands relative to area of interest 1.
enum footings : int {
    not_in_AOI = 0,        ///< at least one corner is outside the area
    in_AOI1_briefly = 1,   ///< all corners inside, for at most the configured seconds so far
    in_AOI1_lengthily = 2, ///< all corners inside for more than the configured seconds
};

/// One tracked marker of the current frame.
struct one_find {
    cv::Point2f centroid; ///< analysis-stream pixels
    detection detect;     ///< the tracked detection
    int id = 0;           ///< the tracker's object id
    footings footing = not_in_AOI;
    int seconds = 0; ///< whole seconds since the id was first seen inside the area
};

/// The id list that was last published for area 1.
struct aoi_state {
    std::string data;

    void set_state(std::string state) { data = std::move(state); }
    [[nodiscard]] std::string get_state() const { return data; }
};

using t_detection_list = std::vector<detection>;
using t_findings_list = std::vector<one_find>;
/// When each tracked id was first seen inside area 1, on the wall clock.
using t_id2time = std::map<int, timeval>;

/// Tracked markers of the current frame, ascending by id. Rebuilt by every tick.
extern t_findings_list g_findings;
/// Detections of the current frame. Rebuilt by every tick.
extern t_detection_list g_detections;
/// First-seen times of the ids inside area 1. Written by every tick.
extern t_id2time g_Id2Time;
/// The last published id list. Written by the tick, reset by start-up.
extern aoi_state g_AOI1State;
