#include "tests/support/fcgi_client.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace testing_support {
namespace {

constexpr int kDeadlineMilliseconds = 10000;

std::string bigEndian16(std::size_t value) {
    return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}

std::string lengthOf(const std::string& text) {
    if (text.size() < 128) {
        return {static_cast<char>(text.size())};
    }
    const std::size_t marked = text.size() | 0x80000000U;
    return bigEndian16(marked >> 16) + bigEndian16(marked & 0xFFFF);
}

} // namespace

FcgiClient::FcgiClient(const std::string& path) : m_socket(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    // For connecting too, which waits while others wait to be accepted.
    const timeval deadline{kDeadlineMilliseconds / 1000, 0};
    setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &deadline, sizeof deadline);
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int failure = errno;
        close(m_socket);
        throw std::runtime_error("connect: " + std::string(strerrordesc_np(failure)));
    }
}

FcgiClient::~FcgiClient() {
    close(m_socket);
}

bool FcgiClient::raw(const std::string& bytes) const {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t now = send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (now <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(now);
    }
    return true;
}

std::string FcgiClient::recordOf(std::uint8_t type, const std::string& content) {
    const std::string begin = {1, static_cast<char>(type), 0, 1};
    return begin + bigEndian16(content.size()) + std::string(2, '\0') + content;
}

std::string FcgiClient::beginning() {
    std::string responder(8, '\0');
    responder[1] = 1;
    return recordOf(kBegin, responder);
}

std::string FcgiClient::parametersOf(const std::map<std::string, std::string>& values) {
    std::string content;
    for (const auto& [name, value] : values) {
        content += lengthOf(name) + lengthOf(value) + name + value;
    }
    return content.empty() ? "" : recordOf(kParameters, content);
}

std::string FcgiClient::inputOf(const std::string& data) {
    constexpr std::size_t kMostInARecord = 65535;
    std::string records;
    for (std::size_t sent = 0; sent < data.size(); sent += kMostInARecord) {
        records += recordOf(kInput, data.substr(sent, kMostInARecord));
    }
    return records;
}

std::string FcgiClient::bytesOf(const std::map<std::string, std::string>& values,
                                const std::string& body) {
    return beginning() + parametersOf(values) + recordOf(kParameters, "") + inputOf(body) +
           recordOf(kInput, "");
}

std::optional<std::string> FcgiClient::read(std::size_t size) const {
    std::string bytes(size, '\0');
    std::size_t got = 0;
    while (got < size) {
        pollfd waiting{m_socket, POLLIN, 0};
        if (poll(&waiting, 1, kDeadlineMilliseconds) != 1) {
            return std::nullopt;
        }
        const ssize_t now = recv(m_socket, bytes.data() + got, size - got, 0);
        if (now <= 0) {
            return std::nullopt;
        }
        got += static_cast<std::size_t>(now);
    }
    return bytes;
}

std::optional<std::string> FcgiClient::answer() const {
    std::string output;
    for (;;) {
        const std::optional<std::string> header = read(8);
        if (!header) {
            return std::nullopt;
        }
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>((*header)[i]); };
        const std::size_t size = byte(4) * 256U + byte(5);
        const std::optional<std::string> content = read(size + byte(6));
        if (!content) {
            return std::nullopt;
        }
        if (byte(1) == kEnd) {
            return output;
        }
        if (byte(1) == kOutput) {
            output += content->substr(0, size);
        }
    }
}

std::optional<std::string> FcgiClient::ask(const std::string& path,
                                           const std::map<std::string, std::string>& values,
                                           const std::string& body) {
    const FcgiClient client(path);
    // A service that has hung up has answered before: an answer may need no body.
    static_cast<void>(client.raw(bytesOf(values, body)));
    return client.answer();
}

} // namespace testing_support
