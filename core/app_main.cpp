#include "core/app_main.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include <pthread.h>
#include <sys/sysinfo.h>
#include <syslog.h>
#include <unistd.h>

#include <malloc.h>

#include "analysis/area_of_interest.h"
#include "analysis/common_structs.h"
#include "analysis/detection_processing.h"
#include "analysis/distance_controller.h"
#include "analysis/tracker.h"
#include "core/Logger.h"
#include "core/PackageConfig.h"
#include "core/shared_state.h"
#include "core/termination.h"
#include "outputs/event_manager.h"
#include "outputs/fastcgi_service.h"
#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "settings/parameter_controller.h"
#include "settings/parameter_io.h"
#include "video/StreamManager.h"
#include "video/VideoStreamSource.h"

// The process-wide objects. Their order is binding: they are constructed from first to last before
// main and destroyed from last to first after it. What the first ones log comes before the log's
// own construction and so reaches syslog only.

PackageConfig g_PackageConfig; // read by start-up only

namespace {
const std::string appVersion = g_PackageConfig.getVersion();
const std::string g_app_name = g_PackageConfig.getAppName();
} // namespace

ConfigParams g_ConfigParams; // written by start-up, web thread and pattern finder; locked
parameter_controller g_ParameterController; // used by the main and the web thread; has its own lock
Distance_Controller g_DistanceController;   // main loop
area_of_interest g_AreaofInterest; // written by start-up and the web thread; has its own lock
t_findings_list g_findings;        // main loop
t_detection_list g_detections;     // main loop
tracker g_Tracker;                 // main loop
t_id2time g_Id2Time;               // main loop
aoi_state g_AOI1State;             // main loop
fastcgi_service g_FastcgiService;  // web thread
Logger g_Logger(g_app_name, "./localdata/MarkersLog.txt"); // any thread; has its own lock
StreamManager g_AnalysisStreamManager;                     // start-up

int g_StatusCode = 0;          // written by the main and the web thread; shared
int g_ExecutionTime = 0;       // written by the tick; shared
guint g_ThreadID = 0;          // written by start-up and the SIGTERM handler; shared
int g_main_loop_time = 100;    // constant
int g_AnalysisStreamWidth = 0; // these eight: written by start-up before the web thread begins
int g_AnalysisStreamHeight = 0;
int g_ApplicationStreamWidth = 0;
int g_ApplicationStreamHeight = 0;
bool g_IsPortrait = false;
bool g_SensorIs16x9 = true;
std::unique_ptr<OverlayManager> g_overlayManager;       // main thread
EventManager* g_EventManager = nullptr;                 // owned, never freed; made by start-up
std::unique_ptr<VideoStreamSource> g_videoStreamSource; // main thread
int g_modelWidth = 0;
int g_modelHeight = 0;

namespace {

constexpr const char* kAlertName = "Zerith Markers Alert";
constexpr int kStatusFailure = 50;
constexpr int kStatusStarting = 100;
constexpr int kStatusRunning = 200;
constexpr int kStatusEulaNotAccepted = 408;
constexpr int kStatusAlert = 502;
constexpr int kStatusSlow = 600;
/// How long the end of the program waits for a web request that is being answered.
constexpr std::chrono::milliseconds kWebServicePatience{500};

/// The main loop; null until start-up has made it, and never released.
constinit std::atomic<GMainLoop*> gp_Loop{nullptr};

/// Set by the SIGTERM handler: the loop is to end, even if it was told so before it ran.
constinit std::atomic<bool> g_isStopRequested{false};

/// The program is ending: another SIGTERM changes nothing.
constinit std::atomic<bool> g_isEnding{false};

/// Whether the web-service thread that start-up has created still runs.
class WebThread {
  public:
    void setRunning(bool isRunning) {
        const std::lock_guard lock(m_mutex);
        m_isRunning = isRunning;
        m_changed.notify_all();
    }

    /// @return whether it has ended
    [[nodiscard]] bool waitForEnd(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_until(lock, deadline, [this] { return !m_isRunning; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isRunning = false; // guarded by m_mutex
};

/// Never destroyed: the thread may outlive main.
WebThread& webThread() {
    static auto* const instance = new WebThread;
    return *instance;
}

// The end --------------------------------------------------------------------------------------

/// Runs first at the end of the process, whether main has returned or the SIGTERM handler calls
/// exit(): ends the web service, so that no request uses the process-wide objects while they are
/// destroyed. When a request does not come to its end, they stay: the process ends at once, with
/// the log ended as its destruction would.
void endWebService(int status, void* /*argument*/) {
    g_isEnding = true;
    const auto deadline = std::chrono::steady_clock::now() + kWebServicePatience;
    if (g_FastcgiService.stop(kWebServicePatience) && webThread().waitForEnd(deadline)) {
        return;
    }
    g_Logger.warning("STOPPING " + g_app_name);
    g_Logger.warning("");
    std::fflush(nullptr);
    _exit(status);
}

// Start-up --------------------------------------------------------------------------------------

/// Opens syslog. syslog keeps the name's address for the rest of the process's life, in which the
/// global strings are destroyed while messages still come.
void openSystemLog() {
    static const auto* const identity = new std::string(g_app_name);
    openlog(identity->c_str(), LOG_PID | LOG_CONS, LOG_USER);
    syslog(
        LOG_INFO, "%s",
        "*** To view Zerith Markers log messages click on 'View Log' button on 'Advanced' tab of "
        "Markers ACAP web page ***");
}

/// Chooses the analysis stream. @return false when the camera offers none
bool chooseAnalysisStream(AspectRatioType aspectRatio) {
    if (!g_AnalysisStreamManager.chooseMaxResolution(aspectRatio)) {
        g_Logger.error("main: Failed to choose max resolution");
        storeShared(g_StatusCode, kStatusFailure);
        return false;
    }
    g_AnalysisStreamManager.setCameraRotation(g_ParameterController.get_rotation());
    const Resolution resolution = g_AnalysisStreamManager.getResolution();
    g_AnalysisStreamWidth = static_cast<int>(resolution.width);
    g_AnalysisStreamHeight = static_cast<int>(resolution.height);
    return true;
}

/// The size of the overlay coordinate space, in landscape.
Resolution applicationStreamSize(AspectRatioType aspectRatio) {
    switch (aspectRatio) {
    case SQUARE:
        return {800, 800};
    case WIDESCREEN:
        return {1280, 720};
    case FULLSCREEN:
        return {1024, 768};
    default:
        g_Logger.error("main: Unknown aspect ratio");
        return {1280, 720};
    }
}

void chooseApplicationStream(AspectRatioType aspectRatio) {
    const Resolution size = applicationStreamSize(aspectRatio);
    g_ApplicationStreamWidth = static_cast<int>(g_IsPortrait ? size.height : size.width);
    g_ApplicationStreamHeight = static_cast<int>(g_IsPortrait ? size.width : size.height);
}

/// Lets the memory of a tick's pictures stay with the process when it is freed. The system would
/// have to map it again in the next tick, page by page, which takes as long as a third of the
/// tick's work at 1920x1080. Pictures above 16 MiB are too large to hold on to.
void keepFreedPictures() {
    constexpr std::int64_t kLeast = 131072;      // what the C library begins with
    constexpr std::int64_t kMost = 32 * 1048576; // what it takes at most
    const std::int64_t picture = std::int64_t{3} * g_AnalysisStreamWidth * g_AnalysisStreamHeight;
    if (2 * picture <= kMost) {
        mallopt(M_MMAP_THRESHOLD, static_cast<int>(std::max(2 * picture, kLeast)));
        mallopt(M_TRIM_THRESHOLD, static_cast<int>(std::max(4 * picture, 2 * kLeast)));
    }
}

/// Opens the camera's stream. @return false when it cannot be opened
bool createFrameSource() {
    const Resolution axis = g_AnalysisStreamManager.getResolutionAxis();
    try {
        g_videoStreamSource = std::make_unique<VideoStreamSource>(
            static_cast<int>(axis.height), static_cast<int>(axis.width),
            g_ParameterController.get_rotation());
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("main: Failed to create the video stream source. ") +
                       problem.what());
        storeShared(g_StatusCode, kStatusFailure);
        return false;
    }
    return true;
}

/// Starts the web-service thread, which is never joined. @return false when it cannot be created
bool startWebService() {
    on_exit(endWebService, nullptr);
    webThread().setRunning(true);
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, webservices_thread_fcn, nullptr) != 0) {
        webThread().setRunning(false);
        g_Logger.error("main: Failed to create thread");
        storeShared(g_StatusCode, kStatusFailure);
        return false;
    }
    return true;
}

/// How the main loop waits for its next event: the only place of the loop where SIGTERM is let in.
gint waitForEvents(GPollFD* descriptors, guint count, gint timeoutMilliseconds) {
    if (g_isStopRequested) {
        // The stop may have come before the loop ran; this one is sure to meet it running.
        g_main_loop_quit(gp_Loop);
    }
    return pollOpenForTermination(descriptors, count, timeoutMilliseconds);
}

/// Runs the main loop until SIGTERM quits it.
void runMainLoop() {
    GMainContext* const context = g_main_context_default();
    const GPollFunc before = g_main_context_get_poll_func(context);
    g_main_context_set_poll_func(context, waitForEvents);
    gp_Loop = g_main_loop_new(nullptr, FALSE);
    storeShared(g_ThreadID,
                g_timeout_add(static_cast<guint>(g_main_loop_time), thread_function, nullptr));
    g_main_loop_run(gp_Loop);
    g_main_context_set_poll_func(context, before);
}

/// Start-up, main loop and orderly end. @return main's result
int runApplication() {
    openSystemLog();
    logMemoryUsage("Starting Zerith Markers version " + appVersion);
    storeShared(g_StatusCode, kStatusStarting);
    init_signals();
    allowTermination();
    init_parameter_controller();
    allowTermination();
    const AspectRatioType aspectRatio =
        StreamManager::convertAspectRatio(g_ParameterController.get_sensor_aspect_ratio());
    if (!chooseAnalysisStream(aspectRatio)) {
        return -1;
    }
    allowTermination();
    chooseApplicationStream(aspectRatio);
    keepFreedPictures();
    allowTermination();
    if (!createFrameSource()) {
        return -1;
    }
    allowTermination();
    init_sensor_aspect_ratio();
    allowTermination();
    init_overlay_manager();
    allowTermination();
    init_event_manager();
    allowTermination();
    if (!startWebService()) {
        return -1;
    }
    init_logic(1);
    g_AreaofInterest.init();
    allowTermination();
    runMainLoop();
    logMemoryUsage("Ending Zerith Markers");
    closelog();
    return 0;
}

/// Sets the status code after a step.
/// Deliberate: the time that decides is that of the step before, since the new one is not known
/// yet.
void updateStatus() {
    if (5 * g_main_loop_time > loadShared(g_ExecutionTime)) {
        storeShared(g_StatusCode,
                    g_EventManager != nullptr && g_EventManager->isEventStarted(kAlertName)
                        ? kStatusAlert
                        : kStatusRunning);
    } else {
        storeShared(g_StatusCode, kStatusSlow);
    }
}

bool isEulaAccepted() {
    const auto lock = lockConfigParams();
    return g_ConfigParams.b_EulaAccepted;
}

} // namespace

void init_signals() {
    g_isStopRequested = false;
    g_isEnding = false;

    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    sigaddset(&ignore.sa_mask, SIGPIPE);
    ignore.sa_flags = 0;

    struct sigaction terminate {};
    terminate.sa_handler = handle_sigterm;
    sigemptyset(&terminate.sa_mask);
    terminate.sa_flags = 0;

    if (sigaction(SIGPIPE, &ignore, nullptr) != 0 || sigaction(SIGTERM, &terminate, nullptr) != 0) {
        g_Logger.error("init_signals: Failed to set up the signals");
    }
}

void handle_sigterm(int /*signal*/) {
    // This calls what a handler may not call anywhere: core/termination.h tells where it runs.
    if (g_isEnding) {
        return;
    }
    const guint timer = loadShared(g_ThreadID);
    if (timer != 0) {
        g_source_remove(timer);
    }
    storeShared(g_ThreadID, 0U);
    GMainLoop* const loop = gp_Loop;
    if (loop == nullptr) {
        g_isEnding = true;
        exit(1); // NOLINT(concurrency-mt-unsafe): endWebService() ends the other thread first
    }
    g_isStopRequested = true;
    g_main_loop_quit(loop);
}

void init_parameter_controller() {
    g_ParameterController.init_controller(g_app_name);
    ConfigParams loaded{};
    try {
        loaded = g_ParameterController.load_config();
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("init_parameter_controller: Failed to load the settings. ") +
                       problem.what());
    }
    {
        const auto lock = lockConfigParams();
        g_ConfigParams = std::move(loaded);
    }
    parameter_io::store_points_into_AOI();
    const int rotation = g_ParameterController.get_rotation();
    if (rotation == 90 || rotation == 270) {
        g_IsPortrait = true;
    }
}

void init_sensor_aspect_ratio() {
    const std::string ratio = g_ParameterController.get_sensor_aspect_ratio();
    g_SensorIs16x9 = ratio != "4:3";
    g_Logger.info("init_sensor_aspect_ratio: Image sensor aspect ratio: " + ratio +
                  " (16x9 = " + (g_SensorIs16x9 ? "1" : "0") + ")");
}

void init_overlay_manager() {
    g_overlayManager = std::make_unique<OverlayManager>();
    const ConfigParams settings = currentConfigParams();
    const std::string overlay =
        settings.b_DetectionOverlaysOn ? settings.str_DetectionOverlay : "0x0";
    try {
        OverlayManager::SetOverlayStreamResolutionFromString(overlay);
    } catch (const std::exception&) {
        g_Logger.error("init_overlay_manager: \"" + overlay +
                       "\" is no size of an overlay stream. No stream shows detections.");
        OverlayManager::SetOverlayStreamResolutionFromString("0x0");
    }
    g_Logger.info("init_overlay_manager: Setting Overlay Manager application stream resolution to "
                  "(WxH) " +
                  std::to_string(g_ApplicationStreamWidth) + "x" +
                  std::to_string(g_ApplicationStreamHeight));
    OverlayManager::SetApplicationStreamResolution(
        static_cast<unsigned>(g_ApplicationStreamWidth),
        static_cast<unsigned>(g_ApplicationStreamHeight));
}

void init_event_manager() {
    g_EventManager = new EventManager();
    g_EventManager->addEvent(kAlertName);
    g_EventManager->addDataEvent();
}

void init_logic(int maxDisappeared) {
    g_AOI1State.set_state("");
    g_Tracker.init(maxDisappeared);
    g_AreaofInterest.init();
    g_Id2Time.clear();
}

void* webservices_thread_fcn(void* /*argument*/) {
    static std::atomic<int> starts{1};
    try {
        g_Logger.info("webservices_thread_fcn: " + std::to_string(starts++));
        if (g_FastcgiService.init() == 0) {
            g_FastcgiService.run();
        } else if (!g_isEnding) { // a service that is ended before it began refuses, as it should
            g_Logger.error("webservices_thread_fcn: Failed to init fastcgi service");
            storeShared(g_StatusCode, kStatusFailure);
        }
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("webservices_thread_fcn: ") + problem.what());
    } catch (...) {
        g_Logger.error("webservices_thread_fcn: Unknown exception");
    }
    webThread().setRunning(false);
    return nullptr;
}

gboolean thread_function(gpointer /*data*/) {
    try {
        do_one_analysis();
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("thread_function: ") + problem.what());
    } catch (...) {
        g_Logger.error("thread_function: Unknown exception");
    }
    return TRUE;
}

int do_one_analysis() {
    if (!isEulaAccepted()) {
        storeShared(g_StatusCode, kStatusEulaNotAccepted);
        return 1;
    }
    const auto start = std::chrono::system_clock::now();
    if (g_videoStreamSource == nullptr) {
        g_Logger.error("do_one_analysis: g_videoStreamSource == nullptr");
        return 1;
    }
    g_videoStreamSource->setDirty();
    DetectionProcessing::get_detections();
    DetectionProcessing::monitor_AOI();
    DetectionProcessing::examine_and_update_findings();
    DetectionProcessing::manage_events();
    if (g_overlayManager != nullptr) {
        g_overlayManager->renderFindings();
    }
    updateStatus();
    const auto spent = std::chrono::system_clock::now() - start;
    storeShared(
        g_ExecutionTime,
        static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(spent).count()));
    return 0;
}

void logMemoryUsage(const std::string& prefix) {
    struct sysinfo info {};
    if (sysinfo(&info) != 0) {
        g_Logger.error("Failed to retrieve memory information.");
        return;
    }
    const std::uint64_t unit = info.mem_unit;
    g_Logger.info("logMemoryUsage: " + prefix +
                  " - Total memory: " + std::to_string(info.totalram * unit >> 10U) +
                  " kB. Free memory: " + std::to_string(info.freeram * unit >> 10U) + " kB.");
}

// Declared here because a program that drives the start-up module itself compiles this file with
// main renamed.
int main();

int main() {
    const TerminationBlock termination;
    int result = -1;
    try {
        result = runApplication();
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("main: ") + problem.what());
        storeShared(g_StatusCode, kStatusFailure);
    } catch (...) {
        g_Logger.error("main: Unknown exception");
        storeShared(g_StatusCode, kStatusFailure);
    }
    return result;
}
