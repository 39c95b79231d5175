#include "platform/hostcam/http_viewers.h"

#include <cstdint>
#include <string>
#include <utility>

#include "platform/hostcam/http_answer.h"
#include "platform/hostcam/http_glib.h"
#include "platform/hostcam/pace.h"

namespace hostcam {
namespace {

constexpr const char* kBoundary = "--myboundary\r\n";
constexpr const char* kVideoType = "multipart/x-mixed-replace; boundary=myboundary";

/// Appends a JPEG to an answer without copying it.
void appendJpeg(SoupMessageBody* body, const std::shared_ptr<const Jpeg>& jpeg) {
    auto* const held = new std::shared_ptr<const Jpeg>(jpeg);
    GBytes* const bytes = g_bytes_new_with_free_func(
        jpeg->data(), jpeg->size(),
        [](gpointer data) { delete static_cast<std::shared_ptr<const Jpeg>*>(data); }, held);
    soup_message_body_append_bytes(body, bytes);
    g_bytes_unref(bytes);
}

void appendText(SoupMessageBody* body, const std::string& text) {
    soup_message_body_append(body, SOUP_MEMORY_COPY, text.data(), text.size());
}

void forbidCaching(SoupServerMessage* message) {
    soup_message_headers_replace(soup_server_message_get_response_headers(message), "Cache-Control",
                                 "no-store");
}

} // namespace

/// One who waits for pictures. Kept alive by its message, until that is finished.
class HttpViewers::Viewer : public std::enable_shared_from_this<Viewer> {
  public:
    Viewer(HttpViewers& viewers, SoupServerMessage* message, const PictureArguments& arguments)
        : m_context(viewers.m_context), m_maker(viewers.m_maker), m_count(viewers.m_count),
          m_message(message), m_arguments(arguments), m_watch(viewers.m_maker.watch()) {
        ++*m_count;
    }
    virtual ~Viewer() { --*m_count; }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    /// Waits for the first picture.
    void begin() {
        // Deliberate: the message holds its viewer. It is let go when the answer is complete or the
        // client has gone.
        using Held = std::shared_ptr<Viewer>;
        g_signal_connect_data(
            m_message, "finished", G_CALLBACK(+[](SoupServerMessage* message, gpointer viewer) {
                g_signal_handlers_disconnect_by_data(message, viewer);
            }),
            new Held(shared_from_this()),
            [](gpointer held, GClosure* /*closure*/) { delete static_cast<Held*>(held); },
            GConnectFlags{});
        soup_server_message_pause(m_message);
        ask(0);
    }

  protected:
    [[nodiscard]] SoupServerMessage* message() const { return m_message; }
    [[nodiscard]] const PictureArguments& arguments() const { return m_arguments; }

    /// Asks for the next picture. @param notBefore the first frame that will do
    void ask(std::uint64_t notBefore) {
        // The maker answers in its own thread; what it makes is dropped when the viewer has gone.
        m_request =
            m_maker.ask(m_arguments.wish, notBefore,
                        [context = m_context, viewer = weak_from_this()](const MadePicture& made) {
                            post(context.get(), [viewer, made] {
                                if (const auto there = viewer.lock()) {
                                    there->take(made);
                                }
                            });
                        });
    }

    /// Tells that there is no picture.
    void refuse(const std::string& problem) {
        answerText(m_message, SOUP_STATUS_SERVICE_UNAVAILABLE,
                   "The camera has no picture: " + problem + ".\n");
        soup_server_message_unpause(m_message);
    }

    virtual void take(const MadePicture& made) = 0;

  private:
    const std::shared_ptr<GMainContext> m_context;
    PictureMaker& m_maker;
    const std::shared_ptr<std::atomic<std::size_t>> m_count;
    SoupServerMessage* const m_message;
    const PictureArguments m_arguments;
    const std::shared_ptr<const void> m_watch;
    std::shared_ptr<PictureRequest> m_request; ///< the one that waits
};

class HttpViewers::ImageViewer : public Viewer {
  public:
    using Viewer::Viewer;

  private:
    void take(const MadePicture& made) override {
        if (!made.jpeg) {
            refuse(made.problem);
            return;
        }
        soup_server_message_set_status(message(), SOUP_STATUS_OK, nullptr);
        forbidCaching(message());
        SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message());
        soup_message_headers_set_content_type(headers, "image/jpeg", nullptr);
        soup_message_headers_set_content_length(headers, static_cast<goffset>(made.jpeg->size()));
        appendJpeg(soup_server_message_get_response_body(message()), made.jpeg);
        soup_server_message_unpause(message());
    }
};

class HttpViewers::VideoViewer : public Viewer {
  public:
    using Viewer::Viewer;

  private:
    void take(const MadePicture& made) override {
        if (!made.jpeg && !m_started) {
            refuse(made.problem);
            return;
        }
        if (!m_started) {
            start(made.number);
        }
        m_number = made.number;
        if (made.jpeg) {
            send(*this, made.jpeg);
        } else {
            // A source that has gone away may come back.
            askNext();
        }
    }

    void start(std::uint64_t number) {
        m_started = true;
        m_first = number;
        soup_server_message_set_status(message(), SOUP_STATUS_OK, nullptr);
        forbidCaching(message());
        SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message());
        soup_message_headers_replace(headers, "Content-Type", kVideoType);
        soup_message_headers_set_encoding(headers, SOUP_ENCODING_EOF);
        SoupMessageBody* const body = soup_server_message_get_response_body(message());
        soup_message_body_set_accumulate(body, FALSE);
        appendText(body, kBoundary);
        ++m_unwritten;
        g_signal_connect_data(
            message(), "wrote-chunk",
            G_CALLBACK(+[](SoupServerMessage* /*message*/, gpointer held) {
                if (const auto viewer = static_cast<std::weak_ptr<Viewer>*>(held)->lock()) {
                    static_cast<VideoViewer*>(viewer.get())->wroteChunk();
                }
            }),
            new std::weak_ptr<Viewer>(weak_from_this()),
            [](gpointer held, GClosure* /*closure*/) {
                delete static_cast<std::weak_ptr<Viewer>*>(held);
            },
            GConnectFlags{});
    }

    /// Sends a part. The boundary that belongs to the next one goes with it: browsers show a part
    /// when they have seen where it ends.
    static void send(VideoViewer& viewer, const std::shared_ptr<const Jpeg>& jpeg) {
        SoupMessageBody* const body = soup_server_message_get_response_body(viewer.message());
        appendText(body, "Content-Type: image/jpeg\r\nContent-Length: " +
                             std::to_string(jpeg->size()) + "\r\n\r\n");
        appendJpeg(body, jpeg);
        ++viewer.m_sent;
        const std::uint64_t last = viewer.arguments().pictures;
        appendText(body, viewer.m_sent == last ? "\r\n--myboundary--\r\n"
                                               : std::string("\r\n") + kBoundary);
        viewer.m_unwritten += 3;
        soup_server_message_unpause(viewer.message());
    }

    /// The system has taken a piece of what was sent.
    void wroteChunk() {
        if (--m_unwritten == 0) {
            askNext();
        }
    }

    void askNext() {
        const double rate = arguments().framerate;
        const unsigned fps = arguments().fps;
        const std::uint64_t next = frameAfter(m_number, fps == 0 ? 1.0 : fps / rate);
        const bool isOver = arguments().seconds != 0 &&
                            static_cast<double>(next - m_first) >= arguments().seconds * rate;
        if (isOver || (arguments().pictures != 0 && m_sent >= arguments().pictures)) {
            soup_message_body_complete(soup_server_message_get_response_body(message()));
            soup_server_message_unpause(message());
            return;
        }
        ask(next);
    }

    bool m_started = false;
    std::uint64_t m_first = 0;  ///< the first frame
    std::uint64_t m_number = 0; ///< the last frame, shown or not
    std::uint64_t m_sent = 0;   ///< pictures
    int m_unwritten = 0;        ///< pieces on their way to the system
};

HttpViewers::HttpViewers(std::shared_ptr<GMainContext> context, std::size_t limit)
    : m_context(std::move(context)), m_limit(limit),
      m_count(std::make_shared<std::atomic<std::size_t>>(0)) {}

template <typename Kind>
void HttpViewers::admit(SoupServerMessage* message, const PictureArguments& arguments) {
    if (count() >= m_limit) {
        answerText(message, SOUP_STATUS_SERVICE_UNAVAILABLE,
                   "Too many viewers: at most " + std::to_string(m_limit) +
                       " can watch at the same time.\n");
        return;
    }
    std::make_shared<Kind>(*this, message, arguments)->begin();
}

void HttpViewers::sendImage(SoupServerMessage* message, const PictureArguments& arguments) {
    admit<ImageViewer>(message, arguments);
}

void HttpViewers::sendVideo(SoupServerMessage* message, const PictureArguments& arguments) {
    admit<VideoViewer>(message, arguments);
}

} // namespace hostcam
