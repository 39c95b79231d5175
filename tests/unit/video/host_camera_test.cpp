// The size search and the live source on the host camera: whole streams, and every platform
// failure.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/media_files.h"
#include "tests/unit/video/logged_lines.h"
#include "video/StreamManager.h"
#include "video/VideoStreamSource.h"
#include "video/imgconverter.h"

namespace {

/// The buffers that the camera handed out, for tests in which one deliberately does not go back.
std::vector<VdoBuffer*> g_handedOut;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker makes these
// names.
extern "C" {
VdoBuffer* __real_vdo_stream_get_buffer(VdoStream* self, GError** error);
VdoBuffer* __wrap_vdo_stream_get_buffer(VdoStream* self, GError** error);

VdoBuffer* __wrap_vdo_stream_get_buffer(VdoStream* self, GError** error) {
    VdoBuffer* const buffer = __real_vdo_stream_get_buffer(self, error);
    if (buffer != nullptr) {
        g_handedOut.push_back(buffer);
    }
    return buffer;
}
} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing_support::TestPicture;
using video_test::loggedErrors;
using video_test::loggedLines;

/// A sensor 64 wide and 36 high whose pictures all differ from pixel to pixel.
class OnHostCamera : public testing_support::CameraTest {
  protected:
    OnHostCamera() {
        m_pictures = {TestPicture::pattern({64, 36}, 1), TestPicture::pattern({64, 36}, 2)};
        testing_support::writeVideo(m_dir / "pattern.y4m", m_pictures);
        useCamera("source=" + (m_dir / "pattern.y4m").string() +
                  "\nresolutions=64x36,48x36,32x18,36x36,80x50\nframerate=25\n");
        g_handedOut.clear();
        video_test::forgetLog();
    }

    /// What the application makes of a camera picture at full size, unturned.
    Bytes rgbOf(std::size_t picture) {
        Bytes rgb(kBytes);
        convertU8yuvToRGBlibYuv(64, 36, m_pictures.at(picture).nv12.data(), rgb.data());
        return rgb;
    }

    /// The same, turned by a quarter: 36 wide and 64 high.
    Bytes turnedRgbOf(std::size_t picture, int rotation) {
        const Bytes rgb = rgbOf(picture);
        Bytes result(kBytes);
        for (std::size_t row = 0; row < 36; ++row) {
            for (std::size_t column = 0; column < 64; ++column) {
                const std::size_t toRow = rotation == 90 ? column : 63 - column;
                const std::size_t toColumn = rotation == 90 ? 35 - row : row;
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    result[(toRow * 36 + toColumn) * 3 + channel] =
                        rgb[(row * 64 + column) * 3 + channel];
                }
            }
        }
        return result;
    }

    /// A dirty source; its opening is forgotten.
    static std::unique_ptr<VideoStreamSource> open(int rotation = 0) {
        auto source = std::make_unique<VideoStreamSource>(36, 64, rotation);
        source->setDirty();
        hostcam::clearFaults();
        video_test::forgetLog();
        return source;
    }

    static std::string openingError() {
        try {
            const VideoStreamSource source(36, 64, 0);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    static constexpr std::size_t kBytes = std::size_t{64} * 36 * 3;

    testing_support::TempDir m_dir;
    std::vector<TestPicture> m_pictures;
};

TEST_F(OnHostCamera, TheLargestOfferedSizeOfEachClassIsChosen) {
    StreamManager manager;
    ASSERT_TRUE(manager.chooseMaxResolution(WIDESCREEN));
    EXPECT_EQ(manager.getResolution().to_string(), "64x36");
    ASSERT_TRUE(manager.chooseMaxResolution(FULLSCREEN));
    EXPECT_EQ(manager.getResolution().to_string(), "48x36");
    ASSERT_TRUE(manager.chooseMaxResolution(SQUARE));
    EXPECT_EQ(manager.getResolution().to_string(), "36x36");
    ASSERT_TRUE(manager.chooseMaxResolution(ASPECT_RATIO_INVALID));
    EXPECT_EQ(manager.getResolution().to_string(), "80x50");
}

TEST_F(OnHostCamera, AModelIsServedByTheSmallestWideStreamThatContainsIt) {
    unsigned width = 0;
    unsigned height = 0;
    ASSERT_TRUE(StreamManager::chooseResolution(30, 18, width, height));
    EXPECT_EQ(Resolution(width, height).to_string(), "32x18");
    ASSERT_TRUE(StreamManager::chooseResolution(100, 100, width, height));
    EXPECT_EQ(Resolution(width, height).to_string(), "64x36");
}

TEST_F(OnHostCamera, AListWithoutUsableSizesChoosesNothing) {
    hostcam::Fault fault;
    fault.call = "vdo_channel_get_resolutions";
    fault.fail = false;
    fault.odd = "0x0,0x36,64x0";
    hostcam::addFault(fault);
    StreamManager manager;
    EXPECT_FALSE(manager.chooseMaxResolution(WIDESCREEN));
    EXPECT_THAT(loggedLines(), IsEmpty());
}

TEST_F(OnHostCamera, AChannelThatCannotBeHadIsReported) {
    hostcam::addFaults("vdo_channel_get code=7 message=busy; vdo_channel_get first=2 noerror");
    StreamManager manager;
    EXPECT_FALSE(manager.chooseMaxResolution(WIDESCREEN));
    EXPECT_FALSE(manager.chooseMaxResolution(WIDESCREEN));
    EXPECT_THAT(loggedLines(),
                ElementsAre("error: chooseMaxResolution: Failed vdo_channel_get(): busy",
                            "error: chooseMaxResolution: Failed vdo_channel_get(): N/A"));
}

TEST_F(OnHostCamera, AListThatCannotBeHadIsReported) {
    hostcam::addFaults("vdo_channel_get_resolutions code=8 message=broken; "
                       "vdo_channel_get_resolutions first=2 noerror");
    StreamManager manager;
    EXPECT_FALSE(manager.chooseMaxResolution(WIDESCREEN));
    EXPECT_FALSE(manager.chooseMaxResolution(WIDESCREEN));
    EXPECT_THAT(
        loggedLines(),
        ElementsAre("error: chooseMaxResolution: Failed vdo_channel_get_resolutions(): broken",
                    "error: chooseMaxResolution: Failed vdo_channel_get_resolutions(): N/A"));
}

TEST_F(OnHostCamera, TheStreamsSettingsAreLogged) {
    const VideoStreamSource source(36, 64, 90);
    EXPECT_THAT(loggedLines(),
                ElementsAre("info: VideoStreamSource: VideoStreamSource constructor called",
                            "info: VideoStreamSource: Starting stream: VDO_FORMAT_YUV, 64x36, "
                            "rotation 90, 25 fps",
                            "info: VideoStreamSource: Successfully created VideoStreamSource "
                            "instance"));
}

TEST_F(OnHostCamera, ASizeThatTheCameraCannotDeliverThrowsItsReason) {
    EXPECT_THROW(VideoStreamSource(0, 0, 0), std::runtime_error);
    EXPECT_THAT(loggedErrors(), ElementsAre(StartsWith("error: VideoStreamSource: Failed to create "
                                                       "new VDO stream from settings. ")));
}

TEST_F(OnHostCamera, EachCallThatOpeningNeedsThrowsWhenItFails) {
    hostcam::addFaults("vdo_stream_new code=11 message=out-of-memory");
    EXPECT_EQ(openingError(), "Failed to create new VDO stream from settings. out-of-memory");
    hostcam::addFaults("vdo_stream_attach code=4 message=permission-denied");
    EXPECT_EQ(openingError(), "Failed to attach VDO stream to stream. permission-denied");
    hostcam::addFaults("vdo_stream_start code=9 message=the-encoder-is-gone");
    EXPECT_EQ(openingError(), "Failed to start VDO stream. the-encoder-is-gone");
    EXPECT_EQ(loggedErrors().size(), 3U);
}

TEST_F(OnHostCamera, EachCallThatOpeningNeedsThrowsWhenItFailsWithoutAReason) {
    hostcam::addFaults("vdo_stream_new noerror");
    EXPECT_EQ(openingError(), "Failed to create new VDO stream from settings. N/A");
    hostcam::addFaults("vdo_stream_attach noerror");
    EXPECT_EQ(openingError(), "Failed to attach VDO stream to stream. N/A :");
    hostcam::addFaults("vdo_stream_start noerror");
    EXPECT_EQ(openingError(), "Failed to start VDO stream. N/Aource error :");
}

TEST_F(OnHostCamera, UnreadableSettingsDoNotKeepTheStreamFromStarting) {
    hostcam::addFaults("vdo_stream_get_settings code=10 message=lost");
    VideoStreamSource source(36, 64, 0);
    EXPECT_THAT(loggedErrors(), ElementsAre("error: VideoStreamSource: Failed to attach retrieve "
                                            "VDO stream settings. lost"));
    source.setDirty();
    Bytes rgb(kBytes);
    EXPECT_TRUE(source.getFrame(36, 64, 0, rgb.data()));
    EXPECT_EQ(rgb, rgbOf(0));
}

TEST_F(OnHostCamera, AnUnturnedStreamIsHandedOutInEveryOrientation) {
    const auto source = open(0);
    Bytes rgb(kBytes);
    ASSERT_TRUE(source->getFrame(36, 64, 0, rgb.data()));
    const Bytes upright = rgbOf(0);
    EXPECT_EQ(rgb, upright);
    hostcam::advanceFrames(1);
    ASSERT_TRUE(source->getFrame(36, 64, 180, rgb.data()));
    EXPECT_EQ(rgb, Bytes(upright.rbegin(), upright.rend())) << "the same tick's picture";
    hostcam::advanceFrames(1);
    ASSERT_TRUE(source->getFrame(64, 36, 90, rgb.data()));
    EXPECT_EQ(rgb, turnedRgbOf(0, 90));
    hostcam::advanceFrames(1);
    ASSERT_TRUE(source->getFrame(64, 36, 270, rgb.data()));
    EXPECT_EQ(rgb, turnedRgbOf(0, 270));
    EXPECT_THAT(loggedLines(), IsEmpty());
}

TEST_F(OnHostCamera, AStreamThatTheCameraTurnsIsHandedOutAsTurned) {
    for (const int rotation : {90, 270}) {
        const auto source = open(rotation);
        Bytes rgb(kBytes);
        ASSERT_TRUE(source->getFrame(64, 36, 0, rgb.data()));
        EXPECT_EQ(rgb, turnedRgbOf(0, rotation)) << rotation;
    }
}

TEST_F(OnHostCamera, AStreamThatTheCameraTurnsByAQuarterIsTurnedBackByTheOtherQuarter) {
    for (const int rotation : {90, 270}) {
        const auto source = open(rotation);
        Bytes rgb(kBytes);
        ASSERT_TRUE(source->getFrame(36, 64, 360 - rotation, rgb.data()));
        EXPECT_EQ(rgb, rgbOf(0)) << rotation;
    }
}

TEST_F(OnHostCamera, TheNextTickConvertsTheNextFrame) {
    const auto source = open();
    Bytes rgb(kBytes);
    ASSERT_TRUE(source->getFrame(36, 64, 0, rgb.data()));
    hostcam::advanceFrames(1);
    source->setDirty();
    ASSERT_TRUE(source->getFrame(36, 64, 0, rgb.data()));
    EXPECT_EQ(rgb, rgbOf(1));
}

TEST_F(OnHostCamera, AnotherSizeIsCroppedAndScaled) {
    const auto source = open();
    Bytes rgb(std::size_t{20} * 20 * 3);
    ASSERT_TRUE(source->getFrame(20, 20, 0, rgb.data()));
    Bytes expected(rgb.size());
    ASSERT_TRUE(
        convertCropScaleU8yuvToRGB(m_pictures[0].nv12.data(), 64, 36, expected.data(), 20, 20));
    EXPECT_EQ(rgb, expected);
    EXPECT_THAT(hostcam::buffersInFlight(), IsEmpty());
}

TEST_F(OnHostCamera, ManyTicksLeaveNoBufferBehind) {
    const auto source = open();
    Bytes rgb(kBytes);
    for (int tick = 0; tick < 200; ++tick) {
        source->setDirty();
        ASSERT_TRUE(source->getFrame(36, 64, 0, rgb.data()));
        hostcam::advanceFrames(1);
    }
    EXPECT_THAT(hostcam::buffersInFlight(), IsEmpty());
    EXPECT_THAT(hostcam::misuses(), IsEmpty());
}

TEST_F(OnHostCamera, AFrameThatDoesNotComeIsReportedAndTheNextOneIsConverted) {
    const auto source = open();
    hostcam::addFaults("vdo_stream_get_buffer code=16 message=maintenance; "
                       "vdo_stream_get_buffer first=2 noerror");
    Bytes rgb(kBytes);
    EXPECT_FALSE(source->getFrame(36, 64, 0, rgb.data()));
    EXPECT_FALSE(source->getFrame(36, 64, 0, rgb.data()));
    EXPECT_THAT(
        loggedLines(),
        ElementsAre("error: getFrame: VideoStreamSource::getFrame failed to get VDO buffer. "
                    "maintenance",
                    "error: getFrame: VideoStreamSource::getFrame failed to get VDO buffer. "
                    "N/A"));
    EXPECT_TRUE(source->getFrame(36, 64, 0, rgb.data()));
    EXPECT_EQ(rgb, rgbOf(0));
}

TEST_F(OnHostCamera, AFrameWithoutDataIsReportedAndHandedBack) {
    const auto source = open();
    hostcam::addFaults("vdo_buffer_get_data");
    Bytes rgb(kBytes);
    EXPECT_FALSE(source->getFrame(36, 64, 0, rgb.data()));
    EXPECT_THAT(loggedLines(),
                ElementsAre("error: getFrame: Unexpected error while converting YUV data to RGB."));
    EXPECT_THAT(hostcam::buffersInFlight(), IsEmpty());
}

TEST_F(OnHostCamera, ABufferThatIsNotTakenBackIsReported) {
    const auto source = open();
    hostcam::addFaults("vdo_stream_buffer_unref code=6 message=closed; "
                       "vdo_stream_buffer_unref first=2 noerror");
    Bytes rgb(kBytes);
    EXPECT_FALSE(source->getFrame(36, 64, 0, rgb.data()));
    hostcam::advanceFrames(1);
    EXPECT_FALSE(source->getFrame(36, 64, 0, rgb.data()));
    EXPECT_THAT(loggedLines(),
                ElementsAre("error: getFrame: Failed to release VDO stream buffer. closed",
                            "error: getFrame: Failed to release VDO stream buffer. N/A"));
    ASSERT_EQ(g_handedOut.size(), 2U);
    for (VdoBuffer* buffer : g_handedOut) {
        g_object_unref(buffer);
    }
}

TEST_F(OnHostCamera, DeliberatelyAFailedCropKeepsItsBufferUntilTheStreamRunsDry) {
    const auto source = open();
    for (int tick = 0; tick < 4; ++tick) {
        EXPECT_FALSE(source->getFrame(36, 0, 0, nullptr));
        hostcam::advanceFrames(1);
    }
    EXPECT_EQ(hostcam::buffersInFlight().size(), 4U);
    Bytes rgb(kBytes);
    EXPECT_FALSE(source->getFrame(36, 64, 0, rgb.data()));
    EXPECT_THAT(loggedLines().back(),
                StartsWith("error: getFrame: VideoStreamSource::getFrame failed "
                           "to get VDO buffer. "));
    EXPECT_THAT(loggedLines().back(), HasSubstr("4 buffers"));
    ASSERT_EQ(g_handedOut.size(), 4U);
    for (VdoBuffer* buffer : g_handedOut) {
        g_object_unref(buffer);
    }
}

TEST_F(OnHostCamera, ASourceThatGoesAwayReleasesItsStream) {
    auto source = open();
    auto* const stream = G_OBJECT(source->m_vdoStream);
    gpointer known = stream;
    g_object_add_weak_pointer(stream, &known);
    source.reset();
    EXPECT_EQ(known, nullptr);
}

} // namespace
