#include "platform/hostcam/gstreamer_reader.h"

#include <mutex>
#include <utility>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include "platform/hostcam/gstreamer_image.h"
#include "platform/hostcam/signals_blocked.h"

namespace hostcam {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;
using Kind = SourceError::Kind;

constexpr std::uint32_t kMaxSide = 16384;
constexpr std::chrono::seconds kSilence{20};
constexpr milliseconds kSlice{20};
constexpr nanoseconds kUsualDuration{40'000'000};

/// What the pictures are asked for as. Pictures in YUV keep their bytes; what comes in RGB or grey
/// is converted to the kind of YUV that the camera's streams are of.
constexpr const char* kAnyYuv = "video/x-raw,format=(string){NV12,I420}";
constexpr const char* kStreamYuv = "video/x-raw,format=(string){NV12,I420},colorimetry=bt601";

constexpr const char* kFullYuv = "video/x-raw,format=(string){NV12,I420},colorimetry=1:4:0:0";

struct ObjectUnref {
    void operator()(gpointer object) const { gst_object_unref(object); }
};
struct MessageUnref {
    void operator()(GstMessage* message) const { gst_message_unref(message); }
};
struct CapsUnref {
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
};
struct ErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
struct TextFree {
    void operator()(gchar* text) const { g_free(text); }
};
template <typename T>
using Object = std::unique_ptr<T, ObjectUnref>;
using Message = std::unique_ptr<GstMessage, MessageUnref>;
using Caps = std::unique_ptr<GstCaps, CapsUnref>;
using Error = std::unique_ptr<GError, ErrorFree>;
using Text = std::unique_ptr<gchar, TextFree>;

/// @throws SourceError
void initialise() {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    if (gst_is_initialized()) {
        return;
    }
    GError* raw = nullptr;
    if (!gst_init_check(nullptr, nullptr, &raw)) {
        const Error error(raw);
        throw SourceError(Kind::Unreadable, std::string("GStreamer cannot be used: ") +
                                                (error ? error->message : "no reason given"));
    }
}

/// A new element, still without an owner. @throws SourceError
GstElement* makeElement(const char* factory) {
    GstElement* const element = gst_element_factory_make(factory, nullptr);
    if (element == nullptr) {
        throw SourceError(Kind::Unreadable, std::string("GStreamer's element ") + factory +
                                                " is missing: install its plugins");
    }
    return element;
}

/// The part of an error's debug text that says something to people: what follows the place in the
/// code.
std::string detailOf(const gchar* debug) {
    if (debug == nullptr) {
        return "";
    }
    const std::string text = debug;
    const std::size_t line = text.find('\n');
    return line == std::string::npos || line + 1 == text.size()
               ? ""
               : " (" + text.substr(line + 1) + ")";
}

/// The elements that a decoder's video is led through.
struct Chain {
    GstElement* converter = nullptr;
    GstElement* filter = nullptr;
};

/// Runs on a thread of GStreamer's, once for each stream that the decoder finds.
void linkVideo(GstElement* /*decoder*/, GstPad* pad, gpointer data) {
    const auto& chain = *static_cast<const Chain*>(data);
    const Object<GstPad> sink(gst_element_get_static_pad(chain.converter, "sink"));
    const Caps caps(gst_pad_get_current_caps(pad));
    GstVideoInfo info;
    if (gst_pad_is_linked(sink.get()) || !caps || !gst_video_info_from_caps(&info, caps.get())) {
        return;
    }
    if (!GST_VIDEO_INFO_IS_YUV(&info)) {
        const bool fullGrey =
            GST_VIDEO_INFO_IS_GRAY(&info) && info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
        const Caps wanted(gst_caps_from_string(fullGrey ? kFullYuv : kStreamYuv));
        g_object_set(chain.filter, "caps", wanted.get(), nullptr);
    }
    gst_pad_link(pad, sink.get());
}

/// Runs on a thread of GStreamer's when every stream has been found.
void checkVideo(GstElement* decoder, gpointer data) {
    const auto& chain = *static_cast<const Chain*>(data);
    const Object<GstPad> sink(gst_element_get_static_pad(chain.converter, "sink"));
    if (!gst_pad_is_linked(sink.get())) {
        GST_ELEMENT_ERROR(decoder, STREAM, WRONG_TYPE, ("There is no picture in it."), (nullptr));
    }
}

/// Runs on the thread that starts the pipeline, before the source does anything.
void setUpSource(GstElement* /*decoder*/, GstElement* source, gpointer /*data*/) {
    GstElementFactory* const factory = gst_element_get_factory(source);
    if (factory != nullptr && std::string_view(GST_OBJECT_NAME(factory)) == "rtspsrc") {
        // One connection carries everything: no ports to open, and a server's end shows at once.
        gst_util_set_object_arg(G_OBJECT(source), "protocols", "tcp");
        g_object_set(source, "latency", 200U, "tcp-timeout", guint64{10'000'000}, nullptr);
    }
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

} // namespace

struct PictureReader::Pipeline {
    Object<GstElement> pipeline;
    Object<GstBus> bus;
    GstAppSink* sink = nullptr; // the pipeline's
    Chain chain;                // the pipeline's

    Pipeline(const std::string& uri, Mode mode) {
        initialise();
        pipeline.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
        bus.reset(gst_element_get_bus(pipeline.get()));
        GstElement* const decoder = add("uridecodebin");
        chain = {add("videoconvert"), add("capsfilter")};
        sink = GST_APP_SINK(add("appsink"));
        const Caps caps(gst_caps_from_string(kAnyYuv));
        g_object_set(chain.filter, "caps", caps.get(), nullptr);
        const bool live = mode == Mode::Live;
        g_object_set(sink, "sync", FALSE, "max-buffers", live ? 1U : 2U, "drop",
                     static_cast<gboolean>(live), nullptr);
        gst_element_link_many(chain.converter, chain.filter, GST_ELEMENT(sink), nullptr);
        g_object_set(decoder, "uri", uri.c_str(), nullptr);
        g_signal_connect(decoder, "pad-added", G_CALLBACK(linkVideo), &chain);
        g_signal_connect(decoder, "no-more-pads", G_CALLBACK(checkVideo), &chain);
        g_signal_connect(decoder, "source-setup", G_CALLBACK(setUpSource), nullptr);
    }

    ~Pipeline() {
        if (pipeline) {
            gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        }
        pipeline.reset();
        // GLib keeps the threads of its pools for a while; with the last stream they shall be gone.
        g_thread_pool_stop_unused_threads();
    }
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    GstElement* add(const char* factory) {
        GstElement* const element = makeElement(factory);
        gst_bin_add(GST_BIN(pipeline.get()), element);
        return element;
    }
};

PictureReader::PictureReader(const std::string& uri, std::string name, Mode mode)
    : m_name(std::move(name)), m_uri(uri) {
    const SignalsBlocked blocked;
    m_pipeline = std::make_unique<Pipeline>(uri, mode);
    // A failure is told by a message on the bus, which read() looks at.
    gst_element_set_state(m_pipeline->pipeline.get(), GST_STATE_PLAYING);
}

PictureReader::~PictureReader() = default;

void PictureReader::throwIfFailed() {
    const Message message(gst_bus_pop_filtered(m_pipeline->bus.get(), GST_MESSAGE_ERROR));
    if (!message) {
        return;
    }
    GError* rawError = nullptr;
    gchar* rawDebug = nullptr;
    gst_message_parse_error(message.get(), &rawError, &rawDebug);
    const Error error(rawError);
    const Text debug(rawDebug);
    std::string text = error->message + detailOf(debug.get());
    replaceAll(text, m_uri, m_name);
    const bool missing =
        error->domain == GST_RESOURCE_ERROR && error->code == GST_RESOURCE_ERROR_NOT_FOUND;
    throw SourceError(missing ? Kind::NotFound : Kind::Unreadable, m_name + ": " + text);
}

PictureReader::Step PictureReader::read(milliseconds timeout, DecodedPicture& picture) {
    const Clock::time_point deadline = Clock::now() + timeout;
    SampleHandle sample;
    while (true) {
        sample.reset(gst_app_sink_try_pull_sample(
            m_pipeline->sink, static_cast<GstClockTime>(nanoseconds(kSlice).count())));
        if (sample) {
            break;
        }
        throwIfFailed();
        if (gst_app_sink_is_eos(m_pipeline->sink)) {
            return Step::End;
        }
        if (Clock::now() >= deadline) {
            return Step::Nothing;
        }
    }
    GstVideoInfo info;
    GstBuffer* const buffer = gst_sample_get_buffer(sample.get());
    if (!gst_video_info_from_caps(&info, gst_sample_get_caps(sample.get())) || buffer == nullptr) {
        throw SourceError(Kind::Unreadable, m_name + ": a picture of no known kind");
    }
    const Size size{static_cast<std::uint32_t>(info.width),
                    static_cast<std::uint32_t>(info.height)};
    if (size.width > kMaxSide || size.height > kMaxSide) {
        throw SourceError(Kind::Unreadable, m_name + ": a picture of " + toText(size) +
                                                " is too large: at most 16384x16384");
    }
    const GstClockTime time = gst_segment_to_running_time(gst_sample_get_segment(sample.get()),
                                                          GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
    picture.size = size;
    picture.time = GST_CLOCK_TIME_IS_VALID(time) ? nanoseconds(time) : m_expected;
    picture.duration = kUsualDuration;
    if (GST_BUFFER_DURATION_IS_VALID(buffer) && GST_BUFFER_DURATION(buffer) > 0) {
        picture.duration = nanoseconds(GST_BUFFER_DURATION(buffer));
    } else if (info.fps_n > 0 && info.fps_d > 0) {
        picture.duration = nanoseconds(gst_util_uint64_scale(
            GST_SECOND, static_cast<guint64>(info.fps_d), static_cast<guint64>(info.fps_n)));
    }
    m_expected = picture.time + picture.duration;
    picture.image = std::make_shared<GstreamerImage>(std::move(sample), size);
    return Step::Picture;
}

std::optional<DecodedPicture> PictureReader::next() {
    DecodedPicture picture;
    switch (read(kSilence, picture)) {
    case Step::Picture:
        return picture;
    case Step::End:
        return std::nullopt;
    case Step::Nothing:
        break;
    }
    throw SourceError(Kind::Unreadable, m_name + ": nothing came from it for 20 seconds");
}

DecodedPicture readPhoto(const std::string& path) {
    PictureReader reader(fileUri(path), path);
    if (std::optional<DecodedPicture> picture = reader.next()) {
        return std::move(*picture);
    }
    throw SourceError(Kind::Unreadable, path + ": there is no picture in it");
}

std::string fileUri(const std::string& path) {
    const Text absolute(g_canonicalize_filename(path.c_str(), nullptr));
    GError* raw = nullptr;
    const Text uri(g_filename_to_uri(absolute.get(), nullptr, &raw));
    if (!uri) {
        const Error error(raw);
        throw SourceError(Kind::NotFound, path + ": " + error->message);
    }
    return uri.get();
}

} // namespace hostcam
