#include "platform/hostcam/config.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

#include <gio/gio.h>

namespace hostcam {
namespace {

struct KeyFileDeleter {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
struct ErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
struct StringsDeleter {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileDeleter>;
using Error = std::unique_ptr<GError, ErrorDeleter>;
using Strings = std::unique_ptr<gchar*, StringsDeleter>;

/// Thrown by a value's reader; the caller adds file, key and value.
struct NotAllowed {
    std::string allowed;
};

template <typename Number>
bool readNumber(std::string_view text, Number& value) {
    const auto [end, result] = std::from_chars(text.data(), text.data() + text.size(), value);
    return result == std::errc{} && end == text.data() + text.size();
}

unsigned toUnsigned(const std::string& text, unsigned low, unsigned high) {
    unsigned value = 0;
    if (!readNumber(text, value) || value < low || value > high) {
        throw NotAllowed{"a whole number from " + std::to_string(low) + " to " +
                         std::to_string(high)};
    }
    return value;
}

bool toBool(const std::string& text) {
    if (text != "true" && text != "false") {
        throw NotAllowed{"true or false"};
    }
    return text == "true";
}

double toFramerate(const std::string& text) {
    double value = 0;
    if (!readNumber(text, value) || !std::isfinite(value) || value <= 0 || value > 1000) {
        throw NotAllowed{"a number above 0, at most 1000"};
    }
    return value;
}

bool isControl(char c) {
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code == 0x7F;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> items;
    std::istringstream stream(text);
    for (std::string item; std::getline(stream, item, ',');) {
        items.push_back(trimmed(item));
    }
    if (text.ends_with(',')) {
        items.emplace_back();
    }
    return items;
}

/// NV12 pairs pixels in both directions, so sizes are even.
Size toSize(const std::string& text) {
    const std::size_t cross = text.find('x');
    Size size;
    if (cross == std::string::npos ||
        !readNumber(std::string_view(text).substr(0, cross), size.width) ||
        !readNumber(std::string_view(text).substr(cross + 1), size.height) || size.width < 2 ||
        size.height < 2 || size.width > 16384 || size.height > 16384 || size.width % 2 != 0 ||
        size.height % 2 != 0) {
        throw NotAllowed{"sizes WxH, comma separated, each even and from 2x2 to 16384x16384"};
    }
    return size;
}

std::vector<Size> toSizes(const std::string& text) {
    std::vector<Size> sizes;
    for (const std::string& item : splitList(text)) {
        sizes.push_back(toSize(item));
    }
    if (sizes.empty()) {
        throw NotAllowed{"at least one size WxH"};
    }
    return sizes;
}

std::vector<ViewerStream> toViewers(const std::string& text) {
    std::vector<ViewerStream> viewers;
    for (const std::string& item : splitList(text)) {
        const std::size_t colon = item.find(':');
        const bool mirrored = colon != std::string::npos;
        if (mirrored && item.substr(colon + 1) != "mirrored") {
            throw NotAllowed{"WxH or WxH:mirrored, comma separated"};
        }
        viewers.push_back({toSize(item.substr(0, colon)), mirrored});
    }
    return viewers;
}

std::vector<int> toIds(const std::string& text) {
    std::vector<int> ids;
    for (const std::string& item : splitList(text)) {
        int id = 0;
        if (!readNumber(item, id) || id < 0 || id > 999) {
            throw NotAllowed{"marker ids from 0 to 999, comma separated"};
        }
        ids.push_back(id);
    }
    if (ids.empty()) {
        throw NotAllowed{"at least one marker id"};
    }
    return ids;
}

std::string oneOf(const std::string& text, const std::vector<std::string>& words) {
    std::string allowed;
    for (const std::string& word : words) {
        if (text == word) {
            return text;
        }
        allowed += (allowed.empty() ? "" : ", ") + word;
    }
    throw NotAllowed{allowed};
}

std::string toAspectRatio(const std::string& text) {
    const std::size_t colon = text.find(':');
    unsigned width = 0;
    unsigned height = 0;
    if (colon == std::string::npos || !readNumber(std::string_view(text).substr(0, colon), width) ||
        !readNumber(std::string_view(text).substr(colon + 1), height) || width == 0 ||
        height == 0) {
        throw NotAllowed{"W:H, for example 16:9, 4:3 or 1:1"};
    }
    return text;
}

std::string notEmpty(const std::string& text) {
    if (text.empty() || std::any_of(text.begin(), text.end(), isControl)) {
        throw NotAllowed{"a text that is not empty and holds no control character"};
    }
    return text;
}

std::string toAddress(const std::string& text) {
    GInetAddress* const address = g_inet_address_new_from_string(text.c_str());
    if (address == nullptr) {
        throw NotAllowed{"a numeric address, for example 127.0.0.1, ::1 or 0.0.0.0"};
    }
    g_object_unref(address);
    return text;
}

std::string toSerial(const std::string& text) {
    if (text.size() != 12 || text.find_first_not_of("0123456789ABCDEF") != std::string::npos) {
        throw NotAllowed{"12 digits from 0 to 9 and A to F"};
    }
    return text;
}

std::string toBroker(const std::string& text) {
    if (!text.empty() && !parseBroker(text)) {
        throw NotAllowed{"host:port, or nothing"};
    }
    return text;
}

/// A text that MQTT can carry.
std::string toMqttText(const std::string& text) {
    if (text.empty() || text.size() > 1000 ||
        g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE ||
        std::any_of(text.begin(), text.end(), isControl)) {
        throw NotAllowed{"a text in UTF-8 of 1 to 1000 bytes"};
    }
    return text;
}

std::string toTopicPrefix(const std::string& text) {
    if (text.find_first_of("+#") != std::string::npos) {
        throw NotAllowed{"a topic without + and #"};
    }
    return toMqttText(text);
}

MqttRetain toRetain(const std::string& text) {
    const std::string word = oneOf(text, {"none", "property", "all"});
    return word == "none" ? MqttRetain::None
                          : (word == "all" ? MqttRetain::All : MqttRetain::Property);
}

using Reader = std::function<void(Config&, const std::string&)>;

/// Every key that a configuration may hold, as "group/key", with what it does to the configuration.
const std::map<std::string, Reader>& readers() {
    using std::string;
    static const auto* const table = new std::map<string, Reader>{
        {"camera/source", [](Config& c, const string& v) { c.source = notEmpty(v); }},
        {"camera/loop", [](Config& c, const string& v) { c.loop = toBool(v); }},
        {"camera/framerate", [](Config& c, const string& v) { c.framerate = toFramerate(v); }},
        {"camera/rotation",
         [](Config& c, const string& v) {
             c.rotation = std::stoi(oneOf(v, {"0", "90", "180", "270"}));
         }},
        {"camera/aspect-ratio",
         [](Config& c, const string& v) { c.aspectRatio = toAspectRatio(v); }},
        {"camera/product", [](Config& c, const string& v) { c.product = notEmpty(v); }},
        {"camera/serial", [](Config& c, const string& v) { c.serial = toSerial(v); }},
        {"camera/resolutions", [](Config& c, const string& v) { c.resolutions = toSizes(v); }},
        {"camera/buffers", [](Config& c, const string& v) { c.buffers = toUnsigned(v, 1, 64); }},
        {"camera/pitch-align",
         [](Config& c, const string& v) { c.pitchAlign = toUnsigned(v, 1, 4096); }},
        {"scene/seed",
         [](Config& c, const string& v) { c.sceneSeed = toUnsigned(v, 0, 4294967295U); }},
        {"scene/dictionary",
         [](Config& c, const string& v) {
             c.sceneDictionary = oneOf(v, {"4x4", "5x5", "6x6", "7x7"});
         }},
        {"scene/ids", [](Config& c, const string& v) { c.sceneIds = toIds(v); }},
        {"state/directory", [](Config& c, const string& v) { c.stateDirectory = notEmpty(v); }},
        {"viewers/streams", [](Config& c, const string& v) { c.viewers = toViewers(v); }},
        {"http/address", [](Config& c, const string& v) { c.httpAddress = toAddress(v); }},
        {"http/port", [](Config& c, const string& v) { c.httpPort = toUnsigned(v, 0, 65535); }},
        {"mqtt/broker", [](Config& c, const string& v) { c.mqttBroker = toBroker(v); }},
        {"mqtt/topic-prefix",
         [](Config& c, const string& v) { c.mqttTopicPrefix = toTopicPrefix(v); }},
        {"mqtt/client-id", [](Config& c, const string& v) { c.mqttClientId = toMqttText(v); }},
        {"mqtt/qos",
         [](Config& c, const string& v) {
             c.mqttQos = std::stoi(oneOf(v, {"0", "1", "2"}));
         }},
        {"mqtt/retain", [](Config& c, const string& v) { c.mqttRetain = toRetain(v); }},
    };
    return *table;
}

std::string knownKeys(const std::string& group) {
    std::string keys;
    for (const auto& [name, reader] : readers()) {
        if (name.starts_with(group + "/")) {
            keys += (keys.empty() ? "" : ", ") + name.substr(group.size() + 1);
        }
    }
    return keys;
}

void checkIdsFitDictionary(const Config& config, const std::string& name) {
    static const auto* const sizes =
        new std::map<std::string, int>{{"4x4", 50}, {"5x5", 100}, {"6x6", 250}, {"7x7", 1000}};
    const int size = sizes->at(config.sceneDictionary);
    for (const int id : config.sceneIds) {
        if (id >= size) {
            throw ConfigError(name + ": [scene] ids holds " + std::to_string(id) +
                              ": allowed for the dictionary " + config.sceneDictionary +
                              " are 0 to " + std::to_string(size - 1));
        }
    }
}

std::string readFile(const std::string& path) {
    gchar* content = nullptr;
    gsize size = 0;
    GError* raw = nullptr;
    if (!g_file_get_contents(path.c_str(), &content, &size, &raw)) {
        const Error error(raw);
        throw ConfigError(path +
                          ": the host camera's configuration cannot be read: " + error->message);
    }
    const std::string text(content, size);
    g_free(content);
    return text;
}

struct Holder {
    std::mutex mutex;
    std::shared_ptr<const Config> config; // guarded by mutex
};

Holder& holder() {
    static auto* const instance = new Holder;
    return *instance;
}

} // namespace

std::string toText(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::optional<BrokerAddress> parseBroker(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    int port = 0;
    if (colon == std::string_view::npos || !readNumber(text.substr(colon + 1), port) || port < 1 ||
        port > 65535) {
        return std::nullopt;
    }
    std::string_view host = text.substr(0, colon);
    const bool bracketed = host.starts_with('[') && host.ends_with(']') && host.size() > 2;
    if (bracketed) {
        host = host.substr(1, host.size() - 2);
    }
    const auto isForbidden = [](char c) {
        return isControl(c) || std::string_view(" /[]@").find(c) != std::string_view::npos;
    };
    if (host.empty() || (!bracketed && host.find(':') != std::string_view::npos) ||
        std::any_of(host.begin(), host.end(), isForbidden)) {
        return std::nullopt;
    }
    return BrokerAddress{std::string(host), port};
}

Config parseConfig(std::string_view text, const std::string& name) {
    const KeyFile file(g_key_file_new());
    GError* raw = nullptr;
    if (text.find('\0') != std::string_view::npos) {
        throw ConfigError(name + ": not a key file: it holds a zero byte");
    }
    if (!text.empty() &&
        !g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, &raw)) {
        const Error error(raw);
        throw ConfigError(name + ": not a key file: " + error->message);
    }
    Config config;
    const Strings groups(g_key_file_get_groups(file.get(), nullptr));
    for (gchar** group = groups.get(); *group != nullptr; ++group) {
        const std::string known = knownKeys(*group);
        if (known.empty()) {
            throw ConfigError(
                name + ": [" + *group +
                "] is not known: allowed are camera, scene, state, viewers, http, mqtt");
        }
        const Strings keys(g_key_file_get_keys(file.get(), *group, nullptr, nullptr));
        for (gchar** key = keys.get(); *key != nullptr; ++key) {
            gchar* const rawValue = g_key_file_get_value(file.get(), *group, *key, nullptr);
            const std::string value = trimmed(rawValue == nullptr ? "" : rawValue);
            g_free(rawValue);
            const auto reader = readers().find(std::string(*group) + "/" + *key);
            if (reader == readers().end()) {
                throw ConfigError(name + ": [" + *group + "] " + *key +
                                  " is not known: allowed are " + known);
            }
            try {
                reader->second(config, value);
            } catch (const NotAllowed& problem) {
                throw ConfigError(name + ": [" + *group + "] " + *key + "=" + value +
                                  ": allowed is " + problem.allowed);
            }
        }
    }
    checkIdsFitDictionary(config, name);
    return config;
}

std::shared_ptr<const Config> currentConfig() {
    Holder& held = holder();
    const std::lock_guard lock(held.mutex);
    if (!held.config) {
        const char* const path = std::getenv("HOSTCAM_CONFIG");
        held.config = std::make_shared<const Config>(
            path == nullptr ? Config{} : parseConfig(readFile(path), path));
    }
    return held.config;
}

void resetConfig() {
    Holder& held = holder();
    const std::lock_guard lock(held.mutex);
    held.config.reset();
}

} // namespace hostcam
