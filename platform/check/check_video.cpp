// The video stream library against its contract. Opens streams of the camera's smallest size.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/check/check.h"

#include "vdo-buffer.h"
#include "vdo-channel.h"
#include "vdo-error.h"
#include "vdo-map.h"
#include "vdo-stream.h"
#include "vdo-types.h"

namespace platform_check {
namespace {

struct ObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Map = std::unique_ptr<VdoMap, ObjectDeleter>;
using Stream = std::unique_ptr<VdoStream, ObjectDeleter>;
using Channel = std::unique_ptr<VdoChannel, ObjectDeleter>;

std::uint64_t area(const VdoResolution& size) {
    return std::uint64_t{size.width} * size.height;
}

class Video {
  public:
    Video(const Subject& its, Report& to) : subject(its), report(to) {}

    void run() {
        checkErrors();
        checkMaps();
        if (!checkChannels()) {
            return;
        }
        checkSettings();
        checkFrames();
        checkWaiting();
        checkStop();
        if (subject.isHost()) {
            checkPool();
            checkHost();
        } else {
            report.skip("bounded buffers, null arguments and ids of the host camera",
                        "no host camera");
        }
    }

  private:
    void checkErrors() {
        PLATFORM_CHECK("there is an error domain", VDO_ERROR != 0);
        PLATFORM_CHECK("the error codes have their numbers",
                       VDO_ERROR_NOT_FOUND == 1 && VDO_ERROR_NO_DATA == 13 &&
                           VDO_ERROR_INTERFACE_DOWN == 16 && VDO_ERROR_NO_VIDEO == 21);
        GError* down = g_error_new_literal(VDO_ERROR, VDO_ERROR_INTERFACE_DOWN, "down");
        PLATFORM_CHECK("maintenance is expected trouble", vdo_error_is_expected(&down));
        g_error_free(down);
        GError* broken = g_error_new_literal(VDO_ERROR, VDO_ERROR_FATAL, "broken");
        PLATFORM_CHECK("a fatal error is not", !vdo_error_is_expected(&broken));
        g_error_free(broken);
        PLATFORM_CHECK("formats have their numbers",
                       VDO_FORMAT_YUV == 3 && VDO_FORMAT_NONE == -1 && VDO_FORMAT_JPEG == 2);
    }

    void checkMaps() {
        const Map map(vdo_map_new());
        PLATFORM_CHECK("a new map is empty",
                       vdo_map_empty(map.get()) && vdo_map_size(map.get()) == 0);
        PLATFORM_CHECK("a missing key gives the default",
                       vdo_map_get_uint32(map.get(), "width", 7) == 7);
        vdo_map_set_uint32(map.get(), "width", 640);
        PLATFORM_CHECK("a number comes back", vdo_map_get_uint32(map.get(), "width", 7) == 640);
        vdo_map_set_string(map.get(), "subformat", "nv12");
        PLATFORM_CHECK("a text comes back", std::string(vdo_map_get_string(map.get(), "subformat",
                                                                           nullptr, "")) == "nv12");
        vdo_map_set_boolean(map.get(), "mirror", TRUE);
        vdo_map_set_double(map.get(), "rate", 12.5);
        PLATFORM_CHECK("a boolean and a double come back",
                       vdo_map_get_boolean(map.get(), "mirror", FALSE) &&
                           vdo_map_get_double(map.get(), "rate", 0) == 12.5);
        PLATFORM_CHECK("keys are known", vdo_map_contains(map.get(), "width") &&
                                             !vdo_map_contains(map.get(), "height") &&
                                             vdo_map_size(map.get()) == 4);
        const Map other(vdo_map_new());
        vdo_map_set_uint32(other.get(), "width", 320);
        vdo_map_merge(map.get(), other.get());
        PLATFORM_CHECK("a merged map brings its values",
                       vdo_map_get_uint32(map.get(), "width", 7) == 320);
        vdo_map_remove(map.get(), "width");
        PLATFORM_CHECK("a removed key is gone", !vdo_map_contains(map.get(), "width"));
        vdo_map_clear(map.get());
        PLATFORM_CHECK("a cleared map is empty", vdo_map_empty(map.get()));
    }

    /// @return false when there is no size that a stream could have
    bool checkChannels() {
        GList* const all = vdo_channel_get_all(error.out());
        PLATFORM_CHECK("the camera has channels", all != nullptr && !error.isSet());
        const guint id = all == nullptr ? 1 : vdo_channel_get_id(VDO_CHANNEL(all->data));
        g_list_free_full(all, g_object_unref);
        const Channel channel(vdo_channel_get(id, error.out()));
        PLATFORM_CHECK("a channel is found by its id",
                       channel != nullptr && vdo_channel_get_id(channel.get()) == id);
        const Channel missing(vdo_channel_get(4711, error.out()));
        PLATFORM_CHECK("a channel that there is not is an error",
                       missing == nullptr && error.isOf(VDO_ERROR));
        return channel != nullptr && checkResolutions(channel.get());
    }

    bool checkResolutions(VdoChannel* channel) {
        const std::vector<VdoResolution> sizes = resolutions(channel, nullptr);
        bool isWhole = !sizes.empty();
        for (const VdoResolution& size : sizes) {
            isWhole = isWhole && size.width > 0 && size.height > 0;
        }
        if (!PLATFORM_CHECK("the channel tells its sizes", isWhole)) {
            return false;
        }
        smallest = largest = sizes.front();
        for (const VdoResolution& size : sizes) {
            smallest = area(size) < area(smallest) ? size : smallest;
            largest = area(size) > area(largest) ? size : largest;
        }
        const std::vector<VdoResolution> most = resolutions(channel, "max");
        PLATFORM_CHECK("... the largest alone",
                       most.size() == 1 && area(most.front()) == area(largest));
        const std::vector<VdoResolution> least = resolutions(channel, "min");
        PLATFORM_CHECK("... and the smallest alone",
                       least.size() == 1 && area(least.front()) == area(smallest));
        return true;
    }

    [[nodiscard]] std::vector<VdoResolution> resolutions(VdoChannel* channel, const char* select) {
        const Map filter(select == nullptr ? nullptr : vdo_map_new());
        if (filter) {
            vdo_map_set_uint32(filter.get(), "format", VDO_FORMAT_YUV);
            vdo_map_set_string(filter.get(), "select", select);
        }
        VdoResolutionSet* const set =
            vdo_channel_get_resolutions(channel, filter.get(), error.out());
        if (set == nullptr) {
            return {};
        }
        std::vector<VdoResolution> sizes(set->resolutions, set->resolutions + set->count);
        g_free(set);
        return sizes;
    }

    /// Settings for a raw stream of the smallest size.
    [[nodiscard]] Map rawSettings() const {
        Map settings(vdo_map_new());
        vdo_map_set_uint32(settings.get(), "channel", 1);
        vdo_map_set_uint32(settings.get(), "format", VDO_FORMAT_YUV);
        vdo_map_set_string(settings.get(), "subformat", "nv12");
        vdo_map_set_uint32(settings.get(), "width", smallest.width);
        vdo_map_set_uint32(settings.get(), "height", smallest.height);
        return settings;
    }

    [[nodiscard]] Stream open(Map settings) {
        return Stream(vdo_stream_new(settings.get(), nullptr, error.out()));
    }

    void checkSettings() {
        const Stream stream = open(rawSettings());
        if (!PLATFORM_CHECK("a raw stream is made, and its settings stay the caller's",
                            stream != nullptr && !error.isSet())) {
            return;
        }
        const Map settings(vdo_stream_get_settings(stream.get(), error.out()));
        PLATFORM_CHECK("it tells the size that was asked for",
                       settings &&
                           vdo_map_get_uint32(settings.get(), "width", 0) == smallest.width &&
                           vdo_map_get_uint32(settings.get(), "height", 0) == smallest.height);
        PLATFORM_CHECK("attaching it again is allowed",
                       vdo_stream_attach(stream.get(), nullptr, error.out()));
        Map wrong = rawSettings();
        vdo_map_set_uint32(wrong.get(), "width", 12345);
        PLATFORM_CHECK("a size that the camera has not is refused",
                       open(std::move(wrong)) == nullptr && error.isOf(VDO_ERROR));
        Map format = rawSettings();
        vdo_map_set_uint32(format.get(), "format", 77);
        PLATFORM_CHECK("an unknown format is refused",
                       open(std::move(format)) == nullptr && error.isOf(VDO_ERROR));
    }

    void checkFrames() {
        const Stream stream = open(rawSettings());
        if (!stream ||
            !PLATFORM_CHECK("a stream is started", vdo_stream_start(stream.get(), error.out()))) {
            return;
        }
        const Map info(vdo_stream_get_info(stream.get(), error.out()));
        const guint32 width = info ? vdo_map_get_uint32(info.get(), "width", 0) : 0;
        const guint32 height = info ? vdo_map_get_uint32(info.get(), "height", 0) : 0;
        const guint32 pitch = info ? vdo_map_get_uint32(info.get(), "pitch", width) : 0;
        PLATFORM_CHECK("it tells the size and the pitch of its frames",
                       width > 0 && height > 0 && pitch >= width);
        PLATFORM_CHECK("... of the size that was asked for, upright or turned",
                       std::uint64_t{width} * height == area(smallest));
        guint64 time = 0;
        guint number = 0;
        for (int frame = 0; frame < 3; ++frame) {
            VdoBuffer* buffer = vdo_stream_get_buffer(stream.get(), error.out());
            if (!PLATFORM_CHECK("a frame comes", buffer != nullptr && !error.isSet())) {
                return;
            }
            const gsize size = vdo_frame_get_size(buffer);
            PLATFORM_CHECK("its data can be read", vdo_buffer_get_data(buffer) != nullptr);
            PLATFORM_CHECK("it is one NV12 picture", size == gsize{pitch} * height * 3 / 2 &&
                                                         vdo_buffer_get_capacity(buffer) >= size);
            PLATFORM_CHECK("the buffer is the frame", vdo_buffer_get_frame(buffer) == buffer);
            PLATFORM_CHECK("it is later than the one before",
                           frame == 0 || (vdo_frame_get_timestamp(buffer) > time &&
                                          vdo_frame_get_sequence_nbr(buffer) > number));
            time = vdo_frame_get_timestamp(buffer);
            number = vdo_frame_get_sequence_nbr(buffer);
            PLATFORM_CHECK("it is handed back",
                           vdo_stream_buffer_unref(stream.get(), &buffer, error.out()));
        }
    }

    void checkWaiting() {
        Map settings = rawSettings();
        vdo_map_set_boolean(settings.get(), "socket.blocking", FALSE);
        vdo_map_set_uint32(settings.get(), "framerate", 1);
        const Stream stream = open(std::move(settings));
        if (!stream || !PLATFORM_CHECK("a stream that does not wait is started",
                                       vdo_stream_start(stream.get(), error.out()))) {
            return;
        }
        // At one frame a second, most calls come when there is none.
        bool hasNoData = false;
        for (int call = 0; call < 10 && !hasNoData; ++call) {
            VdoBuffer* buffer = vdo_stream_get_buffer(stream.get(), error.out());
            if (buffer != nullptr) {
                vdo_stream_buffer_unref(stream.get(), &buffer, nullptr);
            } else {
                hasNoData = error.is(VDO_ERROR, VDO_ERROR_NO_DATA);
            }
        }
        PLATFORM_CHECK("it says that there is no new frame", hasNoData);
    }

    void checkStop() {
        const Stream stream = open(rawSettings());
        if (!stream || !vdo_stream_start(stream.get(), error.out())) {
            return;
        }
        vdo_stream_stop(stream.get());
        PLATFORM_CHECK("a stopped stream has no frames",
                       vdo_stream_get_buffer(stream.get(), error.out()) == nullptr &&
                           error.isOf(VDO_ERROR));
    }

    void checkPool() {
        constexpr std::size_t kMore = 65;
        const Stream stream = open(rawSettings());
        if (!stream || !vdo_stream_start(stream.get(), error.out())) {
            return;
        }
        std::vector<VdoBuffer*> held;
        VdoBuffer* buffer = vdo_stream_get_buffer(stream.get(), error.out());
        while (buffer != nullptr && held.size() < kMore) {
            held.push_back(buffer);
            buffer = vdo_stream_get_buffer(stream.get(), error.out());
        }
        PLATFORM_CHECK("host: buffers that are not handed back run out, with an error",
                       buffer == nullptr && error.isOf(VDO_ERROR));
        bool isBack = true;
        for (VdoBuffer* one : held) {
            isBack = vdo_stream_buffer_unref(stream.get(), &one, error.out()) != FALSE &&
                     one == nullptr && isBack;
        }
        PLATFORM_CHECK("host: ... are handed back, and forgotten", isBack);
        buffer = vdo_stream_get_buffer(stream.get(), error.out());
        PLATFORM_CHECK("host: ... and frames come again", buffer != nullptr);
        if (buffer != nullptr) {
            vdo_stream_buffer_unref(stream.get(), &buffer, nullptr);
        }
    }

    void checkHost() {
        const Map map(vdo_map_new());
        vdo_map_set_uint32(map.get(), "number", 5);
        PLATFORM_CHECK("host: a key of another type gives the default",
                       vdo_map_get_int32(map.get(), "number", -1) == -1);
        PLATFORM_CHECK("host: a stream without settings is refused",
                       vdo_stream_new(nullptr, nullptr, error.out()) == nullptr &&
                           error.isOf(VDO_ERROR));
        PLATFORM_CHECK("host: a missing stream has no frames",
                       vdo_stream_get_buffer(nullptr, error.out()) == nullptr &&
                           error.isOf(VDO_ERROR));
        PLATFORM_CHECK("host: a missing buffer has no frame",
                       vdo_buffer_get_frame(nullptr) == nullptr);
        Map turned = rawSettings();
        vdo_map_set_uint32(turned.get(), "rotation", 45);
        PLATFORM_CHECK("host: a rotation by 45 degrees is refused",
                       open(std::move(turned)) == nullptr && error.isOf(VDO_ERROR));
        for (const guint32 rotation : {0U, 90U, 180U, 270U}) {
            Map settings = rawSettings();
            vdo_map_set_uint32(settings.get(), "rotation", rotation);
            const Stream stream = open(std::move(settings));
            const Map info(stream ? vdo_stream_get_info(stream.get(), error.out()) : nullptr);
            const bool isTurned = rotation == 90 || rotation == 270;
            PLATFORM_CHECK("host: turned by " + std::to_string(rotation) +
                               " degrees a frame is as wide as it looks",
                           info && vdo_map_get_uint32(info.get(), "width", 0) ==
                                       (isTurned ? smallest.height : smallest.width));
        }
    }

    const Subject& subject;
    Report& report;
    Error error;
    VdoResolution smallest{};
    VdoResolution largest{};
};

} // namespace

void checkVideo(const Subject& subject, Report& report) {
    Video(subject, report).run();
}

} // namespace platform_check
