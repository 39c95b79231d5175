#include "platform/hostcam/event_record.h"

#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <string_view>

#include <glib.h>

namespace hostcam {
namespace {

struct TextDeleter {
    void operator()(gchar* text) const { g_free(text); }
};

std::string numberText(double value) {
    if (!std::isfinite(value)) {
        return "null"; // JSON has no such number
    }
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

struct ToJson {
    std::string operator()(std::monostate /*none*/) const { return "null"; }
    std::string operator()(int value) const { return std::to_string(value); }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(double value) const { return numberText(value); }
    std::string operator()(const std::string& value) const { return jsonText(value); }
};

std::string objectText(const EventFields& fields) {
    std::string result;
    for (const auto& [key, value] : fields) {
        result += (result.empty() ? "" : ",") + jsonText(key) + ":" + std::visit(ToJson{}, value);
    }
    return "{" + result + "}";
}

} // namespace

std::string jsonText(const std::string& text) {
    const std::unique_ptr<gchar, TextDeleter> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string result = "\"";
    for (const char c : std::string_view(valid.get())) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (c == '\n') {
            result += "\\n";
        } else if (code < 0x20 || code == 0x7F) {
            result += "\\u00";
            result += kDigits[code >> 4];
            result += kDigits[code & 0x0F];
        } else {
            result += c;
        }
    }
    return result + "\"";
}

std::string joinTopic(const std::vector<TopicPart>& topic, const NamespaceText& text) {
    std::string result;
    std::string nameSpace;
    for (const TopicPart& part : topic) {
        if (!result.empty()) {
            result += '/';
        }
        if (part.nameSpace != nameSpace && !part.nameSpace.empty()) {
            result += text(part.nameSpace);
        }
        nameSpace = part.nameSpace;
        result += part.name;
    }
    return result;
}

std::string topicText(const std::vector<TopicPart>& topic) {
    return joinTopic(topic, [](const std::string& nameSpace) { return nameSpace + ":"; });
}

std::string toJson(const EventRecord& record) {
    std::string result = "{\"time\":" + jsonText(record.time) +
                         ",\"topic\":" + jsonText(topicText(record.topic)) +
                         ",\"stateful\":" + (record.stateful ? "true" : "false");
    if (record.what == EventRecord::What::Declared) {
        result += ",\"declared\":true";
    }
    if (!record.source.empty()) {
        result += ",\"source\":" + objectText(record.source);
    }
    return result + ",\"data\":" + objectText(record.data) + "}";
}

} // namespace hostcam
