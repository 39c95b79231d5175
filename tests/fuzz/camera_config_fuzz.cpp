// The host camera's configuration file: every value that is taken is within its limits, and a
// configuration that is written is read as the same.

#include <charconv>
#include <cmath>

#include "platform/hostcam/config.h"
#include "tests/fuzz/fuzz_input.h"

using fuzzing::require;
using hostcam::Config;

namespace {

std::string shortest(double value) {
    char text[64];
    const auto [end, failure] = std::to_chars(text, text + sizeof text, value);
    require(failure == std::errc(), "a number that cannot be written");
    return {text, end};
}

template <typename Items, typename ToText>
std::string list(const Items& items, ToText toText) {
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "" : ",") + toText(item);
    }
    return text;
}

std::string printed(const Config& c) {
    const char* const retain[] = {"none", "property", "all"};
    return "[camera]\nsource=" + c.source + "\nloop=" + (c.loop ? "true" : "false") +
           "\nframerate=" + shortest(c.framerate) + "\nrotation=" + std::to_string(c.rotation) +
           "\naspect-ratio=" + c.aspectRatio + "\nproduct=" + c.product + "\nserial=" + c.serial +
           "\nresolutions=" + list(c.resolutions, hostcam::toText) +
           "\nbuffers=" + std::to_string(c.buffers) +
           "\npitch-align=" + std::to_string(c.pitchAlign) +
           "\n[scene]\nseed=" + std::to_string(c.sceneSeed) + "\ndictionary=" + c.sceneDictionary +
           "\nids=" + list(c.sceneIds, [](int id) { return std::to_string(id); }) +
           "\n[state]\ndirectory=" + c.stateDirectory + "\n[viewers]\nstreams=" +
           list(c.viewers,
                [](const hostcam::ViewerStream& stream) {
                    return hostcam::toText(stream.size) + (stream.mirrored ? ":mirrored" : "");
                }) +
           "\n[http]\naddress=" + c.httpAddress + "\nport=" + std::to_string(c.httpPort) +
           "\n[mqtt]\nbroker=" + c.mqttBroker + "\ntopic-prefix=" + c.mqttTopicPrefix +
           "\nclient-id=" + c.mqttClientId + "\nqos=" + std::to_string(c.mqttQos) +
           "\nretain=" + retain[static_cast<int>(c.mqttRetain)] + "\n";
}

void requireSize(const hostcam::Size& size) {
    require(size.width >= 2 && size.height >= 2 && size.width <= 16384 && size.height <= 16384 &&
                size.width % 2 == 0 && size.height % 2 == 0,
            "a size is outside its limits");
}

void requireWithinLimits(const Config& c) {
    require(!c.source.empty() && !c.product.empty() && !c.stateDirectory.empty(),
            "a text is empty");
    require(std::isfinite(c.framerate) && c.framerate > 0 && c.framerate <= 1000,
            "the rate is outside its limits");
    require(c.rotation == 0 || c.rotation == 90 || c.rotation == 180 || c.rotation == 270,
            "the rotation is outside its limits");
    require(c.serial.size() == 12, "the serial number is outside its limits");
    require(!c.resolutions.empty(), "there is no size");
    for (const hostcam::Size& size : c.resolutions) {
        requireSize(size);
    }
    for (const hostcam::ViewerStream& stream : c.viewers) {
        requireSize(stream.size);
    }
    require(c.buffers >= 1 && c.buffers <= 64 && c.pitchAlign >= 1 && c.pitchAlign <= 4096,
            "the buffers are outside their limits");
    require(!c.sceneIds.empty(), "there is no marker");
    for (const int id : c.sceneIds) {
        require(id >= 0 && id <= 999, "a marker is outside its limits");
    }
    require(c.httpPort <= 65535 && c.mqttQos >= 0 && c.mqttQos <= 2,
            "a port is outside its limits");
    require(c.mqttTopicPrefix.find_first_of("+#\n") == std::string::npos &&
                !c.mqttTopicPrefix.empty(),
            "the topic is outside its limits");
    require(c.mqttBroker.empty() || hostcam::parseBroker(c.mqttBroker), "the broker is no address");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzzing::Input(data, size).rest();
    Config config;
    try {
        config = hostcam::parseConfig(text, "the file");
    } catch (const hostcam::ConfigError& problem) {
        require(std::string(problem.what()).starts_with("the file: "),
                "a refusal does not name the file");
        return 0;
    }
    requireWithinLimits(config);
    const std::string written = printed(config);
    try {
        require(printed(hostcam::parseConfig(written, "again")) == written,
                "a configuration that was written is read differently");
    } catch (const hostcam::ConfigError&) {
        require(false, "a configuration that was written is refused");
    }
    return 0;
}
