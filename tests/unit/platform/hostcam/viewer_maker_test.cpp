// The maker of viewers' pictures, without a server.

#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/ending_thread.h"
#include "platform/hostcam/viewer_maker.h"
#include "tests/unit/platform/hostcam/http_fixture.h"

namespace {

using hostcam::MadePicture;
using hostcam::PictureMaker;
using hostcam::PictureRequest;
using hostcam::PictureWish;
using testing::HasSubstr;
using testing_support::JpegPicture;

/// A request whose answer can be waited for.
struct Waiting {
    std::shared_ptr<PictureRequest> request;
    std::future<MadePicture> made;

    MadePicture get() {
        if (made.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
            throw std::runtime_error("no picture was made");
        }
        return made.get();
    }
};

class PictureMakerTest : public testing_support::HttpTest {
  protected:
    Waiting ask(PictureMaker& maker, std::uint64_t notBefore, const PictureWish& wish = {kSize}) {
        auto promise = std::make_shared<std::promise<MadePicture>>();
        auto made = promise->get_future();
        return {maker.ask(wish, notBefore,
                          [promise](const MadePicture& picture) { promise->set_value(picture); }),
                std::move(made)};
    }

    static int frameOf(const MadePicture& made) {
        return HttpTest::frameOf(
            JpegPicture({reinterpret_cast<const char*>(made.jpeg->data()), made.jpeg->size()}));
    }

    const std::shared_ptr<hostcam::Camera> held = hostcam::Camera::open();
    const hostcam::Moment first = held->latest(); ///< with which the video begins
};

TEST_F(PictureMakerTest, APictureIsMadeOnceForAllWhoAskForTheSame) {
    PictureMaker maker;
    Waiting one = ask(maker, 1);
    Waiting two = ask(maker, 1);
    Waiting three = ask(maker, 0);
    EXPECT_EQ(three.get().number, 0U);
    hostcam::advanceFrames(1);
    const MadePicture made = one.get();
    EXPECT_EQ(made.jpeg, two.get().jpeg);
    EXPECT_EQ(made.number, 1U);
    EXPECT_EQ(frameOf(made), 1);
    EXPECT_EQ(maker.encoded(), 2U);
}

TEST_F(PictureMakerTest, DifferentWishesAreMadeFromTheSameFrame) {
    PictureMaker maker;
    Waiting large = ask(maker, 3);
    Waiting small = ask(maker, 3, {{32, 18}});
    hostcam::advanceFrames(3);
    EXPECT_EQ(frameOf(large.get()), 3);
    EXPECT_EQ(frameOf(small.get()), 3);
    EXPECT_EQ(maker.encoded(), 2U);
}

TEST_F(PictureMakerTest, WhatHasNotChangedIsNotMadeAgain) {
    testing_support::writePhoto(m_dir / "photo.ppm", kSize, 10, 200, 30);
    useCamera("source=" + (m_dir / "photo.ppm").string() + "\nresolutions=64x36\n");
    const auto photo = hostcam::Camera::open();
    PictureMaker maker;
    const auto watched = maker.watch();
    const MadePicture before = ask(maker, 0).get();
    hostcam::advanceFrames(1);
    const MadePicture second = ask(maker, 1).get();
    EXPECT_EQ(before.jpeg, second.jpeg);
    EXPECT_EQ(second.number, 1U);
    EXPECT_EQ(maker.encoded(), 1U);
}

TEST_F(PictureMakerTest, ARequestThatIsGivenUpIsNotMade) {
    PictureMaker maker;
    Waiting kept = ask(maker, 2);
    Waiting dropped = ask(maker, 1, {{32, 18}});
    dropped.request.reset();
    hostcam::advanceFrames(2);
    (void)kept.get();
    EXPECT_EQ(maker.encoded(), 1U);
    EXPECT_THROW((void)dropped.made.get(), std::future_error) << "its promise went with it";
}

TEST_F(PictureMakerTest, AnEarlierRequestThatComesLaterIsNotHeldUp) {
    PictureMaker maker;
    const Waiting late = ask(maker, 1000);
    EXPECT_EQ(ask(maker, 0).get().number, 0U);
}

TEST_F(PictureMakerTest, AWishThatCannotBeMadeFailsAloneAndSaysWhy) {
    PictureMaker maker;
    Waiting wrong = ask(maker, 1, {kSize, 0, false, true, 1000});
    Waiting right = ask(maker, 1);
    hostcam::advanceFrames(1);
    const MadePicture none = wrong.get();
    EXPECT_EQ(none.jpeg, nullptr);
    EXPECT_THAT(none.problem, HasSubstr("a picture cannot become a JPEG: "));
    EXPECT_EQ(frameOf(right.get()), 1);
    EXPECT_EQ(camera.takeWarnings().size(), 1U);
}

TEST_F(PictureMakerTest, ItEndsWithRequestsThatWait) {
    Waiting waiting = [this] {
        PictureMaker maker;
        return ask(maker, 1000);
    }();
    waiting.request.reset();
    EXPECT_THROW((void)waiting.made.get(), std::future_error);
}

TEST(EndingThreadTest, AThreadThatTakesTooLongIsLeftToItself) {
    std::promise<void> goOn;
    std::promise<void> gone;
    {
        hostcam::EndingThread thread;
        thread.start([wait = goOn.get_future().share(), held = std::shared_ptr<std::promise<void>>(
                                                            &gone, [](std::promise<void>* told) {
                                                                told->set_value();
                                                            })] { wait.wait(); });
        EXPECT_FALSE(thread.leave(std::chrono::milliseconds(1)));
    }
    goOn.set_value();
    gone.get_future().wait();
}

} // namespace
