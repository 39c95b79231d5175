// How VideoStreamSource opens and closes the camera's stream: every call with its arguments, every
// text.

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/video/logged_lines.h"
#include "tests/unit/video/vdo_stand_in.h"
#include "video/VideoStreamSource.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using vdo_stand_in::Failure;
using vdo_stand_in::service;
using video_test::loggedErrors;
using video_test::loggedLines;

class StreamOpening : public testing::Test {
  protected:
    StreamOpening() {
        vdo_stand_in::reset();
        video_test::forgetLog();
    }

    /// The text that the constructor throws when a call fails; it must have logged the same.
    static std::string openingError(const std::string& call, const Failure& failure) {
        service().failures[call] = failure;
        try {
            const VideoStreamSource source(720, 1280, 0);
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(loggedErrors(),
                        ElementsAre(std::string("error: VideoStreamSource: ") + error.what()));
            return error.what();
        }
        ADD_FAILURE() << "the stream was opened";
        return "";
    }
};

TEST_F(StreamOpening, AsksForAnNv12StreamOfChannel1WithoutAFrameRateAndStartsIt) {
    service().streamSettings = {
        {"width", 1280}, {"height", 720}, {"rotation", 90}, {"framerate", 30}};
    const VideoStreamSource source(720, 1280, 90);
    EXPECT_THAT(
        vdo_stand_in::takeCalls(),
        ElementsAre("vdo_map_new", "vdo_map_set_uint32 map channel=1",
                    "vdo_map_set_uint32 map format=3", "vdo_map_set_uint32 map width=1280",
                    "vdo_map_set_uint32 map height=720", "vdo_map_set_uint32 map rotation=90",
                    "vdo_stream_new map", "release map", "vdo_stream_attach stream",
                    "vdo_stream_get_settings stream", "vdo_map_get_uint32 settings width default 0",
                    "vdo_map_get_uint32 settings height default 0",
                    "vdo_map_get_uint32 settings rotation default 0",
                    "vdo_map_get_uint32 settings framerate default 0", "release settings",
                    "vdo_stream_start stream"));
}

TEST_F(StreamOpening, KeepsHeightWidthAndRotationInThatOrderAndIsNotDirty) {
    const VideoStreamSource source(720, 1280, 270);
    EXPECT_EQ(source.m_streamHeight, 720);
    EXPECT_EQ(source.m_streamWidth, 1280);
    EXPECT_EQ(source.m_streamRotation, 270);
    EXPECT_FALSE(source.m_dirty);
    EXPECT_NE(source.m_vdoStream, nullptr);
    EXPECT_NE(source.m_tempBuffer, nullptr);
}

TEST_F(StreamOpening, LogsWhatTheCameraMadeOfTheSettings) {
    service().streamSettings = {
        {"width", 1280}, {"height", 720}, {"rotation", 0}, {"framerate", 30}};
    const VideoStreamSource source(1080, 1920, 180);
    EXPECT_THAT(loggedLines(),
                ElementsAre("info: VideoStreamSource: VideoStreamSource constructor called",
                            "info: VideoStreamSource: Starting stream: VDO_FORMAT_YUV, 1280x720, "
                            "rotation 0, 30 fps",
                            "info: VideoStreamSource: Successfully created VideoStreamSource "
                            "instance"));
}

TEST_F(StreamOpening, LogsSettingsThatTheCameraDoesNotTellAsZero) {
    const VideoStreamSource source(720, 1280, 0);
    EXPECT_THAT(loggedLines(), Contains("info: VideoStreamSource: Starting stream: VDO_FORMAT_YUV, "
                                        "0x0, rotation 0, 0 fps"));
}

TEST_F(StreamOpening, CarriesOnWhenTheSettingsCannotBeRead) {
    service().failures["vdo_stream_get_settings"] = "gone";
    const VideoStreamSource source(720, 1280, 0);
    EXPECT_THAT(loggedLines(),
                ElementsAre("info: VideoStreamSource: VideoStreamSource constructor called",
                            "error: VideoStreamSource: Failed to attach retrieve VDO stream "
                            "settings. gone",
                            "info: VideoStreamSource: Successfully created VideoStreamSource "
                            "instance"));
    EXPECT_THAT(vdo_stand_in::takeCalls(), Contains("vdo_stream_start stream"));
}

TEST_F(StreamOpening, ReportsUnreadableSettingsWithoutAReasonAsNotAvailable) {
    service().failures["vdo_stream_get_settings"] = std::nullopt;
    const VideoStreamSource source(720, 1280, 0);
    EXPECT_THAT(loggedErrors(), ElementsAre("error: VideoStreamSource: Failed to attach retrieve "
                                            "VDO stream settings. N/A"));
}

TEST_F(StreamOpening, ThrowsWhenTheStreamCannotBeCreated) {
    EXPECT_EQ(openingError("vdo_stream_new", "bad size"),
              "Failed to create new VDO stream from settings. bad size");
    EXPECT_EQ(vdo_stand_in::takeCalls().back(), "release map");
}

TEST_F(StreamOpening, ThrowsWhenTheStreamCannotBeCreatedForNoKnownReason) {
    EXPECT_EQ(openingError("vdo_stream_new", std::nullopt),
              "Failed to create new VDO stream from settings. N/A");
}

TEST_F(StreamOpening, ThrowsWhenTheStreamCannotBeAttachedAndReleasesIt) {
    EXPECT_EQ(openingError("vdo_stream_attach", "permission denied"),
              "Failed to attach VDO stream to stream. permission denied");
    EXPECT_EQ(vdo_stand_in::takeCalls().back(), "release stream");
}

TEST_F(StreamOpening, ThrowsWhenTheStreamCannotBeStartedAndReleasesIt) {
    EXPECT_EQ(openingError("vdo_stream_start", "no encoder is free"),
              "Failed to start VDO stream. no encoder is free");
    EXPECT_EQ(vdo_stand_in::takeCalls().back(), "release stream");
}

TEST_F(StreamOpening, DeliberatelyShowsTheEndOfThePresetBehindAShortText) {
    // The texts are written over "VideoStreamSource::VideoStreamSource error :", 44 characters
    // long.
    EXPECT_EQ(openingError("vdo_stream_attach", std::nullopt),
              "Failed to attach VDO stream to stream. N/A :");
}

TEST_F(StreamOpening, DeliberatelyShowsMoreOfThePresetTheShorterTheTextIs) {
    EXPECT_EQ(openingError("vdo_stream_start", std::nullopt),
              "Failed to start VDO stream. N/Aource error :");
}

TEST_F(StreamOpening, DeliberatelyShowsThePresetBehindAnEmptyReason) {
    EXPECT_EQ(openingError("vdo_stream_start", ""), "Failed to start VDO stream. amSource error :");
}

TEST_F(StreamOpening, ShowsNothingOfThePresetBehindATextOf44Characters) {
    EXPECT_EQ(openingError("vdo_stream_start", "sixteen letters."),
              "Failed to start VDO stream. sixteen letters.");
}

TEST_F(StreamOpening, ShowsTheLastCharacterOfThePresetBehindATextOf43Characters) {
    EXPECT_EQ(openingError("vdo_stream_start", "fifteen letters"),
              "Failed to start VDO stream. fifteen letters:");
}

TEST_F(StreamOpening, ReleasesTheStreamWhenItIsDestroyed) {
    auto source = std::make_unique<VideoStreamSource>(720, 1280, 0);
    static_cast<void>(vdo_stand_in::takeCalls());
    source.reset();
    EXPECT_THAT(vdo_stand_in::takeCalls(), ElementsAre("release stream"));
}

TEST_F(StreamOpening, LeavesSizesThatNoPictureHasToTheCameraToRefuse) {
    service().failures["vdo_stream_new"] = "bad size";
    EXPECT_THROW(VideoStreamSource(-1, 1280, 0), std::runtime_error);
    EXPECT_THROW(VideoStreamSource(0, 0, 0), std::runtime_error);
    EXPECT_THAT(vdo_stand_in::takeCalls(), Contains("vdo_map_set_uint32 map height=4294967295"));
}

TEST_F(StreamOpening, CanBeDerivedFromAndUsedThroughItsBase) {
    struct Derived : VideoStreamSource {
        using VideoStreamSource::VideoStreamSource;
        bool getFrame(int /*height*/, int /*width*/, int /*rotation*/,
                      std::uint8_t* /*pixels*/) override {
            return m_dirty;
        }
    };
    const std::unique_ptr<ImageFrameSource> source = std::make_unique<Derived>(2, 2, 0);
    EXPECT_FALSE(source->getFrame(2, 2, 0, nullptr));
    source->setDirty();
    EXPECT_TRUE(source->getFrame(2, 2, 0, nullptr));
}

} // namespace
