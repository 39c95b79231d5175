#include "outputs/fastcgi_service.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/Logger.h"
#include "core/app_state.h"
#include "core/shared_state.h"
#include "outputs/accept_limit.h"
#include "outputs/event_manager.h"
#include "settings/parameter_io.h"
#include "video/StreamManager.h"

namespace {

constexpr const char* kSocketPath =
    "/usr/local/packages/zerith_markers/html/zerith_markers_fcgi.socket";
constexpr const char* kAlertName = "Zerith Markers Alert";
constexpr const char* kStatusOk = "Status: 200 OK\r\n";
constexpr const char* kStatusBadRequest = "Status: 400 Bad Request\r\n";
constexpr const char* kPlainText = "Content-Type: text/plain\r\n";
constexpr const char* kXml = "Content-Type: text/xml\r\n";
constexpr std::size_t kMaxBodyLength = 1048576;

/// How long a peer may take to ask, keep silent in the middle of a body, or leave an answer unread.
constexpr timeval kPeerPatience = {10, 0};

void respond(const FCGX_Request& request, const char* text) {
    FCGX_FPrintF(request.out, "%s", text);
}

/// Writes a text of any bytes. Its zero bytes, each of which ends a text for the library, are left
/// out, so that one in the log does not hide all that was logged after it.
void respondWhole(const FCGX_Request& request, const std::string& text) {
    respond(request, text.c_str());
    for (std::size_t zero = text.find('\0'); zero != std::string::npos;
         zero = text.find('\0', zero + 1)) {
        respond(request, text.c_str() + zero + 1);
    }
}

/// Keeps a peer that has begun a request and says no more from holding up the service for ever.
void limitWaiting(int connection) {
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &kPeerPatience, sizeof kPeerPatience);
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &kPeerPatience, sizeof kPeerPatience);
}

/// Whether FCGX_OpenSocket() comes back at all: the library ends the whole process when it cannot
/// listen at the path. So a child process tries it first, whose end is its answer.
bool opensWithoutEndingTheProcess(const char* path, int backlog) {
    constexpr int kCameBack = 0;
    constexpr int kEnded = 1;
    constexpr unsigned kPatienceSeconds = 2;
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        // Another thread may have held a lock of the C library at the fork, which nobody opens here
        // any more. So the child's time is limited, and it does not outlive its parent.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        sigset_t limit;
        sigemptyset(&limit);
        sigaddset(&limit, SIGALRM);
        signal(SIGALRM, SIG_DFL);
        pthread_sigmask(SIG_UNBLOCK, &limit, nullptr);
        alarm(kPatienceSeconds);
        if (getppid() != parent) {
            _exit(kEnded);
        }
        // The child must not run the application's own exit handlers. The one registered last is
        // the first to run, and ends it there.
        if (std::atexit([] { _exit(kEnded); }) == 0) {
            static_cast<void>(FCGX_OpenSocket(path, backlog));
            _exit(kCameBack);
        }
        _exit(kEnded);
    }
    if (child < 0) {
        return true; // nothing is known against it
    }
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    // A parent that ignores its children's ends is not told this one's; and a child that has run
    // out of time tells nothing.
    return ended != child || (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) ||
           (WIFEXITED(status) && WEXITSTATUS(status) == kCameBack);
}

/// The query of a request's URI, taken apart.
class Query {
  public:
    Query() = default;
    ~Query() {
        if (m_isUriParsed) {
            uriFreeUriMembersA(&m_uri);
        }
        if (m_items != nullptr) {
            uriFreeQueryListA(m_items);
        }
    }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    /// @param uri must outlive the query; may be null, which is no URI
    [[nodiscard]] bool parseUri(const char* uri) {
        const char* errorPosition = nullptr;
        m_isUriParsed =
            uri != nullptr && uriParseSingleUriA(&m_uri, uri, &errorPosition) == URI_SUCCESS;
        return m_isUriParsed;
    }

    [[nodiscard]] bool parseItems() {
        int count = 0;
        return uriDissectQueryMallocA(&m_items, &count, m_uri.query.first, m_uri.query.afterLast) ==
               URI_SUCCESS;
    }

    [[nodiscard]] UriQueryListStructA* items() const { return m_items; }

  private:
    UriUriA m_uri{};
    bool m_isUriParsed = false;
    UriQueryListStructA* m_items = nullptr;
};

/// The request's CONTENT_LENGTH; nothing unless it is a decimal number from 0 to 1 MiB. It may
/// begin as numbers do for atoi(): with blanks and a plus.
std::optional<std::size_t> contentLength(const FCGX_Request& request) {
    const char* const parameter = FCGX_GetParam("CONTENT_LENGTH", request.envp);
    if (parameter == nullptr) {
        return std::nullopt;
    }
    std::string_view text(parameter);
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::size_t length = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), length);
    if (failure != std::errc() || end != text.data() + text.size() || length > kMaxBodyLength) {
        return std::nullopt;
    }
    return length;
}

/// One operation of GET: the header that announces its answer, and the answer itself.
struct GetAction {
    std::string_view name;
    const char* header;
    std::string (*answer)();
};

std::string switchAlert(void (EventManager::*send)(std::string&)) {
    if (g_EventManager == nullptr) {
        g_Logger.error("switchAlert: There is no event manager");
        return "";
    }
    std::string name = kAlertName;
    (g_EventManager->*send)(name);
    return "";
}

const GetAction kGetActions[] = {
    {"get_status_string", kPlainText, [] { return parameter_io::get_status_string(); }},
    {"get_is_portrait", kPlainText, [] { return parameter_io::get_is_portrait(); }},
    {"get_status_code", kPlainText, [] { return parameter_io::get_status_code(); }},
    // Deliberate: a second entry of this name, which is never reached.
    {"get_status_string", kPlainText, [] { return parameter_io::get_status_string(); }},
    {"get_all_parameters", kXml, [] { return parameter_io::get_parameters(); }},
    {"get_logfile_as_serialized_text", kPlainText,
     [] { return g_Logger.getSerializedLogContents(); }},
    {"get_logfile_as_plain_text", kPlainText, [] { return g_Logger.getPlainLogContents(); }},
    {"clear_logfile", kPlainText,
     [] {
         g_Logger.clear();
         return std::string("Log file cleared.");
     }},
    {"manual_markers_alert_on", "",
     [] { return switchAlert(&EventManager::sendEventStartedManually); }},
    {"manual_markers_alert_off", "",
     [] { return switchAlert(&EventManager::sendEventStoppedManually); }},
    {"get_aspect_ratio", kPlainText, [] { return parameter_io::get_aspect_ratio(); }},
    {"get_application_resolution", kPlainText,
     [] {
         return Resolution(static_cast<unsigned>(g_ApplicationStreamWidth),
                           static_cast<unsigned>(g_ApplicationStreamHeight))
             .to_string();
     }},
};

const GetAction* findGetAction(std::string_view name) {
    for (const GetAction& action : kGetActions) {
        if (action.name == name) {
            return &action;
        }
    }
    return nullptr;
}

/// A whole answer that says no more than that the request makes no sense.
void answerBadRequest(const FCGX_Request& request) {
    respond(request, kStatusBadRequest);
    respond(request, "\r\n");
}

} // namespace

/// A call of init() or run() under way, for stop() to wait for.
class fastcgi_service::Activity {
  public:
    explicit Activity(fastcgi_service& service) : m_service(service) {
        const std::lock_guard lock(m_service.m_activityMutex);
        ++m_service.m_activities;
    }
    ~Activity() {
        const std::lock_guard lock(m_service.m_activityMutex);
        --m_service.m_activities;
        // Under the lock: once it is free, stop() may return and the object may be destroyed.
        m_service.m_activityEnded.notify_all();
    }
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;

  private:
    fastcgi_service& m_service;
};

fastcgi_service::fastcgi_service() : m_request{}, m_sock(0) {
    // Not 0, which is somebody else's descriptor: the destructor may close this one.
    m_request.ipcFd = -1;
}

fastcgi_service::~fastcgi_service() {
    if (m_request.ipcFd >= 0) {
        // A peer that has asked and is not answered any more. Before the library closes its
        // connection it waits for the peer to hang up, two seconds long.
        shutdown(m_request.ipcFd, SHUT_RDWR);
    }
    FCGX_Free(&m_request, m_sock);
}

int fastcgi_service::init() {
    const Activity activity(*this);
    if (isStopping()) {
        return 1;
    }
    g_Logger.info(std::string("init: Socket: ") + kSocketPath);
    if (FCGX_Init() != 0) {
        g_Logger.error("init: FCGX_Init failed");
        return 1;
    }
    constexpr int kBacklog = 5;
    const int sock = opensWithoutEndingTheProcess(kSocketPath, kBacklog)
                         ? FCGX_OpenSocket(kSocketPath, kBacklog)
                         : -1;
    storeShared(m_sock, sock);
    if (sock < 0) {
        g_Logger.error(std::string("init: FCGX_OpenSocket failed: ") + kSocketPath);
        return 1;
    }
    // A socket whose file is gone already has nobody to be opened to.
    if (chmod(kSocketPath, 0777) != 0 && errno != ENOENT) {
        g_Logger.warning(std::string("init: Failed to open the socket to other users: ") +
                         std::generic_category().message(errno));
    }
    if (FCGX_InitRequest(&m_request, sock, 0) != 0) {
        g_Logger.error("init: FCGX_InitRequest failed");
        FCGX_Free(&m_request, sock);
        // Who connects is refused at once instead of waiting for an answer that never comes.
        shutdown(sock, SHUT_RDWR);
        return 1;
    }
    return 0;
}

int fastcgi_service::run() {
    const Activity activity(*this);
    const AcceptLimit limit(kPeerPatience.tv_sec);
    while (!isStopping() && acceptNext(limit)) {
        if (isStopping()) {
            break;
        }
        limitWaiting(m_request.ipcFd);
        try {
            serveRequest();
        } catch (const std::exception& failure) {
            g_Logger.error(std::string("run: Request failed: ") + failure.what());
            FCGX_Finish_r(&m_request);
        } catch (...) {
            g_Logger.error("run: Request failed: unknown exception");
            FCGX_Finish_r(&m_request);
        }
    }
    return 0;
}

/// Waits for the next request. @return false when no more can be accepted
bool fastcgi_service::acceptNext(const AcceptLimit& limit) {
    // With an answer to be ended, or a peer that has asked to stay connected, it is the library
    // that has something to do first.
    if (m_request.ipcFd < 0) {
        AcceptLimit::waitForConnection(loadShared(m_sock));
    }
    const AcceptLimit::Running running(limit);
    return FCGX_Accept_r(&m_request) == 0;
}

/// Answers the request that was accepted last. A request that is turned away is finished by the
/// next FCGX_Accept_r().
void fastcgi_service::serveRequest() {
    const char* const uri = FCGX_GetParam("REQUEST_URI", m_request.envp);
    const char* const method = FCGX_GetParam("REQUEST_METHOD", m_request.envp);
    Query query;
    if (!query.parseUri(uri)) {
        respond(m_request, "Failed to parse URI");
        return;
    }
    if (!query.parseItems()) {
        respond(m_request, "Failed to parse query");
        return;
    }
    for (UriQueryListStructA* item = query.items(); item != nullptr; item = item->next) {
        if (std::string_view(item->key) == "action") {
            performAction(item, method == nullptr ? "" : method);
        }
    }
    FCGX_Finish_r(&m_request);
}

void fastcgi_service::performAction(UriQueryListStructA* item, const char* method) {
    const std::string_view name(method);
    if (name == "GET") {
        processGET(item);
    } else if (name == "POST") {
        if (contentLength(m_request)) {
            processPOST(item, get_post_body());
        } else {
            g_Logger.error("performAction: POST request without a valid CONTENT_LENGTH");
            answerBadRequest(m_request);
        }
    } else {
        FCGX_FPrintF(m_request.out, "Only GET and POST supported. Method %s not supported", method);
    }
}

int fastcgi_service::processGET(UriQueryListStructA* item) {
    if (item->value == nullptr) {
        g_Logger.error("processGET: The query item action has no value");
        answerBadRequest(m_request);
        return 0;
    }
    const std::string action = item->value;
    respond(m_request, kStatusOk);
    const GetAction* const known = findGetAction(action);
    if (known == nullptr) {
        g_Logger.error("processGET: Invalid fastcgi webservice action requested: " + action);
        respond(m_request, kStatusBadRequest);
        respond(m_request, "\r\n");
        respond(m_request, "Invalid action");
        return 0;
    }
    const std::string body = known->answer();
    respond(m_request, known->header);
    respond(m_request, "\r\n");
    respondWhole(m_request, body);
    return 0;
}

int fastcgi_service::processPOST(UriQueryListStructA* item, std::string body) {
    if (item->value == nullptr) {
        g_Logger.error("processPOST: The query item action has no value");
        answerBadRequest(m_request);
        return 0;
    }
    const std::string_view action(item->value);
    if (action == "set_post_parameters") {
        try {
            const bool done = parameter_io::set_post_parameters(std::move(body)) == 0;
            respond(m_request, done ? kStatusOk : kStatusBadRequest);
        } catch (...) {
            g_Logger.error(
                "processPOST: Exception from processPOST trying to set post parameters.");
            return -1;
        }
    } else if (action == "post_submit_log") {
        try {
            const bool done = add_post_submit_log(std::move(body)) == 0;
            respond(m_request, done ? kStatusOk : kStatusBadRequest);
        } catch (...) {
            g_Logger.error("processPOST: Exception from add_post_submit_log.");
            return -1;
        }
    }
    respond(m_request, "\r\n");
    respond(m_request, "");
    return 0;
}

std::string fastcgi_service::get_post_body() {
    const std::size_t length = contentLength(m_request).value_or(0);
    std::string body;
    body.reserve(length);
    while (body.size() < length) {
        body += static_cast<char>(FCGX_GetChar(m_request.in));
    }
    return body;
}

int fastcgi_service::add_post_submit_log(std::string body) {
    std::map<std::string, std::string> elements =
        parameter_io::parseXMLData_no_dependency(std::move(body));
    if (elements.empty()) {
        g_Logger.error("add_post_submit_log: Failed to parse XML payload");
        return -1;
    }
    const std::string severity = elements["log_severity"];
    // The page's own words, so without a function's name before them.
    const std::string text = elements["log_entry"];
    if (severity == "info") {
        g_Logger.info(text);
    } else if (severity == "warning") {
        g_Logger.warning(text);
    } else if (severity == "error") {
        g_Logger.error(text);
    }
    return 0;
}

bool fastcgi_service::isStopping() {
    const std::lock_guard lock(m_activityMutex);
    return m_isStopping;
}
