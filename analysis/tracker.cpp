#include "analysis/tracker.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <set>
#include <utility>

#include "core/Logger.h"

// Deliberate: arguments are taken by value, as the class promises its callers.
// NOLINTBEGIN(performance-unnecessary-value-param)

namespace {

/// What a pair of centroids that are too far apart counts as: farther than any real distance.
constexpr float kFarAway = 1e12F;

/// 0 .. size - 1
std::set<int> allIndices(std::size_t size) {
    std::set<int> indices;
    for (int i = 0; i < static_cast<int>(size); ++i) {
        indices.insert(indices.end(), i);
    }
    return indices;
}

} // namespace

int tracker::init(int maxDisappeared) {
    m_NextObjectId = 0;
    m_MaxDisappeared = maxDisappeared;
    return 0;
}

std::map<int, detection> tracker::track_detections(std::vector<detection> dets) {
    if (dets.empty()) {
        no_detections();
        return m_Objects;
    }
    if (m_Objects.empty()) {
        register_new_objects(std::move(dets));
        return m_Objects;
    }
    const std::vector<std::vector<float>> distances =
        compute_all_distances(list_object_values(), dets);
    const std::vector<int> rows = min_argsort(distances);
    const std::vector<int> cols = argmin_rows(distances, rows);
    // Deliberate: both are the length of the same list, so they never differ.
    const std::size_t RowsSize = rows.size();
    const std::size_t ColsSize = rows.size();
    if (RowsSize != ColsSize) {
        g_Logger.error("track_detections: Error RowsSize != ColsSize");
        return m_Objects;
    }
    match(dets, rows, cols);
    return m_Objects;
}

/// Updates the objects that get a detection, ages the others, registers the detections left over.
/// @param rows indices of the objects in ascending id order, in the order in which they choose
/// @param cols the index of the detection that each of them chooses
void tracker::match(const std::vector<detection>& dets, const std::vector<int>& rows,
                    const std::vector<int>& cols) {
    const std::vector<int> ids = list_object_keys();
    std::set<int> unusedCols = allIndices(dets.size());
    std::set<int> unusedRows = allIndices(ids.size());
    std::set<int> usedRows;
    std::set<int> usedCols;
    for (std::size_t k = 0; k < rows.size(); ++k) {
        const int row = rows[k];
        const int col = cols[k];
        if (usedRows.contains(row) || usedCols.contains(col)) {
            continue;
        }
        const int id = ids[static_cast<std::size_t>(row)];
        m_Objects[id] = dets[static_cast<std::size_t>(col)];
        m_Disappeared[id] = 0;
        usedRows.insert(row);
        usedCols.insert(col);
        unusedRows.erase(row);
        unusedCols.erase(col);
    }
    for (const int row : unusedRows) {
        age(ids[static_cast<std::size_t>(row)]);
    }
    for (const int col : unusedCols) {
        register_one(dets[static_cast<std::size_t>(col)]);
    }
}

int tracker::no_detections() {
    for (const int id : list_object_keys()) {
        age(id);
    }
    return 0;
}

/// One more tick without the object; forgets it when there were too many.
void tracker::age(int id) {
    int& missed = m_Disappeared[id];
    ++missed;
    if (missed > m_MaxDisappeared) {
        de_register_one(id);
    }
}

int tracker::register_new_objects(std::vector<detection> dets) {
    for (detection& det : dets) {
        register_one(std::move(det));
    }
    return 0;
}

int tracker::register_one(detection det) {
    m_Objects[m_NextObjectId] = std::move(det);
    m_Disappeared[m_NextObjectId] = 0;
    ++m_NextObjectId;
    return 0;
}

int tracker::de_register_one(int id) {
    m_Objects.erase(id);
    m_Disappeared.erase(id);
    return 0;
}

std::vector<int> tracker::list_object_keys() const {
    std::vector<int> ids;
    ids.reserve(m_Objects.size());
    for (const auto& [id, det] : m_Objects) {
        ids.push_back(id);
    }
    return ids;
}

std::vector<detection> tracker::list_object_values() const {
    std::vector<detection> values;
    values.reserve(m_Objects.size());
    for (const auto& [id, det] : m_Objects) {
        values.push_back(det);
    }
    return values;
}

float tracker::compute_distance(detection a, detection b) const {
    const cv::Point2f from = a.get_centroid();
    const cv::Point2f to = b.get_centroid();
    // In double: exact for every sum of squares that fits an int, and without overflow beyond.
    const double dx = static_cast<double>(truncateToInt(from.x)) - truncateToInt(to.x);
    const double dy = static_cast<double>(truncateToInt(from.y)) - truncateToInt(to.y);
    const auto distance = static_cast<float>(std::sqrt(dx * dx + dy * dy));
    return distance > static_cast<float>(m_MaxDistance) ? kFarAway : distance;
}

std::vector<std::vector<float>>
tracker::compute_all_distances(std::vector<detection> rowsSet,
                               std::vector<detection> colsSet) const {
    std::vector<std::vector<float>> distances;
    distances.reserve(rowsSet.size());
    for (const detection& row : rowsSet) {
        std::vector<float>& line = distances.emplace_back();
        line.reserve(colsSet.size());
        for (const detection& col : colsSet) {
            line.push_back(compute_distance(row, col));
        }
    }
    return distances;
}

std::vector<int> tracker::min_argsort(std::vector<std::vector<float>> D) const {
    std::vector<std::pair<float, int>> minima;
    minima.reserve(D.size());
    for (const std::vector<float>& row : D) {
        const auto smallest = std::min_element(row.begin(), row.end());
        minima.emplace_back(smallest == row.end() ? std::numeric_limits<float>::infinity()
                                                  : *smallest,
                            static_cast<int>(minima.size()));
    }
    std::sort(minima.begin(), minima.end());
    std::vector<int> rows;
    rows.reserve(minima.size());
    for (const auto& [minimum, row] : minima) {
        rows.push_back(row);
    }
    return rows;
}

std::vector<int> tracker::argmin_rows(std::vector<std::vector<float>> D,
                                      std::vector<int> rows) const {
    std::vector<int> nearest;
    nearest.reserve(D.size());
    for (const std::vector<float>& row : D) {
        nearest.push_back(
            static_cast<int>(std::distance(row.begin(), std::min_element(row.begin(), row.end()))));
    }
    std::vector<int> cols;
    cols.reserve(rows.size());
    for (const int row : rows) {
        cols.push_back(nearest[static_cast<std::size_t>(row)]);
    }
    return cols;
}

// NOLINTEND(performance-unnecessary-value-param)
