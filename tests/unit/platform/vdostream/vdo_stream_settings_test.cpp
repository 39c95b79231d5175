#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/media_files.h"

#include "vdo-stream.h"

namespace {

using testing::HasSubstr;
using testing_support::CameraTest;
using testing_support::Map;
using testing_support::Ref;
using testing_support::Stream;
using testing_support::TempDir;

constexpr hostcam::Size kSize{64, 36};

class VdoStreamSettingsTest : public CameraTest {
  protected:
    VdoStreamSettingsTest() {
        testing_support::writeGreyVideo(m_dir / "grey.y4m", kSize, {100, 101});
        useCameraWith("");
    }

    void useCameraWith(const std::string& keys) {
        useCamera("source=" + (m_dir / "grey.y4m").string() +
                  "\nresolutions=64x36,32x18\nframerate=25\n" + keys);
    }

    /// That no stream comes with these settings. @return the error's text
    std::string refusal(const Map& map, int code) {
        const Stream stream(vdo_stream_new(map.get(), nullptr, error.out()));
        EXPECT_EQ(stream, nullptr);
        EXPECT_EQ(error.domain(), VDO_ERROR);
        EXPECT_EQ(error.code(), code) << error.text();
        return error.text();
    }

    Map infoOf(const Stream& stream) { return Map(vdo_stream_get_info(stream.get(), error.out())); }
    Map settingsOf(const Stream& stream) {
        return Map(vdo_stream_get_settings(stream.get(), error.out()));
    }

    TempDir m_dir;
};

TEST_F(VdoStreamSettingsTest, TellsWhatWasAskedForAndTheRateThatWasNot) {
    const Stream stream = newStream(settings(64, 36, 90));
    const Map got = settingsOf(stream);
    EXPECT_EQ(vdo_map_get_uint32(got.get(), "channel", 0), 1U);
    EXPECT_EQ(vdo_map_get_uint32(got.get(), "format", 0), 3U);
    EXPECT_EQ(vdo_map_get_uint32(got.get(), "width", 0), 64U);
    EXPECT_EQ(vdo_map_get_uint32(got.get(), "height", 0), 36U);
    EXPECT_EQ(vdo_map_get_uint32(got.get(), "rotation", 1), 90U);
    EXPECT_EQ(vdo_map_get_uint32(got.get(), "framerate", 0), 25U);
    EXPECT_STREQ(vdo_map_get_string(got.get(), "subformat", nullptr, ""), "nv12");
}

TEST_F(VdoStreamSettingsTest, TheSettingsStayTheCallers) {
    Map map = settings(64, 36);
    const Stream stream = newStream(map);
    vdo_map_set_uint32(map.get(), "width", 1);
    map.reset();
    EXPECT_EQ(vdo_map_get_uint32(settingsOf(stream).get(), "width", 0), 64U);
}

TEST_F(VdoStreamSettingsTest, InfoTellsTheDeliveredFrame) {
    for (const auto& [rotation, width, height] :
         {std::tuple{0U, 64U, 36U}, {90U, 36U, 64U}, {180U, 64U, 36U}, {270U, 36U, 64U}}) {
        const Map info = infoOf(newStream(settings(64, 36, rotation)));
        EXPECT_EQ(vdo_map_get_uint32(info.get(), "width", 0), width);
        EXPECT_EQ(vdo_map_get_uint32(info.get(), "height", 0), height);
        EXPECT_EQ(vdo_map_get_uint32(info.get(), "pitch", 0), width);
        EXPECT_EQ(vdo_map_get_uint32(info.get(), "rotation", 1), rotation);
        EXPECT_EQ(vdo_map_get_uint32(info.get(), "framerate", 0), 25U);
        EXPECT_STREQ(vdo_map_get_string(info.get(), "subformat", nullptr, ""), "nv12");
    }
}

TEST_F(VdoStreamSettingsTest, WithoutASizeTheLargestIsTaken) {
    const Map map = settings(0, 0);
    vdo_map_remove_va(map.get(), "width", "height", nullptr);
    EXPECT_EQ(vdo_map_get_uint32(infoOf(newStream(map)).get(), "width", 0), 64U);
}

TEST_F(VdoStreamSettingsTest, ASizeCanBeAPair) {
    const Map map = settings(0, 0);
    vdo_map_remove_va(map.get(), "width", "height", nullptr);
    VdoPair32u size{};
    size.res = {32, 18};
    vdo_map_set_pair32u(map.get(), "resolution", size);
    EXPECT_EQ(vdo_map_get_uint32(infoOf(newStream(map)).get(), "width", 0), 32U);
}

TEST_F(VdoStreamSettingsTest, ASizeThatIsNotOfferedIsRefusedByName) {
    EXPECT_THAT(refusal(settings(63, 36), VDO_ERROR_INVALID_ARGUMENT), HasSubstr("63x36"));
    EXPECT_THAT(refusal(settings(0, 0), VDO_ERROR_INVALID_ARGUMENT), HasSubstr("64x36, 32x18"));
    EXPECT_THAT(refusal(settings(4294967295U, 4294967295U), VDO_ERROR_INVALID_ARGUMENT),
                HasSubstr("4294967295x4294967295"));
    refusal(settings(36, 64, 90), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoStreamSettingsTest, HalfASizeIsRefused) {
    const Map map = settings(64, 36);
    vdo_map_remove(map.get(), "height");
    EXPECT_THAT(refusal(map, VDO_ERROR_INVALID_ARGUMENT), HasSubstr("height"));
}

TEST_F(VdoStreamSettingsTest, ARotationThatIsNoQuarterTurnIsRefusedByName) {
    EXPECT_THAT(refusal(settings(64, 36, 45), VDO_ERROR_INVALID_ARGUMENT), HasSubstr("45"));
    refusal(settings(64, 36, 360), VDO_ERROR_INVALID_ARGUMENT);
    refusal(settings(64, 36, 4294967206U), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoStreamSettingsTest, WithoutARotationTheInstalledOneHolds) {
    useCameraWith("rotation=90\n");
    const Map map = settings(64, 36);
    vdo_map_remove(map.get(), "rotation");
    EXPECT_EQ(vdo_map_get_uint32(settingsOf(newStream(map)).get(), "rotation", 0), 90U);
    EXPECT_EQ(vdo_map_get_uint32(infoOf(newStream(map)).get(), "width", 0), 36U);
}

TEST_F(VdoStreamSettingsTest, OtherFormatsAreNotSupported) {
    const Map map = settings(64, 36);
    for (const guint32 format : {0U, 1U, 2U, 4U, 8U, 4294967295U}) {
        vdo_map_set_uint32(map.get(), "format", format);
        EXPECT_THAT(refusal(map, VDO_ERROR_NOT_SUPPORTED), HasSubstr(std::to_string(format)));
    }
    vdo_map_set_uint32(map.get(), "format", VDO_FORMAT_YUV);
    vdo_map_set_string(map.get(), "subformat", "yv12");
    EXPECT_THAT(refusal(map, VDO_ERROR_NOT_SUPPORTED), HasSubstr("yv12"));
    vdo_map_remove_va(map.get(), "format", "subformat", nullptr);
    EXPECT_THAT(refusal(map, VDO_ERROR_INVALID_ARGUMENT), HasSubstr("format"));
}

TEST_F(VdoStreamSettingsTest, OtherChannelsAreNotFound) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "channel", 2);
    EXPECT_THAT(refusal(map, VDO_ERROR_NOT_FOUND), HasSubstr("channel 2"));
    vdo_map_remove(map.get(), "channel");
    vdo_map_set_uint32(map.get(), "input", 3);
    EXPECT_THAT(refusal(map, VDO_ERROR_NOT_FOUND), HasSubstr("input 3"));
}

TEST_F(VdoStreamSettingsTest, AValueOfAnotherTypeIsRefusedByName) {
    const Map map = settings(64, 36);
    vdo_map_set_int32(map.get(), "width", 64);
    EXPECT_THAT(refusal(map, VDO_ERROR_INVALID_ARGUMENT), HasSubstr("width"));
}

TEST_F(VdoStreamSettingsTest, AFramerateIsLimitedToTheCameras) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "framerate", 60);
    const Stream fast = newStream(map);
    EXPECT_EQ(vdo_map_get_uint32(settingsOf(fast).get(), "framerate", 0), 60U);
    EXPECT_EQ(vdo_map_get_uint32(infoOf(fast).get(), "framerate", 0), 25U);
    vdo_map_set_uint32(map.get(), "framerate", 10);
    EXPECT_EQ(vdo_map_get_uint32(infoOf(newStream(map)).get(), "framerate", 0), 10U);
    vdo_map_set_uint32(map.get(), "framerate", 0);
    EXPECT_THAT(refusal(map, VDO_ERROR_INVALID_ARGUMENT), HasSubstr("framerate"));
}

TEST_F(VdoStreamSettingsTest, BuffersOfClientsAreNotSupported) {
    const Map map = settings(64, 36);
    for (const guint32 strategy : {VDO_BUFFER_STRATEGY_EXTERNAL, VDO_BUFFER_STRATEGY_EXPLICIT}) {
        vdo_map_set_uint32(map.get(), "buffer.strategy", strategy);
        EXPECT_THAT(refusal(map, VDO_ERROR_NOT_SUPPORTED), HasSubstr("buffer.strategy"));
    }
    const Stream stream = newStream(settings(64, 36));
    EXPECT_EQ(vdo_stream_buffer_alloc(stream.get(), nullptr, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
    EXPECT_FALSE(vdo_stream_buffer_enqueue(stream.get(), nullptr, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
}

TEST_F(VdoStreamSettingsTest, UnknownKeysAreIgnored) {
    const Map map = settings(64, 36);
    vdo_map_set_uint32(map.get(), "compression", 30);
    vdo_map_set_string(map.get(), "overlays", "none");
    EXPECT_NE(newStream(map), nullptr);
}

TEST_F(VdoStreamSettingsTest, OnlyTheFramerateCanBeChanged) {
    const Stream stream = newStream(settings(64, 36));
    Map changed = settingsOf(stream);
    vdo_map_set_uint32(changed.get(), "framerate", 5);
    EXPECT_TRUE(vdo_stream_set_settings(stream.get(), changed.get(), error.out())) << error.text();
    EXPECT_EQ(vdo_map_get_uint32(infoOf(stream).get(), "framerate", 0), 5U);
    EXPECT_TRUE(vdo_stream_set_framerate(stream.get(), 12.5, error.out()));
    EXPECT_EQ(vdo_map_get_uint32(infoOf(stream).get(), "framerate", 0), 13U);
    for (const double wrong : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity()}) {
        EXPECT_FALSE(vdo_stream_set_framerate(stream.get(), wrong, error.out()));
        EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    }
    vdo_map_set_uint32(changed.get(), "width", 32);
    EXPECT_FALSE(vdo_stream_set_settings(stream.get(), changed.get(), error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
    EXPECT_THAT(error.text(), HasSubstr("width"));
}

TEST_F(VdoStreamSettingsTest, RawStreamsHaveConstructorsOfTheirOwn) {
    const Map map(vdo_map_new());
    const Stream nv12(vdo_stream_nv12_new(map.get(), 1, {32, 18}, error.out()));
    ASSERT_NE(nv12, nullptr) << error.text();
    EXPECT_EQ(vdo_map_get_uint32(infoOf(nv12).get(), "width", 0), 32U);
    const Stream y800(vdo_stream_y800_new(nullptr, 1, {64, 36}, error.out()));
    ASSERT_NE(y800, nullptr) << error.text();
    EXPECT_STREQ(vdo_map_get_string(infoOf(y800).get(), "subformat", nullptr, ""), "y800");
    EXPECT_EQ(vdo_stream_rgb_new(map.get(), 1, {64, 36}, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(vdo_stream_nv12_new(map.get(), 2, {64, 36}, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_FOUND);
}

TEST_F(VdoStreamSettingsTest, StreamsAreFoundByTheirId) {
    const Stream one = newStream(settings(64, 36));
    const Stream two = newStream(settings(32, 18));
    EXPECT_NE(vdo_stream_get_id(one.get()), vdo_stream_get_id(two.get()));
    const Stream found(vdo_stream_get(vdo_stream_get_id(two.get()), error.out()));
    EXPECT_EQ(found.get(), two.get());
    GList* const all = vdo_stream_get_all(error.out());
    EXPECT_EQ(g_list_length(all), 2U);
    g_list_free_full(all, g_object_unref);
    EXPECT_EQ(vdo_stream_get(4000000000U, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_FOUND);
}

TEST_F(VdoStreamSettingsTest, AStreamThatIsGoneIsNotFound) {
    guint id = 0;
    {
        const Stream stream = newStream(settings(64, 36));
        id = vdo_stream_get_id(stream.get());
    }
    EXPECT_EQ(vdo_stream_get(id, error.out()), nullptr);
    EXPECT_EQ(vdo_stream_get_all(error.out()), nullptr);
    EXPECT_FALSE(error.isSet());
}

TEST_F(VdoStreamSettingsTest, AttachingAgainSucceeds) {
    const Stream stream = newStream(settings(64, 36));
    EXPECT_TRUE(vdo_stream_attach(stream.get(), nullptr, error.out()));
    const Map intent(vdo_map_new());
    vdo_map_set_uint32(intent.get(), "intent", VDO_INTENT_MONITOR);
    EXPECT_TRUE(vdo_stream_attach(stream.get(), intent.get(), error.out()));
}

TEST_F(VdoStreamSettingsTest, WhatTheHostHasNotIsNotSupported) {
    const Stream stream = newStream(settings(64, 36));
    EXPECT_EQ(vdo_stream_get_event_fd(stream.get(), error.out()), -1);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(vdo_stream_get_event(stream.get(), error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
    EXPECT_FALSE(vdo_stream_force_key_frame(stream.get(), error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
}

TEST_F(VdoStreamSettingsTest, AWrongConfigurationIsTold) {
    useCameraWith("framerate=fast\n");
    EXPECT_THAT(refusal(settings(64, 36), VDO_ERROR_FAILED), HasSubstr("framerate=fast"));
}

TEST_F(VdoStreamSettingsTest, NullAndOtherObjectsGiveErrors) {
    const Map map = settings(64, 36);
    EXPECT_EQ(vdo_stream_new(nullptr, nullptr, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(vdo_stream_new(nullptr, nullptr, nullptr), nullptr);
    for (VdoStream* const none :
         {static_cast<VdoStream*>(nullptr), reinterpret_cast<VdoStream*>(map.get())}) {
        EXPECT_EQ(vdo_stream_get_id(none), 0U);
        EXPECT_EQ(vdo_stream_get_fd(none, error.out()), -1);
        EXPECT_EQ(vdo_stream_get_event_fd(none, error.out()), -1);
        EXPECT_EQ(vdo_stream_get_info(none, error.out()), nullptr);
        EXPECT_EQ(vdo_stream_get_settings(none, error.out()), nullptr);
        EXPECT_FALSE(vdo_stream_set_settings(none, map.get(), error.out()));
        EXPECT_FALSE(vdo_stream_set_framerate(none, 5, error.out()));
        EXPECT_FALSE(vdo_stream_attach(none, nullptr, error.out()));
        EXPECT_FALSE(vdo_stream_start(none, error.out()));
        EXPECT_FALSE(vdo_stream_play(none, nullptr, error.out()));
        EXPECT_FALSE(vdo_stream_force_key_frame(none, error.out()));
        EXPECT_EQ(vdo_stream_buffer_alloc(none, nullptr, error.out()), nullptr);
        EXPECT_FALSE(vdo_stream_buffer_enqueue(none, nullptr, error.out()));
        EXPECT_FALSE(vdo_stream_buffer_unref(none, nullptr, error.out()));
        EXPECT_EQ(vdo_stream_get_event(none, error.out()), nullptr);
        EXPECT_EQ(vdo_stream_get_buffer(none, error.out()), nullptr);
        EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
        EXPECT_EQ(vdo_stream_get_buffer(none, nullptr), nullptr);
        vdo_stream_stop(none);
    }
    const Stream stream = newStream(map);
    EXPECT_FALSE(vdo_stream_set_settings(stream.get(), nullptr, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    auto* const notAMap = reinterpret_cast<VdoMap*>(stream.get());
    EXPECT_FALSE(vdo_stream_attach(stream.get(), notAMap, error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(vdo_stream_snapshot(nullptr, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
}

} // namespace
