#include "analysis/area_of_interest.h"

#include <cstdint>
#include <utility>

#include "analysis/truncation.h"
#include "core/Logger.h"

namespace {

/// One of the products that tell on which side of an edge a point lies.
/// Deliberate: the first factor is truncated before the multiplication and the product after it.
std::int64_t truncatedProduct(float first, float second) {
    return truncateToInt(static_cast<float>(truncateToInt(first)) * second);
}

/// How often the polygon winds around the point; the sign tells the direction.
int windingNumber(cv::Point2f p, const t_Polygon& poly) {
    if (poly.empty()) {
        return 0;
    }
    int wn = 0;
    cv::Point2f prev = poly.back();
    for (const cv::Point2f cur : poly) {
        // In 64 bits, since the difference of two ints need not fit an int.
        const std::int64_t is_left = truncatedProduct(prev.x - p.x, cur.y - p.y) -
                                     truncatedProduct(prev.y - p.y, cur.x - p.x);
        if (prev.y <= p.y) {
            if (cur.y > p.y && is_left > 0) {
                ++wn;
            }
        } else if (cur.y <= p.y && is_left < 0) {
            --wn;
        }
        prev = cur;
    }
    return wn;
}

/// Deliberate: a polygon that winds twice around a point leaves it outside.
bool windsOnce(cv::Point2f p, const t_Polygon& poly) {
    const int wn = windingNumber(p, poly);
    return wn == 1 || wn == -1;
}

} // namespace

area_of_interest::area_of_interest() {
    g_Logger.info("area_of_interest: constructor invoked");
}

area_of_interest::area_of_interest(const area_of_interest& other) {
    const std::lock_guard lock(other.m_mutex);
    copyFrom_unlocked(other);
}

area_of_interest& area_of_interest::operator=(const area_of_interest& other) {
    if (this != &other) {
        const std::scoped_lock lock(m_mutex, other.m_mutex);
        copyFrom_unlocked(other);
    }
    return *this;
}

void area_of_interest::copyFrom_unlocked(const area_of_interest& other) {
    m_Detection1 = other.m_Detection1;
    m_Detection2 = other.m_Detection2;
    m_Detection3 = other.m_Detection3;
    m_Detection1Active = other.m_Detection1Active;
    m_Detection2Active = other.m_Detection2Active;
    m_Detection3Active = other.m_Detection3Active;
}

void area_of_interest::init() {}

area_of_interest::PolygonMember area_of_interest::polygonMember(int n) {
    switch (n) {
    case 1:
        return &area_of_interest::m_Detection1;
    case 2:
        return &area_of_interest::m_Detection2;
    case 3:
        return &area_of_interest::m_Detection3;
    default:
        return nullptr;
    }
}

area_of_interest::FlagMember area_of_interest::activeMember(int n) {
    switch (n) {
    case 1:
        return &area_of_interest::m_Detection1Active;
    case 2:
        return &area_of_interest::m_Detection2Active;
    case 3:
        return &area_of_interest::m_Detection3Active;
    default:
        return nullptr;
    }
}

bool area_of_interest::set_detection(int n, t_Polygon points) {
    const PolygonMember area = polygonMember(n);
    if (area == nullptr) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    (this->*area).swap(points); // what was there is released after the lock
    return true;
}

bool area_of_interest::set_detection_active(int n, bool active) {
    const FlagMember flag = activeMember(n);
    if (flag == nullptr) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    this->*flag = active;
    return true;
}

t_Polygon area_of_interest::get_detection(int n) const {
    const PolygonMember area = polygonMember(n);
    if (area == nullptr) {
        return {};
    }
    const std::lock_guard lock(m_mutex);
    return this->*area;
}

bool area_of_interest::get_detection_active(int n) const {
    const FlagMember flag = activeMember(n);
    if (flag == nullptr) {
        return true;
    }
    const std::lock_guard lock(m_mutex);
    return this->*flag;
}

bool area_of_interest::is_detected(int n, cv::Point2f p) const {
    const PolygonMember area = polygonMember(n);
    const FlagMember flag = activeMember(n);
    if (area == nullptr || flag == nullptr) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    return this->*flag && windsOnce(p, this->*area);
}

// Deliberate: the polygon is taken by value, as the class promises its callers.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool area_of_interest::is_winding_number_nonzero(cv::Point2f p, t_Polygon poly) const {
    return windsOnce(p, poly);
}
