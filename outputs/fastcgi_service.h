#pragma once

// The application's web API: a FastCGI responder behind the camera's web server, for the
// application's own page. A request names an operation in its query item "action"; GET reads the
// status, the settings and the log and switches the alert by hand, POST submits settings and log
// lines.
//
// One object, g_FastcgiService. The web-service thread calls init() and then run(), which serves
// one request at a time for the rest of the process's life. stop() is for the main thread, at the
// end.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include <sys/socket.h>

#include <fcgiapp.h>
#include <uriparser/Uri.h>

#include "core/shared_state.h"

class AcceptLimit;

class fastcgi_service {
  public:
    fastcgi_service();

    /// Releases what the request object holds. The caller sees to it that run() is not running any
    /// more: see stop().
    ~fastcgi_service();
    fastcgi_service(const fastcgi_service&) = delete;
    fastcgi_service& operator=(const fastcgi_service&) = delete;

    /// Opens the socket, lets every user connect to it (the web server runs as another one), and
    /// prepares the request object. Logs the socket's path. Web thread.
    /// @return 0; 1 after a failure, logged as "FCGX_Init failed", "FCGX_OpenSocket failed: " +
    /// path or "FCGX_InitRequest failed"
    int init();

    /// Serves requests until no more can be accepted or stop() is called. No request ends it: what
    /// a handler throws is logged as "Request failed: " + reason, and the next request is served.
    /// Web thread.
    /// @return 0
    int run();

    /// Answers one action of a GET request. An action that is not known is answered "Invalid
    /// action" and logged as "Invalid fastcgi webservice action requested: " + action; an item
    /// without a value is answered with status 400. Deliberate: every answer to an action begins
    /// with "Status: 200 OK", the one to an unknown action too, which has its 400 as a second
    /// status line.
    /// @param item the query item whose key is "action"; borrowed
    /// @return 0
    /// @throws whatever the operation throws
    int processGET(UriQueryListStructA* item);

    /// Performs one action of a POST request and answers its status, without a body.
    /// @param item the query item whose key is "action"; borrowed
    /// @return 0; -1 when the operation threw, which is logged as "Exception from processPOST
    /// trying to set post parameters." or "Exception from add_post_submit_log." and leaves the
    /// answer empty
    int processPOST(UriQueryListStructA* item, std::string body);

    /// Reads the request's body.
    /// Deliberate: a body that ends early is filled up with the end-of-file value as a character.
    /// @return as many characters as CONTENT_LENGTH says; none when it says no length from 0 to 1
    /// MiB
    std::string get_post_body();

    /// Writes the page's log line into the log, at the severity it names ("info", "warning" or
    /// "error"; any other: not at all).
    /// @param body the page's document with `log_severity` and `log_entry`
    /// @return 0; -1 for a body without elements, logged as "Failed to parse XML payload"
    int add_post_submit_log(std::string body);

    /// Ends the service for good: no further request is begun, and run() returns once the one in
    /// progress has been answered. Any thread but the web thread.
    /// @param patience how long to wait for that
    /// @return whether the web thread is out of init() and run(), so that this object and what its
    /// handlers use may be destroyed
    [[nodiscard]] bool stop(std::chrono::milliseconds patience) {
        std::unique_lock lock(m_activityMutex);
        m_isStopping = true;
        if (const int sock = loadShared(m_sock); sock > 0) {
            // Wakes a web thread that waits for the next request: accepting fails from now on.
            shutdown(sock, SHUT_RDWR);
        }
        return m_activityEnded.wait_for(lock, patience, [this] { return m_activities == 0; });
    }

    FCGX_Request m_request; ///< reused for every request; web thread only
    int m_sock;             ///< the listening socket; 0 until init(), below 0 when it
                            ///< could not be opened. Shared with stop()

  private:
    class Activity;

    [[nodiscard]] bool acceptNext(const AcceptLimit& limit);
    void serveRequest();
    void performAction(UriQueryListStructA* item, const char* method);
    [[nodiscard]] bool isStopping();

    std::mutex m_activityMutex; ///< guards the next two; held for no longer than they are touched
    std::condition_variable m_activityEnded;
    int m_activities = 0; ///< calls of init() and run() under way
    bool m_isStopping = false;
};

/// The process's web service. Defined in core/app_main.cpp.
extern fastcgi_service g_FastcgiService;
