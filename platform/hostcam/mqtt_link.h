#pragma once

// The connection to an MQTT broker: made again whenever it is lost, after a pause that grows. What
// is handed to it is sent one message after the other, each once the one before has arrived: so
// the broker never sees an older message after a newer one, whatever happens to the connection.
//
// It belongs to the publisher's thread (mqtt_publisher.h). Nothing here waits but attend() and, for
// the lookup of a broker's name, what attend() does when a connection is due.

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/hostcam/config.h"
#include "platform/hostcam/mqtt_message.h"

struct mosquitto;

namespace hostcam {

/// How patient the publisher is.
struct MqttTiming {
    std::chrono::milliseconds answer{5'000};      ///< for a new connection to be accepted
    std::chrono::milliseconds shortestPause{250}; ///< before the next try; doubled each time
    std::chrono::milliseconds longestPause{5'000};
    std::chrono::seconds keepAlive{10};    ///< a broker that is silent for up to twice this is lost
    std::chrono::milliseconds flush{150};  ///< for sending on what waits when all ends
    std::chrono::milliseconds ending{200}; ///< for the end as a whole
};

/// Pauses between tries, each twice as long as the one before.
class Backoff {
  public:
    Backoff(std::chrono::milliseconds shortest, std::chrono::milliseconds longest)
        : m_shortest(shortest), m_longest(longest), m_next(shortest) {}

    [[nodiscard]] std::chrono::milliseconds next() {
        return std::exchange(m_next, std::min(m_next * 2, m_longest));
    }
    void reset() { m_next = m_shortest; }

  private:
    std::chrono::milliseconds m_shortest;
    std::chrono::milliseconds m_longest;
    std::chrono::milliseconds m_next;
};

/// One thread.
class MqttLink {
  public:
    /// Does not connect yet: attend() does.
    /// @param config with a broker
    /// @throws std::runtime_error when the library cannot be used
    MqttLink(const Config& config, const MqttTiming& timing);
    ~MqttLink();
    MqttLink(const MqttLink&) = delete;
    MqttLink& operator=(const MqttLink&) = delete;

    /// Whether the broker has accepted the connection, as far as is known.
    [[nodiscard]] bool connected() const { return m_state == State::Connected; }

    /// Whether every message has arrived: quality of service 0, it was handed to the system; 1 and
    /// 2, the broker has confirmed it.
    [[nodiscard]] bool idle() const { return !m_underway; }

    /// Sends a message. It stays this object's until it has arrived: a lost connection does not
    /// lose it. One that MQTT cannot carry is dropped with a warning. Needs connected() and idle().
    void send(MqttMessage message);

    /// Does what is to be done: connects, sends on, takes answers. Waits for something to do.
    /// @param wake a descriptor that ends the waiting when it is readable; it is not read
    /// @param longest how long to wait at most
    void attend(int wake, std::chrono::milliseconds longest);

    /// Ends the connection in order, as far as that takes no waiting.
    void close();

  private:
    using Clock = std::chrono::steady_clock;
    enum class State { Pausing, Connecting, Connected };
    struct Deleter {
        void operator()(mosquitto* client) const;
    };

    static void onConnect(mosquitto* client, void* self, int code);
    static void onPublish(mosquitto* client, void* self, int id);

    void connect();
    void accepted();
    void publish();
    void lose(const std::string& reason);
    [[nodiscard]] bool wantsToWrite() const;
    void wait(int wake, std::chrono::milliseconds longest) const;

    const std::string m_name; ///< what texts call the broker
    const BrokerAddress m_address;
    const MqttTiming m_timing;
    const int m_qos;
    std::unique_ptr<mosquitto, Deleter> m_client;
    State m_state = State::Pausing;
    Clock::time_point m_due{};   ///< Pausing: of the next try; Connecting: of giving up
    Clock::time_point m_since{}; ///< when it was accepted
    Backoff m_backoff;
    bool m_triedBefore = false;
    bool m_lost = false;                   ///< the log knows of an outage
    std::optional<MqttMessage> m_underway; ///< sent and not known to have arrived
};

} // namespace hostcam
