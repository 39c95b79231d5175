#include "analysis/detection_processing.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "analysis/area_of_interest.h"
#include "analysis/common_structs.h"
#include "analysis/distance_controller.h"
#include "analysis/tracker.h"
#include "outputs/event_manager.h"
#include "settings/config_params.h"
#include "video/VideoStreamSource.h"

bool DetectionProcessing::m_hasTimeWhenMarkerLost = false;
bool DetectionProcessing::m_MarkerLost = false;
timeval DetectionProcessing::m_TimeWhenMarkerLost = {0, 0};

namespace {

timeval timeNow() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now;
}

/// Whether all four corners lie in area 1, the only area that counts.
bool isInside(const detection& marker) {
    constexpr int kArea = 1;
    constexpr int kCorners = 4;
    const std::vector<cv::Point2f>& corners = marker.markerCorners;
    return corners.size() >= kCorners &&
           std::all_of(corners.begin(), corners.begin() + kCorners, [](const cv::Point2f& corner) {
               return g_AreaofInterest.is_detected(kArea, corner);
           });
}

/// Ids are never used again, so the time of one that is not tracked any more is of no use.
void forgetDroppedIds() {
    std::set<int> tracked;
    for (const one_find& finding : g_findings) {
        tracked.insert(finding.id);
    }
    std::erase_if(g_Id2Time,
                  [&tracked](const auto& entry) { return !tracked.contains(entry.first); });
}

/// The time that a marker has been inside, now that it is seen there again.
void ageFinding(one_find& finding, const timeval& firstSeen, int markersSeconds) {
    // Deliberate: whole seconds of the clock, its microseconds do not count.
    const auto secs = static_cast<int>(timeNow().tv_sec - firstSeen.tv_sec);
    finding.seconds = secs;
    if (finding.footing == in_AOI1_briefly && secs > markersSeconds) {
        finding.footing = in_AOI1_lengthily;
    }
}

void sendAlert(bool on) {
    std::string name = "Zerith Markers Alert";
    if (on) {
        g_EventManager->sendEventStarted(name);
    } else {
        g_EventManager->sendEventStopped(name);
    }
}

} // namespace

void DetectionProcessing::get_detections() {
    g_detections.clear();
    g_detections = g_DistanceController.find_markers(*g_videoStreamSource);
}

void DetectionProcessing::monitor_AOI() {
    g_findings.clear();
    const t_objects_map objects = g_Tracker.track_detections(g_detections);
    std::vector<int> inside;
    for (const auto& [id, marker] : objects) {
        one_find finding;
        finding.centroid = marker.get_centroid();
        finding.detect = marker;
        finding.id = id;
        finding.footing = isInside(marker) ? in_AOI1_briefly : not_in_AOI;
        if (finding.footing == in_AOI1_briefly) {
            inside.push_back(id);
        }
        g_findings.push_back(std::move(finding));
    }
    publish_detections(std::move(inside));
}

void DetectionProcessing::publish_detections(std::vector<int> ids) {
    std::sort(ids.begin(), ids.end());
    std::string text;
    for (const int id : ids) {
        text += text.empty() ? "" : ",";
        text += std::to_string(id);
    }
    if (text != g_AOI1State.get_state()) {
        g_AOI1State.set_state(text);
        g_EventManager->sendDataEvent(text);
    }
}

void DetectionProcessing::examine_and_update_findings() {
    forgetDroppedIds();
    const int markersSeconds = currentConfigParams().i_MarkersSeconds;
    bool all_lost = true;
    for (one_find& finding : g_findings) {
        const auto known = g_Id2Time.find(finding.id);
        if (finding.footing == not_in_AOI) {
            if (known != g_Id2Time.end()) {
                g_Id2Time.erase(known); // its clock restarts when it comes back
            }
        } else if (known != g_Id2Time.end()) {
            ageFinding(finding, known->second, markersSeconds);
            all_lost = false;
        } else {
            g_Id2Time[finding.id] = timeNow();
        }
    }
    if (!all_lost) {
        resetSecsSinceMarkerLost();
        return;
    }
    m_MarkerLost = true;
    if (!m_hasTimeWhenMarkerLost) {
        m_TimeWhenMarkerLost = timeNow();
        m_hasTimeWhenMarkerLost = true;
    }
}

void DetectionProcessing::manage_events() {
    const auto lengthily =
        std::count_if(g_findings.begin(), g_findings.end(),
                      [](const one_find& finding) { return finding.footing == in_AOI1_lengthily; });
    const int lost_secs = getSecsSinceMarkerLost();
    const ConfigParams settings = currentConfigParams();
    if (settings.b_IsRequirePresent) {
        sendAlert(lengthily >= 1);
    } else {
        sendAlert(m_MarkerLost && lost_secs > settings.i_MarkersSeconds);
    }
}

bool DetectionProcessing::isMarkerLost() {
    return m_MarkerLost;
}

int DetectionProcessing::getSecsSinceMarkerLost() {
    return getMillisecondsSince(m_TimeWhenMarkerLost) / 1000;
}

void DetectionProcessing::resetSecsSinceMarkerLost() {
    m_hasTimeWhenMarkerLost = false;
    m_MarkerLost = false;
    m_TimeWhenMarkerLost = {0, 0};
}

int getMillisecondsBetween(const timeval& from, const timeval& to) {
    // Each side drops its own microseconds.
    const auto milliseconds = [](const timeval& time) {
        return static_cast<std::int64_t>(time.tv_sec) * 1000 + time.tv_usec / 1000;
    };
    return static_cast<int>(milliseconds(to) - milliseconds(from));
}

int getMillisecondsSince(const timeval& from) {
    return getMillisecondsBetween(from, timeNow());
}
