// Times the stages of the application's tick from outside, without a line for it in the
// application: the linker leads its calls of the functions below through the ones here (--wrap, in
// CMakeLists.txt), which time the real ones. All run on the main thread.
//
// A stage that happens in several places of a tick counts as one. What another stage does inside of
// one is not counted twice.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>
#include <vdo-stream.h>

#include "analysis/common_structs.h"
#include "analysis/tracker.h"
#include "platform/hostcam/stage_times.h"

class EventManager;
class OverlayManager;
namespace cv::aruco {
class ArucoDetector;
}

namespace {

using Clock = std::chrono::steady_clock;
using hostcam::Stage;

/// At the end of a run that ./run --stage-times has started.
void printTable() {
    const std::string table = hostcam::stageTable();
    if (!table.empty() && std::getenv("ZERITH_STAGE_TABLE") != nullptr) {
        std::printf("%s", table.c_str());
        std::fflush(stdout);
    }
}

/// The times of the tick in progress: at each moment, one stage is under way; `Stage::Tick` stands
/// for none.
class TickClock {
  public:
    void beginTick() {
        if (!m_isTableDue) {
            m_isTableDue = std::atexit(printTable) == 0;
        }
        m_isTicking = true;
        m_begin = m_since = Clock::now();
        m_current = Stage::Tick;
        m_spent = {};
    }

    /// @return the stage that was under way
    Stage change(Stage stage) {
        const Clock::time_point now = Clock::now();
        if (m_current != Stage::Tick) {
            m_spent.at(static_cast<std::size_t>(m_current)) += now - m_since;
        }
        m_since = now;
        return std::exchange(m_current, stage);
    }

    /// Reports the tick. What is timed outside a tick is not reported.
    void endTick() {
        if (!std::exchange(m_isTicking, false)) {
            return;
        }
        m_spent.at(static_cast<std::size_t>(Stage::Tick)) = Clock::now() - m_begin;
        for (std::size_t i = 0; i < hostcam::kStages; ++i) {
            hostcam::addStageTime(static_cast<Stage>(i), m_spent.at(i));
        }
    }

  private:
    bool m_isTableDue = false;
    bool m_isTicking = false;
    Clock::time_point m_begin;
    Clock::time_point m_since;
    Stage m_current = Stage::Tick;
    std::array<std::chrono::nanoseconds, hostcam::kStages> m_spent{};
};

TickClock s_clock;

/// A stage that lasts as long as the object, even when what it times throws.
class Timed {
  public:
    explicit Timed(Stage stage) : m_before(s_clock.change(stage)) {}
    ~Timed() { s_clock.change(m_before); }
    Timed(const Timed&) = delete;
    Timed& operator=(const Timed&) = delete;

  private:
    Stage m_before;
};

} // namespace

// The real functions and ours, by the names that they have in object files. A member function is
// called like a free one whose first argument is the object.

using Inputs = const cv::_InputArray&;
using Outputs = const cv::_OutputArray&;

#define ZM_REAL(symbol) __asm__("__real_" symbol)
#define ZM_OURS(symbol) __asm__("__wrap_" symbol)

VdoBuffer* realGetBuffer(VdoStream*, GError**) ZM_REAL("vdo_stream_get_buffer");
VdoBuffer* ourGetBuffer(VdoStream*, GError**) ZM_OURS("vdo_stream_get_buffer");
gboolean realReleaseBuffer(VdoStream*, VdoBuffer**, GError**) ZM_REAL("vdo_stream_buffer_unref");
gboolean ourReleaseBuffer(VdoStream*, VdoBuffer**, GError**) ZM_OURS("vdo_stream_buffer_unref");

#define ZM_GET_DETECTIONS "_ZN19DetectionProcessing14get_detectionsEv"
void realGetDetections() ZM_REAL(ZM_GET_DETECTIONS);
void ourGetDetections() ZM_OURS(ZM_GET_DETECTIONS);

#define ZM_DETECT                                                                                  \
    "_ZNK2cv5aruco13ArucoDetector13detectMarkersERKNS_11_InputArrayERKNS_12_OutputArrayES7_S7_"
using Detector = const cv::aruco::ArucoDetector*;
void realDetect(Detector, Inputs, Outputs, Outputs, Outputs) ZM_REAL(ZM_DETECT);
void ourDetect(Detector, Inputs, Outputs, Outputs, Outputs) ZM_OURS(ZM_DETECT);

#define ZM_TRACK "_ZN7tracker16track_detectionsESt6vectorI9detectionSaIS1_EE"
t_objects_map realTrack(tracker*, std::vector<detection>) ZM_REAL(ZM_TRACK);
t_objects_map ourTrack(tracker*, std::vector<detection>) ZM_OURS(ZM_TRACK);

#define ZM_MONITOR "_ZN19DetectionProcessing11monitor_AOIEv"
void realMonitor() ZM_REAL(ZM_MONITOR);
void ourMonitor() ZM_OURS(ZM_MONITOR);

#define ZM_EXAMINE "_ZN19DetectionProcessing27examine_and_update_findingsEv"
void realExamine() ZM_REAL(ZM_EXAMINE);
void ourExamine() ZM_OURS(ZM_EXAMINE);

#define ZM_SEND_DATA                                                                               \
    "_ZN12EventManager13sendDataEventERNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
void realSendData(EventManager*, std::string&) ZM_REAL(ZM_SEND_DATA);
void ourSendData(EventManager*, std::string&) ZM_OURS(ZM_SEND_DATA);

#define ZM_MANAGE_EVENTS "_ZN19DetectionProcessing13manage_eventsEv"
void realManageEvents() ZM_REAL(ZM_MANAGE_EVENTS);
void ourManageEvents() ZM_OURS(ZM_MANAGE_EVENTS);

#define ZM_REDRAW "_ZNK14OverlayManager14renderFindingsEv"
int realRedraw(const OverlayManager*) ZM_REAL(ZM_REDRAW);
int ourRedraw(const OverlayManager*) ZM_OURS(ZM_REDRAW);

VdoBuffer* ourGetBuffer(VdoStream* stream, GError** error) {
    VdoBuffer* buffer = nullptr;
    {
        const Timed timed(Stage::GetFrame);
        buffer = realGetBuffer(stream, error);
    }
    // What the application does with a frame before it hands it back is to convert it.
    s_clock.change(buffer != nullptr ? Stage::Convert : Stage::Tick);
    return buffer;
}

gboolean ourReleaseBuffer(VdoStream* stream, VdoBuffer** buffer, GError** error) {
    s_clock.change(Stage::GetFrame);
    const gboolean isReleased = realReleaseBuffer(stream, buffer, error);
    s_clock.change(Stage::Tick);
    return isReleased;
}

void ourGetDetections() {
    s_clock.beginTick();
    realGetDetections();
    // A frame whose conversion has failed is not handed back.
    s_clock.change(Stage::Tick);
}

void ourDetect(Detector detector, Inputs image, Outputs corners, Outputs ids, Outputs rejected) {
    const Timed timed(Stage::Detect);
    realDetect(detector, image, corners, ids, rejected);
}

t_objects_map ourTrack(tracker* object, std::vector<detection> detections) {
    const Timed timed(Stage::Track);
    return realTrack(object, std::move(detections));
}

void ourMonitor() {
    const Timed timed(Stage::Decide);
    realMonitor();
}

void ourExamine() {
    const Timed timed(Stage::Decide);
    realExamine();
}

void ourSendData(EventManager* manager, std::string& text) {
    const Timed timed(Stage::Events);
    realSendData(manager, text);
}

void ourManageEvents() {
    const Timed timed(Stage::Events);
    realManageEvents();
}

int ourRedraw(const OverlayManager* manager) {
    int result = 0;
    {
        const Timed timed(Stage::Redraw);
        result = realRedraw(manager);
    }
    s_clock.endTick();
    return result;
}
