#include "core/app_main.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/sysinfo.h>
#include <syslog.h>
#include <unistd.h>

#include "analysis/area_of_interest.h"
#include "analysis/common_structs.h"
#include "analysis/detection_processing.h"
#include "analysis/distance_controller.h"
#include "analysis/tracker.h"
#include "core/Logger.h"
#include "core/PackageConfig.h"
#include "core/shared_state.h"
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

/// The main loop; null until start-up has made it. Written by start-up, read by the handler;
/// shared.
GMainLoop* gp_Loop = nullptr;

/// Set by the SIGTERM handler: the loop is to end, even if it was told so before it ran.
constinit std::atomic<bool> g_isStopRequested{false};

/// Whether the web-service thread still runs, for the end of the program.
class WebThread {
  public:
    void began() {
        const std::lock_guard lock(m_mutex);
        ++m_running;
    }

    void ended() {
        const std::lock_guard lock(m_mutex);
        --m_running;
        m_ended.notify_all();
    }

    /// @return whether it has ended
    bool waitForEnd(std::chrono::milliseconds patience) {
        std::unique_lock lock(m_mutex);
        return m_ended.wait_for(lock, patience, [this] { return m_running <= 0; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    int m_running = 0; // guarded by m_mutex
};

/// Never destroyed: the thread may outlive the end of main.
WebThread& webThread() {
    static auto* const instance = new WebThread;
    return *instance;
}

// SIGTERM ---------------------------------------------------------------------------------------

sigset_t terminationSignal() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    return set;
}

/// Keeps SIGTERM pending on this thread, and on the threads it creates, as long as it lives.
class TerminationBlock {
  public:
    TerminationBlock() {
        const sigset_t termination = terminationSignal();
        pthread_sigmask(SIG_BLOCK, &termination, &m_before);
    }
    ~TerminationBlock() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    TerminationBlock(const TerminationBlock&) = delete;
    TerminationBlock& operator=(const TerminationBlock&) = delete;

  private:
    sigset_t m_before{};
};

/// A point of start-up where a SIGTERM that has come is handled. The caller holds no lock.
void allowTermination() {
    const sigset_t termination = terminationSignal();
    pthread_sigmask(SIG_UNBLOCK, &termination, nullptr);
    pthread_sigmask(SIG_BLOCK, &termination, nullptr);
}

// GPollFD is made to be handed to poll().
static_assert(sizeof(GPollFD) == sizeof(pollfd) && offsetof(GPollFD, fd) == offsetof(pollfd, fd) &&
              offsetof(GPollFD, events) == offsetof(pollfd, events) &&
              offsetof(GPollFD, revents) == offsetof(pollfd, revents));

/// How the main loop waits for its next event: with SIGTERM open, and only here.
gint waitOpenForTermination(GPollFD* descriptors, guint count, gint timeoutMilliseconds) {
    if (g_isStopRequested) {
        // The stop may have come before the loop ran; this one is sure to meet it running.
        g_main_loop_quit(loadShared(gp_Loop));
    }
    sigset_t open;
    pthread_sigmask(SIG_BLOCK, nullptr, &open);
    sigdelset(&open, SIGTERM);
    timespec timeout{};
    timeout.tv_sec = timeoutMilliseconds / 1000;
    timeout.tv_nsec = timeoutMilliseconds % 1000 * 1'000'000L;
    return ppoll(reinterpret_cast<pollfd*>(descriptors), count,
                 timeoutMilliseconds < 0 ? nullptr : &timeout, &open);
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
    webThread().began();
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, webservices_thread_fcn, nullptr) != 0) {
        webThread().ended();
        g_Logger.error("main: Failed to create thread");
        storeShared(g_StatusCode, kStatusFailure);
        return false;
    }
    return true;
}

/// Ends the web service, so that no request uses the process-wide objects while they are destroyed.
/// @return false when a request does not come to its end
bool endWebService() {
    return g_FastcgiService.stop(kWebServicePatience) &&
           webThread().waitForEnd(kWebServicePatience);
}

/// For an end of the program that a request holds up: the objects that it uses must stay.
[[noreturn]] void endWithoutDestruction(int status) {
    g_Logger.flush();
    _exit(status);
}

/// Runs the main loop until SIGTERM quits it.
void runMainLoop() {
    g_main_context_set_poll_func(g_main_context_default(), waitOpenForTermination);
    storeShared(gp_Loop, g_main_loop_new(nullptr, FALSE));
    storeShared(g_ThreadID,
                g_timeout_add(static_cast<guint>(g_main_loop_time), thread_function, nullptr));
    g_main_loop_run(loadShared(gp_Loop));
    g_main_context_set_poll_func(g_main_context_default(), nullptr);
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
    chooseApplicationStream(aspectRatio);
    allowTermination();
    if (!createFrameSource()) {
        return -1;
    }
    allowTermination();
    init_sensor_aspect_ratio();
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
    const bool webServiceEnded = endWebService();
    logMemoryUsage("Ending Zerith Markers");
    closelog();
    if (!webServiceEnded) {
        endWithoutDestruction(0);
    }
    return 0;
}

/// Sets the status code after a step.
/// Deliberate: the time that decides is that of the step before, since the new one is not known
/// yet.
void updateStatus() {
    if (5 * g_main_loop_time > loadShared(g_ExecutionTime)) {
        storeShared(g_StatusCode,
                    g_EventManager->isEventStarted(kAlertName) ? kStatusAlert : kStatusRunning);
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
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    sigaddset(&ignore.sa_mask, SIGPIPE);
    ignore.sa_flags = 0;
    sigaction(SIGPIPE, &ignore, nullptr);

    struct sigaction terminate {};
    terminate.sa_handler = handle_sigterm;
    sigemptyset(&terminate.sa_mask);
    terminate.sa_flags = 0;
    sigaction(SIGTERM, &terminate, nullptr);
}

void handle_sigterm(int /*signal*/) {
    // Not async-signal-safe by itself: see the head of the header for when it runs.
    const guint timer = loadShared(g_ThreadID);
    if (timer != 0) {
        g_source_remove(timer);
    }
    storeShared(g_ThreadID, 0U);
    g_isStopRequested = true;
    GMainLoop* const loop = loadShared(gp_Loop);
    if (loop == nullptr) {
        if (!endWebService()) {
            endWithoutDestruction(1);
        }
        exit(1); // NOLINT(concurrency-mt-unsafe): the web-service thread has ended
    }
    g_main_loop_quit(loop);
}

void init_parameter_controller() {
    g_ParameterController.init_controller(g_app_name);
    try {
        ConfigParams loaded = g_ParameterController.load_config();
        const auto lock = lockConfigParams();
        g_ConfigParams = std::move(loaded);
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("init_parameter_controller: Failed to load the settings. ") +
                       problem.what());
    }
    parameter_io().store_points_into_AOI();
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
        if (g_FastcgiService.init() != 0) {
            g_Logger.error("webservices_thread_fcn: Failed to init fastcgi service");
            storeShared(g_StatusCode, kStatusFailure);
        } else {
            g_FastcgiService.run();
        }
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("webservices_thread_fcn: ") + problem.what());
    }
    webThread().ended();
    return nullptr;
}

gboolean thread_function(gpointer /*data*/) {
    try {
        do_one_analysis();
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("thread_function: ") + problem.what());
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
    try {
        return runApplication();
    } catch (const std::exception& problem) {
        g_Logger.error(std::string("main: ") + problem.what());
        storeShared(g_StatusCode, kStatusFailure);
        if (!endWebService()) {
            endWithoutDestruction(-1);
        }
        return -1;
    }
}
