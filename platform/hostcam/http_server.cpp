#include "platform/hostcam/http_server.h"

#include <string_view>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <gio/gio.h>
#include <libsoup/soup.h>

#include "platform/hostcam/config.h"
#include "platform/hostcam/ending_thread.h"
#include "platform/hostcam/http_answer.h"
#include "platform/hostcam/http_glib.h"
#include "platform/hostcam/http_parameters.h"
#include "platform/hostcam/http_query.h"
#include "platform/hostcam/http_viewers.h"
#include "platform/hostcam/misuse.h"
#include "platform/hostcam/stage_times.h"

namespace hostcam {
namespace {

/// How long an end in good order waits for what is being done.
constexpr std::chrono::milliseconds kEndPatience{2000};

/// How long connections wait when the system has no descriptor for them.
constexpr unsigned kAcceptPause = 100;

/// What the system may hold of a viewer's pictures: about one, so that a slow viewer sees the
/// present and not the past.
constexpr int kSendBuffer = 128 * 1024;

constexpr int kBacklog = 64;

struct LoopUnref {
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};
struct SourceRemove {
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
using SourceRef = std::unique_ptr<GSource, SourceRemove>;

/// "127.0.0.1:8081", or "[::1]:8081".
std::string nameOf(const HttpOptions& options) {
    const bool six = options.address.find(':') != std::string::npos;
    return (six ? "[" + options.address + "]" : options.address) + ":" +
           std::to_string(options.port);
}

/// @throws HttpError
ObjectRef<GSocket> listenOn(const HttpOptions& options) {
    const auto fail = [&](const std::string& reason) -> HttpError {
        return HttpError("the web endpoint cannot listen on " + nameOf(options) + ": " + reason);
    };
    const ObjectRef<GSocketAddress> address(
        g_inet_socket_address_new_from_string(options.address.c_str(), options.port));
    if (!address) {
        throw fail("that is no numeric address");
    }
    GError* raw = nullptr;
    ObjectRef<GSocket> socket(g_socket_new(g_socket_address_get_family(address.get()),
                                           G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, &raw));
    if (socket) {
        g_socket_set_blocking(socket.get(), FALSE);
        g_socket_set_listen_backlog(socket.get(), kBacklog);
    }
    if (!socket || !g_socket_bind(socket.get(), address.get(), TRUE, &raw) ||
        !g_socket_listen(socket.get(), &raw)) {
        const ErrorRef error(raw);
        throw fail(error->message);
    }
    return socket;
}

/// What a request is for, as the client wrote it.
struct Target {
    std::string_view path;  ///< borrowed from the message
    std::string_view query; ///< what stands behind the question mark
};

Target targetOf(SoupServerMessage* message) {
    GUri* const uri = soup_server_message_get_uri(message);
    const std::string_view path = g_uri_get_path(uri);
    const char* const query = g_uri_get_query(uri);
    // From HTTP/1.0 clients that name no host, libsoup takes the whole target for the path.
    const std::size_t mark = path.find('?');
    if (query == nullptr && mark != std::string_view::npos) {
        return {path.substr(0, mark), path.substr(mark + 1)};
    }
    return {path, query == nullptr ? "" : query};
}

/// The port that a socket listens on.
unsigned portOf(GSocket* socket) {
    const ObjectRef<GSocketAddress> address(g_socket_get_local_address(socket, nullptr));
    return address ? g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(address.get())) : 0;
}

} // namespace

/// What the server's thread works on. Shared with it, so that it may outlive the server.
class HttpServer::Core {
  public:
    explicit Core(const HttpOptions& options)
        : m_options(options), m_socket(listenOn(options)),
          m_context(g_main_context_new(), ContextUnref{}),
          m_loop(g_main_loop_new(m_context.get(), FALSE)), m_viewers(m_context, options.viewers) {}

    [[nodiscard]] unsigned port() const { return portOf(m_socket.get()); }
    [[nodiscard]] HttpViewers& viewers() { return m_viewers; }

    /// The thread's body.
    void run() {
        g_main_context_push_thread_default(m_context.get());
        m_server.reset(soup_server_new(nullptr, nullptr));
        soup_server_add_early_handler(m_server.get(), nullptr, onHeaders, this, nullptr);
        soup_server_add_handler(m_server.get(), nullptr, onRequest, this, nullptr);
        startAccepting();
        g_main_loop_run(m_loop.get());
        m_accepting.reset();
        g_socket_close(m_socket.get(), nullptr);
        soup_server_disconnect(m_server.get());
        m_server.reset();
        // What was just closed ends by calls of its own.
        while (g_main_context_iteration(m_context.get(), FALSE) != FALSE) {
        }
        g_main_context_pop_thread_default(m_context.get());
    }

    /// Has run() return. *Any thread.*
    void quit() {
        // Through the context: a loop that does not run yet would miss it.
        post(m_context.get(), [loop = m_loop.get()] { g_main_loop_quit(loop); });
    }

  private:
    void startAccepting() {
        m_accepting.reset(g_socket_create_source(m_socket.get(), G_IO_IN, nullptr));
        const GSocketSourceFunc accept = [](GSocket* /*socket*/, GIOCondition /*condition*/,
                                            gpointer self) -> gboolean {
            return static_cast<Core*>(self)->acceptOne() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
        };
        g_source_set_callback(m_accepting.get(), G_SOURCE_FUNC(accept), this, nullptr);
        g_source_attach(m_accepting.get(), m_context.get());
    }

    /// @return false: the system is out of descriptors, and there is a pause
    bool acceptOne() {
        GError* raw = nullptr;
        const ObjectRef<GSocket> client(g_socket_accept(m_socket.get(), nullptr, &raw));
        if (client) {
            serve(client.get());
            return true;
        }
        const ErrorRef error(raw);
        if (g_error_matches(raw, G_IO_ERROR, G_IO_ERROR_TOO_MANY_OPEN_FILES)) {
            warnUnlessRepeated("the web endpoint cannot take a connection: " +
                               std::string(error->message));
            pauseAccepting();
            return false;
        }
        return true; // the client has gone already
    }

    void pauseAccepting() {
        m_accepting.reset(g_timeout_source_new(kAcceptPause));
        const GSourceFunc again = [](gpointer self) -> gboolean {
            static_cast<Core*>(self)->startAccepting();
            return G_SOURCE_REMOVE;
        };
        g_source_set_callback(m_accepting.get(), again, this, nullptr);
        g_source_attach(m_accepting.get(), m_context.get());
    }

    void serve(GSocket* client) {
        if (m_connections >= m_options.connections) {
            warnUnlessRepeated("the web endpoint has " + std::to_string(m_connections) +
                               " connections and takes no more for now");
            return;
        }
        g_socket_set_timeout(client, static_cast<guint>(m_options.silence.count()));
        g_socket_set_option(client, IPPROTO_TCP, TCP_NODELAY, 1, nullptr);
        g_socket_set_option(client, SOL_SOCKET, SO_SNDBUF, kSendBuffer, nullptr);
        const ObjectRef<GSocketConnection> connection(
            g_socket_connection_factory_create_connection(client));
        ++m_connections;
        g_object_weak_ref(
            G_OBJECT(connection.get()),
            [](gpointer self, GObject* /*gone*/) { --static_cast<Core*>(self)->m_connections; },
            this);
        const ObjectRef<GSocketAddress> local(g_socket_get_local_address(client, nullptr));
        const ObjectRef<GSocketAddress> remote(g_socket_get_remote_address(client, nullptr));
        soup_server_accept_iostream(m_server.get(), G_IO_STREAM(connection.get()), local.get(),
                                    remote.get(), nullptr);
    }

    /// No request of ours has a body; what a client sends as one is read past. Every answer ends
    /// its connection: libsoup 3.2 forgets to close one that was kept for a further request when
    /// its client goes, and each would cost a descriptor for good.
    static void onHeaders(SoupServer* /*server*/, SoupServerMessage* message, const char* /*path*/,
                          GHashTable* /*query*/, gpointer /*self*/) {
        soup_message_body_set_accumulate(soup_server_message_get_request_body(message), FALSE);
        SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message);
        soup_message_headers_replace(headers, "Connection", "close");
        // Parameters are texts of anybody's, and pictures no other site's to use.
        soup_message_headers_replace(headers, "X-Content-Type-Options", "nosniff");
        soup_message_headers_replace(headers, "Cross-Origin-Resource-Policy", "same-origin");
    }

    static void onRequest(SoupServer* /*server*/, SoupServerMessage* message, const char* /*path*/,
                          GHashTable* /*query*/, gpointer self) {
        try {
            static_cast<Core*>(self)->answer(message);
        } catch (const BadRequest& problem) {
            answerText(message, SOUP_STATUS_BAD_REQUEST, std::string(problem.what()) + "\n");
        } catch (const std::exception& problem) {
            warnUnlessRepeated(std::string("a request of the web endpoint failed: ") +
                               problem.what());
            answerText(message, SOUP_STATUS_INTERNAL_SERVER_ERROR,
                       std::string(problem.what()) + "\n");
        }
    }

    /// @throws BadRequest; std::exception for what is no fault of the request
    void answer(SoupServerMessage* message) {
        const auto [path, query] = targetOf(message);
        const bool isImage = path == "/axis-cgi/jpg/image.cgi";
        const bool isVideo = path == "/axis-cgi/mjpg/video.cgi";
        const bool isMetrics = path == "/metrics";
        if (!isImage && !isVideo && !isMetrics && path != "/axis-cgi/param.cgi") {
            answerText(message, SOUP_STATUS_NOT_FOUND, "There is nothing here.\n");
            return;
        }
        const std::string_view method = soup_server_message_get_method(message);
        if (method != "GET" && (method != "HEAD" || isVideo)) {
            answerText(message, SOUP_STATUS_METHOD_NOT_ALLOWED,
                       "This answers GET requests only.\n");
            soup_message_headers_replace(soup_server_message_get_response_headers(message), "Allow",
                                         isVideo ? "GET" : "GET, HEAD");
            return;
        }
        if (isMetrics) {
            answerText(message, SOUP_STATUS_OK, stageMetrics(), "text/plain; version=0.0.4");
            return;
        }
        const QueryArguments arguments = parseQuery(query);
        if (!isImage && !isVideo) {
            answerText(message, SOUP_STATUS_OK, listedParameters(arguments));
            return;
        }
        const PictureArguments wanted = readPictureArguments(arguments, *currentConfig());
        if (isImage) {
            m_viewers.sendImage(message, wanted);
        } else {
            m_viewers.sendVideo(message, wanted);
        }
    }

    const HttpOptions m_options;
    const ObjectRef<GSocket> m_socket;
    const std::shared_ptr<GMainContext> m_context;
    const std::unique_ptr<GMainLoop, LoopUnref> m_loop;
    HttpViewers m_viewers;

    // Only the thread's.
    ObjectRef<SoupServer> m_server;
    SourceRef m_accepting;
    std::size_t m_connections = 0;
};

class HttpServer::Thread : public EndingThread {};

HttpServer::HttpServer(const HttpOptions& options)
    : m_core(std::make_shared<Core>(options)), m_thread(std::make_unique<Thread>()),
      m_port(m_core->port()) {
    m_thread->start([core = m_core] { core->run(); });
}

HttpServer::~HttpServer() {
    stop(kEndPatience);
}

void HttpServer::stop(std::chrono::milliseconds patience) {
    m_core->quit();
    m_core->viewers().maker().stop(patience);
    m_thread->leave(patience);
}

std::size_t HttpServer::viewers() const {
    return m_core->viewers().count();
}

std::uint64_t HttpServer::encoded() const {
    return m_core->viewers().maker().encoded();
}

} // namespace hostcam
