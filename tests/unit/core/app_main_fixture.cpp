#include "tests/unit/core/app_main_fixture.h"

#include <filesystem>
#include <fstream>

#include "analysis/area_of_interest.h"
#include "analysis/common_structs.h"
#include "analysis/detection_processing.h"
#include "core/shared_state.h"
#include "outputs/event_manager.h"
#include "outputs/overlay_manager.h"
#include "settings/parameter_controller.h"
#include "video/StreamManager.h"
#include "video/VideoStreamSource.h"

namespace {

/// Before any object of the program is constructed: the first one reads the package's description.
__attribute__((constructor(101))) void writePackageFolder() {
    std::filesystem::create_directories("localdata");
    std::ofstream("package.conf")
        << "APPNAME=\"zerith_markers\"\n"
           "APPMAJORVERSION=\"1\"\nAPPMINORVERSION=\"2\"\nAPPMICROVERSION=\"3\"\n";
}

std::vector<std::string> g_syslogAtLoad;

class AtLoad : public testing::Environment {
    void SetUp() override { g_syslogAtLoad = testing_support::syslogLines(); }
};
const testing::Environment* const g_atLoad = testing::AddGlobalTestEnvironment(new AtLoad);

} // namespace

namespace testing_support {

const std::vector<std::string>& syslogAtLoad() {
    return g_syslogAtLoad;
}

AppMainTest::AppMainTest() : camera(kConfiguration) {
    std::filesystem::create_directory("localdata");
    forgetLog();
    forgetSyslog();
}

AppMainTest::~AppMainTest() {
    onSyslogLine({});
    onTimerInstalled({});
    setWebLibrary(WebLibrary::Works);
    failToCreateTheWebThread(false);
    tellTheRealMemory();
    hostcam::clearFaults();

    g_overlayManager.reset();
    g_videoStreamSource.reset();
    delete g_EventManager;
    g_EventManager = nullptr;
    g_ConfigParams = ConfigParams{};
    g_AnalysisStreamManager = StreamManager();
    g_findings.clear();
    g_detections.clear();
    g_Id2Time.clear();
    g_AOI1State.set_state("");
    DetectionProcessing::resetSecsSinceMarkerLost();
    g_IsPortrait = false;
    g_SensorIs16x9 = true;
    g_AnalysisStreamWidth = 0;
    g_AnalysisStreamHeight = 0;
    g_ApplicationStreamWidth = 0;
    g_ApplicationStreamHeight = 0;
    storeShared(g_StatusCode, 0);
    storeShared(g_ExecutionTime, 0);
}

void AppMainTest::store(const std::string& name, const std::string& value) {
    parameter_controller parameters;
    parameters.init_controller("zerith_markers");
    parameters.set_string_parameter(name, value);
    forgetLog();
    forgetSyslog();
}

void AppMainTest::fail(const std::string& call) {
    hostcam::Fault fault;
    fault.call = call;
    fault.count = hostcam::Fault::kForever;
    fault.message = "reason";
    hostcam::addFault(fault);
}

} // namespace testing_support
