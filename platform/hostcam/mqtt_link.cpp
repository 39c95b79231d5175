#include "platform/hostcam/mqtt_link.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

#include <mosquitto.h>

#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

using std::chrono::milliseconds;

/// The library looks after its keep-alive messages only when it is called.
constexpr milliseconds kHeartbeat{1'000};

/// The library is never given up: a thread may be in it when the process ends.
void initialise() {
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); });
}

/// @param code what the library returned, with errno as it left it
std::string reasonOf(int code) {
    const int error = errno;
    switch (code) {
    case MOSQ_ERR_ERRNO:
        return std::generic_category().message(error);
    case MOSQ_ERR_EAI:
    case MOSQ_ERR_LOOKUP:
        return "its name is not known";
    case MOSQ_ERR_CONN_LOST:
    case MOSQ_ERR_NO_CONN:
        return "it has ended the connection";
    case MOSQ_ERR_KEEPALIVE:
        return "it says nothing any more";
    default:
        return mosquitto_strerror(code);
    }
}

/// Whether a failed publish means that the message itself cannot be sent. After other failures it
/// is sent again when there is a connection.
bool isMessagesFault(int code) {
    return code == MOSQ_ERR_INVAL || code == MOSQ_ERR_NOMEM || code == MOSQ_ERR_PAYLOAD_SIZE ||
           code == MOSQ_ERR_MALFORMED_UTF8 || code == MOSQ_ERR_OVERSIZE_PACKET;
}

/// Whether the system has made a connection. Until then a socket tells of it by becoming writable.
bool isEstablished(int socket) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    return getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

} // namespace

void MqttLink::Deleter::operator()(mosquitto* client) const {
    mosquitto_destroy(client);
}

MqttLink::MqttLink(const Config& config, const MqttTiming& timing)
    : m_name("MQTT broker " + config.mqttBroker), m_address(parseBroker(config.mqttBroker).value()),
      m_timing(timing), m_qos(config.mqttQos),
      m_backoff(timing.shortestPause, timing.longestPause) {
    initialise();
    // With quality of service 2 the broker must remember what it was sent.
    const bool cleanSession = m_qos < 2;
    m_client.reset(mosquitto_new(config.mqttClientId.c_str(), cleanSession, this));
    if (!m_client) {
        throw std::runtime_error(m_name + ": " + std::generic_category().message(errno));
    }
    mosquitto_connect_callback_set(m_client.get(), onConnect);
    mosquitto_publish_callback_set(m_client.get(), onPublish);
}

MqttLink::~MqttLink() = default;

void MqttLink::onConnect(mosquitto* /*client*/, void* self, int code) {
    auto& link = *static_cast<MqttLink*>(self);
    if (code == 0) {
        link.accepted();
    } else {
        link.lose(mosquitto_connack_string(code));
    }
}

void MqttLink::onPublish(mosquitto* /*client*/, void* self, int /*id*/) {
    static_cast<MqttLink*>(self)->m_underway.reset();
}

void MqttLink::send(MqttMessage message) {
    m_underway = std::move(message);
    publish();
}

/// Hands the message that is underway to the library, which may call onPublish() at once.
void MqttLink::publish() {
    const MqttMessage message = *m_underway;
    const int code = mosquitto_publish(m_client.get(), nullptr, message.topic.c_str(),
                                       static_cast<int>(message.payload.size()),
                                       message.payload.data(), m_qos, message.retain);
    if (isMessagesFault(code)) {
        warn(m_name + ": an event cannot be published: " + mosquitto_strerror(code) + ": " +
             message.topic);
        m_underway.reset();
    } else if (code != MOSQ_ERR_SUCCESS) {
        lose(reasonOf(code));
    }
}

void MqttLink::connect() {
    const auto keepAlive = static_cast<int>(m_timing.keepAlive.count());
    m_state = State::Connecting;
    m_due = Clock::now() + m_timing.answer;
    // Neither waits for the broker, but for the one who knows its address when it has a name.
    const int code = m_triedBefore ? mosquitto_reconnect_async(m_client.get())
                                   : mosquitto_connect_async(m_client.get(), m_address.host.c_str(),
                                                             m_address.port, keepAlive);
    m_triedBefore = true;
    if (code != MOSQ_ERR_SUCCESS) {
        lose(reasonOf(code));
    }
}

void MqttLink::accepted() {
    m_state = State::Connected;
    m_since = Clock::now();
    if (m_lost) {
        warn(m_name + ": connected");
    }
    m_lost = false;
    if (m_underway && m_qos == 0) {
        // It did not get out whole. The library keeps only those that are to be confirmed.
        publish();
    }
}

void MqttLink::lose(const std::string& reason) {
    if (m_state == State::Pausing) {
        return;
    }
    const Clock::time_point now = Clock::now();
    // A broker that accepts and hangs up at once is tried less and less often, too.
    if (m_state == State::Connected && now - m_since >= m_timing.longestPause) {
        m_backoff.reset();
    }
    m_state = State::Pausing;
    m_due = now + m_backoff.next();
    if (!m_lost) {
        warn(m_name + ": " + reason + ": trying again; events wait");
    }
    m_lost = true;
}

void MqttLink::attend(int wake, milliseconds longest) {
    if (m_state == State::Pausing && Clock::now() >= m_due) {
        connect();
    }
    wait(wake, longest);
    if (m_state == State::Pausing) {
        return;
    }
    const int code = mosquitto_loop(m_client.get(), 0, 1);
    if (code != MOSQ_ERR_SUCCESS) {
        lose(reasonOf(code));
    } else if (m_state == State::Connecting && Clock::now() >= m_due) {
        mosquitto_disconnect(m_client.get());
        lose("it does not answer");
    }
}

bool MqttLink::wantsToWrite() const {
    return mosquitto_want_write(m_client.get()) ||
           (m_state == State::Connecting && !isEstablished(mosquitto_socket(m_client.get())));
}

void MqttLink::wait(int wake, milliseconds longest) const {
    // Rounded up, so that a time that has come has come.
    const auto left = [this] {
        return std::max(std::chrono::ceil<milliseconds>(m_due - Clock::now()), milliseconds(0));
    };
    std::array<pollfd, 2> files{pollfd{wake, POLLIN, 0}, pollfd{-1, POLLIN, 0}};
    milliseconds time = std::min(longest, kHeartbeat);
    if (m_state != State::Connected) {
        time = std::min(m_state == State::Pausing ? longest : time, left());
    }
    if (m_state != State::Pausing) {
        files[1].fd = mosquitto_socket(m_client.get());
        files[1].events = static_cast<short>(POLLIN | (wantsToWrite() ? POLLOUT : 0));
    }
    poll(files.data(), files.size(), static_cast<int>(time.count()));
}

void MqttLink::close() {
    if (connected()) {
        mosquitto_disconnect(m_client.get());
    }
}

} // namespace hostcam
