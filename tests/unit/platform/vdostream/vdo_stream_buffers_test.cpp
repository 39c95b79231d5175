#include <atomic>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/media_files.h"

#include "vdo-stream.h"

namespace {

using testing::HasSubstr;
using testing_support::Buffer;
using testing_support::CameraTest;
using testing_support::Map;
using testing_support::Ref;
using testing_support::Stream;
using testing_support::TempDir;

std::atomic<int> g_finalized{0};

void countFinalized(VdoBuffer* buffer) {
    if (vdo_frame_get_size(buffer) > 0) {
        ++g_finalized;
    }
}

class VdoStreamBuffersTest : public CameraTest {
  protected:
    VdoStreamBuffersTest() {
        testing_support::writeGreyVideo(m_dir / "grey.y4m", {64, 36}, {100, 101});
        useCameraWith("");
    }

    void useCameraWith(const std::string& keys) {
        useCamera("source=" + (m_dir / "grey.y4m").string() + "\nresolutions=64x36\n" + keys);
    }

    /// Takes frames and keeps them until none comes any more.
    std::vector<Buffer> takeAll(const Stream& stream, unsigned most = 100) {
        std::vector<Buffer> buffers;
        while (buffers.size() < most) {
            Buffer buffer = takeNext(stream);
            if (!buffer) {
                break;
            }
            buffers.push_back(std::move(buffer));
        }
        return buffers;
    }

    TempDir m_dir;
};

TEST_F(VdoStreamBuffersTest, AHandedBackBufferIsClearedAndUsedAgain) {
    const Stream stream = startedStream(settings(64, 36));
    const void* memory = nullptr;
    for (int frame = 0; frame < 20; ++frame) {
        VdoBuffer* buffer = takeNext(stream).release();
        ASSERT_NE(buffer, nullptr) << error.text();
        const void* const data = vdo_buffer_get_data(buffer);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 64, 0U);
        EXPECT_GE(vdo_buffer_get_capacity(buffer), vdo_frame_get_size(buffer));
        if (memory != nullptr) {
            EXPECT_EQ(data, memory);
        }
        memory = data;
        EXPECT_TRUE(vdo_stream_buffer_unref(stream.get(), &buffer, error.out())) << error.text();
        EXPECT_EQ(buffer, nullptr);
    }
    EXPECT_TRUE(hostcam::misuses().empty());
}

TEST_F(VdoStreamBuffersTest, AnUnreferencedBufferGoesBackToo) {
    const Stream stream = startedStream(settings(64, 36));
    for (int frame = 0; frame < 20; ++frame) {
        ASSERT_NE(takeNext(stream), nullptr) << error.text();
    }
}

TEST_F(VdoStreamBuffersTest, BuffersNeverHandedBackRunTheStreamDryVisibly) {
    const Stream stream = startedStream(settings(64, 36));
    std::vector<Buffer> held = takeAll(stream);
    EXPECT_EQ(held.size(), 4U);
    EXPECT_EQ(error.code(), VDO_ERROR_NO_BUFFER_SPACE);
    EXPECT_THAT(error.text(), HasSubstr("all 4 buffers"));
    held.pop_back();
    EXPECT_NE(takeNext(stream), nullptr) << error.text();
}

TEST_F(VdoStreamBuffersTest, InRealTimeADryStreamFailsWithinASecond) {
    const Stream stream = startedStream(settings(64, 36));
    const std::vector<Buffer> held = takeAll(stream);
    hostcam::setManualPace(false);
    const gint64 start = g_get_monotonic_time();
    EXPECT_EQ(take(stream), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NO_BUFFER_SPACE);
    EXPECT_GE(g_get_monotonic_time() - start, 400'000) << "a buffer may come back meanwhile";
}

TEST_F(VdoStreamBuffersTest, ABufferThatComesBackInTimeSavesTheFrame) {
    const Stream stream = startedStream(settings(64, 36));
    std::vector<Buffer> held = takeAll(stream);
    hostcam::setManualPace(false);
    std::thread giver([&held] { held.clear(); });
    EXPECT_NE(take(stream), nullptr) << error.text();
    giver.join();
}

TEST_F(VdoStreamBuffersTest, TheConfigurationSaysHowManyBuffersThereAre) {
    useCameraWith("buffers=2\n");
    const Stream stream = startedStream(settings(64, 36));
    EXPECT_EQ(takeAll(stream).size(), 2U);
}

TEST_F(VdoStreamBuffersTest, AStreamCanHintAtItsBuffers) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "buffer.count", 7);
    EXPECT_EQ(takeAll(startedStream(map)).size(), 7U);
    vdo_map_set_uint32(map.get(), "buffer.count", 4294967295U);
    EXPECT_EQ(takeAll(startedStream(map)).size(), 64U);
    vdo_map_set_uint32(map.get(), "buffer.count", 0);
    EXPECT_EQ(takeAll(startedStream(map)).size(), 4U);
}

TEST_F(VdoStreamBuffersTest, TheInfiniteStrategyHasNoLimit) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "buffer.strategy", VDO_BUFFER_STRATEGY_INFINITE);
    EXPECT_EQ(takeAll(startedStream(map)).size(), 100U);
}

TEST_F(VdoStreamBuffersTest, EveryStreamHasItsOwnBuffers) {
    const Stream one = startedStream(settings(64, 36));
    const Stream other = startedStream(settings(64, 36));
    const std::vector<Buffer> held = takeAll(one);
    EXPECT_NE(takeNext(other), nullptr);
}

TEST_F(VdoStreamBuffersTest, ABufferOfAnotherStreamIsRefused) {
    const Stream one = startedStream(settings(64, 36));
    const Stream other = startedStream(settings(64, 36));
    const Buffer buffer = take(one);
    VdoBuffer* foreign = buffer.get();
    EXPECT_FALSE(vdo_stream_buffer_unref(other.get(), &foreign, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(foreign, buffer.get());
    EXPECT_EQ(hostcam::misuses().size(), 1U);
}

TEST_F(VdoStreamBuffersTest, ABufferOfTheClientsOwnIsRefused) {
    const Stream stream = startedStream(settings(64, 36));
    const Buffer own(vdo_buffer_new(-1, 10, 0, nullptr));
    VdoBuffer* buffer = own.get();
    EXPECT_FALSE(vdo_stream_buffer_unref(stream.get(), &buffer, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoStreamBuffersTest, HandingBackTwiceIsRefused) {
    const Stream stream = startedStream(settings(64, 36));
    VdoBuffer* buffer = take(stream).release();
    VdoBuffer* again = buffer;
    EXPECT_TRUE(vdo_stream_buffer_unref(stream.get(), &buffer, error.out()));
    EXPECT_FALSE(vdo_stream_buffer_unref(stream.get(), &again, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_FALSE(vdo_stream_buffer_unref(stream.get(), &buffer, error.out())) << "NULL by now";
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_FALSE(vdo_stream_buffer_unref(stream.get(), nullptr, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoStreamBuffersTest, APointerToNothingIsRefused) {
    const Stream stream = startedStream(settings(64, 36));
    auto* garbage = reinterpret_cast<VdoBuffer*>(std::uintptr_t{0x10});
    EXPECT_FALSE(vdo_stream_buffer_unref(stream.get(), &garbage, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoStreamBuffersTest, ABufferOutlivesItsStream) {
    Stream stream = startedStream(settings(64, 36));
    const Buffer buffer = take(stream);
    stream.reset();
    hostcam::resetCamera();
    EXPECT_EQ(bytesOf(buffer)[64 * 36 - 1], 100);
}

TEST_F(VdoStreamBuffersTest, BuffersInFlightAreListed) {
    const Stream stream = startedStream(settings(64, 36));
    EXPECT_TRUE(hostcam::buffersInFlight().empty());
    hostcam::advanceFrames(5);
    Buffer one = take(stream);
    const Buffer two = takeNext(stream);
    std::vector<hostcam::BufferInFlight> held = hostcam::buffersInFlight();
    ASSERT_EQ(held.size(), 2U);
    EXPECT_EQ(held[0].stream, vdo_stream_get_id(stream.get()));
    EXPECT_EQ(held[0].buffer, vdo_buffer_get_id(one.get()));
    EXPECT_EQ(held[0].frame, 5U);
    EXPECT_EQ(held[1].buffer, vdo_buffer_get_id(two.get()));
    EXPECT_EQ(held[1].frame, 6U);
    EXPECT_GE(held[0].held, held[1].held);
    one.reset();
    held = hostcam::buffersInFlight();
    ASSERT_EQ(held.size(), 1U);
    EXPECT_EQ(held[0].frame, 6U);
}

TEST_F(VdoStreamBuffersTest, TheFinalizerSeesEveryBufferGo) {
    g_finalized = 0;
    const Stream stream(vdo_stream_new(settings(64, 36).get(), countFinalized, error.out()));
    ASSERT_NE(stream, nullptr);
    ASSERT_TRUE(vdo_stream_start(stream.get(), error.out()));
    { const Buffer buffer = take(stream); }
    EXPECT_EQ(g_finalized, 1);
    VdoBuffer* buffer = takeNext(stream).release();
    EXPECT_TRUE(vdo_stream_buffer_unref(stream.get(), &buffer, error.out()));
    EXPECT_EQ(g_finalized, 2);
}

} // namespace
