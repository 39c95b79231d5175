#include "tests/unit/platform/mqtt/mqtt_script_broker.h"

#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace testing_support {
namespace {

using hostcam::Descriptor;

constexpr int kPatience = 60'000; // milliseconds

void require(bool done, const char* what) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void waitFor(int socket, const char* what) {
    pollfd file{socket, POLLIN, 0};
    if (poll(&file, 1, kPatience) != 1) {
        throw std::runtime_error(std::string("no ") + what + " for a minute");
    }
}

int number(const std::string& bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes.at(at)) * 256 +
           static_cast<unsigned char>(bytes.at(at + 1));
}

} // namespace

std::string MqttPacket::topic() const {
    return body.substr(2, static_cast<std::size_t>(number(body, 0)));
}

std::string MqttPacket::payload() const {
    return body.substr(2 + topic().size() + (qos() > 0 ? 2 : 0));
}

int MqttPacket::id() const {
    return number(body, type == Publish ? 2 + topic().size() : 0);
}

MqttPacket MqttConnection::read() const {
    MqttPacket packet;
    std::string bytes;
    if (!readExactly(bytes, 1)) {
        return packet;
    }
    packet.type = static_cast<unsigned char>(bytes[0]) >> 4;
    packet.flags = bytes[0] & 15;
    std::size_t length = 0;
    for (int shift = 0; shift < 28; shift += 7) {
        if (!readExactly(bytes, 1)) {
            return {};
        }
        length |= static_cast<std::size_t>(bytes[0] & 127) << shift;
        if ((bytes[0] & 128) == 0) {
            break;
        }
    }
    return readExactly(packet.body, length) ? packet : MqttPacket{};
}

MqttPacket MqttConnection::readPublish() const {
    MqttPacket packet = read();
    if (packet.type != MqttPacket::Publish) {
        throw std::runtime_error("a packet of type " + std::to_string(packet.type) +
                                 " instead of a message");
    }
    return packet;
}

void MqttConnection::accept(int code) const {
    write({0x20, 2, 0, static_cast<char>(code)});
}

void MqttConnection::confirm(const MqttPacket& publish) const {
    if (publish.qos() == 1) {
        pubAck(publish.id());
    } else if (publish.qos() == 2) {
        pubRec(publish.id());
        if (read().type != MqttPacket::PubRel) {
            throw std::runtime_error("no release of a message that was received");
        }
        pubComp(publish.id());
    }
}

void MqttConnection::answer(int type, int id) const {
    write({static_cast<char>(type), 2, static_cast<char>(id / 256), static_cast<char>(id % 256)});
}

void MqttConnection::write(const std::string& bytes) const {
    require(send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(bytes.size()),
            "send");
}

/// @return false when the client has ended the connection
bool MqttConnection::readExactly(std::string& bytes, std::size_t count) const {
    bytes.assign(count, '\0');
    for (std::size_t done = 0; done < count;) {
        waitFor(m_socket.get(), "packet");
        const ssize_t got = recv(m_socket.get(), bytes.data() + done, count - done, 0);
        if (got <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(got);
    }
    return true;
}

MqttScriptBroker::MqttScriptBroker() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    require(bind(m_socket.get(), plain, size) == 0, "bind");
    require(listen(m_socket.get(), 16) == 0, "listen");
    require(getsockname(m_socket.get(), plain, &size) == 0, "getsockname");
    m_port = ntohs(address.sin_port);
}

std::string MqttScriptBroker::address() const {
    return "127.0.0.1:" + std::to_string(m_port);
}

MqttConnection MqttScriptBroker::next() const {
    waitFor(m_socket.get(), "client");
    Descriptor client(accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
    require(static_cast<bool>(client), "accept");
    return MqttConnection(std::move(client));
}

MqttConnection MqttScriptBroker::nextAccepted() const {
    MqttConnection connection = next();
    if (connection.read().type != MqttPacket::Connect) {
        throw std::runtime_error("a client does not begin with its name");
    }
    connection.accept();
    return connection;
}

} // namespace testing_support
