#pragma once

// A host camera whose frames come by hand and differ in their grey, with the web endpoint on a free
// port of the loopback.

#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/hostcam/http_server.h"
#include "platform/hostcam/overlay_layers.h"
#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/hostcam/http_client.h"
#include "tests/unit/platform/hostcam/jpeg_picture.h"
#include "tests/unit/platform/media_files.h"

namespace testing_support {

/// Asks a condition that another thread will make true, until it holds.
inline bool comesTrue(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Entries of a folder of /proc/self: "fd" or "task".
inline std::size_t countOf(const char* folder) {
    const std::filesystem::directory_iterator entries(std::filesystem::path("/proc/self") / folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

class HttpTest : public CameraTest {
  protected:
    static constexpr const char* kImage = "/axis-cgi/jpg/image.cgi";
    static constexpr const char* kVideo = "/axis-cgi/mjpg/video.cgi";
    static constexpr hostcam::Size kSize{64, 36};

    HttpTest() {
        std::vector<std::uint8_t> greys(60);
        for (std::size_t frame = 0; frame < greys.size(); ++frame) {
            greys[frame] = static_cast<std::uint8_t>(40 + 3 * frame);
        }
        writeGreyVideo(m_dir / "grey.y4m", kSize, greys);
        showGreys("");
        // What an earlier test was told is told again.
        hostcam::warnUnlessRepeated("a new test");
        (void)camera.takeWarnings();
    }

    ~HttpTest() override {
        server.reset();
        hostcam::publishOverlayLayers({});
    }

    /// Starts the camera with the video of greys. @param more further groups of its configuration
    void showGreys(const std::string& keys,
                   const std::string& more = "[viewers]\nstreams=64x36\n") {
        useCamera("source=" + (m_dir / "grey.y4m").string() +
                  "\nloop=false\nresolutions=64x36,32x18,48x36\n" + keys + more);
    }

    void serve(hostcam::HttpOptions options = {}) {
        options.port = 0;
        server.emplace(options);
    }

    [[nodiscard]] HttpAnswer get(const std::string& target) const {
        return httpGet(server->port(), target);
    }

    /// The picture of an answer.
    [[nodiscard]] JpegPicture picture(const std::string& arguments = "") const {
        const HttpAnswer answer = get(kImage + std::string("?compression=0&") + arguments);
        EXPECT_EQ(answer.status, 200) << answer.body;
        return JpegPicture(answer.body);
    }

    /// Which frame of the video a picture shows.
    static int frameOf(const JpegPicture& picture) {
        const double grey = picture.at(1, 1).green;
        return static_cast<int>(std::lround((grey / 255 * 219 + 16 - 40) / 3));
    }
    static int frameOf(const std::string& jpeg) { return frameOf(JpegPicture(jpeg)); }

    /// Puts one colour over a part of a viewer's picture.
    static void drawOver(hostcam::Size size, std::uint32_t pixel, hostcam::Size part) {
        auto layer = std::make_shared<hostcam::OverlayLayer>();
        static std::uint64_t redraws = 0;
        layer->size = size;
        layer->serial = ++redraws;
        layer->pixels.resize(std::size_t{size.width} * size.height);
        for (std::size_t row = 0; row < part.height; ++row) {
            for (std::size_t column = 0; column < part.width; ++column) {
                layer->pixels[row * size.width + column] = pixel;
            }
        }
        hostcam::publishOverlayLayers({layer});
    }

    TempDir m_dir;
    std::optional<hostcam::HttpServer> server;
};

} // namespace testing_support
