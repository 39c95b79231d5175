#pragma once

// A browser's side of HTTP, on libcurl: one request and its answer as it came. Nothing leaves the
// machine, no proxy is asked, and every wait ends after twenty seconds at the latest.

#include <string>
#include <vector>

namespace testing_support {

struct HttpAnswer {
    long status = 0;                  ///< 0: there was no answer; `problem` tells why
    std::vector<std::string> headers; ///< as they came, without the status line and line ends
    std::string body;
    std::string problem;

    /// A header's value, its name in any case; empty when it is missing.
    [[nodiscard]] std::string header(const std::string& name) const;
};

/// What a request says besides its address.
struct HttpRequest {
    std::string method = "GET";
    std::string body;
    std::vector<std::string> headers; ///< "Name: value"; "Name:" leaves out one of libcurl's own
};

/// Keeps its connection from request to request, as a browser does. One thread at a time.
class HttpClient {
  public:
    HttpClient();
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    HttpAnswer get(const std::string& url) { return send(url, {}); }
    HttpAnswer post(const std::string& url, const std::string& body) {
        return send(url, {"POST", body, {"Content-Type: text/xml"}});
    }
    HttpAnswer send(const std::string& url, const HttpRequest& request);

    /// Sends bytes to a server as they are and hangs up without waiting for an answer.
    /// @return whether they could be sent
    bool sendAndHangUp(const std::string& url, const std::string& bytes);

  private:
    void* m_handle;
};

} // namespace testing_support
