// The web service on the real FastCGI library and its real socket: what comes over the wire, peers
// that behave badly, and the end of the service.

#include <atomic>
#include <cstdint>
#include <ctime>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/fastcgi_service.h"
#include "tests/support/fcgi_client.h"
#include "tests/support/log_lines.h"
#include "tests/support/private_package_folder.h"
#include "tests/unit/outputs/web_service_modules.h"

namespace {

/// Time-outs of sockets are divided by this, so that no test waits for a whole one.
std::atomic<int> s_timeoutDivisor = 1;
std::atomic<int> s_timeoutsSet = 0; ///< by the service: the test's own thread is the peer's
const std::thread::id s_testThread = std::this_thread::get_id();

/// How often something has been waited for in vain.
std::atomic<int> s_vainWaits = 0;

} // namespace

/// Stands in for the system's: the same, with the time-outs divided.
int setsockopt(int fd, int level, int optname, const void* optval, socklen_t optlen) noexcept {
    timeval shorter{};
    if (level == SOL_SOCKET && (optname == SO_RCVTIMEO || optname == SO_SNDTIMEO)) {
        const auto* const given = static_cast<const timeval*>(optval);
        const long microseconds =
            (given->tv_sec * 1000000L + given->tv_usec) / s_timeoutDivisor.load();
        shorter = {microseconds / 1000000L, microseconds % 1000000L};
        optval = &shorter;
        s_timeoutsSet += std::this_thread::get_id() == s_testThread ? 0 : 1;
    }
    return static_cast<int>(syscall(SYS_setsockopt, fd, level, optname, optval, optlen));
}

/// The same for timers.
int timer_settime(timer_t timerid, int flags, const itimerspec* value,
                  itimerspec* ovalue) noexcept {
    const auto divided = [](const timespec& time) {
        const long nanoseconds =
            (time.tv_sec * 1000000000L + time.tv_nsec) / s_timeoutDivisor.load();
        return timespec{nanoseconds / 1000000000L, nanoseconds % 1000000000L};
    };
    const itimerspec shorter{divided(value->it_interval), divided(value->it_value)};
    const auto id = static_cast<int>(reinterpret_cast<std::intptr_t>(timerid));
    return static_cast<int>(syscall(SYS_timer_settime, id, flags, &shorter, ovalue));
}

/// The same, with the waits counted that nothing ended but their time-out.
int poll(pollfd* descriptors, nfds_t count, int timeout) {
    constexpr int kThousand = 1000;
    const timespec limit{timeout / kThousand, timeout % kThousand * 1000000L};
    const auto ready = static_cast<int>(
        syscall(SYS_ppoll, descriptors, count, timeout < 0 ? nullptr : &limit, nullptr, 0));
    s_vainWaits += ready == 0 ? 1 : 0;
    return ready;
}

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing_support::FcgiClient;
using testing_support::logLines;
using testing_support::PrivatePackageFolder;
using Parameters = std::map<std::string, std::string>;

const std::string kPath = PrivatePackageFolder::kHtml / "zerith_markers_fcgi.socket";
const std::string kStatusAnswer = "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n200";

class FastcgiSocketTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { s_obstacle = PrivatePackageFolder::make(); }

    void SetUp() override {
        if (!s_obstacle.empty()) {
            GTEST_SKIP() << "The package folder cannot be made here: " << s_obstacle;
        }
        s_timeoutDivisor = 1;
        web_service_modules::reset();
        ASSERT_EQ(m_service.init(), 0);
        m_thread = std::thread([this] { m_runResult = m_service.run(); });
    }

    void TearDown() override {
        if (m_thread.joinable()) {
            EXPECT_TRUE(m_service.stop(seconds(20)));
            m_thread.join();
            EXPECT_EQ(m_runResult, 0);
        }
    }

    static Parameters get(const std::string& action) {
        return {{"REQUEST_URI", "/x?action=" + action}, {"REQUEST_METHOD", "GET"}};
    }

    static Parameters post(const std::string& action, std::size_t length) {
        return {{"REQUEST_URI", "/x?action=" + action},
                {"REQUEST_METHOD", "POST"},
                {"CONTENT_LENGTH", std::to_string(length)}};
    }

    static void expectService() {
        EXPECT_EQ(FcgiClient::ask(kPath, get("get_status_code")), kStatusAnswer);
    }

    static web_service_modules::World& modules() { return web_service_modules::world(); }

    static inline std::string s_obstacle;
    fastcgi_service m_service;
    std::thread m_thread;
    int m_runResult = -1;
};

// Over the wire.

TEST_F(FastcgiSocketTest, EveryUserMayConnect) {
    struct stat status {};
    ASSERT_EQ(stat(kPath.c_str(), &status), 0);

    EXPECT_EQ(status.st_mode & 07777U, 0777U);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
}

TEST_F(FastcgiSocketTest, AnActionIsAnsweredByteForByte) {
    expectService();
    EXPECT_EQ(FcgiClient::ask(kPath, get("nonsense")),
              "Status: 200 OK\r\nStatus: 400 Bad Request\r\n\r\nInvalid action");
    EXPECT_EQ(FcgiClient::ask(kPath, get("get_status_code&action=get_is_portrait")),
              kStatusAnswer + "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n0");
}

TEST_F(FastcgiSocketTest, ABareTextIsAllThatAnswersARequestOfNoSense) {
    EXPECT_EQ(FcgiClient::ask(kPath, {{"REQUEST_URI", "http://[::1"}, {"REQUEST_METHOD", "GET"}}),
              "Failed to parse URI");
    EXPECT_EQ(FcgiClient::ask(kPath, {{"REQUEST_URI", "/x"}, {"REQUEST_METHOD", "GET"}}),
              "Failed to parse query");
    EXPECT_EQ(FcgiClient::ask(
                  kPath, {{"REQUEST_URI", "/x?action=get_status_code"}, {"REQUEST_METHOD", "PUT"}}),
              "Only GET and POST supported. Method PUT not supported");
    EXPECT_EQ(FcgiClient::ask(kPath, {{"REQUEST_URI", "/x?a=b"}, {"REQUEST_METHOD", "GET"}}), "");
    EXPECT_EQ(FcgiClient::ask(kPath, {}), "Failed to parse URI");
}

TEST_F(FastcgiSocketTest, AnAnswerOfTwoMebibytesArrivesWhole) {
    std::string document(2097152, '\0');
    for (std::size_t i = 0; i < document.size(); ++i) {
        document[i] = static_cast<char>('!' + i % 90);
    }
    modules().parameters = [&] { return document; };

    EXPECT_EQ(FcgiClient::ask(kPath, get("get_all_parameters")),
              "Status: 200 OK\r\nContent-Type: text/xml\r\n\r\n" + document);
}

TEST_F(FastcgiSocketTest, ABodyOfOneMebibyteArrivesWhole) {
    const std::string body(1048576, 'x');

    EXPECT_EQ(FcgiClient::ask(kPath, post("set_post_parameters", body.size()), body),
              "Status: 200 OK\r\n\r\n");

    EXPECT_TRUE(modules().bodies == std::vector<std::string>{body});
}

TEST_F(FastcgiSocketTest, ALongerBodyIsABadRequestAndTheNextOneIsServed) {
    const std::string body(1048577, 'x');
    EXPECT_EQ(FcgiClient::ask(kPath, post("set_post_parameters", 1048577), "short"),
              "Status: 400 Bad Request\r\n\r\n");
    // The service answers and hangs up before all of this is sent.
    static_cast<void>(FcgiClient::ask(kPath, post("set_post_parameters", body.size()), body));

    expectService();
}

TEST_F(FastcgiSocketTest, ABodyThatEndsEarlyIsFilledUp) {
    EXPECT_EQ(FcgiClient::ask(kPath, post("set_post_parameters", 6), "abc"),
              "Status: 200 OK\r\n\r\n");

    EXPECT_EQ(modules().bodies, std::vector<std::string>{"abc\xff\xff\xff"});
}

TEST_F(FastcgiSocketTest, TheSecondPostActionOfARequestFindsTheBodyAlreadyRead) {
    EXPECT_EQ(
        FcgiClient::ask(kPath, post("set_post_parameters&action=set_post_parameters", 3), "abc"),
        "Status: 200 OK\r\n\r\nStatus: 200 OK\r\n\r\n");

    EXPECT_EQ(modules().bodies, (std::vector<std::string>{"abc", "\xff\xff\xff"}));
}

TEST_F(FastcgiSocketTest, AnExceptionIsLoggedAndTheNextRequestIsServed) {
    modules().parameters = []() -> std::string { throw std::runtime_error("broken"); };

    EXPECT_EQ(FcgiClient::ask(kPath, get("get_all_parameters")), "Status: 200 OK\r\n");
    expectService();

    EXPECT_THAT(logLines(), testing::Contains("error|run: Request failed: broken"));
}

// Bad peers.

TEST_F(FastcgiSocketTest, APeerThatVanishesAtAnyPointDoesNotEndTheService) {
    { const FcgiClient client(kPath); }
    {
        const FcgiClient client(kPath);
        EXPECT_TRUE(client.raw("\x01"));
    }
    {
        const FcgiClient client(kPath);
        EXPECT_TRUE(client.begin());
    }
    {
        const FcgiClient client(kPath);
        EXPECT_TRUE(client.begin() && client.parameters(get("get_status_code")));
    }
    {
        const FcgiClient client(kPath);
        EXPECT_TRUE(client.begin() && client.parameters(post("set_post_parameters", 1000)) &&
                    client.endOfParameters() && client.input("only this"));
    }
    {
        const FcgiClient client(kPath);
        EXPECT_TRUE(client.begin() && client.parameters(get("get_status_code")) &&
                    client.endOfParameters() && client.endOfInput());
    }
    expectService();
}

TEST_F(FastcgiSocketTest, APeerThatVanishesWhileItIsAnsweredDoesNotEndTheService) {
    modules().parameters = [] { return std::string(4194304, 'x'); };
    {
        const FcgiClient client(kPath);
        EXPECT_TRUE(client.begin() && client.parameters(get("get_all_parameters")) &&
                    client.endOfParameters() && client.endOfInput());
    }
    expectService();
}

TEST_F(FastcgiSocketTest, BytesThatAreNoFastcgiDoNotEndTheService) {
    for (const std::string& bytes : {std::string("GET / HTTP/1.1\r\n\r\n"),
                                     std::string(1000, '\xff'), std::string(1000, '\0')}) {
        const FcgiClient client(kPath);
        EXPECT_TRUE(client.raw(bytes));
    }
    expectService();
}

TEST_F(FastcgiSocketTest, APeerThatSaysNothingDoesNotHoldUpTheNext) {
    const FcgiClient silent(kPath);

    expectService();
}

TEST_F(FastcgiSocketTest, PeersThatStopInTheirParametersAndStayAreGivenUpOneAfterTheOther) {
    s_timeoutDivisor = 100;
    expectService();
    const std::string bytes = FcgiClient::bytesOf(get("get_status_code"), "");
    const FcgiClient first(kPath);
    const FcgiClient second(kPath);
    const FcgiClient third(kPath);
    ASSERT_TRUE(first.raw(bytes.substr(0, 3)) && second.raw(bytes.substr(0, 16)) &&
                third.raw(bytes.substr(0, 60)));

    expectService();

    EXPECT_EQ(first.answer(), std::nullopt);
}

TEST_F(FastcgiSocketTest, APeerThatSendsItsParametersSlowlyButInTimeIsAnswered) {
    const std::string bytes = FcgiClient::bytesOf(get("get_status_code"), "");
    const FcgiClient client(kPath);
    for (const char byte : bytes) {
        ASSERT_TRUE(client.raw(std::string(1, byte)));
        std::this_thread::yield();
    }

    EXPECT_EQ(client.answer(), kStatusAnswer);
}

TEST_F(FastcgiSocketTest, APeerThatStaysConnectedIsServedAgain) {
    // The request says so in the flags of its first record.
    std::string bytes = FcgiClient::bytesOf(get("get_status_code"), "");
    bytes[10] = 1;
    const FcgiClient client(kPath);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(client.raw(bytes));
        EXPECT_EQ(client.answer(), kStatusAnswer);
    }
}

TEST_F(FastcgiSocketTest, APeerThatStopsInTheMiddleOfItsBodyIsGivenUp) {
    s_timeoutDivisor = 100;
    const FcgiClient stalled(kPath);
    ASSERT_TRUE(stalled.begin() && stalled.parameters(post("set_post_parameters", 5)) &&
                stalled.endOfParameters() && stalled.input("abc"));

    expectService();

    EXPECT_EQ(modules().bodies, std::vector<std::string>{"abc\xff\xff"});
}

TEST_F(FastcgiSocketTest, APeerThatDoesNotReadItsAnswerIsGivenUp) {
    s_timeoutDivisor = 100;
    modules().parameters = [] { return std::string(8388608, 'x'); };
    const FcgiClient stalled(kPath);
    ASSERT_TRUE(stalled.begin() && stalled.parameters(get("get_all_parameters")) &&
                stalled.endOfParameters() && stalled.endOfInput());

    expectService();
}

TEST_F(FastcgiSocketTest, EveryConnectionGetsItsTimeOuts) {
    const int before = s_timeoutsSet;
    expectService();
    EXPECT_EQ(s_timeoutsSet - before, 2);
}

TEST_F(FastcgiSocketTest, TenThousandConnectionsInARowAreAllAnswered) {
    int wrong = 0;
    for (int i = 0; i < 10000; ++i) {
        wrong += FcgiClient::ask(kPath, get("get_status_code")) == kStatusAnswer ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0);
}

// The end.

TEST_F(FastcgiSocketTest, StoppingAnIdleServiceEndsRunAtOnce) {
    expectService();

    EXPECT_TRUE(m_service.stop(seconds(20)));
    m_thread.join();

    EXPECT_EQ(m_runResult, 0);
    EXPECT_THROW(FcgiClient client(kPath), std::runtime_error);
}

TEST_F(FastcgiSocketTest, StoppingWaitsForTheRequestInProgressAndItIsAnswered) {
    std::promise<void> begun;
    std::promise<void> allowed;
    modules().parameters = [&] {
        begun.set_value();
        allowed.get_future().wait();
        return std::string("done");
    };
    auto answer = std::async(std::launch::async,
                             [] { return FcgiClient::ask(kPath, get("get_all_parameters")); });
    begun.get_future().wait();

    EXPECT_FALSE(m_service.stop(milliseconds(1)));
    allowed.set_value();
    EXPECT_TRUE(m_service.stop(seconds(20)));
    m_thread.join();

    EXPECT_EQ(answer.get(), "Status: 200 OK\r\nContent-Type: text/xml\r\n\r\ndone");
    EXPECT_EQ(m_runResult, 0);
}

TEST_F(FastcgiSocketTest, APeerThatIsNotAnsweredAnyMoreDoesNotHoldUpTheEndOfTheService) {
    EXPECT_TRUE(m_service.stop(seconds(20)));
    m_thread.join();
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    auto service = std::make_unique<fastcgi_service>();
    ASSERT_EQ(service->init(), 0);
    service->m_request.ipcFd = ends[0]; // as a request has that came right before the stop
    const int before = s_vainWaits;

    service.reset();

    EXPECT_EQ(s_vainWaits, before);
    close(ends[1]);
}

TEST_F(FastcgiSocketTest, StoppingTwiceIsHarmless) {
    EXPECT_TRUE(m_service.stop(seconds(20)));
    EXPECT_TRUE(m_service.stop(milliseconds(0)));
}

// Set-up.

TEST_F(FastcgiSocketTest, ASocketThatAnEarlierRunLeftIsReplaced) {
    EXPECT_TRUE(m_service.stop(seconds(20)));
    m_thread.join();
    ASSERT_TRUE(std::filesystem::exists(kPath));

    fastcgi_service next;
    ASSERT_EQ(next.init(), 0);
    std::thread thread([&next] { EXPECT_EQ(next.run(), 0); });
    expectService();
    EXPECT_TRUE(next.stop(seconds(20)));
    thread.join();
}

TEST_F(FastcgiSocketTest, AMissingFolderFailsInit) {
    std::filesystem::rename(PrivatePackageFolder::kHtml,
                            PrivatePackageFolder::kHtml.string() + "-away");
    testing_support::forgetLog();

    fastcgi_service other;
    EXPECT_EQ(other.init(), 1);

    std::filesystem::rename(PrivatePackageFolder::kHtml.string() + "-away",
                            PrivatePackageFolder::kHtml);
    EXPECT_THAT(logLines(), testing::Contains("error|init: FCGX_OpenSocket failed: " + kPath));
    expectService();
}

} // namespace
