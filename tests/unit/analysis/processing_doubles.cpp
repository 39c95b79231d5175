#include "tests/unit/analysis/processing_doubles.h"

#include <memory>
#include <mutex>
#include <utility>

#include "analysis/area_of_interest.h"
#include "analysis/detection_processing.h"
#include "analysis/distance_controller.h"
#include "analysis/tracker.h"
#include "core/Logger.h"
#include "outputs/event_manager.h"
#include "settings/config_params.h"
#include "tests/support/moved_clock.h"
#include "tests/unit/analysis/logged.h"
#include "video/VideoStreamSource.h"

// The globals that the per-tick decision uses.
ConfigParams g_ConfigParams;
Distance_Controller g_DistanceController;
area_of_interest g_AreaofInterest;
t_findings_list g_findings;
t_detection_list g_detections;
tracker g_Tracker;
t_id2time g_Id2Time;
aoi_state g_AOI1State;
Logger g_Logger("test", "./detection_processing_test.txt");
std::unique_ptr<VideoStreamSource> g_videoStreamSource =
    std::make_unique<VideoStreamSource>(480, 640, 0);
EventManager* g_EventManager = new EventManager;

namespace testing_support {

t_detection_list g_nextDetections;
bool g_searchedTheStream = false;
bool g_searchedWithoutOldDetections = false;
std::vector<std::string> g_told;
bool g_settingsWereFreeWhenTold = true;

namespace {

void tell(const std::string& what) {
    g_told.push_back(what);
    const std::unique_lock lock(configParamsMutex(), std::try_to_lock);
    g_settingsWereFreeWhenTold = g_settingsWereFreeWhenTold && lock.owns_lock();
}

} // namespace

std::vector<std::string> takeTold() {
    return std::exchange(g_told, {});
}

std::vector<std::string> takeData() {
    std::vector<std::string> data = takeTold();
    std::erase_if(data, [](const std::string& told) { return !told.starts_with("data "); });
    return data;
}

void resetProcessing(bool requirePresent, int markersSeconds) {
    g_ConfigParams = ConfigParams{};
    g_ConfigParams.b_IsRequirePresent = requirePresent;
    g_ConfigParams.i_MarkersSeconds = markersSeconds;
    g_AreaofInterest = area_of_interest();
    g_AreaofInterest.set_detection(1, {{100, 100}, {500, 100}, {500, 500}, {100, 500}});
    g_detections.clear();
    g_findings.clear();
    g_Id2Time.clear();
    g_AOI1State.set_state("");
    g_Tracker = tracker();
    g_Tracker.init(1);
    DetectionProcessing::resetSecsSinceMarkerLost();
    g_nextDetections.clear();
    g_searchedTheStream = false;
    g_told.clear();
    g_settingsWereFreeWhenTold = true;
    MovedClock::set(1000000);
    forgetLog();
}

void runTick(const t_detection_list& detections) {
    g_nextDetections = detections;
    DetectionProcessing::get_detections();
    DetectionProcessing::monitor_AOI();
    DetectionProcessing::examine_and_update_findings();
    DetectionProcessing::manage_events();
}

} // namespace testing_support

using namespace testing_support;

// The modules around: with these few operations the per-tick decision links without them and the
// camera platform behind them.

VideoStreamSource::VideoStreamSource(int height, int width, int rotation)
    : m_streamHeight(height), m_streamWidth(width), m_streamRotation(rotation) {}

VideoStreamSource::~VideoStreamSource() = default;

bool VideoStreamSource::getFrame(int, int, int, std::uint8_t*) {
    return false;
}

Distance_Controller::Distance_Controller() : m_squareSize(0) {}

std::vector<detection> Distance_Controller::find_markers(ImageFrameSource& source) {
    g_searchedWithoutOldDetections = g_detections.empty();
    g_searchedTheStream = &source == g_videoStreamSource.get();
    return g_nextDetections;
}

EventManager::EventManager() : m_pHandler(nullptr) {}

void EventManager::sendEventStarted(std::string& name) {
    tell("start " + name);
}

void EventManager::sendEventStopped(std::string& name) {
    tell("stop " + name);
}

void EventManager::sendDataEvent(std::string& text) {
    tell("data " + text);
}
