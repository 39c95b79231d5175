#include "tests/unit/platform/mqtt/mqtt_broker.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <stdexcept>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mosquitto.h>

namespace testing_support {
namespace {

constexpr std::chrono::minutes kPatience{1};

hostcam::Descriptor openSocket(int family) {
    return hostcam::Descriptor(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

/// Takes a port for this broker among all of this machine's tests: a name that only one socket can
/// have, and that goes with it. @return null when another has it
hostcam::Descriptor takePort(int port) {
    hostcam::Descriptor socket = openSocket(AF_UNIX);
    const std::string name = "zerith-markers-tests-port-" + std::to_string(port);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // A zero in front: the name is no file.
    std::copy(name.begin(), name.end(), address.sun_path + 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const bool taken = bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0;
    return taken ? std::move(socket) : hostcam::Descriptor();
}

bool isFree(int port) {
    const hostcam::Descriptor socket = openSocket(AF_INET);
    const int on = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<in_port_t>(port));
    return bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

std::string MqttBroker::program() {
    for (const char* path :
         {"/usr/sbin/mosquitto", "/usr/bin/mosquitto", "/usr/local/sbin/mosquitto"}) {
        if (access(path, X_OK) == 0) {
            return path;
        }
    }
    return "";
}

MqttBroker::MqttBroker() {
    choosePort();
    // One message at a time to a client too, so that its order shows the publisher's.
    writeFile(m_dir / "broker.conf", "listener " + std::to_string(m_port) +
                                         " 127.0.0.1\n"
                                         "allow_anonymous true\n"
                                         "user root\n"
                                         "persistence true\n"
                                         "persistence_location " +
                                         m_dir.path().string() +
                                         "/\n"
                                         "max_inflight_messages 1\n"
                                         "max_queued_messages 0\n"
                                         "queue_qos0_messages true\n"
                                         "set_tcp_nodelay true\n"
                                         "log_dest stderr\n"
                                         "log_type error\n"
                                         "log_type information\n");
}

MqttBroker::~MqttBroker() {
    stop();
}

/// None of the ports that the system gives to connecting clients: one that tries such a port of its
/// own machine again and again may end up connected to itself.
void MqttBroker::choosePort() {
    for (m_port = 20'000; m_port < 30'000; ++m_port) {
        m_turn = takePort(m_port);
        if (m_turn && isFree(m_port)) {
            return;
        }
    }
    throw std::runtime_error("no port is free");
}

std::string MqttBroker::address() const {
    return "127.0.0.1:" + std::to_string(m_port);
}

void MqttBroker::start() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    m_output = hostcam::Descriptor(ends[0]);
    hostcam::Descriptor input(ends[1]);
    const std::string path = program();
    const std::string configuration = m_dir / "broker.conf";
    m_process = fork();
    if (m_process == 0) {
        dup2(ends[1], STDERR_FILENO);
        execl(path.c_str(), path.c_str(), "-c", configuration.c_str(), nullptr);
        _exit(127);
    }
    input = hostcam::Descriptor(); // so that the broker's end ends what it says
    std::string said;
    while (said.find(" running") == std::string::npos) {
        pollfd file{m_output.get(), POLLIN, 0};
        std::array<char, 512> block{};
        const ssize_t got =
            poll(&file, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) == 1
                ? read(m_output.get(), block.data(), block.size())
                : 0;
        if (got <= 0) {
            throw std::runtime_error("the broker does not start: " + said);
        }
        said.append(block.data(), static_cast<std::size_t>(got));
    }
}

void MqttBroker::stop() {
    if (m_process > 0) {
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
    }
    m_process = -1;
}

MqttWatcher::MqttWatcher(const MqttBroker& broker, const std::string& name) {
    mosquitto_lib_init();
    m_client = mosquitto_new(name.c_str(), false, this);
    mosquitto_connect_callback_set(m_client, [](mosquitto* client, void* /*self*/, int /*code*/) {
        mosquitto_subscribe(client, nullptr, "#", 2);
    });
    mosquitto_subscribe_callback_set(
        m_client, [](mosquitto*, void* self, int /*id*/, int /*count*/, const int* /*granted*/) {
            auto& watcher = *static_cast<MqttWatcher*>(self);
            const std::lock_guard lock(watcher.m_mutex);
            watcher.m_subscribed = true;
            watcher.m_changed.notify_all();
        });
    mosquitto_message_callback_set(
        m_client, [](mosquitto*, void* self, const mosquitto_message* message) {
            auto& watcher = *static_cast<MqttWatcher*>(self);
            const std::lock_guard lock(watcher.m_mutex);
            watcher.m_received.push_back({message->topic,
                                          {static_cast<const char*>(message->payload),
                                           static_cast<std::size_t>(message->payloadlen)},
                                          message->qos,
                                          message->retain});
            watcher.m_changed.notify_all();
        });
    mosquitto_connect(m_client, "127.0.0.1", broker.port(), 60);
    mosquitto_loop_start(m_client);
    std::unique_lock lock(m_mutex);
    if (!m_changed.wait_for(lock, kPatience, [this] { return m_subscribed; })) {
        throw std::runtime_error("no subscription for a minute");
    }
}

MqttWatcher::~MqttWatcher() {
    mosquitto_disconnect(m_client);
    mosquitto_loop_stop(m_client, false);
    mosquitto_destroy(m_client);
}

std::vector<MqttReceived> MqttWatcher::await(std::size_t count) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, kPatience, [&] { return m_received.size() >= count; });
    return m_received;
}

std::vector<MqttReceived> MqttWatcher::awaitText(const std::string& text) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, kPatience, [&] {
        return std::any_of(m_received.begin(), m_received.end(), [&](const MqttReceived& message) {
            return message.payload.find(text) != std::string::npos;
        });
    });
    return m_received;
}

} // namespace testing_support
