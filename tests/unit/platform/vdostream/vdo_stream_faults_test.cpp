// That every call of the library can be made to fail, with the error that was planned.

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "platform/hostcam/faults.h"
#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/media_files.h"

namespace {

using testing_support::Buffer;
using testing_support::CameraTest;
using testing_support::Channel;
using testing_support::Map;
using testing_support::Stream;
using testing_support::TempDir;

class VdoFaultsTest : public CameraTest {
  protected:
    VdoFaultsTest() {
        testing_support::writeGreyVideo(m_dir / "grey.y4m", {64, 36}, {100, 101});
        useCamera("source=" + (m_dir / "grey.y4m").string() + "\nresolutions=64x36\n");
        stream = startedStream(map);
        buffer = take(stream);
        hostcam::clearFaults();
    }

    /// That a call which would succeed fails once as planned, and once without an error.
    /// @param call returns whether it succeeded
    void expectFault(const char* name, const std::function<bool(GError**)>& call) {
        hostcam::addFaults(std::string(name) + " code=9 message=planned; " + name +
                           " first=2 noerror");
        EXPECT_FALSE(call(error.out())) << name;
        EXPECT_EQ(error.domain(), VDO_ERROR) << name;
        EXPECT_EQ(error.code(), VDO_ERROR_HAL) << name;
        EXPECT_EQ(error.text(), "planned") << name;
        EXPECT_FALSE(call(error.out())) << name;
        EXPECT_FALSE(error.isSet()) << name;
        EXPECT_EQ(hostcam::callCount(name), 2U) << name;
    }

    TempDir m_dir;
    Map map{settings(64, 36)};
    Stream stream;
    Buffer buffer;
    Channel channel{vdo_channel_get(1, nullptr)};
};

TEST_F(VdoFaultsTest, ChannelCallsFailAsPlanned) {
    VdoMap* const m = map.get();
    VdoChannel* const c = channel.get();
    expectFault("vdo_channel_get", [](GError** e) { return vdo_channel_get(1, e) != nullptr; });
    expectFault("vdo_channel_get_ex",
                [m](GError** e) { return vdo_channel_get_ex(m, e) != nullptr; });
    expectFault("vdo_channel_get_all",
                [](GError** e) { return vdo_channel_get_all(e) != nullptr; });
    expectFault("vdo_channel_get_filtered",
                [](GError** e) { return vdo_channel_get_filtered(nullptr, e) != nullptr; });
    expectFault("vdo_channel_get_info",
                [c](GError** e) { return vdo_channel_get_info(c, e) != nullptr; });
    expectFault("vdo_channel_get_settings",
                [c](GError** e) { return vdo_channel_get_settings(c, e) != nullptr; });
    expectFault("vdo_channel_set_settings",
                [c](GError** e) { return vdo_channel_set_settings(c, nullptr, e) != FALSE; });
    expectFault("vdo_channel_get_stream_profile", [c](GError** e) {
        return vdo_channel_get_stream_profile(c, "", VDO_FORMAT_H264, e) != nullptr;
    });
    expectFault("vdo_channel_get_resolutions",
                [c](GError** e) { return vdo_channel_get_resolutions(c, nullptr, e) != nullptr; });
    hostcam::addFaults("vdo_channel_get_id");
    EXPECT_EQ(vdo_channel_get_id(c), 0U);
}

TEST_F(VdoFaultsTest, MakingStreamsFailsAsPlanned) {
    VdoMap* const m = map.get();
    expectFault("vdo_stream_new",
                [m](GError** e) { return vdo_stream_new(m, nullptr, e) != nullptr; });
    expectFault("vdo_stream_nv12_new", [m](GError** e) {
        return vdo_stream_nv12_new(m, 1, {64, 36}, e) != nullptr;
    });
    expectFault("vdo_stream_y800_new", [m](GError** e) {
        return vdo_stream_y800_new(m, 1, {64, 36}, e) != nullptr;
    });
    expectFault("vdo_stream_rgb_new", [m](GError** e) {
        return vdo_stream_rgb_new(m, 1, {64, 36}, e) != nullptr;
    });
    expectFault("vdo_stream_get", [this](GError** e) {
        return vdo_stream_get(vdo_stream_get_id(stream.get()), e) != nullptr;
    });
    expectFault("vdo_stream_get_all", [](GError** e) { return vdo_stream_get_all(e) != nullptr; });
    expectFault("vdo_stream_snapshot",
                [m](GError** e) { return vdo_stream_snapshot(m, e) != nullptr; });
    hostcam::addFaults("vdo_stream_get_id");
    EXPECT_EQ(vdo_stream_get_id(stream.get()), 0U);
}

TEST_F(VdoFaultsTest, StreamCallsFailAsPlanned) {
    VdoMap* const m = map.get();
    VdoStream* const s = stream.get();
    expectFault("vdo_stream_get_fd", [s](GError** e) { return vdo_stream_get_fd(s, e) >= 0; });
    expectFault("vdo_stream_get_event_fd",
                [s](GError** e) { return vdo_stream_get_event_fd(s, e) >= 0; });
    expectFault("vdo_stream_get_info",
                [s](GError** e) { return vdo_stream_get_info(s, e) != nullptr; });
    expectFault("vdo_stream_get_settings",
                [s](GError** e) { return vdo_stream_get_settings(s, e) != nullptr; });
    expectFault("vdo_stream_set_settings",
                [s, m](GError** e) { return vdo_stream_set_settings(s, m, e) != FALSE; });
    expectFault("vdo_stream_set_framerate",
                [s](GError** e) { return vdo_stream_set_framerate(s, 5, e) != FALSE; });
    expectFault("vdo_stream_attach",
                [s](GError** e) { return vdo_stream_attach(s, nullptr, e) != FALSE; });
    expectFault("vdo_stream_start", [s](GError** e) { return vdo_stream_start(s, e) != FALSE; });
    expectFault("vdo_stream_play",
                [s](GError** e) { return vdo_stream_play(s, nullptr, e) != FALSE; });
    expectFault("vdo_stream_force_key_frame",
                [s](GError** e) { return vdo_stream_force_key_frame(s, e) != FALSE; });
    expectFault("vdo_stream_get_event",
                [s](GError** e) { return vdo_stream_get_event(s, e) != nullptr; });
}

TEST_F(VdoFaultsTest, BufferCallsFailAsPlannedAndTakeNothing) {
    VdoStream* const s = stream.get();
    VdoBuffer* b = buffer.get();
    expectFault("vdo_stream_get_buffer",
                [s](GError** e) { return vdo_stream_get_buffer(s, e) != nullptr; });
    expectFault("vdo_stream_buffer_alloc",
                [s](GError** e) { return vdo_stream_buffer_alloc(s, nullptr, e) != nullptr; });
    expectFault("vdo_stream_buffer_enqueue",
                [s, b](GError** e) { return vdo_stream_buffer_enqueue(s, b, e) != FALSE; });
    expectFault("vdo_stream_buffer_unref",
                [s, &b](GError** e) { return vdo_stream_buffer_unref(s, &b, e) != FALSE; });
    EXPECT_EQ(b, buffer.get());
    EXPECT_EQ(hostcam::buffersInFlight().size(), 1U);
    hostcam::addFaults("vdo_buffer_get_data");
    EXPECT_EQ(vdo_buffer_get_data(b), nullptr);
    EXPECT_NE(vdo_buffer_get_data(b), nullptr);
}

TEST_F(VdoFaultsTest, ADelayedCallStillSucceeds) {
    hostcam::addFaults("vdo_stream_get_info delay=30 pass");
    const gint64 start = g_get_monotonic_time();
    const Map info(vdo_stream_get_info(stream.get(), error.out()));
    EXPECT_NE(info, nullptr);
    EXPECT_GE(g_get_monotonic_time() - start, 30'000);
}

TEST_F(VdoFaultsTest, TheLibraryDoesNotFallOverItsOwnFaults) {
    hostcam::addFaults("vdo_map_get_uint32; vdo_map_new; vdo_map_get_string");
    const Stream another = newStream(map);
    const Map info(vdo_stream_get_info(another.get(), error.out()));
    EXPECT_NE(info, nullptr);
    EXPECT_EQ(hostcam::callCount("vdo_map_get_uint32"), 0U)
        << "a count of the application's calls would be wrong";
}

} // namespace
