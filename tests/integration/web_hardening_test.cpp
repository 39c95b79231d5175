// What the web server lets through to the application and the camera, and what it says to browsers.
// No application runs behind it: what is let through finds nobody (503).

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/http_client.h"
#include "tests/support/web_server.h"

using testing_support::HttpAnswer;
using testing_support::readFile;
using testing_support::WebServer;

namespace {

constexpr long kLetThrough = 503;
constexpr long kRefused = 403;

/// The policy that the page's own file states.
std::string policyOfThePage() {
    const std::string file = readFile(std::filesystem::path(ZM_ROOT) / "web" / "index.html");
    const std::string begin = "content=\"default-src";
    const std::size_t at = file.find(begin) + begin.find("default");
    return file.substr(at, file.find('"', at) - at);
}

class WebHardeningTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!WebServer::isInstalled()) {
            GTEST_SKIP() << "there is no lighttpd on this machine";
        }
        m_server.emplace(ZM_ROOT, "/nowhere/application.socket");
        std::ofstream(m_server->html() / "index.html") << "<p>the page</p>";
    }

    HttpAnswer send(const std::string& address, const std::string& method,
                    const std::vector<std::string>& headers = {}) {
        return m_client.send(m_server->url() + address,
                             {method, method == "POST" ? "x" : "", headers});
    }

    [[nodiscard]] long api(const std::string& method, const std::vector<std::string>& headers) {
        return send(std::string(WebServer::kApi) + "?action=clear_logfile", method, headers).status;
    }

    std::optional<WebServer> m_server;
    testing_support::HttpClient m_client;
    const std::string m_page = "/local/zerith_markers/index.html";
};

TEST_F(WebHardeningTest, TheApiTakesGetAndPostOnly) {
    EXPECT_EQ(api("GET", {}), kLetThrough);
    EXPECT_EQ(api("POST", {}), kLetThrough);
    for (const char* const method :
         {"HEAD", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE", "PROPFIND"}) {
        EXPECT_EQ(api(method, {}), kRefused) << method;
    }
}

TEST_F(WebHardeningTest, ThePageAndTheCameraTakeGetAndHeadOnly) {
    EXPECT_EQ(send(m_page, "GET").status, 200);
    EXPECT_EQ(send(m_page, "HEAD").status, 200);
    EXPECT_EQ(send("/axis-cgi/param.cgi?action=list", "GET").status, kLetThrough);
    for (const char* const method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE"}) {
        EXPECT_EQ(send(m_page, method).status, kRefused) << method;
        EXPECT_EQ(send("/axis-cgi/param.cgi", method).status, kRefused) << method;
    }
}

TEST_F(WebHardeningTest, ARequestThatAnotherSitesPageMakesIsRefusedWhateverItAsks) {
    for (const char* const method : {"GET", "POST"}) {
        EXPECT_EQ(api(method, {"Sec-Fetch-Site: cross-site"}), kRefused);
        // Another port of this machine, for example.
        EXPECT_EQ(api(method, {"Sec-Fetch-Site: same-site"}), kRefused);
        EXPECT_EQ(api(method, {"Sec-Fetch-Site: same-origin"}), kLetThrough);
        EXPECT_EQ(api(method, {"Sec-Fetch-Site: none"}), kLetThrough); // typed by a person
    }
    // The page itself may be led to from anywhere.
    EXPECT_EQ(send(m_page, "GET", {"Sec-Fetch-Site: cross-site"}).status, 200);
}

TEST_F(WebHardeningTest, NoWayOfWritingTheAddressLeadsPastTheRefusal) {
    for (const char* const address :
         {"/local/zerith_markers/zerith_markers.cgi/more",
          "/local/zerith_markers//zerith_markers.cgi", "/local/zerith_markers/zerith_markers%2ecgi",
          "/local/zerith%5fmarkers/zerith_markers.cgi?action=x",
          "/local/./zerith_markers/zerith_markers.cgi",
          "/local/zerith_markers/zerith_markers.cgi%3faction=x"}) {
        EXPECT_NE(send(address, "GET", {"Sec-Fetch-Site: cross-site"}).status, kLetThrough)
            << address;
    }
}

TEST_F(WebHardeningTest, ARequestOfAnotherOriginIsRefusedAlsoWithoutThatMark) {
    EXPECT_EQ(api("POST", {"Origin: http://127.0.0.1:8080"}), kLetThrough);
    EXPECT_EQ(api("POST", {"Origin: http://localhost:8080"}), kLetThrough);
    for (const char* const origin :
         {"null", "http://elsewhere.example", "http://127.0.0.1.elsewhere.example",
          "http://localhost.elsewhere", "file://", "http://elsewhere.example#http://localhost"}) {
        EXPECT_EQ(api("POST", {std::string("Origin: ") + origin}), kRefused) << origin;
    }
}

TEST_F(WebHardeningTest, ANameThatSomebodyElseHasMadeLeadHereIsRefused) {
    for (const char* const name :
         {"elsewhere.example", "elsewhere.example:8080", "127.0.0.1.elsewhere.example"}) {
        EXPECT_EQ(api("GET", {std::string("Host: ") + name}), kRefused) << name;
        EXPECT_EQ(send(m_page, "GET", {std::string("Host: ") + name}).status, kRefused) << name;
    }
    for (const char* const name : {"localhost", "localhost:9000", "127.0.0.1", "[::1]:8080"}) {
        EXPECT_EQ(send(m_page, "GET", {std::string("Host: ") + name}).status, 200) << name;
    }
}

TEST_F(WebHardeningTest, TheSocketIsNotServedAsAFileAndFoldersAreNotListed) {
    const std::string path = m_server->html() / "zerith_markers_fcgi.socket";
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
        << path;
    EXPECT_EQ(send("/local/zerith_markers/zerith_markers_fcgi.socket", "GET").status, kRefused);
    close(listener);
    std::filesystem::create_directory(m_server->html() / "assets");
    EXPECT_EQ(send("/local/zerith_markers/assets/", "GET").status, kRefused);
}

TEST_F(WebHardeningTest, NoFileOutsideThePageFolderIsServed) {
    std::filesystem::create_symlink("/etc/passwd", m_server->html() / "link.txt");
    EXPECT_EQ(send("/local/zerith_markers/link.txt", "GET").status, kRefused);
    EXPECT_EQ(send("/local/zerith_markers/%2e%2e/lighttpd.conf", "GET").status, 404);
    EXPECT_EQ(send("/lighttpd.conf", "GET").status, 404);
}

TEST_F(WebHardeningTest, AHeaderBeyondEightKilobytesIsRefused) {
    EXPECT_EQ(send(m_page, "GET", {"X-Long: " + std::string(9000, 'x')}).status, 431);
}

TEST_F(WebHardeningTest, ThePageComesWithThePolicyThatItStatesAndInNobodysFrame) {
    const HttpAnswer page = send(m_page, "GET");
    EXPECT_EQ(page.header("Content-Security-Policy"),
              policyOfThePage() + "; frame-ancestors 'none'");
    EXPECT_EQ(page.header("X-Frame-Options"), "DENY");
    EXPECT_EQ(page.header("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(page.header("Referrer-Policy"), "no-referrer");
    EXPECT_EQ(page.header("Cross-Origin-Resource-Policy"), "same-origin");
    EXPECT_EQ(page.header("Cache-Control"), "no-cache");
    EXPECT_EQ(page.header("Server"), "");
}

TEST_F(WebHardeningTest, AnswersOfTheApiAndTheCameraCanDoNothingInABrowser) {
    for (const std::string& address :
         {std::string(WebServer::kApi), std::string("/axis-cgi/param.cgi")}) {
        const HttpAnswer answer = send(address, "GET");
        EXPECT_EQ(answer.header("Content-Security-Policy"),
                  "default-src 'none'; frame-ancestors 'none'; sandbox");
        EXPECT_EQ(answer.header("X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(answer.header("Cross-Origin-Resource-Policy"), "same-origin");
        EXPECT_EQ(answer.header("Access-Control-Allow-Origin"), "");
    }
    EXPECT_EQ(send(WebServer::kApi, "GET").header("Cache-Control"), "no-store");
}

} // namespace
