#pragma once

// A web client that does just what a test tells it, with a socket of its own: whole answers, the
// parts of a video one by one, nonsense, or silence. Everything that it waits for has a deadline,
// after which the test fails.

#include <algorithm>
#include <cctype>
#include <map>
#include <stdexcept>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "platform/hostcam/descriptor.h"

namespace testing_support {

struct HttpAnswer {
    int status = 0;
    std::map<std::string, std::string> headers; ///< names in lower case
    std::string body;

    /// Empty when there is none.
    [[nodiscard]] std::string header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
};

class HttpConnection {
  public:
    /// @param receiveBuffer what the system holds of what is not read yet; 0: its own choice
    explicit HttpConnection(unsigned port, int receiveBuffer = 0)
        : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const timeval deadline{30, 0};
        setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof deadline);
        setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &deadline, sizeof deadline);
        if (receiveBuffer > 0) {
            setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0) {
            throw std::runtime_error("nobody listens on port " + std::to_string(port));
        }
    }

    /// Sends a text; one that the server no longer takes is dropped.
    void send(const std::string& text) const {
        for (std::size_t at = 0; at < text.size();) {
            const ssize_t sent =
                ::send(m_socket.get(), text.data() + at, text.size() - at, MSG_NOSIGNAL);
            if (sent <= 0) {
                return;
            }
            at += static_cast<std::size_t>(sent);
        }
    }

    void request(const std::string& target, const std::string& method = "GET") const {
        send(method + " " + target + " HTTP/1.1\r\nHost: camera\r\n\r\n");
    }

    /// Reads up to and with a text. @throws std::runtime_error when it does not come
    std::string readThrough(const std::string& end) {
        std::size_t found = m_read.find(end);
        while (found == std::string::npos) {
            readMore();
            found = m_read.find(end);
        }
        return take(found + end.size());
    }

    std::string readBytes(std::size_t count) {
        while (m_read.size() < count) {
            readMore();
        }
        return take(count);
    }

    /// Reads status and headers; the body stays to be read.
    HttpAnswer readHead() {
        const std::string head = readThrough("\r\n\r\n");
        HttpAnswer answer;
        answer.status = std::stoi(head.substr(head.find(' ') + 1));
        readHeaders(head.substr(head.find("\r\n") + 2), answer.headers);
        return answer;
    }

    HttpAnswer readAnswer() {
        HttpAnswer answer = readHead();
        const std::string length = answer.header("content-length");
        answer.body = readBytes(length.empty() ? 0 : std::stoul(length));
        return answer;
    }

    /// Reads a part of a video, from its boundary on. @return its picture
    std::string readPart() {
        if (readThrough("\r\n") != "--myboundary\r\n") {
            throw std::runtime_error("a part does not begin with the boundary");
        }
        std::map<std::string, std::string> headers;
        readHeaders(readThrough("\r\n\r\n"), headers);
        if (headers.size() != 2 || headers["content-type"] != "image/jpeg") {
            throw std::runtime_error("a part's headers are not those of a camera");
        }
        std::string picture = readBytes(std::stoul(headers.at("content-length")));
        if (readBytes(2) != "\r\n") {
            throw std::runtime_error("a part does not end with a line end");
        }
        return picture;
    }

    /// Whether the server closes the connection, after whatever it still sends.
    bool isClosed() {
        char bytes[4096];
        while (true) {
            const ssize_t count = recv(m_socket.get(), bytes, sizeof bytes, 0);
            if (count <= 0) {
                return count == 0 || errno == ECONNRESET;
            }
        }
    }

  private:
    void readMore() {
        char bytes[65536];
        const ssize_t count = recv(m_socket.get(), bytes, sizeof bytes, 0);
        if (count <= 0) {
            throw std::runtime_error(count == 0 ? "the server has closed the connection"
                                                : "the server is silent");
        }
        m_read.append(bytes, static_cast<std::size_t>(count));
    }

    std::string take(std::size_t count) {
        std::string text = m_read.substr(0, count);
        m_read.erase(0, count);
        return text;
    }

    static void readHeaders(const std::string& text, std::map<std::string, std::string>& headers) {
        for (std::size_t at = 0; text.compare(at, 2, "\r\n") != 0;) {
            const std::size_t end = text.find("\r\n", at);
            const std::size_t colon = text.find(": ", at);
            std::string name = text.substr(at, colon - at);
            std::transform(name.begin(), name.end(), name.begin(), [](unsigned char letter) {
                return static_cast<char>(std::tolower(letter));
            });
            headers[name] = text.substr(colon + 2, end - colon - 2);
            at = end + 2;
        }
    }

    hostcam::Descriptor m_socket;
    std::string m_read; ///< and not yet taken
};

/// One request on a connection of its own.
inline HttpAnswer httpGet(unsigned port, const std::string& target) {
    HttpConnection connection(port);
    connection.request(target);
    return connection.readAnswer();
}

} // namespace testing_support
