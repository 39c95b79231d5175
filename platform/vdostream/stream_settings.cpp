#include "platform/vdostream/stream_settings.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/hostcam/buffer_pool.h"
#include "platform/hostcam/nv12.h"
#include "platform/vdostream/failure.h"

namespace vdo {
namespace {

using hostcam::Config;
using hostcam::Size;

constexpr unsigned kMostBuffers = 64;

[[noreturn]] void refuse(const std::string& text) {
    throw Failure(VDO_ERROR_INVALID_ARGUMENT, text);
}

void checkChannel(const Values& asked) {
    for (const char* key : {"channel", "input"}) {
        if (asked.uint32(key).value_or(1) != 1) {
            throw Failure(VDO_ERROR_NOT_FOUND, std::string("there is no ") + key + " " +
                                                   std::to_string(*asked.uint32(key)) +
                                                   ": this camera has 1");
        }
    }
}

void checkFormat(const Values& asked) {
    const std::optional<std::uint32_t> format = asked.uint32("format");
    if (!format) {
        refuse("the settings name no format");
    }
    if (*format != VDO_FORMAT_YUV) {
        throw Failure(VDO_ERROR_NOT_SUPPORTED,
                      "format " + std::to_string(*format) +
                          ": the host camera delivers VDO_FORMAT_YUV (3) only");
    }
}

bool readLuminanceOnly(const Values& asked) {
    const std::string subformat = asked.string("subformat").value_or("nv12");
    if (subformat != "nv12" && subformat != "y800") {
        throw Failure(VDO_ERROR_NOT_SUPPORTED,
                      "subformat " + subformat + ": allowed are nv12 and y800");
    }
    return subformat == "y800";
}

/// The size that is asked for, by "width" and "height" or by "resolution"; the camera's largest
/// when there is neither.
Size askedSize(const Values& asked, const Config& config) {
    if (GVariant* const pair = asked.find("resolution", "(uu)")) {
        Size size;
        g_variant_get(pair, "(uu)", &size.width, &size.height);
        return size;
    }
    const std::optional<std::uint32_t> width = asked.uint32("width");
    const std::optional<std::uint32_t> height = asked.uint32("height");
    if (width.has_value() != height.has_value()) {
        refuse("width and height: one of them is missing");
    }
    if (width) {
        return {*width, *height};
    }
    return *std::max_element(config.resolutions.begin(), config.resolutions.end(),
                             [](Size one, Size other) {
                                 return std::uint64_t{one.width} * one.height <
                                        std::uint64_t{other.width} * other.height;
                             });
}

Size readSize(const Values& asked, const Config& config) {
    const Size size = askedSize(asked, config);
    const auto& offered = config.resolutions;
    if (std::find(offered.begin(), offered.end(), size) == offered.end()) {
        std::string list;
        for (const Size one : offered) {
            list += (list.empty() ? "" : ", ") + toText(one);
        }
        refuse(toText(size) + " is not a size of this camera: allowed are " + list);
    }
    return size;
}

int readRotation(const Values& asked, const Config& config) {
    const std::uint32_t rotation =
        asked.uint32("rotation").value_or(static_cast<std::uint32_t>(config.rotation));
    if (rotation != 0 && rotation != 90 && rotation != 180 && rotation != 270) {
        refuse("rotation " + std::to_string(rotation) + ": allowed are 0, 90, 180 and 270");
    }
    return static_cast<int>(rotation);
}

double readFramerate(const Values& asked, const Config& config) {
    if (GVariant* const exact = asked.find("framerate", "d")) {
        return limitedFramerate(g_variant_get_double(exact), config);
    }
    const std::optional<std::uint32_t> whole = asked.uint32("framerate");
    return whole ? limitedFramerate(*whole, config) : config.framerate;
}

unsigned readBuffers(const Values& asked, const Config& config) {
    switch (asked.uint32("buffer.strategy").value_or(VDO_BUFFER_STRATEGY_NONE)) {
    case VDO_BUFFER_STRATEGY_NONE:
    case VDO_BUFFER_STRATEGY_INPUT:
        break;
    case VDO_BUFFER_STRATEGY_INFINITE:
        return hostcam::BufferPool::kUnlimited;
    default:
        throw Failure(VDO_ERROR_NOT_SUPPORTED,
                      "buffer.strategy " + std::to_string(*asked.uint32("buffer.strategy")) +
                          ": allowed are 0, 1 and 4, the host camera's own buffers");
    }
    const std::uint32_t hint = asked.uint32("buffer.count").value_or(0);
    return hint == 0 ? config.buffers : std::min(hint, kMostBuffers);
}

/// NV12 rows hold pairs, so a pitch is even, whatever it is aligned to.
std::size_t alignedPitch(std::size_t width, std::size_t align) {
    const std::size_t pitch = (width + align - 1) / align * align;
    return pitch % 2 == 0 ? pitch : pitch + align;
}

} // namespace

Size StreamSettings::frameSize() const {
    return hostcam::turnedSize(size, rotation);
}

std::size_t StreamSettings::frameBytes() const {
    return luminanceOnly ? pitch * frameSize().height : hostcam::nv12Bytes(frameSize(), pitch);
}

double limitedFramerate(double asked, const Config& config) {
    if (!std::isfinite(asked) || asked <= 0) {
        refuse("framerate " + std::to_string(asked) + ": it must be above 0");
    }
    return std::min(asked, config.framerate);
}

StreamSettings readSettings(const Values& asked, const Config& config) {
    checkChannel(asked);
    checkFormat(asked);
    StreamSettings settings;
    settings.luminanceOnly = readLuminanceOnly(asked);
    settings.size = readSize(asked, config);
    settings.rotation = readRotation(asked, config);
    settings.mirrored =
        asked.boolean("mirror").value_or(asked.boolean("horizontal_flip").value_or(false));
    settings.framerate = readFramerate(asked, config);
    settings.buffers = readBuffers(asked, config);
    settings.pitch = alignedPitch(settings.frameSize().width, config.pitchAlign);
    settings.blocking = asked.boolean("socket.blocking").value_or(true);
    if (const std::optional<std::uint32_t> timeout = asked.uint32("socket.timeout_ms")) {
        settings.timeout = std::chrono::milliseconds(*timeout);
    }
    return settings;
}

Values completeSettings(const Values& asked, const StreamSettings& settings) {
    Values all = asked;
    const auto complete = [&all](const char* name, std::uint32_t value) {
        if (!all.contains(name)) {
            all.setUint32(name, value);
        }
    };
    if (!all.contains("input")) {
        complete("channel", 1);
    }
    complete("width", settings.size.width);
    complete("height", settings.size.height);
    complete("rotation", static_cast<std::uint32_t>(settings.rotation));
    complete("framerate", wholeFramerate(settings.framerate));
    if (!all.contains("subformat")) {
        all.setString("subformat", settings.luminanceOnly ? "y800" : "nv12");
    }
    return all;
}

std::uint32_t wholeFramerate(double framerate) {
    return static_cast<std::uint32_t>(std::max(1L, std::lround(framerate)));
}

} // namespace vdo
