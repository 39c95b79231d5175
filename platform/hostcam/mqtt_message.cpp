#include "platform/hostcam/mqtt_message.h"

#include <array>
#include <charconv>

namespace hostcam {
namespace {

/// What a namespace is called outside the camera.
std::string outsideName(const std::string& nameSpace) {
    if (nameSpace == "tnsaxis") {
        return "axis";
    }
    return nameSpace == "tns1" ? "onvif" : nameSpace;
}

/// The event's topic.
/// @param before, after stand around a namespace where it is another than that of the part before
std::string topicWith(const std::vector<TopicPart>& topic, const std::string& before,
                      const std::string& after) {
    return joinTopic(topic, [&](const std::string& nameSpace) {
        return before + outsideName(nameSpace) + after;
    });
}

/// Deliberate: what a broker would take for a wildcard becomes '_'. The payload tells the name as
/// it is.
std::string withoutWildcards(std::string topic) {
    for (char& c : topic) {
        if (c == '+' || c == '#') {
            c = '_';
        }
    }
    return topic;
}

struct ToText {
    std::string operator()(std::monostate /*none*/) const { return ""; }
    std::string operator()(int value) const { return std::to_string(value); }
    std::string operator()(bool value) const { return value ? "1" : "0"; }
    std::string operator()(double value) const {
        std::array<char, 64> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        return {digits.data(), end};
    }
    std::string operator()(const std::string& value) const { return value; }
};

std::string objectText(const EventFields& fields) {
    std::string result;
    for (const auto& [key, value] : fields) {
        result += (result.empty() ? "" : ",") + jsonText(key) + ":" +
                  jsonText(std::visit(ToText{}, value));
    }
    return "{" + result + "}";
}

bool isRetained(const EventRecord& record, MqttRetain which) {
    return which == MqttRetain::All || (which == MqttRetain::Property && record.stateful);
}

} // namespace

MqttMessage makeMqttMessage(const EventRecord& record, const Config& config) {
    MqttMessage message;
    message.topic = config.mqttTopicPrefix + "/" + config.serial + "/event/" +
                    withoutWildcards(topicWith(record.topic, "tns:", "/"));
    message.payload = "{\"topic\":" + jsonText(topicWith(record.topic, "", ":")) +
                      ",\"timestamp\":" + std::to_string(record.milliseconds) +
                      ",\"serial\":" + jsonText(config.serial) +
                      ",\"message\":{\"source\":" + objectText(record.source) +
                      ",\"key\":{},\"data\":" + objectText(record.data) + "}}";
    message.retain = isRetained(record, config.mqttRetain);
    return message;
}

} // namespace hostcam
