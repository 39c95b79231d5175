// The web endpoint as a server: limits, wrong requests, its start and its end.

#include <csignal>
#include <set>

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/stage_times.h"
#include "tests/unit/platform/hostcam/http_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing_support::comesTrue;
using testing_support::countOf;
using testing_support::HttpAnswer;
using testing_support::HttpConnection;

constexpr const char* kParameters = "/axis-cgi/param.cgi?action=list&group=Brand.Brand";

class HttpServerTest : public testing_support::HttpTest {};

TEST_F(HttpServerTest, WhatIsNotThereIsNotFound) {
    serve();
    for (const char* target :
         {"/", "/axis-cgi/", "/axis-cgi/jpg/image.cgi/", "/axis-cgi/jpg/image.cg",
          "/axis-cgi/mjpg/video.cgi/x", "/etc/passwd", "//"}) {
        EXPECT_EQ(get(target).status, 404) << target;
    }
}

TEST_F(HttpServerTest, OtherMethodsAreRefusedWithThoseAllowed) {
    serve();
    for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "BREW"}) {
        HttpConnection connection(server->port());
        connection.request(kImage, method);
        const HttpAnswer answer = connection.readAnswer();
        EXPECT_EQ(answer.status, 405) << method;
        EXPECT_EQ(answer.header("allow"), "GET, HEAD") << method;
    }
    HttpConnection connection(server->port());
    connection.request(kVideo, "HEAD");
    const HttpAnswer answer = connection.readHead();
    EXPECT_EQ(answer.status, 405);
    EXPECT_EQ(answer.header("allow"), "GET");
}

TEST_F(HttpServerTest, TheStagesTimesAreThereForPrometheus) {
    serve();
    EXPECT_THAT(get("/metrics").body, testing::StartsWith("# This program does not measure"));
    hostcam::addStageTime(hostcam::Stage::Detect, std::chrono::milliseconds(2));
    const HttpAnswer answer = get("/metrics");
    hostcam::resetStageTimes();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("content-type"), "text/plain; version=0.0.4");
    EXPECT_THAT(answer.body,
                HasSubstr("zerith_markers_stage_seconds_sum{stage=\"detect\"} 0.002\n"));
    HttpConnection connection(server->port());
    connection.request("/metrics", "POST");
    EXPECT_EQ(connection.readAnswer().status, 405);
}

TEST_F(HttpServerTest, ABodyIsReadPast) {
    serve();
    HttpConnection connection(server->port());
    connection.send("POST " + std::string(kParameters) +
                    " HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000\r\n\r\n" +
                    std::string(1'000'000, 'x'));
    EXPECT_EQ(connection.readAnswer().status, 405);
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(HttpServerTest, EveryAnswerEndsItsConnection) {
    serve();
    for (const char* target : {kImage, kParameters, "/nothing"}) {
        HttpConnection connection(server->port());
        connection.request(target);
        EXPECT_EQ(connection.readAnswer().header("connection"), "close") << target;
        EXPECT_TRUE(connection.isClosed()) << target;
    }
}

TEST_F(HttpServerTest, NoAnswerIsTakenForAnythingElseOrUsedByAnotherSite) {
    serve();
    for (const char* target :
         {kImage, kParameters, "/nothing", "/axis-cgi/param.cgi?action=none"}) {
        const HttpAnswer answer = get(target);
        EXPECT_EQ(answer.header("x-content-type-options"), "nosniff") << target;
        EXPECT_EQ(answer.header("cross-origin-resource-policy"), "same-origin") << target;
    }
}

struct WrongRequest {
    const char* name;
    std::string text;
};

class WrongRequestTest : public testing_support::HttpTest,
                         public testing::WithParamInterface<WrongRequest> {};

TEST_P(WrongRequestTest, GetsA400OrIsDroppedAndTheNextIsServed) {
    serve();
    HttpConnection connection(server->port());
    connection.send(GetParam().text);
    std::string status = "dropped";
    try {
        status = std::to_string(connection.readHead().status);
    } catch (const std::runtime_error&) {
        EXPECT_TRUE(connection.isClosed());
    }
    EXPECT_THAT(status, testing::AnyOf("400", "dropped"));
    EXPECT_EQ(get(kParameters).body, "root.Brand.Brand=HostCam\n");
}

std::string requestFor(const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n";
}

INSTANTIATE_TEST_SUITE_P(
    Requests, WrongRequestTest,
    testing::Values(WrongRequest{"zeroByte", requestFor("/axis-cgi/jpg/image.cgi?a=%00")},
                    WrongRequest{"brokenEscape", requestFor("/axis-cgi/jpg/image.cgi?a=%zz")},
                    WrongRequest{"brokenPath", requestFor("/%zz")},
                    WrongRequest{"repeated", requestFor("/axis-cgi/jpg/image.cgi?fps=1&fps=1")},
                    WrongRequest{"longQuery", requestFor("/axis-cgi/jpg/image.cgi?a=" +
                                                         std::string(5'000, 'b'))},
                    WrongRequest{"hugeQuery", requestFor("/axis-cgi/jpg/image.cgi?a=" +
                                                         std::string(2'000'000, 'b'))},
                    WrongRequest{"manyArguments", requestFor("/axis-cgi/param.cgi?" +
                                                             [] {
                                                                 std::string many;
                                                                 for (int i = 0; i < 500; ++i) {
                                                                     many += "a" +
                                                                             std::to_string(i) +
                                                                             "=&";
                                                                 }
                                                                 return many;
                                                             }())},
                    WrongRequest{"hugeHeaders", "GET / HTTP/1.1\r\nHost: x\r\n" +
                                                    [] {
                                                        std::string many;
                                                        for (int i = 0; i < 200'000; ++i) {
                                                            many += "a: b\r\n";
                                                        }
                                                        return many + "\r\n";
                                                    }()},
                    WrongRequest{"noHost", "GET /axis-cgi/jpg/image.cgi HTTP/1.1\r\n\r\n"},
                    WrongRequest{"zeros", std::string("\0\0\0\0\r\n\r\n", 8)},
                    WrongRequest{"noise", std::string(100'000, '\xC3') + "\r\n\r\n"}),
    [](const auto& one) { return one.param.name; });

TEST_F(HttpServerTest, MoreViewersThanAllowedAreTurnedAway) {
    hostcam::HttpOptions options;
    options.viewers = 2;
    serve(options);
    const auto held = hostcam::Camera::open();
    auto one = std::make_unique<HttpConnection>(server->port());
    one->request(kVideo);
    HttpConnection other(server->port());
    other.request(kVideo);
    (void)one->readHead();
    (void)other.readHead();
    for (const char* target : {kVideo, kImage}) {
        const HttpAnswer answer = get(target);
        EXPECT_EQ(answer.status, 503);
        EXPECT_EQ(answer.body, "Too many viewers: at most 2 can watch at the same time.\n");
    }
    EXPECT_EQ(get(kParameters).status, 200) << "whoever does not watch is served";
    one.reset();
    EXPECT_TRUE(comesTrue([&] {
        hostcam::advanceFrames(1);
        return server->viewers() == 1;
    }));
    EXPECT_EQ(get(kImage).status, 200);
}

TEST_F(HttpServerTest, MoreConnectionsThanAllowedAreClosedAtOnce) {
    hostcam::HttpOptions options;
    options.connections = 2;
    serve(options);
    const auto held = hostcam::Camera::open();
    auto one = std::make_unique<HttpConnection>(server->port());
    HttpConnection other(server->port());
    for (HttpConnection* connection : {one.get(), &other}) {
        connection->request(kVideo);
        (void)connection->readHead();
    }
    HttpConnection third(server->port());
    EXPECT_TRUE(third.isClosed());
    one.reset();
    EXPECT_TRUE(comesTrue([&] {
        hostcam::advanceFrames(1);
        try {
            return get(kParameters).status == 200;
        } catch (const std::runtime_error&) {
            return false; // still too many
        }
    }));
    EXPECT_THAT(camera.takeWarnings(),
                ElementsAre("the web endpoint has 2 connections and takes no more for now"));
}

TEST_F(HttpServerTest, ASilentClientIsDropped) {
    hostcam::HttpOptions options;
    options.silence = std::chrono::seconds(1);
    serve(options);
    HttpConnection silent(server->port());
    HttpConnection halfway(server->port());
    halfway.send("GET /axis-cgi/par");
    EXPECT_TRUE(silent.isClosed());
    EXPECT_TRUE(halfway.isClosed());
}

TEST_F(HttpServerTest, AViewerThatDoesNotReadAnyMoreIsDropped) {
    const hostcam::Size large{640, 480};
    testing_support::writeVideo(m_dir / "noise.y4m",
                                {testing_support::TestPicture::pattern(large)});
    useCamera("source=" + (m_dir / "noise.y4m").string() +
              "\nresolutions=640x480\n[viewers]\nstreams=640x480\n");
    hostcam::HttpOptions options;
    options.silence = std::chrono::seconds(1);
    serve(options);
    const auto held = hostcam::Camera::open();
    HttpConnection stuck(server->port(), 4096);
    stuck.request(kVideo + std::string("?compression=0"));
    (void)stuck.readHead();
    EXPECT_TRUE(comesTrue([&] {
        hostcam::advanceFrames(1);
        return server->viewers() == 0;
    }));
}

TEST_F(HttpServerTest, TwoHundredConnectionsLeaveNoDescriptorBehind) {
    serve();
    const auto held = hostcam::Camera::open();
    EXPECT_EQ(get(kImage).status, 200);
    const std::size_t before = countOf("fd");
    const std::vector<std::string> targets{kImage, kParameters, kVideo, "/nothing", "/broken%zz"};
    for (std::size_t i = 0; i < 200; ++i) {
        HttpConnection connection(server->port());
        if (i % 7 == 0) {
            continue; // says nothing
        }
        if (i % 7 == 1) {
            connection.send("GET /axis-c"); // goes while it speaks
            continue;
        }
        connection.request(targets[i % targets.size()]);
        if (i % 7 != 2) {
            (void)connection.readHead();
        }
    }
    EXPECT_TRUE(comesTrue([&] {
        hostcam::advanceFrames(1);
        return countOf("fd") <= before && server->viewers() == 0;
    })) << countOf("fd")
        << " descriptors instead of " << before;
}

TEST_F(HttpServerTest, TheEndClosesConnectionsAndLeavesNoThread) {
    const std::size_t threads = countOf("task");
    const std::size_t descriptors = countOf("fd");
    std::vector<std::unique_ptr<HttpConnection>> clients;
    {
        serve();
        const auto held = hostcam::Camera::open();
        for (int i = 0; i < 6; ++i) {
            clients.push_back(std::make_unique<HttpConnection>(server->port()));
            clients.back()->request(i % 2 == 0 ? kVideo : kParameters);
            (void)clients.back()->readHead();
        }
        const unsigned port = server->port();
        EXPECT_EQ(server->viewers(), 3U);
        server->stop(std::chrono::seconds(30));
        EXPECT_EQ(server->viewers(), 0U);
        server.reset();
        EXPECT_THROW(HttpConnection late(port), std::runtime_error) << "nobody listens any more";
    }
    for (const auto& client : clients) {
        EXPECT_TRUE(client->isClosed());
    }
    clients.clear();
    // The system takes a moment to forget a thread that has ended, also one of an earlier test.
    EXPECT_TRUE(comesTrue([&] { return countOf("task") <= threads; })) << countOf("task");
    EXPECT_EQ(countOf("fd"), descriptors);
}

TEST_F(HttpServerTest, ItEndsWhileAViewerWaitsForAFrameThatNeverComes) {
    serve();
    const auto held = hostcam::Camera::open();
    HttpConnection viewer(server->port());
    viewer.request(kVideo);
    (void)viewer.readHead();
    (void)viewer.readPart();
    server.reset();
    EXPECT_TRUE(viewer.isClosed());
}

TEST_F(HttpServerTest, ItCanStartAndEndAtOnceManyTimes) {
    const std::size_t threads = countOf("task");
    for (int i = 0; i < 100; ++i) {
        serve();
    }
    server.reset();
    EXPECT_TRUE(comesTrue([&] { return countOf("task") <= threads; })) << countOf("task");
}

std::set<std::string> threadsNow() {
    std::set<std::string> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        threads.insert(entry.path().filename());
    }
    return threads;
}

TEST_F(HttpServerTest, ItsThreadsTakeNoSignalsOfTheApplication) {
    const std::set<std::string> before = threadsNow();
    serve();
    EXPECT_EQ(get(kImage).status, 200);
    int found = 0;
    for (const std::string& thread : threadsNow()) {
        if (before.contains(thread)) {
            continue;
        }
        for (const std::string& line :
             testing_support::readLines("/proc/self/task/" + thread + "/status")) {
            if (line.starts_with("SigBlk:")) {
                const auto blocked = std::stoull(line.substr(7), nullptr, 16);
                EXPECT_NE(blocked >> (SIGTERM - 1) & 1U, 0U) << thread;
                EXPECT_NE(blocked >> (SIGINT - 1) & 1U, 0U) << thread;
                ++found;
            }
        }
    }
    EXPECT_GE(found, 2);
}

TEST_F(HttpServerTest, TheApplicationsMainContextIsNotUsed) {
    serve();
    EXPECT_EQ(get(kImage).status, 200);
    EXPECT_EQ(g_main_context_pending(nullptr), FALSE);
}

TEST_F(HttpServerTest, APortThatIsTakenIsAnErrorThatNamesIt) {
    serve();
    hostcam::HttpOptions options;
    options.port = server->port();
    try {
        const hostcam::HttpServer second(options);
        FAIL() << "two servers on one port";
    } catch (const hostcam::HttpError& problem) {
        EXPECT_THAT(problem.what(), HasSubstr("the web endpoint cannot listen on 127.0.0.1:" +
                                              std::to_string(options.port) + ": "));
    }
}

} // namespace
