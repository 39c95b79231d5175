#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/camera.h"
#include "tests/unit/platform/camera_test_base.h"
#include "tests/unit/platform/media_files.h"

namespace {

using hostcam::Camera;
using hostcam::Moment;
using hostcam::SourceError;
using testing::HasSubstr;

class HostCameraTest : public testing_support::CameraTest {
  protected:
    HostCameraTest() {
        testing_support::writeGreyVideo(m_dir / "grey.y4m", {64, 36}, {100, 101, 102});
        useCamera("source=" + (m_dir / "grey.y4m").string() + "\n");
    }

    testing_support::TempDir m_dir;
};

TEST_F(HostCameraTest, EveryoneGetsTheSameCamera) {
    const auto one = Camera::open();
    EXPECT_EQ(Camera::open(), one);
}

TEST_F(HostCameraTest, ACameraGoesAwayWithItsLastUser) {
    std::weak_ptr<Camera> gone = Camera::open();
    EXPECT_EQ(gone.lock(), nullptr);
}

TEST_F(HostCameraTest, EveryoneSeesTheSameMoment) {
    const auto opened = Camera::open();
    hostcam::advanceFrames(3);
    const Moment one = opened->latest();
    const Moment other = opened->latest();
    EXPECT_EQ(one.number, 3U);
    EXPECT_EQ(other.number, 3U);
    EXPECT_EQ(one.microseconds, other.microseconds);
    EXPECT_EQ(one.image, other.image);
    EXPECT_EQ(one.image->picture({64, 36})->data()[0], one.image->picture({32, 18})->data()[0]);
}

TEST_F(HostCameraTest, AMomentStaysWhileTheCameraGoesOn) {
    const auto opened = Camera::open();
    const Moment first = opened->latest();
    hostcam::advanceFrames(1);
    const Moment second = opened->latest();
    EXPECT_EQ(first.image->picture({64, 36})->data()[0], 100);
    EXPECT_EQ(second.image->picture({64, 36})->data()[0], 101);
}

TEST_F(HostCameraTest, TheManualPaceGoesOnFromCameraToCamera) {
    static_cast<void>(Camera::open());
    hostcam::advanceFrames(5);
    EXPECT_EQ(Camera::open()->pace()->current(), 5U);
    hostcam::resetCamera();
    hostcam::setManualPace(true);
    EXPECT_EQ(Camera::open()->pace()->current(), 0U);
}

TEST_F(HostCameraTest, AResetForgetsConfigurationSourceAndManualPace) {
    const auto before = Camera::open();
    camera.configure("[camera]\nsource=scene\nframerate=7\n");
    hostcam::resetCamera();
    const auto after = Camera::open();
    EXPECT_NE(after, before);
    EXPECT_EQ(after->config().framerate, 7.0);
    EXPECT_FALSE(after->pace()->manual());
    EXPECT_TRUE(before->pace()->manual()) << "the old one stands still";
}

TEST_F(HostCameraTest, TheSceneShowsTheCamerasFrameNumber) {
    useCamera("source=scene\n");
    const auto one = Camera::open();
    hostcam::advanceFrames(40);
    const auto first = one->latest().image->picture({320, 180});
    useCamera("source=scene\n");
    const auto other = Camera::open();
    hostcam::advanceFrames(40);
    const auto second = other->latest().image->picture({320, 180});
    EXPECT_TRUE(std::equal(first->data(), first->data() + first->bytes(), second->data()));
    hostcam::advanceFrames(1);
    const auto third = other->latest().image->picture({320, 180});
    EXPECT_FALSE(std::equal(first->data(), first->data() + first->bytes(), third->data()));
}

TEST_F(HostCameraTest, AWrongConfigurationIsThrownAsSuch) {
    useCamera("framerate=0\n");
    EXPECT_THROW(static_cast<void>(Camera::open()), hostcam::ConfigError);
}

TEST_F(HostCameraTest, AMissingSourceIsThrownAsSuch) {
    useCamera("source=/no/such/source\n");
    try {
        static_cast<void>(Camera::open());
        FAIL() << "it was opened";
    } catch (const SourceError& problem) {
        EXPECT_EQ(problem.kind(), SourceError::Kind::NotFound);
        EXPECT_THAT(problem.what(), HasSubstr("/no/such/source"));
    }
}

struct SourceFailure {
    std::string source;
    int code;
};

class SourceFailureTest : public testing_support::CameraTest,
                          public testing::WithParamInterface<SourceFailure> {};

TEST_P(SourceFailureTest, NoStreamComesAndTheErrorNamesTheSource) {
    const testing_support::WorkingDir here;
    testing_support::writeFile(here.path() / "text.txt", "This is a text and not a picture.");
    std::filesystem::create_directory(here.path() / "folder");
    useCamera("source=" + GetParam().source + "\n");
    EXPECT_EQ(vdo_stream_new(settings(640, 360).get(), nullptr, error.out()), nullptr);
    EXPECT_EQ(error.code(), GetParam().code) << error.text();
    EXPECT_THAT(error.text(), HasSubstr(GetParam().source + ": "));
}

INSTANTIATE_TEST_SUITE_P(HostCameraTest, SourceFailureTest,
                         testing::Values(SourceFailure{"nothing.mp4", VDO_ERROR_NOT_FOUND},
                                         SourceFailure{"text.txt", VDO_ERROR_IO},
                                         SourceFailure{"folder", VDO_ERROR_IO},
                                         SourceFailure{"http://x/y", VDO_ERROR_NOT_SUPPORTED}));

} // namespace
