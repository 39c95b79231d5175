#pragma once

// What stands around the per-tick decision in its tests: a marker detector that answers what a test
// sets, and an event manager that keeps a record of what it was told. Tracker and areas are the
// real ones.

#include <string>
#include <vector>

#include "analysis/common_structs.h"

namespace testing_support {

/// What the detector finds in the next frame.
extern t_detection_list g_nextDetections;
/// Whether the last search was given g_videoStreamSource.
extern bool g_searchedTheStream;
/// Whether the detections of the frame before were gone when the last search began.
extern bool g_searchedWithoutOldDetections;

/// Everything that the event manager was told, in order: "start NAME", "stop NAME", "data TEXT".
extern std::vector<std::string> g_told;
/// Whether the settings' lock was free every time.
extern bool g_settingsWereFreeWhenTold;

/// What was told since the last call of this.
std::vector<std::string> takeTold();

/// The data events among what was told since the last call of this or takeTold().
std::vector<std::string> takeData();

/// Everything as start-up leaves it: nothing known, no settings but the seconds, area 1 a square
/// from (100, 100) to (500, 500), the wall clock stopped at 1000000.0 seconds.
void resetProcessing(bool requirePresent, int markersSeconds);

/// The four stages of a tick, with these detections in the frame.
void runTick(const t_detection_list& detections);

} // namespace testing_support
