#pragma once

// What becomes of the markers of one frame. Each tick calls four stages in this order: take the
// markers of the frame, track them and test them against area 1, age those that stay inside, and
// start or stop the alert. On the way the list of ids inside the area is published whenever it
// changes, and the marker-lost clock that the overlay shows is kept.
//
// An id inside the area goes through three states: first seen (its time is noted, it does not count
// as present yet), present briefly from the next tick on, and present lengthily once it has stayed
// for more than the configured seconds. Leaving the area or being dropped by the tracker ends that.
//
// Everything runs on the main loop. Each stage works on its own copy of the settings, which the web
// service may change between stages.

#include <vector>

#include <sys/time.h>

class DetectionProcessing {
  public:
    DetectionProcessing() = delete;

    /// Stage 1: fills g_detections from one frame of g_videoStreamSource. May block until there is
    /// a frame; takes as long as the search.
    static void get_detections();

    /// Stage 2: tracks g_detections, fills g_findings with what is tracked, ascending by id, and
    /// publishes the ids inside area 1. Inside are markers whose four corners all are.
    static void monitor_AOI();

    /// Stage 3: sets the age and footing of g_findings from g_Id2Time, and the lost clock. Ids that
    /// the tracker has dropped leave g_Id2Time.
    /// Deliberate: a marker counts as present only from its second tick in a row inside the area.
    static void examine_and_update_findings();

    /// Stage 4: starts or stops the alert event. With b_IsRequirePresent it is on while a marker is
    /// inside lengthily, without it while markers have been lost for more than i_MarkersSeconds.
    /// The event manager is told every tick and makes one event of each change.
    static void manage_events();

    /// Sends the ids, sorted and joined by ",", as a data event if they differ from those sent
    /// last. No ids are an empty text.
    static void publish_detections(std::vector<int> ids);

    /// Whether no marker was present in area 1 in the last tick.
    [[nodiscard]] static bool isMarkerLost();

    /// How long markers have been lost, in whole seconds; meaningless unless isMarkerLost().
    /// Deliberate: reckoned in milliseconds as int, so it turns negative after 24.8 days.
    [[nodiscard]] static int getSecsSinceMarkerLost();

    /// Stops the lost clock and forgets the loss. Nothing calls it.
    static void resetSecsSinceMarkerLost();

  private:
    static bool m_hasTimeWhenMarkerLost; ///< the lost clock is running
    static bool m_MarkerLost;            ///< no marker was present in the last tick
    static timeval m_TimeWhenMarkerLost; ///< the first tick of the loss, wall clock
};

/// Milliseconds from one time to another, negative when the second is the earlier one. Each time
/// counts in whole milliseconds. The result is exact up to 24.8 days and wraps around beyond.
[[nodiscard]] int getMillisecondsBetween(const timeval& from, const timeval& to);

/// Milliseconds from a time until now, by the wall clock; else like getMillisecondsBetween().
[[nodiscard]] int getMillisecondsSince(const timeval& from);
