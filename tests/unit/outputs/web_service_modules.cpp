#include "tests/unit/outputs/web_service_modules.h"

#include "core/app_state.h"
#include "outputs/event_manager.h"
#include "settings/parameter_io.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/axevent_stand_in.h"

Logger g_Logger("test", "./web_service_test.log");
EventManager* g_EventManager = nullptr;
int g_ApplicationStreamWidth = 0;
int g_ApplicationStreamHeight = 0;

namespace web_service_modules {

World& world() {
    static World instance;
    return instance;
}

void reset() {
    world() = World{};
    g_ApplicationStreamWidth = 1280;
    g_ApplicationStreamHeight = 720;
    delete g_EventManager;
    g_EventManager = new EventManager();
    axevent_stand_in::reset();
    g_EventManager->addEvent("Zerith Markers Alert");
    axevent_stand_in::reset();
    testing_support::forgetLog();
}

} // namespace web_service_modules

using web_service_modules::world;

std::string parameter_io::get_status_string() {
    return world().statusText;
}

std::string parameter_io::get_status_code() {
    return world().statusCode;
}

std::string parameter_io::get_is_portrait() {
    return world().isPortrait;
}

std::string parameter_io::get_aspect_ratio() {
    return world().aspectRatio;
}

std::string parameter_io::get_parameters() {
    return world().parameters();
}

int parameter_io::set_post_parameters(std::string payload) {
    world().bodies.push_back(payload);
    return world().setPostParameters(payload);
}

std::map<std::string, std::string> parameter_io::parseXMLData_no_dependency(std::string xml) {
    world().bodies.push_back(xml);
    return world().parse(xml);
}
