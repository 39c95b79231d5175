#pragma once

// Keeps an identity for each marker from tick to tick. The tracker matches the markers of a frame
// to the objects that it knows by the distance of their centroids, gives new markers new ids, and
// forgets objects that were missing for too long. There is one, g_Tracker; all of it runs on the
// main loop, without locks. Marker counts are small, so lists and maps are passed by value.

#include <map>
#include <vector>

#include "analysis/common_structs.h"

/// Object id to the object's latest detection.
using t_objects_map = std::map<int, detection>;
/// Object id to the number of ticks in a row in which the object was missing.
using t_disappeared_map = std::map<int, int>;

class tracker {
  public:
    /// No objects, a far distance of 100 pixels. init() must come before the first tick.
    tracker() = default;

    /// Sets how many ticks in a row an object may be missing, and lets ids start at 0 again.
    /// Deliberate: known objects stay, so a second init() lets new objects take over living ids.
    /// @return 0
    int init(int maxDisappeared);

    /// @param maxDisappeared an object missing for more ticks in a row than this is forgotten
    void set_max_disappeared(int maxDisappeared) { m_MaxDisappeared = maxDisappeared; }

    /// @param maxDistance pixels above which a pair counts as far; it is matched after all others
    void set_max_distance(int maxDistance) { m_MaxDistance = maxDistance; }

    /// Takes the markers of one tick. Objects are served in the order of the distance to their
    /// nearest marker, the lower id first when those are equal; each takes its nearest marker if no
    /// object before it took that one, and goes unmatched otherwise.
    /// Deliberate: there is no distance above which a pair is not matched.
    /// @return a copy of what is tracked now, which the caller may keep
    std::map<int, detection> track_detections(std::vector<detection> dets);

    /// A tick without markers: ages every object and forgets those missing for too long. @return 0
    int no_detections();

    /// Registers each detection, in order. @return 0
    int register_new_objects(std::vector<detection> dets);

    /// Begins to track a detection under the next id. @return 0
    int register_one(detection det);

    /// Forgets an object; an unknown id is ignored. @return 0
    int de_register_one(int id);

    /// The ids of all objects, ascending.
    [[nodiscard]] std::vector<int> list_object_keys() const;

    /// The detections of all objects, ascending by id.
    [[nodiscard]] std::vector<detection> list_object_values() const;

    /// The distance of two centroids in pixels; 1e12 when it is greater than the far distance.
    [[nodiscard]] float compute_distance(detection a, detection b) const;

    /// The distances of all pairs: one row for each element of the first list, one column for each
    /// element of the second.
    [[nodiscard]] std::vector<std::vector<float>>
    compute_all_distances(std::vector<detection> rowsSet, std::vector<detection> colsSet) const;

    /// The row indices, ascending by their rows' smallest values, equal ones by index.
    /// @param D without "not a number"; a row without columns comes last
    [[nodiscard]] std::vector<int> min_argsort(std::vector<std::vector<float>> D) const;

    /// For each given row, in the given order, the column of the row's first smallest value.
    /// @param rows row indices of D; the column of a row without columns is 0
    [[nodiscard]] std::vector<int> argmin_rows(std::vector<std::vector<float>> D,
                                               std::vector<int> rows) const;

  private:
    void match(const std::vector<detection>& dets, const std::vector<int>& rows,
               const std::vector<int>& cols);
    void age(int id);

    // The two maps always have the same keys.
    t_objects_map m_Objects;
    t_disappeared_map m_Disappeared;
    int m_NextObjectId = 0; ///< ids only grow
    int m_MaxDisappeared = 0;
    int m_MaxDistance = 100; ///< pixels
};

/// The tracker of the analysis tick. Defined in core/app_main.cpp, used on the main loop.
extern tracker g_Tracker;
