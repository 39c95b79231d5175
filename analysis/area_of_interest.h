#pragma once

// The three areas that a user draws over the camera's picture, and the test whether a point lies
// inside one. There is one object, g_AreaofInterest: start-up and the web service fill it from the
// settings, the analysis tick asks it about every marker's corners. Each object has a lock of its
// own, so every operation may be called from any thread and sees or leaves a whole area.

#include <mutex>
#include <vector>

#include <opencv2/core/types.hpp>

/// Vertices in drawing order, in analysis-stream pixels; the last one is joined to the first.
using t_Polygon = std::vector<cv::Point2f>;

class area_of_interest {
  public:
    /// Three empty areas, of which the first is active. Logs "constructor invoked".
    area_of_interest();

    /// Copies the three areas and their flags. Each object keeps a lock of its own.
    area_of_interest(const area_of_interest& other);
    area_of_interest& operator=(const area_of_interest& other);
    ~area_of_interest() = default;

    /// The reset hook of start-up: there is nothing to reset.
    void init();

    /// Replaces an area.
    /// @param n 1 to 3
    /// @return false for any other number, and nothing changes then
    bool set_detection(int n, t_Polygon points);

    /// Makes an area count or not.
    /// @param n 1 to 3
    /// @return false for any other number, and nothing changes then
    bool set_detection_active(int n, bool active);

    /// A copy of an area; empty for a number other than 1 to 3.
    [[nodiscard]] t_Polygon get_detection(int n) const;

    /// Whether an area counts.
    /// Deliberate: true for a number other than 1 to 3.
    [[nodiscard]] bool get_detection_active(int n) const;

    /// Whether a point lies inside an area that is active; false for a number other than 1 to 3.
    /// @param p analysis-stream pixels
    [[nodiscard]] bool is_detected(int n, cv::Point2f p) const;

    /// Whether a polygon winds around a point exactly once, in either direction.
    /// Deliberate: the products that place the point beside an edge are truncated to whole numbers,
    /// which decides points near an edge, and a point that a self-crossing polygon winds around
    /// twice is outside. Numbers too large for an int are truncated as truncateToInt() does.
    [[nodiscard]] bool is_winding_number_nonzero(cv::Point2f p, t_Polygon poly) const;

  private:
    using PolygonMember = t_Polygon area_of_interest::*;
    using FlagMember = bool area_of_interest::*;

    void copyFrom_unlocked(const area_of_interest& other);

    /// The member of an area; null for a number other than 1 to 3.
    static PolygonMember polygonMember(int n);
    static FlagMember activeMember(int n);

    // All guarded by m_mutex, which is never held while logging or calling out.
    t_Polygon m_Detection1;
    t_Polygon m_Detection2;
    t_Polygon m_Detection3;
    bool m_Detection1Active = true;
    bool m_Detection2Active = false;
    bool m_Detection3Active = false;
    mutable std::mutex m_mutex;
};

/// The areas in force. Defined in core/app_main.cpp; any thread.
extern area_of_interest g_AreaofInterest;
