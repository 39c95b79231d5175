#include <chrono>
#include <functional>
#include <thread>

#include <poll.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/media_files.h"

#include "vdo-stream.h"

namespace {

using hostcam::Size;
using testing::HasSubstr;
using testing_support::Buffer;
using testing_support::CameraTest;
using testing_support::Map;
using testing_support::Stream;
using testing_support::TempDir;
using testing_support::TestPicture;

constexpr Size kSize{64, 36};

/// On a video whose picture n is grey 100 + n.
class VdoStreamFramesTest : public CameraTest {
  protected:
    VdoStreamFramesTest() {
        std::vector<std::uint8_t> greys;
        for (unsigned grey = 100; grey < 200; ++grey) {
            greys.push_back(static_cast<std::uint8_t>(grey));
        }
        testing_support::writeGreyVideo(m_dir / "grey.y4m", kSize, greys);
        useVideo("grey.y4m");
    }

    void useVideo(const std::string& name, const std::string& keys = "") {
        useCamera("source=" + (m_dir / name).string() + "\nresolutions=64x36,32x18\n" + keys);
    }

    /// A picture with different pixels everywhere, as the only one of a video.
    TestPicture usePattern(const std::string& keys = "") {
        TestPicture picture = TestPicture::pattern(kSize);
        testing_support::writeVideo(m_dir / "pattern.y4m", {picture});
        useVideo("pattern.y4m", keys);
        return picture;
    }

    /// What is in a delivered NV12 frame, checked pixel by pixel.
    /// @param source which pixel of the picture is expected at a column and row of the frame, for
    ///               planes of any size: (column, row, plane width, plane height of the picture)
    using Source = std::function<std::pair<std::size_t, std::size_t>(std::size_t, std::size_t,
                                                                     std::size_t, std::size_t)>;
    void expectTurned(const TestPicture& picture, const Buffer& buffer, Size frame,
                      std::size_t pitch, const Source& source) {
        const guint8* const bytes = bytesOf(buffer);
        ASSERT_NE(bytes, nullptr);
        const std::size_t width = picture.size.width;
        const std::size_t height = picture.size.height;
        for (std::size_t row = 0; row < frame.height; ++row) {
            for (std::size_t column = 0; column < frame.width; ++column) {
                const auto [x, y] = source(column, row, width, height);
                ASSERT_EQ(bytes[row * pitch + column], picture.y(x, y)) << column << "," << row;
            }
        }
        const guint8* const uv = bytes + pitch * frame.height;
        for (std::size_t row = 0; row < frame.height / 2; ++row) {
            for (std::size_t column = 0; column < frame.width / 2; ++column) {
                const auto [x, y] = source(column, row, width / 2, height / 2);
                ASSERT_EQ(uv[row * pitch + 2 * column], picture.u(x, y)) << column << "," << row;
                ASSERT_EQ(uv[row * pitch + 2 * column + 1], picture.v(x, y));
            }
        }
    }

    TempDir m_dir;
};

// The pixel of the picture at a place of the frame, for each rotation clockwise.
std::pair<std::size_t, std::size_t> turned0(std::size_t x, std::size_t y, std::size_t,
                                            std::size_t) {
    return {x, y};
}
std::pair<std::size_t, std::size_t> turned90(std::size_t x, std::size_t y, std::size_t,
                                             std::size_t height) {
    return {y, height - 1 - x};
}
std::pair<std::size_t, std::size_t> turned180(std::size_t x, std::size_t y, std::size_t width,
                                              std::size_t height) {
    return {width - 1 - x, height - 1 - y};
}
std::pair<std::size_t, std::size_t> turned270(std::size_t x, std::size_t y, std::size_t width,
                                              std::size_t) {
    return {width - 1 - y, x};
}

TEST_F(VdoStreamFramesTest, APictureOfTheAskedSizeKeepsItsBytes) {
    const TestPicture picture = usePattern();
    const Stream stream = startedStream(settings(64, 36));
    const Buffer buffer = take(stream);
    ASSERT_NE(buffer, nullptr) << error.text();
    EXPECT_EQ(vdo_frame_get_size(buffer.get()), 64U * 36U * 3 / 2);
    expectTurned(picture, buffer, kSize, 64, turned0);
}

TEST_F(VdoStreamFramesTest, Rotation90DeliversAFrameAsWideAsTheSensorIsHigh) {
    const TestPicture picture = usePattern();
    const Stream stream = startedStream(settings(64, 36, 90));
    expectTurned(picture, take(stream), {36, 64}, 36, turned90);
}

TEST_F(VdoStreamFramesTest, Rotation180DeliversAFrameOfTheSameSize) {
    const TestPicture picture = usePattern();
    const Stream stream = startedStream(settings(64, 36, 180));
    expectTurned(picture, take(stream), kSize, 64, turned180);
}

TEST_F(VdoStreamFramesTest, Rotation270DeliversAFrameAsWideAsTheSensorIsHigh) {
    const TestPicture picture = usePattern();
    const Stream stream = startedStream(settings(64, 36, 270));
    expectTurned(picture, take(stream), {36, 64}, 36, turned270);
}

TEST_F(VdoStreamFramesTest, TheTopRightPixelOfAFrameTurnedBy90IsTheTopLeftOne) {
    const TestPicture picture = usePattern();
    const Stream stream = startedStream(settings(64, 36, 90));
    const Buffer buffer = take(stream);
    EXPECT_EQ(bytesOf(buffer)[35], picture.y(0, 0));
}

TEST_F(VdoStreamFramesTest, AMirroredStreamIsFlippedAfterTheRotation) {
    const TestPicture picture = usePattern();
    const Map map = settings(64, 36, 90);
    vdo_map_set_boolean(map.get(), "horizontal_flip", TRUE);
    const Stream stream = startedStream(map);
    expectTurned(picture, take(stream), {36, 64}, 36,
                 [](std::size_t x, std::size_t y, std::size_t width, std::size_t height) {
                     return turned90(height - 1 - x, y, width, height);
                 });
}

TEST_F(VdoStreamFramesTest, RowsArePaddedOnDemand) {
    const TestPicture picture = usePattern("pitch-align=48\n");
    for (const auto& [rotation, frame, pitch, source] :
         {std::tuple{0U, kSize, 96U, Source(turned0)},
          {90U, Size{36, 64}, 48U, Source(turned90)},
          {180U, kSize, 96U, Source(turned180)},
          {270U, Size{36, 64}, 48U, Source(turned270)}}) {
        const Stream stream = startedStream(settings(64, 36, rotation));
        const Buffer buffer = take(stream);
        const Map info(vdo_stream_get_info(stream.get(), error.out()));
        EXPECT_EQ(vdo_map_get_uint32(info.get(), "pitch", 0), pitch);
        EXPECT_EQ(vdo_frame_get_size(buffer.get()), pitch * frame.height * 3 / 2);
        expectTurned(picture, buffer, frame, pitch, source);
    }
}

TEST_F(VdoStreamFramesTest, AnOddPitchIsNeverGiven) {
    const TestPicture picture = usePattern("pitch-align=5\n");
    const Stream stream = startedStream(settings(64, 36));
    expectTurned(picture, take(stream), kSize, 70, turned0);
}

TEST_F(VdoStreamFramesTest, Y800DeliversLuminanceAlone) {
    const TestPicture picture = usePattern();
    for (const guint32 rotation : {0U, 180U}) {
        const Map map = settings(64, 36, rotation);
        vdo_map_set_string(map.get(), "subformat", "y800");
        const Stream stream = startedStream(map);
        const Buffer buffer = take(stream);
        ASSERT_NE(buffer, nullptr) << error.text();
        EXPECT_EQ(vdo_frame_get_size(buffer.get()), 64U * 36U);
        const bool upright = rotation == 0;
        EXPECT_EQ(bytesOf(buffer)[0], upright ? picture.y(0, 0) : picture.y(63, 35));
        EXPECT_EQ(bytesOf(buffer)[64 * 36 - 1], upright ? picture.y(63, 35) : picture.y(0, 0));
    }
}

TEST_F(VdoStreamFramesTest, OneMomentIsSeenAtSeveralSizes) {
    const Stream large = startedStream(settings(64, 36));
    const Stream small = startedStream(settings(32, 18));
    ASSERT_NE(take(large), nullptr) << error.text();
    hostcam::advanceFrames(7);
    const Buffer one = take(large);
    const Buffer other = take(small);
    EXPECT_EQ(vdo_frame_get_size(other.get()), 32U * 18U * 3 / 2);
    EXPECT_EQ(bytesOf(one)[0], 107);
    EXPECT_EQ(bytesOf(other)[0], 107);
    EXPECT_EQ(vdo_frame_get_sequence_nbr(one.get()), 7U);
    EXPECT_EQ(vdo_frame_get_sequence_nbr(other.get()), 7U);
    EXPECT_EQ(vdo_frame_get_timestamp(one.get()), vdo_frame_get_timestamp(other.get()));
}

TEST_F(VdoStreamFramesTest, FramesTellTheirTypeNumberAndTime) {
    const Stream stream = startedStream(settings(64, 36));
    const Buffer first = take(stream);
    const Buffer second = takeNext(stream);
    EXPECT_EQ(vdo_frame_get_frame_type(first.get()), VDO_FRAME_TYPE_YUV);
    EXPECT_TRUE(vdo_buffer_is_complete(first.get()));
    EXPECT_EQ(vdo_frame_get_sequence_nbr(first.get()), 0U);
    EXPECT_EQ(vdo_frame_get_sequence_nbr(second.get()), 1U);
    EXPECT_EQ(vdo_frame_get_timestamp(second.get()) - vdo_frame_get_timestamp(first.get()),
              40'000U);
    EXPECT_EQ(vdo_frame_get_fd(first.get()), -1);
}

TEST_F(VdoStreamFramesTest, ASlowReaderGetsTheNewestFrame) {
    const Stream stream = startedStream(settings(64, 36));
    EXPECT_EQ(bytesOf(take(stream))[0], 100);
    hostcam::advanceFrames(10);
    EXPECT_EQ(bytesOf(take(stream))[0], 110);
    EXPECT_EQ(bytesOf(takeNext(stream))[0], 111);
}

TEST_F(VdoStreamFramesTest, ALowerRateLeavesFramesOut) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "framerate", 10);
    vdo_map_set_boolean(map.get(), "socket.blocking", FALSE);
    const Stream stream = startedStream(map);
    std::vector<int> taken;
    for (int frame = 0; frame <= 10; ++frame) {
        if (const Buffer buffer = take(stream)) {
            taken.push_back(bytesOf(buffer)[0] - 100);
        } else {
            EXPECT_EQ(error.code(), VDO_ERROR_NO_DATA);
        }
        hostcam::advanceFrames(1);
    }
    EXPECT_THAT(taken, testing::ElementsAre(0, 3, 5, 8, 10));
}

TEST_F(VdoStreamFramesTest, TakingBlocksUntilTheNextFrame) {
    const Stream stream = startedStream(settings(64, 36));
    ASSERT_NE(take(stream), nullptr);
    std::atomic<bool> made{false};
    std::thread maker([&made] {
        std::this_thread::yield();
        made = true;
        hostcam::advanceFrames(1);
    });
    const Buffer buffer = take(stream);
    EXPECT_TRUE(made) << "the frame came before it was made";
    EXPECT_EQ(bytesOf(buffer)[0], 101);
    maker.join();
}

TEST_F(VdoStreamFramesTest, ANonBlockingStreamSaysThatThereIsNothing) {
    const Map map = settings(64, 36);
    vdo_map_set_boolean(map.get(), "socket.blocking", FALSE);
    const Stream stream = startedStream(map);
    EXPECT_NE(take(stream), nullptr);
    EXPECT_EQ(take(stream), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NO_DATA);
    EXPECT_NE(takeNext(stream), nullptr);
}

TEST_F(VdoStreamFramesTest, ATimeoutEndsTheWait) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "socket.timeout_ms", 10);
    const Stream stream = startedStream(map);
    EXPECT_NE(take(stream), nullptr);
    EXPECT_EQ(take(stream), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NO_DATA);
}

TEST_F(VdoStreamFramesTest, FramesComeInRealTimeAtTheCamerasRate) {
    useVideo("grey.y4m", "framerate=500\n");
    hostcam::setManualPace(false);
    const Stream stream = startedStream(settings(64, 36));
    guint64 before = 0;
    for (int frame = 0; frame < 20; ++frame) {
        const Buffer buffer = take(stream);
        ASSERT_NE(buffer, nullptr) << error.text();
        const guint64 time = vdo_frame_get_timestamp(buffer.get());
        EXPECT_LE(time, static_cast<guint64>(g_get_monotonic_time())) << "a frame from the future";
        if (frame > 0) {
            EXPECT_GE(time - before, 1999U);
        }
        before = time;
    }
}

TEST_F(VdoStreamFramesTest, ADescriptorIsReadableWhileThereIsAFrame) {
    const Stream stream = newStream(settings(64, 36));
    pollfd waiting{vdo_stream_get_fd(stream.get(), error.out()), POLLIN, 0};
    ASSERT_GE(waiting.fd, 0) << error.text();
    EXPECT_EQ(poll(&waiting, 1, 0), 0) << "not started";
    ASSERT_TRUE(vdo_stream_start(stream.get(), error.out()));
    EXPECT_EQ(poll(&waiting, 1, 0), 1);
    EXPECT_NE(take(stream), nullptr);
    EXPECT_EQ(poll(&waiting, 1, 0), 0);
    hostcam::advanceFrames(1);
    EXPECT_EQ(poll(&waiting, 1, 0), 1);
    EXPECT_EQ(vdo_stream_get_fd(stream.get(), error.out()), waiting.fd);
    vdo_stream_stop(stream.get());
    EXPECT_EQ(poll(&waiting, 1, 0), 0);
    hostcam::setManualPace(false);
    ASSERT_TRUE(vdo_stream_start(stream.get(), error.out()));
    EXPECT_NE(take(stream), nullptr);
    EXPECT_EQ(poll(&waiting, 1, 10'000), 1) << "the next frame's time comes by itself";
}

TEST_F(VdoStreamFramesTest, NothingComesBeforeTheStartAndAfterTheStop) {
    const Stream stream = newStream(settings(64, 36));
    EXPECT_EQ(take(stream), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_CLOSED);
    EXPECT_THAT(error.text(), HasSubstr("not started"));
    ASSERT_TRUE(vdo_stream_play(stream.get(), nullptr, error.out()));
    EXPECT_NE(take(stream), nullptr);
    vdo_stream_stop(stream.get());
    hostcam::advanceFrames(1);
    EXPECT_EQ(take(stream), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_CLOSED);
    EXPECT_THAT(error.text(), HasSubstr("stopped"));
    ASSERT_TRUE(vdo_stream_start(stream.get(), error.out()));
    ASSERT_TRUE(vdo_stream_start(stream.get(), error.out()));
    EXPECT_EQ(bytesOf(take(stream))[0], 101);
}

TEST_F(VdoStreamFramesTest, PlayingTakesSettings) {
    const Stream stream = newStream(settings(64, 36));
    const Map map(vdo_map_new());
    vdo_map_set_uint32(map.get(), "framerate", 5);
    EXPECT_TRUE(vdo_stream_play(stream.get(), map.get(), error.out()));
    const Map info(vdo_stream_get_info(stream.get(), error.out()));
    EXPECT_EQ(vdo_map_get_uint32(info.get(), "framerate", 0), 5U);
}

TEST_F(VdoStreamFramesTest, AStopEndsAWait) {
    const Stream stream = startedStream(settings(64, 36));
    ASSERT_NE(take(stream), nullptr);
    std::thread stopper([&stream] { vdo_stream_stop(stream.get()); });
    EXPECT_EQ(take(stream), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_CLOSED);
    stopper.join();
}

TEST_F(VdoStreamFramesTest, ASnapshotIsOneFrameWithoutAStream) {
    const Buffer buffer(vdo_stream_snapshot(settings(64, 36, 90).get(), error.out()));
    ASSERT_NE(buffer, nullptr) << error.text();
    EXPECT_EQ(vdo_frame_get_size(buffer.get()), 64U * 36U * 3 / 2);
    EXPECT_EQ(bytesOf(buffer)[0], 100);
    EXPECT_EQ(vdo_stream_get_all(error.out()), nullptr);
}

TEST_F(VdoStreamFramesTest, AnotherCameraEndsTheStreamsOfTheOldOne) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "socket.timeout_ms", 1);
    const Stream old = startedStream(map);
    ASSERT_NE(take(old), nullptr);
    usePattern();
    hostcam::advanceFrames(5);
    EXPECT_EQ(take(old), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NO_DATA);
    const Stream fresh = startedStream(settings(64, 36));
    EXPECT_NE(take(fresh), nullptr);
}

TEST_F(VdoStreamFramesTest, TheSceneIsTheSourceByDefault) {
    useCamera("");
    const Stream stream = startedStream(settings(640, 360));
    const Buffer first = take(stream);
    ASSERT_NE(first, nullptr) << error.text();
    const std::vector<guint8> before(bytesOf(first), bytesOf(first) + 640 * 360);
    const Buffer second = takeNext(stream);
    const std::vector<guint8> after(bytesOf(second), bytesOf(second) + 640 * 360);
    EXPECT_NE(before, after) << "the scene stands still";
}

} // namespace
