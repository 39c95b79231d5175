#pragma once

// A real web server (lighttpd) in front of the application, with the configuration that
// tools/lighttpd-config.sh prints, on a port of 127.0.0.1 that the kernel gives.

#include <cstdint>
#include <filesystem>
#include <string>

#include <sys/types.h>

#include "tests/support/temp_dir.h"

namespace testing_support {

/// A port of 127.0.0.1 that nobody listens on now.
[[nodiscard]] std::uint16_t freePort();

class WebServer {
  public:
    /// Whether there is a lighttpd on this machine.
    [[nodiscard]] static bool isInstalled();

    /// Starts it and waits until it listens.
    /// @param root the project's folder
    /// @param socket the application's FastCGI socket; need not exist yet
    /// @param cameraPort where the host camera's HTTP endpoint listens on 127.0.0.1
    /// @throws std::runtime_error with the server's own words when it does not start
    WebServer(const std::filesystem::path& root, const std::filesystem::path& socket,
              std::uint16_t cameraPort = 9);
    /// Stops it.
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    /// "http://127.0.0.1:PORT".
    [[nodiscard]] std::string url() const;

    /// The address of the web API, without a query.
    [[nodiscard]] std::string api() const { return url() + kApi; }

    /// The page's folder, empty at first.
    [[nodiscard]] std::filesystem::path html() const { return m_dir / "html"; }

    /// What the server has logged.
    [[nodiscard]] std::string log() const { return readFile(m_dir / "log"); }

    static constexpr const char* kApi = "/local/zerith_markers/zerith_markers.cgi";

  private:
    void run();
    [[nodiscard]] bool listens() const;
    [[nodiscard]] bool runs();
    void stop();

    TempDir m_dir;
    std::uint16_t m_port = 0;
    pid_t m_pid = -1;
};

} // namespace testing_support
