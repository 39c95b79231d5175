// Streams used by several threads at once; what is checked is also that a thread sanitizer has
// nothing to say.

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/media_files.h"

namespace {

using testing_support::Buffer;
using testing_support::CameraTest;
using testing_support::ErrorSlot;
using testing_support::Map;
using testing_support::Stream;
using testing_support::TempDir;

class VdoStreamThreadsTest : public CameraTest {
  protected:
    VdoStreamThreadsTest() {
        testing_support::writeGreyVideo(m_dir / "grey.y4m", {64, 36}, {100, 101, 102, 103});
        useCamera("source=" + (m_dir / "grey.y4m").string() +
                  "\nresolutions=64x36,32x18\nframerate=1000\n");
        hostcam::setManualPace(false);
    }

    TempDir m_dir;
};

TEST_F(VdoStreamThreadsTest, SeveralStreamsRunAtOnce) {
    constexpr int kFrames = 50;
    std::atomic<int> taken{0};
    const auto run = [this, &taken](guint32 width, guint32 height, guint32 rotation) {
        ErrorSlot slot;
        const Map map = settings(width, height, rotation);
        const Stream stream(vdo_stream_new(map.get(), nullptr, slot.out()));
        ASSERT_NE(stream, nullptr) << slot.text();
        ASSERT_TRUE(vdo_stream_start(stream.get(), slot.out()));
        guint before = 0;
        for (int frame = 0; frame < kFrames; ++frame) {
            VdoBuffer* buffer = vdo_stream_get_buffer(stream.get(), slot.out());
            ASSERT_NE(buffer, nullptr) << slot.text();
            const guint number = vdo_frame_get_sequence_nbr(buffer);
            if (frame > 0) {
                EXPECT_GT(number, before) << "a frame came twice";
            }
            before = number;
            EXPECT_GE(static_cast<guint8*>(vdo_buffer_get_data(buffer))[5], 100);
            EXPECT_TRUE(vdo_stream_buffer_unref(stream.get(), &buffer, slot.out()));
            ++taken;
        }
    };
    std::vector<std::thread> threads;
    for (const guint32 rotation : {0U, 90U, 180U, 270U}) {
        threads.emplace_back(run, 64, 36, rotation);
        threads.emplace_back(run, 32, 18, rotation);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(taken, 8 * kFrames);
    EXPECT_EQ(vdo_stream_get_all(nullptr), nullptr);
}

TEST_F(VdoStreamThreadsTest, AStreamCanBeStoppedStartedAndChangedFromElsewhere) {
    const Stream stream = startedStream(settings(64, 36));
    std::atomic<bool> done{false};
    std::thread other([&stream, &done] {
        for (int round = 0; round < 50; ++round) {
            vdo_stream_stop(stream.get());
            EXPECT_TRUE(vdo_stream_set_framerate(stream.get(), 100 + round, nullptr));
            const Map info(vdo_stream_get_info(stream.get(), nullptr));
            EXPECT_TRUE(vdo_stream_start(stream.get(), nullptr));
        }
        done = true;
    });
    while (!done) {
        const Buffer buffer = take(stream);
        EXPECT_TRUE(buffer != nullptr || error.code() == VDO_ERROR_CLOSED) << error.text();
    }
    other.join();
}

TEST_F(VdoStreamThreadsTest, BuffersMayBeHandedBackByAnotherThread) {
    const Stream stream = startedStream(settings(64, 36));
    for (int frame = 0; frame < 50; ++frame) {
        VdoBuffer* buffer = take(stream).release();
        ASSERT_NE(buffer, nullptr) << error.text();
        std::thread giver([buffer] { g_object_unref(buffer); });
        giver.join();
    }
}

TEST_F(VdoStreamThreadsTest, StreamsComeAndGoWhileTheyAreListed) {
    std::atomic<bool> done{false};
    std::thread lister([&done] {
        while (!done) {
            g_list_free_full(vdo_stream_get_all(nullptr), g_object_unref);
        }
    });
    for (int round = 0; round < 20; ++round) {
        const Stream stream = newStream(settings(64, 36));
    }
    done = true;
    lister.join();
}

} // namespace
