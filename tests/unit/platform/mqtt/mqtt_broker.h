#pragma once

// A real broker and a client that watches it, both on loopback.

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/hostcam/descriptor.h"
#include "tests/support/temp_dir.h"

struct mosquitto;

namespace testing_support {

/// The program mosquitto, on a port of its own. What it holds for clients that are away survives
/// its being stopped and started again.
class MqttBroker {
  public:
    /// Where the program is; empty: not installed.
    [[nodiscard]] static std::string program();

    /// Does not start it.
    MqttBroker();
    ~MqttBroker();
    MqttBroker(const MqttBroker&) = delete;
    MqttBroker& operator=(const MqttBroker&) = delete;

    /// Returns once it listens. @throws std::runtime_error
    void start();
    /// Ends it in order.
    void stop();

    [[nodiscard]] int port() const { return m_port; }
    /// For the configuration's broker=.
    [[nodiscard]] std::string address() const;

  private:
    void choosePort();

    TempDir m_dir;
    int m_port = 0;
    hostcam::Descriptor m_turn; ///< keeps the port for this broker while it is stopped, too
    pid_t m_process = -1;
    hostcam::Descriptor m_output;
};

struct MqttReceived {
    std::string topic;
    std::string payload;
    int qos = 0;
    bool isRetained = false;
};

/// Receives whatever is published. It has a thread of the client library's, and comes back by
/// itself when the broker does.
class MqttWatcher {
  public:
    /// Returns once its subscription holds.
    /// @param name what the broker knows it by, and keeps messages for while it is away
    MqttWatcher(const MqttBroker& broker, const std::string& name);
    ~MqttWatcher();
    MqttWatcher(const MqttWatcher&) = delete;
    MqttWatcher& operator=(const MqttWatcher&) = delete;

    /// Waits until so many messages have come. @return all that have; fewer after a minute
    [[nodiscard]] std::vector<MqttReceived> await(std::size_t count);

    /// Waits until a message that contains a text has come. @return all that have
    [[nodiscard]] std::vector<MqttReceived> awaitText(const std::string& text);

  private:
    mosquitto* m_client;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<MqttReceived> m_received; // guarded by m_mutex
    bool m_subscribed = false;            // guarded by m_mutex
};

} // namespace testing_support
