#pragma once

// The real program with its web API, as tests of that API need it: small pictures, and questions
// straight to its socket or through a real web server.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/application_process.h"
#include "tests/support/fcgi_client.h"
#include "tests/support/http_client.h"
#include "tests/support/web_server.h"

namespace testing_support {

/// What a plain-text action answers.
inline std::string plainText(const std::string& body) {
    return "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n" + body;
}

inline const std::string kDone = "Status: 200 OK\r\n\r\n";
inline const std::string kBadRequest = "Status: 400 Bad Request\r\n\r\n";

/// The program on pictures of 320x180, with nothing in front of it. Tests set up what they want and
/// then begin().
class ServiceTest : public testing::Test {
  protected:
    using Parameters = std::map<std::string, std::string>;

    static constexpr std::chrono::seconds kPatience{30};

    explicit ServiceTest(const char* program = ZM_PROGRAM) : m_program(program) {
        m_program.configure("camera", "resolutions", "320x180");
    }

    /// Starts the program and waits until it serves and its first tick is over.
    void begin() {
        const auto before = std::chrono::steady_clock::now();
        m_program.start();
        ASSERT_TRUE(m_program.waitForMainLoop(kPatience)) << m_program.log() << m_program.output();
        ASSERT_TRUE(m_program.waitUntil(
            [&] { return std::filesystem::exists(m_program.socket()) && hasTicked(); }, kPatience))
            << m_program.log() << m_program.output();
        m_startUp = std::chrono::steady_clock::now() - before;
    }

    void end() {
        m_program.signal(SIGTERM);
        const auto end = m_program.waitForEnd(mostTimeToStop());
        ASSERT_TRUE(end.has_value()) << "still runs";
        EXPECT_TRUE(end->exited);
        EXPECT_EQ(end->status, 0);
    }

    /// Two seconds; more where a start-up shows that the program is checked by a sanitizer or the
    /// machine is busy.
    [[nodiscard]] std::chrono::milliseconds mostTimeToStop() const {
        constexpr std::chrono::milliseconds kLimit{2000};
        const auto ten = std::chrono::duration_cast<std::chrono::milliseconds>(10 * m_startUp);
        return m_startUp > kLimit / 4 ? ten : kLimit;
    }

    static Parameters request(const std::string& method, const std::string& query) {
        return {{"REQUEST_METHOD", method}, {"REQUEST_URI", WebServer::kApi + query}};
    }

    static Parameters postRequest(const std::string& action, const std::string& length) {
        Parameters values = request("POST", "?action=" + action);
        values["CONTENT_LENGTH"] = length;
        return values;
    }

    [[nodiscard]] std::string ask(const Parameters& values, const std::string& body = "") const {
        return FcgiClient::ask(m_program.socket(), values, body).value_or("(no answer)");
    }

    [[nodiscard]] std::string get(const std::string& action) const {
        return ask(request("GET", "?action=" + action));
    }

    [[nodiscard]] std::string post(const std::string& action, const std::string& body) const {
        return ask(postRequest(action, std::to_string(body.size())), body);
    }

    /// How often a text stands in the log file. Only warnings and errors stand there at once.
    [[nodiscard]] int logged(const std::string& text) const {
        const std::string log = m_program.log();
        int count = 0;
        for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    ApplicationProcess m_program;

  private:
    [[nodiscard]] bool hasTicked() const {
        try {
            return get("get_status_code").starts_with(kDone.substr(0, kDone.size() - 2)) &&
                   get("get_status_code") != plainText("100");
        } catch (const std::runtime_error&) {
            return false; // nobody listens yet
        }
    }

    std::chrono::nanoseconds m_startUp{0};
};

/// The same with a web server in front.
class WebServerTest : public ServiceTest {
  protected:
    void SetUp() override {
        if (!WebServer::isInstalled()) {
            GTEST_SKIP() << "there is no lighttpd on this machine";
        }
    }

    void begin() {
        ServiceTest::begin();
        if (!HasFatalFailure()) {
            m_server.emplace(ZM_ROOT, m_program.socket());
        }
    }

    [[nodiscard]] std::string address(const std::string& query) const {
        return m_server->api() + query;
    }

    HttpAnswer web(const std::string& action) { return m_client.get(address("?action=" + action)); }

    HttpAnswer webPost(const std::string& action, const std::string& body) {
        return m_client.post(address("?action=" + action), body);
    }

    std::optional<WebServer> m_server;
    HttpClient m_client;
};

} // namespace testing_support
