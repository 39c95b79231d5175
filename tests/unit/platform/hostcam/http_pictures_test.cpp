// What viewers get from image.cgi and video.cgi.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/hostcam/http_fixture.h"

namespace {

using hostcam::Size;
using testing::HasSubstr;
using testing::StartsWith;
using testing_support::HttpAnswer;
using testing_support::HttpConnection;
using testing_support::isNear;
using testing_support::JpegPicture;

class HttpPicturesTest : public testing_support::HttpTest {};

TEST_F(HttpPicturesTest, AnImageIsTheNewestFrameAsAJpeg) {
    serve();
    const auto held = hostcam::Camera::open();
    const HttpAnswer answer = get(kImage);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("content-type"), "image/jpeg");
    EXPECT_EQ(answer.header("content-length"), std::to_string(answer.body.size()));
    const JpegPicture seen(answer.body);
    EXPECT_EQ(seen.size, kSize);
    EXPECT_EQ(frameOf(seen), 0);
    hostcam::advanceFrames(7);
    EXPECT_EQ(frameOf(picture()), 7);
}

TEST_F(HttpPicturesTest, HeadTellsTheLengthAndSendsNoPicture) {
    serve();
    const std::string length = get(kImage).header("content-length");
    HttpConnection connection(server->port());
    connection.request(kImage, "HEAD");
    const HttpAnswer head = connection.readHead();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.header("content-length"), length);
    EXPECT_THROW((void)connection.readBytes(1), std::runtime_error) << "there is no body";
}

TEST_F(HttpPicturesTest, TheOverlayIsInThePictureInItsColour) {
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0xFF00FF00, {32, 16});
    const JpegPicture seen = picture();
    EXPECT_TRUE(isNear(seen.at(8, 8), {0, 255, 0})) << seen.at(8, 8);
    EXPECT_TRUE(isNear(seen.at(50, 30), {28, 28, 28})) << seen.at(50, 30);
}

TEST_F(HttpPicturesTest, ANewLayerIsSeenEvenOnTheSameFrame) {
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0xFFFF0000, kSize);
    EXPECT_TRUE(isNear(picture().at(8, 8), {255, 0, 0}));
    drawOver(kSize, 0xFF0000FF, kSize);
    EXPECT_TRUE(isNear(picture().at(8, 8), {0, 0, 255}));
    hostcam::publishOverlayLayers({});
    EXPECT_TRUE(isNear(picture().at(8, 8), {28, 28, 28}));
}

TEST_F(HttpPicturesTest, AHalfTransparentOverlayLetsThePictureThrough) {
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0x80008000, kSize);
    const auto seen = picture().at(20, 20);
    EXPECT_TRUE(isNear(seen, {14, 142, 14})) << seen;
}

TEST_F(HttpPicturesTest, OverlaysCanBeLeftOut) {
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0xFF00FF00, kSize);
    EXPECT_TRUE(isNear(picture("overlays=off").at(8, 8), {28, 28, 28}));
    EXPECT_TRUE(isNear(picture("overlays=all").at(8, 8), {0, 255, 0}));
}

TEST_F(HttpPicturesTest, AnotherSizeOfTheSameAspectHasTheOverlayScaled) {
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0xFF00FF00, {32, 16});
    const JpegPicture seen = picture("resolution=32x18");
    EXPECT_EQ(seen.size, (Size{32, 18}));
    EXPECT_TRUE(isNear(seen.at(4, 4), {0, 255, 0})) << seen.at(4, 4);
    EXPECT_TRUE(isNear(seen.at(25, 15), {28, 28, 28})) << seen.at(25, 15);
}

TEST_F(HttpPicturesTest, AnotherAspectHasNoOverlay) {
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0xFF00FF00, kSize);
    const JpegPicture seen = picture("resolution=48x36");
    EXPECT_EQ(seen.size, (Size{48, 36}));
    EXPECT_TRUE(isNear(seen.at(24, 18), {28, 28, 28})) << seen.at(24, 18);
}

TEST_F(HttpPicturesTest, ATurnedCameraGivesTurnedPictures) {
    showGreys("rotation=90\n");
    serve();
    const auto held = hostcam::Camera::open();
    drawOver({36, 64}, 0xFFFF0000, {36, 16});
    const JpegPicture seen = picture();
    EXPECT_EQ(seen.size, (Size{36, 64})) << "the size counts before the rotation";
    EXPECT_TRUE(isNear(seen.at(18, 6), {255, 0, 0})) << "the overlay is upright";
    EXPECT_TRUE(isNear(seen.at(18, 50), {28, 28, 28}));
}

TEST_F(HttpPicturesTest, ARotationThatIsAskedForTurnsPictureAndOverlay) {
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0xFFFF0000, {64, 12});
    const JpegPicture seen = picture("rotation=90");
    EXPECT_EQ(seen.size, (Size{36, 64}));
    EXPECT_TRUE(isNear(seen.at(32, 32), {255, 0, 0})) << "the upper edge is on the right";
    EXPECT_TRUE(isNear(seen.at(4, 32), {28, 28, 28}));
}

TEST_F(HttpPicturesTest, AMirroredStreamIsMirroredAndItsOverlayIsNot) {
    testing_support::TestPicture half(kSize, 40);
    std::fill(half.nv12.begin(), half.nv12.begin() + 64 * 36, std::uint8_t{40});
    for (std::size_t row = 0; row < 36; ++row) {
        std::fill_n(half.nv12.begin() + static_cast<std::ptrdiff_t>(row * 64), 32,
                    std::uint8_t{200});
    }
    testing_support::writeVideo(m_dir / "half.y4m", {half});
    useCamera("source=" + (m_dir / "half.y4m").string() +
              "\nresolutions=64x36\n[viewers]\nstreams=64x36:mirrored\n");
    serve();
    const auto held = hostcam::Camera::open();
    drawOver(kSize, 0xFF00FF00, {16, 16});
    const JpegPicture seen = picture();
    EXPECT_TRUE(isNear(seen.at(6, 6), {0, 255, 0})) << "where the application drew it";
    EXPECT_TRUE(isNear(seen.at(8, 30), {28, 28, 28})) << seen.at(8, 30);
    EXPECT_TRUE(isNear(seen.at(56, 30), {214, 214, 214})) << "the bright half is on the right";
    const JpegPicture plain = picture("mirror=0");
    EXPECT_TRUE(isNear(plain.at(58, 6), {0, 255, 0})) << "it stays on what it was drawn over";
    EXPECT_TRUE(isNear(plain.at(8, 30), {214, 214, 214}));
}

TEST_F(HttpPicturesTest, WithoutViewerStreamsThePictureIsTheLargestSize) {
    showGreys("", "[viewers]\nstreams=\n");
    serve();
    EXPECT_EQ(picture().size, kSize);
}

TEST_F(HttpPicturesTest, ACameraWithoutAPictureSaysWhy) {
    useCamera("source=/no/such/video.mp4\n");
    serve();
    for (const char* target : {kImage, kVideo}) {
        const HttpAnswer answer = get(target);
        EXPECT_EQ(answer.status, 503);
        EXPECT_THAT(answer.body, StartsWith("The camera has no picture: "));
        EXPECT_THAT(answer.body, HasSubstr("video.mp4"));
    }
}

class HttpVideoTest : public testing_support::HttpTest {
  protected:
    /// Begins a video and reads what comes before its first part.
    std::unique_ptr<HttpConnection> watch(const std::string& arguments, int receiveBuffer = 0) {
        auto viewer = std::make_unique<HttpConnection>(server->port(), receiveBuffer);
        viewer->request(kVideo + std::string("?") + arguments);
        const HttpAnswer head = viewer->readHead();
        EXPECT_EQ(head.status, 200);
        EXPECT_EQ(head.header("content-type"), "multipart/x-mixed-replace; boundary=myboundary");
        return viewer;
    }

    const std::shared_ptr<hostcam::Camera> held = hostcam::Camera::open();
};

TEST_F(HttpVideoTest, PartsCarryOneFrameEach) {
    serve();
    const auto viewer = watch("");
    EXPECT_EQ(frameOf(viewer->readPart()), 0);
    for (int frame = 1; frame < 30; ++frame) {
        hostcam::advanceFrames(1);
        EXPECT_EQ(frameOf(viewer->readPart()), frame);
    }
}

TEST_F(HttpVideoTest, AfterTheNumberOfFramesTheVideoEnds) {
    serve();
    const auto viewer = watch("nbrofframes=3");
    for (int frame = 0; frame < 3; ++frame) {
        EXPECT_EQ(frameOf(viewer->readPart()), frame);
        hostcam::advanceFrames(1);
    }
    EXPECT_EQ(viewer->readBytes(16), "--myboundary--\r\n");
    EXPECT_TRUE(viewer->isClosed());
    EXPECT_EQ(server->encoded(), 3U);
}

TEST_F(HttpVideoTest, AfterTheDurationTheVideoEnds) {
    serve();
    const auto viewer = watch("duration=1");
    EXPECT_EQ(frameOf(viewer->readPart()), 0);
    hostcam::advanceFrames(24);
    EXPECT_EQ(frameOf(viewer->readPart()), 24) << "at 25 frames a second, the last of the first";
    EXPECT_TRUE(viewer->isClosed());
}

TEST_F(HttpVideoTest, ALowerRateLeavesFramesOut) {
    serve();
    const auto viewer = watch("fps=5");
    EXPECT_EQ(frameOf(viewer->readPart()), 0);
    for (const int wanted : {5, 10, 15, 20}) {
        for (int step = 0; step < 5; ++step) {
            hostcam::advanceFrames(1);
        }
        EXPECT_EQ(frameOf(viewer->readPart()), wanted);
    }
    EXPECT_EQ(server->encoded(), 5U) << "nothing is made that nobody gets";
}

TEST_F(HttpVideoTest, AHigherRateThanTheCamerasGivesEveryFrame) {
    serve();
    const auto viewer = watch("fps=100");
    for (int frame = 0; frame < 5; ++frame) {
        EXPECT_EQ(frameOf(viewer->readPart()), frame);
        hostcam::advanceFrames(1);
    }
}

TEST_F(HttpVideoTest, ManyViewersOfOneStreamShareItsEncoding) {
    serve();
    std::vector<std::unique_ptr<HttpConnection>> viewers;
    for (int i = 0; i < 8; ++i) {
        viewers.push_back(watch(""));
        EXPECT_EQ(frameOf(viewers.back()->readPart()), 0);
    }
    for (int frame = 1; frame <= 10; ++frame) {
        hostcam::advanceFrames(1);
        for (const auto& viewer : viewers) {
            EXPECT_EQ(frameOf(viewer->readPart()), frame);
        }
    }
    EXPECT_EQ(server->encoded(), 11U);
}

TEST_F(HttpVideoTest, NothingIsEncodedWhenNobodyWatches) {
    serve();
    (void)picture();
    hostcam::advanceFrames(10);
    (void)get("/axis-cgi/param.cgi?action=list");
    EXPECT_EQ(server->encoded(), 1U);
    EXPECT_EQ(server->viewers(), 0U);
}

TEST_F(HttpVideoTest, AnOldClientCanWatchToo) {
    serve();
    HttpConnection viewer(server->port());
    viewer.send(std::string("GET ") + kVideo + "?nbrofframes=1&fps=0 HTTP/1.0\r\n\r\n");
    EXPECT_EQ(viewer.readHead().status, 200);
    EXPECT_EQ(frameOf(viewer.readPart()), 0);
    EXPECT_TRUE(viewer.isClosed());
}

TEST_F(HttpVideoTest, ASlowViewerLosesFramesAndHoldsUpNobody) {
    // Noise makes large pictures: some of them fill every buffer on the way.
    const Size large{640, 480};
    testing_support::writeVideo(m_dir / "noise.y4m",
                                {testing_support::TestPicture::pattern(large)});
    useCamera("source=" + (m_dir / "noise.y4m").string() +
              "\nresolutions=640x480\n[viewers]\nstreams=640x480\n");
    serve();
    const auto noise = hostcam::Camera::open();
    const auto slow = watch("compression=1", 4096);
    const auto fast = watch("compression=0");
    constexpr int kFrames = 100;
    (void)fast->readPart();
    for (int frame = 1; frame < kFrames; ++frame) {
        // Each frame has a layer of its own, so that it is made anew.
        drawOver(large, 0xFF000000U + static_cast<unsigned>(frame), {16, 16});
        hostcam::advanceFrames(1);
        const JpegPicture seen(fast->readPart());
        ASSERT_EQ(seen.size, large);
    }
    EXPECT_LT(server->encoded(), kFrames + 20U) << "pictures were made that could not be sent";
    drawOver(large, 0xFFFF0000, {16, 16});
    hostcam::advanceFrames(1);
    (void)fast->readPart();
    // When it reads on, it soon sees the present.
    bool isPresent = false;
    for (int part = 0; part < 20 && !isPresent; ++part) {
        hostcam::advanceFrames(1);
        isPresent = isNear(JpegPicture(slow->readPart()).at(8, 8), {255, 0, 0}, 20);
    }
    EXPECT_TRUE(isPresent);
}

TEST_F(HttpVideoTest, AViewerThatVanishesIsForgotten) {
    serve();
    {
        const auto viewer = watch("");
        (void)viewer->readPart();
        EXPECT_EQ(server->viewers(), 1U);
    }
    EXPECT_TRUE(testing_support::comesTrue([&] {
        hostcam::advanceFrames(1);
        return server->viewers() == 0;
    }));
    const std::uint64_t encoded = server->encoded();
    hostcam::advanceFrames(1);
    (void)get("/axis-cgi/param.cgi?action=list");
    EXPECT_EQ(server->encoded(), encoded);
}

TEST_F(HttpVideoTest, TheCameraIsLetGoWithTheLastViewer) {
    useCamera("source=" + (m_dir / "grey.y4m").string() + "\nresolutions=64x36\n");
    serve();
    std::weak_ptr<hostcam::Camera> opened;
    {
        const auto viewer = watch("");
        (void)viewer->readPart();
        opened = hostcam::Camera::open();
        hostcam::advanceFrames(1);
        (void)viewer->readPart();
        EXPECT_FALSE(opened.expired());
    }
    EXPECT_TRUE(testing_support::comesTrue([&] {
        hostcam::advanceFrames(1);
        return opened.expired();
    }));
}

} // namespace
