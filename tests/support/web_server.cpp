#include "tests/support/web_server.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_support {
namespace {

/// Another program may take a free port before the server does.
constexpr int kTries = 5;
constexpr std::chrono::seconds kMostTimeToStart{20};

/// The server's program; empty when it is not installed. Debian keeps it where only root's PATH
/// looks.
std::filesystem::path program() {
    const char* const path = std::getenv("PATH");
    std::string folders = std::string(path == nullptr ? "" : path) + ":/usr/sbin:/usr/local/sbin:";
    for (std::size_t end = 0; (end = folders.find(':')) != std::string::npos;
         folders.erase(0, end + 1)) {
        const std::filesystem::path file =
            std::filesystem::path(folders.substr(0, end)) / "lighttpd";
        if (access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return {};
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// Runs a program with its output in a file.
pid_t spawn(const std::vector<std::string>& command, const std::filesystem::path& output) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        // It does not outlive a test that is killed.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (file >= 0) {
            dup2(file, STDOUT_FILENO);
            dup2(file, STDERR_FILENO);
        }
        if (getppid() == parent) {
            execv(arguments.front(), arguments.data());
        }
        _exit(127);
    }
    return child;
}

} // namespace

std::uint16_t freePort() {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    const bool found =
        bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    close(probe);
    if (!found) {
        throw std::runtime_error("the kernel gives no port");
    }
    return ntohs(address.sin_port);
}

bool WebServer::isInstalled() {
    return !program().empty();
}

WebServer::WebServer(const std::filesystem::path& root, const std::filesystem::path& socket,
                     std::uint16_t cameraPort) {
    std::filesystem::create_directories(m_dir / "html");
    for (int i = 0; i < kTries; ++i) {
        m_port = freePort();
        const pid_t writer =
            spawn({"/bin/bash", root / "tools" / "lighttpd-config.sh", "--html", m_dir / "html",
                   "--socket", socket, "--camera", "127.0.0.1:" + std::to_string(cameraPort),
                   "--port", std::to_string(m_port)},
                  m_dir / "lighttpd.conf");
        int status = 0;
        if (writer < 0 || waitpid(writer, &status, 0) != writer || status != 0) {
            throw std::runtime_error("no configuration of the web server: " +
                                     readFile(m_dir / "lighttpd.conf"));
        }
        run();
        if (m_pid > 0) {
            return;
        }
        std::filesystem::remove(m_dir / "lighttpd.conf");
    }
    throw std::runtime_error("the web server does not start: " + log());
}

WebServer::~WebServer() {
    stop();
}

/// Starts the server; m_pid stays -1 when it ends at once.
void WebServer::run() {
    m_pid = spawn({program(), "-D", "-f", m_dir / "lighttpd.conf"}, m_dir / "log");
    const auto deadline = std::chrono::steady_clock::now() + kMostTimeToStart;
    while (runs() && !listens()) {
        if (std::chrono::steady_clock::now() > deadline) {
            stop();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool WebServer::runs() {
    if (m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == m_pid) {
        m_pid = -1;
    }
    return m_pid > 0;
}

bool WebServer::listens() const {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(m_port);
    const bool answered =
        connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return answered;
}

void WebServer::stop() {
    if (runs()) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

std::string WebServer::url() const {
    return "http://127.0.0.1:" + std::to_string(m_port);
}

} // namespace testing_support
