#pragma once

// The settings record. One copy is in force, g_ConfigParams: start-up fills it, the web service and
// the pattern finder change it, and the analysis tick reads it. Whoever touches the copy in force
// holds its lock, or works on a copy of its own, so that a tick sees one whole record and never
// half of a change.

#include <mutex>
#include <string>

/// Every setting of the user. A default-constructed record holds undefined numbers and flags and
/// empty texts; write `ConfigParams{}` for one that is all zero.
struct ConfigParams {
    bool b_DetectionOverlaysOn;         ///< draw the detection overlays
    std::string str_DetectionOverlay;   ///< size of the stream that shows them, "WxH"
    bool b_DisplayNonAOI;               ///< also look for markers outside the areas of interest
    std::string str_SelectedDictionary; ///< "4x4", "5x5", "6x6" or "7x7"
    int i_Detection1[16];    ///< area 1: x0, y0 .. x3, y3 in analysis-stream pixels; 8 to 15 are
                             ///< unused
    int i_Detection2[16];    ///< area 2, the same layout
    int i_Detection3[16];    ///< area 3, the same layout
    int i_MarkersSeconds;    ///< seconds that a state must exceed before the alert is raised
    int i_Markers[8];        ///< marker region: x0, y0 .. x3, y3 in analysis-stream pixels
    bool b_IsRequirePresent; ///< true: alert on presence; false: alert on absence
    bool b_EulaAccepted;     ///< the user has accepted the end-user agreement
};

/// The settings in force. Written by start-up (main thread), the web service (web thread) and the
/// pattern finder (main loop); read by all, under lockConfigParams().
extern ConfigParams g_ConfigParams;

/// The lock of g_ConfigParams. Held for reading and writing the record only: never across a
/// platform call, a frame, a detection or a log line.
inline std::mutex& configParamsMutex() {
    static std::mutex mutex;
    return mutex;
}

/// Locks g_ConfigParams until the result goes away. Any thread.
[[nodiscard]] inline std::unique_lock<std::mutex> lockConfigParams() {
    return std::unique_lock(configParamsMutex());
}

/// A copy of the settings in force, whole. Any thread.
[[nodiscard]] inline ConfigParams currentConfigParams() {
    const auto lock = lockConfigParams();
    return g_ConfigParams;
}
