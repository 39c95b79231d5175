#pragma once

// The host camera's configuration: what a real camera is by its hardware and its installation. The
// four camera libraries read it through currentConfig(); nothing else reads the file.
// HOSTCAM_CONFIG names a key file (GLib's GKeyFile format); without it every default below holds.
//
// All functions may be called from any thread.

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace hostcam {

/// A picture size in pixels, before any rotation.
struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    bool operator==(const Size&) const = default;
};

/// "1280x720".
[[nodiscard]] std::string toText(Size size);

/// A stream that somebody watches: overlays are composed for it.
struct ViewerStream {
    Size size;             ///< before rotation
    bool mirrored = false; ///< flipped left to right

    bool operator==(const ViewerStream&) const = default;
};

/// Where an MQTT broker listens.
struct BrokerAddress {
    std::string host; ///< a name, or an address without brackets
    int port = 0;

    bool operator==(const BrokerAddress&) const = default;
};

/// The address that a text "host:port" names; the host may be an IPv6 address in brackets.
/// @return none when the text is none
[[nodiscard]] std::optional<BrokerAddress> parseBroker(std::string_view text);

/// Which events a broker is to keep for those who come later.
enum class MqttRetain { None, Property, All };

/// Thrown for a configuration that cannot be read or holds a wrong value. The text names the file,
/// the key, the value and what is allowed.
class ConfigError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Every key of the configuration, with its default. Group and key of the file stand beside each.
struct Config {
    std::string source = "scene"; ///< [camera] source: scene, a path, or a file, rtsp, v4l2 URI
    bool loop = true;             ///< [camera] loop: begin again at the end of a file
    double framerate = 25.0;      ///< [camera] framerate: frames a second, above 0, at most 1000
    int rotation = 0;             ///< [camera] rotation: 0, 90, 180 or 270 degrees clockwise
    std::string aspectRatio = "16:9";    ///< [camera] aspect-ratio: W:H of the sensor
    std::string product = "HostCam";     ///< [camera] product: the short product name
    std::string serial = "000000000000"; ///< [camera] serial: 12 hexadecimal digits
    std::vector<Size> resolutions = {
        {1920, 1080}, {1280, 720}, {640, 360}}; ///< [camera] resolutions
    unsigned buffers = 4; ///< [camera] buffers: frames in flight for each stream, 1 to 64
    unsigned pitchAlign =
        1; ///< [camera] pitch-align: rows are padded to this many bytes, 1 to 4096

    std::uint32_t sceneSeed = 1;             ///< [scene] seed
    std::string sceneDictionary = "5x5";     ///< [scene] dictionary: 4x4, 5x5, 6x6 or 7x7
    std::vector<int> sceneIds = {7, 23, 42}; ///< [scene] ids: the first tells the story

    std::string stateDirectory = "./state"; ///< [state] directory: parameters and event journal

    std::vector<ViewerStream> viewers = {
        {{1280, 720}, false}}; ///< [viewers] streams: WxH or WxH:mirrored

    std::string httpAddress = "127.0.0.1"; ///< [http] address: numeric
    unsigned httpPort = 8081;              ///< [http] port: 0 switches the endpoint off

    std::string mqttBroker;               ///< [mqtt] broker: host:port, empty: off
    std::string mqttTopicPrefix = "axis"; ///< [mqtt] topic-prefix
    std::string mqttClientId = "hostcam"; ///< [mqtt] client-id
    int mqttQos = 1;                      ///< [mqtt] qos: 0, 1 or 2
    MqttRetain mqttRetain =
        MqttRetain::None; ///< [mqtt] retain: none, property (stateful events) or all
};

/// Reads a configuration.
/// @param text the key file's content
/// @param name what errors call it, usually the file's path
/// @throws ConfigError for a text that is no key file, an unknown group or key, or a value out of
/// range
[[nodiscard]] Config parseConfig(std::string_view text, const std::string& name);

/// The configuration in force: read at the first call, then the same object until resetConfig().
/// @throws ConfigError as parseConfig(), or when the file that HOSTCAM_CONFIG names cannot be read
[[nodiscard]] std::shared_ptr<const Config> currentConfig();

/// Forgets the configuration in force, so that the next currentConfig() reads HOSTCAM_CONFIG again.
/// For tests that run several cameras after one another in one process.
void resetConfig();

} // namespace hostcam
