#pragma once

// The web endpoint: what a page finds on a camera under /axis-cgi/. A server on one address and
// port, with a thread of its own that runs a main context of its own; pictures are made in the
// maker's thread (viewer_maker.h).
//
//   /axis-cgi/jpg/image.cgi    one picture
//   /axis-cgi/mjpg/video.cgi   pictures one after the other
//   /axis-cgi/param.cgi        parameters
//
// Clients are not trusted: connections and viewers are limited, silent ones are dropped, what they
// send is bounded and refused in one sentence when it is wrong.

#include <chrono>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/hostcam/viewer_maker.h"

namespace hostcam {

/// Thrown when the endpoint cannot listen. The text names address, port and reason.
class HttpError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct HttpOptions {
    std::string address = "127.0.0.1"; ///< numeric
    unsigned port = 0;                 ///< 0: one that the system chooses
    std::size_t viewers = 32;          ///< who wait for pictures at the same time; more get a 503
    std::size_t connections = 256;     ///< more are closed at once
    std::chrono::seconds silence{
        30}; ///< after which a client that neither sends nor reads is dropped
};

/// Any thread, but for the constructor and the destructor.
class HttpServer {
  public:
    /// Listens and starts the threads. @throws HttpError; std::system_error
    explicit HttpServer(const HttpOptions& options);

    /// As stop(), with the patience of an end in good order.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// The port that it listens on.
    [[nodiscard]] unsigned port() const { return m_port; }

    /// Closes every connection and ends the threads. Nobody is answered any more when it returns.
    /// @param patience how long to wait for what is being done just now; a thread that takes longer
    /// is left to itself
    void stop(std::chrono::milliseconds patience);

    /// How many wait for pictures now.
    [[nodiscard]] std::size_t viewers() const;

    /// How many JPEGs were made.
    [[nodiscard]] std::uint64_t encoded() const;

  private:
    class Core;
    class Thread;
    std::shared_ptr<Core> m_core;
    std::unique_ptr<Thread> m_thread;
    unsigned m_port = 0;
};

} // namespace hostcam
