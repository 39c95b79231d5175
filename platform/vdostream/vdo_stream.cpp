#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/hostcam/faults.h"
#include "platform/hostcam/misuse.h"
#include "platform/vdostream/failure.h"
#include "platform/vdostream/stream.h"

#include "vdo-error.h"
#include "vdo-stream.h"

// A VdoStream is a GObject around vdo::Stream. Every function checks what it is given, runs the
// stream's operation, and turns what that throws into an error.

struct _VdoStream {
    GObject parent;
    vdo::Stream* stream; ///< null until the stream has come up
    GWeakRef known;      ///< what the list of streams refers to it by
};

namespace {

using vdo::Failure;
using vdo::guarded;
using vdo::Stream;
using vdo::Values;

/// The streams of the process, for vdo_stream_get() and vdo_stream_get_all().
struct Streams {
    std::mutex mutex;
    std::map<guint, GWeakRef*> streams; // guarded by mutex
};

/// Never destroyed: a stream may be released after the end of main.
Streams& streams() {
    static auto* const instance = new Streams;
    return *instance;
}

guint nextId() {
    static std::atomic<guint> last{0};
    return ++last;
}

} // namespace

G_DEFINE_FINAL_TYPE(VdoStream, vdo_stream, G_TYPE_OBJECT)

static void vdo_stream_init(VdoStream* self) {
    g_weak_ref_init(&self->known, self);
}

static void vdo_stream_finalize(GObject* object) {
    VdoStream* const self = VDO_STREAM(object);
    if (self->stream != nullptr) {
        Streams& all = streams();
        const std::lock_guard lock(all.mutex);
        all.streams.erase(self->stream->id());
    }
    g_weak_ref_clear(&self->known);
    delete self->stream;
    G_OBJECT_CLASS(vdo_stream_parent_class)->finalize(object);
}

static void vdo_stream_class_init(VdoStreamClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = vdo_stream_finalize;
}

namespace {

/// @throws what the Stream's constructor throws
VdoStream* newStream(const Values& settings, VdoBufferFinalizer finalizer) {
    auto stream = std::make_unique<Stream>(nextId(), settings, finalizer);
    auto* const self = static_cast<VdoStream*>(g_object_new(VDO_TYPE_STREAM, nullptr));
    self->stream = stream.release();
    Streams& all = streams();
    const std::lock_guard lock(all.mutex);
    all.streams.emplace(self->stream->id(), &self->known);
    return self;
}

/// @throws Failure
Stream& streamOf(VdoStream* self) {
    if (self == nullptr || !VDO_IS_STREAM(self) || self->stream == nullptr) {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT, "that is no stream");
    }
    return *self->stream;
}

/// @throws Failure
const Values& settingsOf(const VdoMap* settings) {
    if (settings == nullptr || !VDO_IS_MAP(const_cast<VdoMap*>(settings))) {
        throw Failure(VDO_ERROR_INVALID_ARGUMENT, "the settings are no map");
    }
    return vdo::valuesOf(settings);
}

/// @throws Failure always
template <typename Result>
Result refuse(VdoStream* self, const char* what) {
    streamOf(self);
    throw Failure(VDO_ERROR_NOT_SUPPORTED, std::string("the host camera has no ") + what);
}

/// A raw stream of one kind, of an input and a size.
VdoStream* newRawStream(const VdoMap* settings, guint32 input, VdoResolution resolution,
                        const char* subformat) {
    Values values = settings == nullptr ? Values() : settingsOf(settings);
    values.entries().erase("channel");
    values.entries().erase("resolution");
    values.setUint32("input", input);
    values.setUint32("format", VDO_FORMAT_YUV);
    values.setString("subformat", subformat);
    values.setUint32("width", resolution.width);
    values.setUint32("height", resolution.height);
    return newStream(values, nullptr);
}

} // namespace

VdoStream* vdo_stream_new(VdoMap* settings, VdoBufferFinalizer fin, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoStream*>(error, nullptr,
                               [&] { return newStream(settingsOf(settings), fin); });
}

VdoStream* vdo_stream_nv12_new(const VdoMap* settings, guint32 input, VdoResolution resolution,
                               GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoStream*>(error, nullptr,
                               [&] { return newRawStream(settings, input, resolution, "nv12"); });
}

VdoStream* vdo_stream_y800_new(const VdoMap* settings, guint32 input, VdoResolution resolution,
                               GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoStream*>(error, nullptr,
                               [&] { return newRawStream(settings, input, resolution, "y800"); });
}

VdoStream* vdo_stream_rgb_new(const VdoMap* /*settings*/, guint32 /*input*/,
                              VdoResolution /*resolution*/, GError** error) {
    if (!hostcam::mustFail(__func__, VDO_ERROR, error)) {
        g_set_error_literal(error, VDO_ERROR, VDO_ERROR_NOT_SUPPORTED,
                            "the host camera delivers no RGB");
    }
    return nullptr;
}

VdoStream* vdo_stream_get(guint id, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    Streams& all = streams();
    const std::lock_guard lock(all.mutex);
    const auto found = all.streams.find(id);
    const gpointer stream = found == all.streams.end() ? nullptr : g_weak_ref_get(found->second);
    if (stream == nullptr) {
        g_set_error(error, VDO_ERROR, VDO_ERROR_NOT_FOUND, "there is no stream %u", id);
    }
    return static_cast<VdoStream*>(stream);
}

GList* vdo_stream_get_all(GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    Streams& all = streams();
    const std::lock_guard lock(all.mutex);
    GList* list = nullptr;
    for (const auto& [id, known] : all.streams) {
        if (const gpointer stream = g_weak_ref_get(known)) {
            list = g_list_append(list, stream);
        }
    }
    return list;
}

guint vdo_stream_get_id(VdoStream* self) {
    if (hostcam::mustFail(__func__)) {
        return 0;
    }
    return guarded<guint>(nullptr, 0, [self] { return streamOf(self).id(); });
}

gint vdo_stream_get_fd(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return -1;
    }
    return guarded<gint>(error, -1, [self] { return streamOf(self).descriptor(); });
}

gint vdo_stream_get_event_fd(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return -1;
    }
    return guarded<gint>(error, -1, [self] { return refuse<gint>(self, "stream events"); });
}

VdoMap* vdo_stream_get_info(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoMap*>(error, nullptr, [self] { return vdo::newMap(streamOf(self).info()); });
}

VdoMap* vdo_stream_get_settings(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoMap*>(error, nullptr,
                            [self] { return vdo::newMap(streamOf(self).settings()); });
}

gboolean vdo_stream_set_settings(VdoStream* self, VdoMap* settings, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE, [self, settings] {
        streamOf(self).change(settingsOf(settings));
        return TRUE;
    });
}

gboolean vdo_stream_set_framerate(VdoStream* self, gdouble framerate, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE, [self, framerate] {
        streamOf(self).setFramerate(framerate);
        return TRUE;
    });
}

gboolean vdo_stream_attach(VdoStream* self, VdoMap* intent, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE, [self, intent] {
        streamOf(self); // a stream is attached from the beginning
        if (intent != nullptr) {
            settingsOf(intent);
        }
        return TRUE;
    });
}

gboolean vdo_stream_start(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE, [self] {
        streamOf(self).start();
        return TRUE;
    });
}

gboolean vdo_stream_play(VdoStream* self, VdoMap* settings, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE, [self, settings] {
        Stream& stream = streamOf(self);
        if (settings != nullptr) {
            stream.change(settingsOf(settings));
        }
        stream.start();
        return TRUE;
    });
}

void vdo_stream_stop(VdoStream* self) {
    if (!hostcam::mustFail(__func__) && self != nullptr && VDO_IS_STREAM(self)) {
        self->stream->stop();
    }
}

gboolean vdo_stream_force_key_frame(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE, [self] { return refuse<gboolean>(self, "key frames"); });
}

VdoBuffer* vdo_stream_buffer_alloc(VdoStream* self, gpointer /*opaque*/, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoBuffer*>(error, nullptr,
                               [self] { return refuse<VdoBuffer*>(self, "buffers of clients"); });
}

gboolean vdo_stream_buffer_enqueue(VdoStream* self, VdoBuffer* /*buffer*/, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE,
                             [self] { return refuse<gboolean>(self, "buffers of clients"); });
}

gboolean vdo_stream_buffer_unref(VdoStream* self, VdoBuffer** buffer, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return FALSE;
    }
    return guarded<gboolean>(error, FALSE, [self, buffer] {
        const Stream& stream = streamOf(self);
        if (buffer == nullptr || *buffer == nullptr) {
            throw Failure(VDO_ERROR_INVALID_ARGUMENT, "there is no buffer to hand back");
        }
        if (!stream.isOut(*buffer)) {
            const std::string text = "a buffer was handed back to stream " +
                                     std::to_string(stream.id()) +
                                     " that is not one of its buffers in flight";
            hostcam::reportMisuse(text);
            throw Failure(VDO_ERROR_INVALID_ARGUMENT, text);
        }
        g_object_unref(std::exchange(*buffer, nullptr));
        return TRUE;
    });
}

VdoBuffer* vdo_stream_get_buffer(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoBuffer*>(error, nullptr, [self] { return streamOf(self).take(); });
}

VdoBuffer* vdo_stream_snapshot(VdoMap* settings, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoBuffer*>(error, nullptr, [settings] {
        Stream once(nextId(), settingsOf(settings), nullptr);
        once.start();
        return once.take();
    });
}

VdoMap* vdo_stream_get_event(VdoStream* self, GError** error) {
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return nullptr;
    }
    return guarded<VdoMap*>(error, nullptr,
                            [self] { return refuse<VdoMap*>(self, "stream events"); });
}
