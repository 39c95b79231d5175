#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/hostcam/config.h"
#include "platform/hostcam/faults.h"
#include "platform/vdostream/failure.h"
#include "platform/vdostream/map_values.h"

#include "vdo-channel.h"
#include "vdo-error.h"

// The host camera has one channel, with the id 1 and the sizes of the configuration. Everything
// about a channel is in the configuration, so a channel is just its id.

struct _VdoChannel {
    GObject parent;
};

G_DEFINE_FINAL_TYPE(VdoChannel, vdo_channel, G_TYPE_OBJECT)

static void vdo_channel_init(VdoChannel* /*self*/) {}
static void vdo_channel_class_init(VdoChannelClass* /*klass*/) {}

namespace {

using hostcam::Size;
using vdo::Failure;
using vdo::Values;

constexpr guint kChannel = 1;

VdoChannel* newChannel() {
    return static_cast<VdoChannel*>(g_object_new(VDO_TYPE_CHANNEL, nullptr));
}

/// @throws Failure
void checkChannel(VdoChannel* channel) {
    if (channel == VDO_CHANNEL_GLOBAL) {
        throw Failure(VDO_ERROR_NOT_SUPPORTED, "the host camera has no settings of all channels");
    }
    if (!VDO_IS_CHANNEL(channel)) {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT, "that is no channel");
    }
}

/// @throws Failure for what is neither NULL nor a map
const Values& filterValues(VdoMap* filter) {
    if (filter != nullptr && !VDO_IS_MAP(filter)) {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT, "the filter is no map");
    }
    return vdo::valuesOf(filter);
}

/// Whether a description names the channel. @throws Failure when it names nothing
bool describesChannel(const Values& description) {
    bool any = false;
    for (const char* key : {"view", "input", "channel"}) {
        if (const std::optional<std::uint32_t> number = description.uint32(key)) {
            any = true;
            if (*number != kChannel) {
                return false;
            }
        }
    }
    if (description.contains("warp")) {
        return false;
    }
    if (!any) {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT,
                      "the description names no view, warp, input or channel");
    }
    return true;
}

std::vector<std::string> wordsOf(const std::string& list) {
    std::vector<std::string> words;
    std::istringstream stream(list);
    for (std::string word; std::getline(stream, word, ',');) {
        std::erase(word, ' ');
        words.push_back(word);
    }
    return words;
}

double ratioOf(const std::string& text) {
    const std::size_t colon = text.find(':');
    return std::stod(text.substr(0, colon)) / std::stod(text.substr(colon + 1));
}

/// The aspect ratios that a filter allows. @throws Failure for an unknown one
std::vector<double> ratiosOf(const std::string& list, const hostcam::Config& config) {
    std::vector<double> ratios;
    for (const std::string& word : wordsOf(list)) {
        if (word == "native") {
            ratios.push_back(ratioOf(config.aspectRatio));
        } else if (word == "1:1" || word == "4:3" || word == "5:4" || word == "16:9" ||
                   word == "16:10") {
            ratios.push_back(ratioOf(word));
        } else {
            throw Failure(VDO_ERROR_INVALID_ARGUMENT,
                          "aspect_ratio " + word +
                              ": allowed are 1:1, 4:3, 5:4, 16:9, 16:10 and native");
        }
    }
    return ratios;
}

/// Sizes whose sides do not divide evenly (1366x768) still count.
bool hasRatio(Size size, const std::vector<double>& ratios) {
    const double own = static_cast<double>(size.width) / size.height;
    return std::any_of(ratios.begin(), ratios.end(),
                       [own](double ratio) { return std::abs(own / ratio - 1.0) < 0.02; });
}

/// The configured sizes, each once, the largest first.
std::vector<Size> sortedSizes(const hostcam::Config& config) {
    std::vector<Size> sizes = config.resolutions;
    std::sort(sizes.begin(), sizes.end(), [](Size one, Size other) {
        const std::uint64_t area = std::uint64_t{one.width} * one.height;
        const std::uint64_t otherArea = std::uint64_t{other.width} * other.height;
        return area != otherArea ? area > otherArea : one.width > other.width;
    });
    sizes.erase(std::unique(sizes.begin(), sizes.end()), sizes.end());
    return sizes;
}

/// Keeps what the filter's key "select" says.
std::vector<Size> selected(std::vector<Size> sizes, const std::string& select) {
    const bool min = select == "min" || select == "minmax";
    const bool max = select == "max" || select == "minmax";
    if (!min && !max && select != "all") {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT,
                      "select " + select + ": allowed are all, min, max and minmax");
    }
    if (select == "all" || sizes.size() < 2) {
        return sizes;
    }
    std::vector<Size> some;
    if (max) {
        some.push_back(sizes.front());
    }
    if (min) {
        some.push_back(sizes.back());
    }
    return some;
}

/// @throws Failure for a format that no camera stream has
void checkFormat(const Values& filter) {
    const std::optional<std::uint32_t> format = filter.uint32("format");
    if (format && *format > VDO_FORMAT_AV1) {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT,
                      "format " + std::to_string(*format) + " is not known");
    }
    const std::optional<std::string> subformat = filter.string("subformat");
    if (subformat && *subformat != "nv12" && *subformat != "y800") {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT,
                      "subformat " + *subformat + ": allowed are nv12 and y800");
    }
}

std::vector<Size> filteredSizes(const Values& filter, const hostcam::Config& config) {
    checkFormat(filter);
    std::vector<Size> sizes = sortedSizes(config);
    if (const std::optional<std::string> list = filter.string("aspect_ratio")) {
        const std::vector<double> ratios = ratiosOf(*list, config);
        std::erase_if(sizes, [&ratios](Size size) { return !hasRatio(size, ratios); });
    }
    if (const std::optional<std::uint32_t> limit = filter.uint32("pixel.limit")) {
        std::erase_if(
            sizes, [limit](Size size) { return std::uint64_t{size.width} * size.height > *limit; });
    }
    return selected(std::move(sizes), filter.string("select").value_or("all"));
}

/// The sizes of a fault's odd data: "WxH,WxH", any numbers, also none.
std::vector<Size> oddSizes(const std::string& text) {
    std::vector<Size> sizes;
    for (const std::string& word : wordsOf(text)) {
        Size size;
        char cross = 0;
        std::istringstream stream(word);
        stream >> size.width >> cross >> size.height;
        sizes.push_back(size);
    }
    return sizes;
}

VdoResolutionSet* newSet(const std::vector<Size>& sizes) {
    auto* const set = static_cast<VdoResolutionSet*>(
        g_malloc0(sizeof(VdoResolutionSet) + sizes.size() * sizeof(VdoResolution)));
    set->count = sizes.size();
    for (std::size_t index = 0; index < sizes.size(); ++index) {
        set->resolutions[index] = {sizes[index].width, sizes[index].height};
    }
    return set;
}

/// Settings of a channel: what its streams have in common.
Values channelSettings() {
    const std::shared_ptr<const hostcam::Config> config = hostcam::currentConfig();
    Values values;
    values.setUint32("channel", kChannel);
    values.setUint32("rotation", static_cast<std::uint32_t>(config->rotation));
    return values;
}

} // namespace

VdoChannel* vdo_channel_get(guint channel_nbr, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    if (channel_nbr != kChannel) {
        g_set_error(error, VDO_ERROR, VDO_ERROR_NOT_FOUND,
                    "there is no channel %u: this camera has channel 1", channel_nbr);
        return nullptr;
    }
    return newChannel();
}

VdoChannel* vdo_channel_get_ex(VdoMap* desc, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return vdo::guarded<VdoChannel*>(error, nullptr, [desc] {
        if (!describesChannel(filterValues(desc))) {
            throw Failure(VDO_ERROR_NOT_FOUND,
                          "there is no such channel: this camera has channel 1");
        }
        return newChannel();
    });
}

GList* vdo_channel_get_all(GError** error) {
    return hostcam::mustFail(__func__, VDO_ERROR, error) ? nullptr
                                                         : g_list_append(nullptr, newChannel());
}

GList* vdo_channel_get_filtered(VdoMap* filter, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return vdo::guarded<GList*>(error, nullptr, [filter]() -> GList* {
        const Values& values = filterValues(filter);
        return values.entries().empty() || describesChannel(values)
                   ? g_list_append(nullptr, newChannel())
                   : nullptr;
    });
}

VdoMap* vdo_channel_get_info(VdoChannel* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return vdo::guarded<VdoMap*>(error, nullptr, [self] {
        checkChannel(self);
        Values values;
        values.setUint32("channel", kChannel);
        values.setBoolean("mirror.possible", true);
        values.setBoolean("crop.possible", false);
        values.setBoolean("dptz.possible", false);
        values.setString("available_rotations", "0,90,180,270");
        return vdo::newMap(std::move(values));
    });
}

VdoMap* vdo_channel_get_settings(VdoChannel* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return vdo::guarded<VdoMap*>(error, nullptr, [self] {
        checkChannel(self);
        return vdo::newMap(channelSettings());
    });
}

gboolean vdo_channel_set_settings(VdoChannel* self, VdoMap* settings, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return vdo::guarded<gboolean>(error, FALSE, [self, settings] {
        checkChannel(self);
        const Values present = channelSettings();
        for (const auto& [name, value] : filterValues(settings).entries()) {
            const auto found = present.entries().find(name);
            if (found == present.entries().end() || !(found->second == value)) {
                throw Failure(VDO_ERROR_NOT_SUPPORTED,
                              name + ": the host camera's channel cannot be changed");
            }
        }
        return TRUE;
    });
}

VdoMap* vdo_channel_get_stream_profile(VdoChannel* self, const gchar* /*profile*/,
                                       VdoFormat /*format*/, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return vdo::guarded<VdoMap*>(error, nullptr, [self]() -> VdoMap* {
        checkChannel(self);
        throw Failure(VDO_ERROR_NOT_SUPPORTED, "the host camera has no stream profiles");
    });
}

VdoResolutionSet* vdo_channel_get_resolutions(VdoChannel* self, VdoMap* filter, GError** error) {
    if (const std::optional<hostcam::Fault> fault = hostcam::takeFault(__func__)) {
        if (fault->odd) {
            return newSet(oddSizes(*fault->odd));
        }
        if (fault->fail) {
            if (fault->withError) {
                g_set_error_literal(error, VDO_ERROR, fault->code, fault->message.c_str());
            }
            return nullptr;
        }
    }
    return vdo::guarded<VdoResolutionSet*>(error, nullptr, [self, filter] {
        checkChannel(self);
        return newSet(filteredSizes(filterValues(filter), *hostcam::currentConfig()));
    });
}

guint vdo_channel_get_id(VdoChannel* self) {
    return hostcam::mustFail(__func__) || self == nullptr || !VDO_IS_CHANNEL(self) ? 0 : kChannel;
}
