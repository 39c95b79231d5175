// The web endpoint as the application's libraries bring it, and its end with the process.

#include <cstdlib>

#include <axoverlay.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/http_service.h"
#include "tests/support/program_start.h"
#include "tests/unit/platform/hostcam/http_fixture.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::HttpConnection;

class HttpServiceTest : public testing_support::HttpTest {
  protected:
    /// A port that is free now.
    unsigned freePort() {
        serve();
        const unsigned port = server->port();
        server.reset();
        return port;
    }
};

TEST_F(HttpServiceTest, AStreamBringsTheEndpointAndTakesItAway) {
    const unsigned port = freePort();
    showGreys("", "[http]\nport=" + std::to_string(port) + "\n");
    EXPECT_THROW(HttpConnection early(port), std::runtime_error);
    {
        const auto stream = newStream(settings(64, 36));
        const auto second = newStream(settings(32, 18));
        EXPECT_EQ(testing_support::httpGet(port, kImage).status, 200);
    }
    EXPECT_THROW(HttpConnection late(port), std::runtime_error);
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

void drawNothing(gpointer /*context*/, gint /*id*/, axoverlay_stream_data* /*stream*/,
                 axoverlay_position_type /*postype*/, gfloat /*x*/, gfloat /*y*/, gint /*width*/,
                 gint /*height*/, gpointer /*data*/) {}

TEST_F(HttpServiceTest, OverlaysInUseBringItToo) {
    const unsigned port = freePort();
    showGreys("", "[http]\nport=" + std::to_string(port) + "\n");
    axoverlay_settings overlays;
    axoverlay_init_axoverlay_settings(&overlays);
    overlays.backend = AXOVERLAY_CAIRO_IMAGE_BACKEND;
    overlays.render_callback = drawNothing;
    axoverlay_init(&overlays, error.out());
    ASSERT_FALSE(error.isSet()) << error.text();
    EXPECT_EQ(testing_support::httpGet(port, kImage).status, 200);
    axoverlay_cleanup();
    EXPECT_THROW(HttpConnection late(port), std::runtime_error);
}

TEST_F(HttpServiceTest, WithPortZeroThereIsNoEndpoint) {
    showGreys("", "[http]\nport=0\n");
    EXPECT_EQ(hostcam::openHttpService(), nullptr);
}

TEST_F(HttpServiceTest, ATakenPortIsReportedOnceAndStreamsComeAllTheSame) {
    serve();
    showGreys("", "[http]\nport=" + std::to_string(server->port()) + "\n");
    const auto stream = newStream(settings(64, 36));
    const auto second = newStream(settings(32, 18));
    EXPECT_NE(stream, nullptr);
    const std::vector<std::string> warnings = camera.takeWarnings();
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_THAT(warnings[0], HasSubstr("the web endpoint cannot listen on 127.0.0.1:"));
}

/// Ends the process in good order with the endpoint running and watched.
[[noreturn]] void exitWhileWatched(unsigned port) {
    // What is never freed is what an application leaves that just ends.
    static const auto* const service = new auto(hostcam::openHttpService());
    static const auto* const open = new auto(hostcam::Camera::open());
    static auto* const viewer = new HttpConnection(port);
    viewer->request("/axis-cgi/mjpg/video.cgi");
    (void)viewer->readHead();
    std::exit(service != nullptr && open != nullptr ? 7 : 1); // NOLINT(concurrency-mt-unsafe)
}

TEST_F(HttpServiceTest, AProcessEndsWithItsOwnStatusWhileSomebodyWatches) {
    if (testing_support::isEmulated()) {
        GTEST_SKIP() << "an emulated program cannot start itself again";
    }
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const unsigned port = freePort();
    showGreys("", "[http]\nport=" + std::to_string(port) + "\n");
    EXPECT_EXIT(exitWhileWatched(port), testing::ExitedWithCode(7), "");
}

} // namespace
