#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/hostcam/picture.h"

namespace {

using hostcam::Image;
using hostcam::Picture;
using hostcam::Size;

class CountingImage : public Image {
  public:
    mutable std::atomic<int> made{0};
    mutable std::atomic<bool> fails{false};

  protected:
    std::shared_ptr<const Picture> make(Size size) const override {
        ++made;
        if (fails) {
            throw std::runtime_error("no picture");
        }
        return std::make_shared<Picture>(size);
    }
};

TEST(PictureTest, APictureLiesOnA64ByteBoundary) {
    for (const std::uint32_t width : {2U, 6U, 640U}) {
        const Picture picture(Size{width, 4});
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(picture.data()) % 64, 0U);
        EXPECT_EQ(picture.pitch(), width);
        EXPECT_EQ(picture.bytes(), std::size_t{width} * 6);
    }
}

TEST(PictureTest, AnOddPictureHasAnEvenPitch) {
    const Picture picture(Size{5, 3});
    EXPECT_EQ(picture.pitch(), 6U);
    EXPECT_EQ(picture.bytes(), 6U * (3 + 2));
}

TEST(ImageTest, APictureIsMadeOnceForEachSize) {
    const CountingImage image;
    const auto first = image.picture({640, 360});
    EXPECT_EQ(image.picture({640, 360}), first);
    EXPECT_EQ(image.made, 1);
    EXPECT_NE(image.picture({320, 180}), first);
    EXPECT_EQ(image.made, 2);
}

TEST(ImageTest, TheLastFourSizesAreKept) {
    const CountingImage image;
    for (const std::uint32_t width : {2U, 4U, 6U, 8U}) {
        static_cast<void>(image.picture({width, 2}));
    }
    static_cast<void>(image.picture({2, 2}));
    static_cast<void>(image.picture({10, 2}));
    EXPECT_EQ(image.made, 5);
    static_cast<void>(image.picture({2, 2}));
    EXPECT_EQ(image.made, 5) << "it was used last but one";
    static_cast<void>(image.picture({4, 2}));
    EXPECT_EQ(image.made, 6) << "it had not been used for longest";
}

TEST(ImageTest, AfterAFailureTheNextRequestTriesAgain) {
    const CountingImage image;
    image.fails = true;
    EXPECT_THROW(static_cast<void>(image.picture({2, 2})), std::runtime_error);
    image.fails = false;
    EXPECT_NE(image.picture({2, 2}), nullptr);
    EXPECT_EQ(image.made, 2);
}

TEST(ImageTest, ThreadsShareOneMaking) {
    const CountingImage image;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&image, thread] {
            const std::uint32_t width = thread % 2 == 0 ? 640 : 320;
            EXPECT_EQ(image.picture({width, 180})->size().width, width);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(image.made, 2);
}

} // namespace
