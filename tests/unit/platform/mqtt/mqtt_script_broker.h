#pragma once

// A broker that does just what a test says: each packet is taken and answered by hand, so that a
// test can keep silent, go away in the middle, or refuse. It speaks as much of MQTT 3.1.1 as the
// host camera does.

#include <chrono>
#include <string>

#include "platform/hostcam/descriptor.h"

namespace testing_support {

/// A packet from a client.
struct MqttPacket {
    enum Type { Connect = 1, Publish = 3, PubAck = 4, PubRel = 6, PingReq = 12, Disconnect = 14 };

    int type = 0; ///< 0: the client has ended the connection
    int flags = 0;
    std::string body; ///< what follows the length

    [[nodiscard]] bool isResent() const { return (flags & 8) != 0; }
    [[nodiscard]] int qos() const { return (flags >> 1) & 3; }
    [[nodiscard]] bool isRetained() const { return (flags & 1) != 0; }

    /// Of a Publish.
    [[nodiscard]] std::string topic() const;
    [[nodiscard]] std::string payload() const;

    /// Of a Publish above quality of service 0, or of an answer.
    [[nodiscard]] int id() const;
};

/// A client's connection.
class MqttConnection {
  public:
    explicit MqttConnection(hostcam::Descriptor socket) : m_socket(std::move(socket)) {}

    /// Waits for the next packet. @throws std::runtime_error after a minute without one
    [[nodiscard]] MqttPacket read() const;

    /// The same, which must be a Publish.
    [[nodiscard]] MqttPacket readPublish() const;

    void accept(int code = 0) const; ///< CONNACK
    void pubAck(int id) const { answer(0x40, id); }
    void pubRec(int id) const { answer(0x50, id); }
    void pubComp(int id) const { answer(0x70, id); }

    /// Confirms a message as its quality of service wants it.
    void confirm(const MqttPacket& publish) const;

    void close() { m_socket = hostcam::Descriptor(); }

  private:
    void answer(int type, int id) const;
    void write(const std::string& bytes) const;
    [[nodiscard]] bool readExactly(std::string& bytes, std::size_t count) const;

    hostcam::Descriptor m_socket;
};

/// Listens from the beginning.
class MqttScriptBroker {
  public:
    MqttScriptBroker();

    /// For the configuration's broker=.
    [[nodiscard]] std::string address() const;

    /// Waits for a client. @throws std::runtime_error after a minute without one
    [[nodiscard]] MqttConnection next() const;

    /// The same, and takes and accepts its Connect.
    [[nodiscard]] MqttConnection nextAccepted() const;

  private:
    hostcam::Descriptor m_socket;
    int m_port = 0;
};

} // namespace testing_support
