#include <vector>

#include <gtest/gtest.h>

#include "platform/hostcam/nv12.h"
#include "tests/unit/platform/media_files.h"

namespace {

using hostcam::fittedSize;
using hostcam::Nv12Target;
using hostcam::Size;
using hostcam::targetOf;
using hostcam::viewOf;
using testing_support::TestPicture;

/// A frame to draw into, filled with a value that no drawing leaves.
struct Frame {
    Frame(Size frameSize, std::size_t framePitch)
        : size(frameSize), pitch(framePitch), bytes(hostcam::nv12Bytes(size, pitch), 7) {}

    [[nodiscard]] Nv12Target target() { return targetOf(size, bytes.data(), pitch); }
    [[nodiscard]] int y(std::size_t column, std::size_t row) const {
        return bytes[row * pitch + column];
    }
    [[nodiscard]] int u(std::size_t column, std::size_t row) const {
        return bytes[(size.height + row) * pitch + 2 * column];
    }
    [[nodiscard]] int v(std::size_t column, std::size_t row) const {
        return bytes[(size.height + row) * pitch + 2 * column + 1];
    }

    Size size;
    std::size_t pitch;
    std::vector<std::uint8_t> bytes;
};

TEST(Nv12Test, CountsTheBytesOfBothPlanes) {
    EXPECT_EQ(hostcam::nv12Bytes({1920, 1080}, 1920), 1920U * 1080U * 3 / 2);
    EXPECT_EQ(hostcam::nv12Bytes({5, 3}, 6), 6U * 5U) << "half a row of colour rounds up";
}

TEST(Nv12Test, QuarterTurnsExchangeWidthAndHeight) {
    EXPECT_EQ(hostcam::turnedSize({640, 360}, 0), (Size{640, 360}));
    EXPECT_EQ(hostcam::turnedSize({640, 360}, 90), (Size{360, 640}));
    EXPECT_EQ(hostcam::turnedSize({640, 360}, 180), (Size{640, 360}));
    EXPECT_EQ(hostcam::turnedSize({640, 360}, 270), (Size{360, 640}));
}

TEST(Nv12Test, AFittedPictureKeepsItsAspect) {
    EXPECT_EQ(fittedSize({1920, 1080}, {640, 360}), (Size{640, 360}));
    EXPECT_EQ(fittedSize({640, 480}, {1280, 720}), (Size{960, 720}));
    EXPECT_EQ(fittedSize({1080, 1920}, {1280, 720}), (Size{406, 720}));
    EXPECT_EQ(fittedSize({4000, 100}, {640, 360}), (Size{640, 16}));
    EXPECT_EQ(fittedSize({1366, 768}, {1280, 720}), (Size{1280, 720}));
    EXPECT_EQ(fittedSize({1, 16384}, {640, 360}), (Size{2, 360})) << "never nothing";
    EXPECT_EQ(fittedSize({16384, 1}, {2, 2}), (Size{2, 2}));
}

TEST(Nv12Test, APictureOfTheFramesSizeIsCopied) {
    const TestPicture picture = TestPicture::pattern({64, 36});
    Frame frame({64, 36}, 64);
    hostcam::drawFitted(viewOf(picture.size, picture.nv12.data(), 64), frame.target());
    EXPECT_EQ(frame.bytes, picture.nv12);
}

TEST(Nv12Test, PaddingBetweenRowsIsLeftAlone) {
    const TestPicture picture = TestPicture::pattern({64, 36});
    Frame frame({64, 36}, 80);
    hostcam::drawFitted(viewOf(picture.size, picture.nv12.data(), 64), frame.target());
    for (std::size_t row = 0; row < 54; ++row) {
        for (std::size_t column = 0; column < 80; ++column) {
            ASSERT_EQ(frame.bytes[row * 80 + column],
                      column < 64 ? picture.nv12[row * 64 + column] : 7);
        }
    }
}

TEST(Nv12Test, ANarrowPictureStandsBetweenBlackBars) {
    const TestPicture picture({30, 30}, 200);
    Frame frame({64, 36}, 64);
    hostcam::drawFitted(viewOf(picture.size, picture.nv12.data(), 30), frame.target());
    for (std::size_t row = 0; row < 36; ++row) {
        for (std::size_t column = 0; column < 64; ++column) {
            ASSERT_EQ(frame.y(column, row), column >= 14 && column < 50 ? 200 : 16)
                << column << "," << row;
        }
    }
    for (std::size_t at = 64 * 36; at < frame.bytes.size(); ++at) {
        ASSERT_EQ(frame.bytes[at], 128) << "colour in grey and black";
    }
}

TEST(Nv12Test, AWidePictureStandsBelowAndAboveBlackBars) {
    const TestPicture picture({128, 16}, 200);
    Frame frame({64, 36}, 64);
    hostcam::drawFitted(viewOf(picture.size, picture.nv12.data(), 128), frame.target());
    for (std::size_t row = 0; row < 36; ++row) {
        for (std::size_t column = 0; column < 64; ++column) {
            ASSERT_EQ(frame.y(column, row), row >= 14 && row < 22 ? 200 : 16)
                << column << "," << row;
        }
    }
}

TEST(Nv12Test, AnOddPictureIsScaledToo) {
    const Size odd{33, 17};
    std::vector<std::uint8_t> bytes(hostcam::nv12Bytes(odd, 34), 150);
    Frame frame({64, 36}, 64);
    hostcam::drawFitted(viewOf(odd, bytes.data(), 34), frame.target());
    EXPECT_EQ(frame.y(32, 18), 150);
    EXPECT_EQ(frame.u(16, 9), 150);
    EXPECT_EQ(frame.v(16, 9), 150);
    EXPECT_EQ(frame.y(32, 0), 16);
}

TEST(Nv12Test, EdgesKeepTheirPlaceWhenScaled) {
    TestPicture picture({128, 72}, 16);
    for (std::size_t row = 0; row < 72; ++row) {
        for (std::size_t column = 64; column < 128; ++column) {
            picture.nv12[row * 128 + column] = 235;
        }
    }
    Frame frame({32, 18}, 32);
    hostcam::drawFitted(viewOf(picture.size, picture.nv12.data(), 128), frame.target());
    EXPECT_EQ(frame.y(15, 9), 16);
    EXPECT_EQ(frame.y(16, 9), 235);
}

struct Turn {
    int rotation;
    bool mirrored;
};

class TurnTest : public testing::TestWithParam<Turn> {};

TEST_P(TurnTest, EveryPixelComesToItsPlace) {
    const auto [rotation, mirrored] = GetParam();
    const TestPicture picture = TestPicture::pattern({20, 12});
    const Size size = hostcam::turnedSize(picture.size, rotation);
    Frame frame(size, 24);
    std::vector<std::uint8_t> scratch;
    hostcam::drawTurned(viewOf(picture.size, picture.nv12.data(), 20), rotation, mirrored,
                        frame.target(), scratch);
    // Where a pixel of a plane of the picture comes to, by turning it clockwise in quarters.
    const auto place = [=](std::size_t x, std::size_t y, std::size_t width, std::size_t height) {
        for (int turned = 0; turned < rotation; turned += 90) {
            const std::size_t right = height - 1 - y;
            y = x;
            x = right;
            std::swap(width, height);
        }
        return std::pair{mirrored ? width - 1 - x : x, y};
    };
    for (std::size_t row = 0; row < 12; ++row) {
        for (std::size_t column = 0; column < 20; ++column) {
            const auto [x, y] = place(column, row, 20, 12);
            ASSERT_EQ(frame.y(x, y), picture.y(column, row)) << column << "," << row;
        }
    }
    for (std::size_t row = 0; row < 6; ++row) {
        for (std::size_t column = 0; column < 10; ++column) {
            const auto [x, y] = place(column, row, 10, 6);
            ASSERT_EQ(frame.u(x, y), picture.u(column, row)) << column << "," << row;
            ASSERT_EQ(frame.v(x, y), picture.v(column, row)) << column << "," << row;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Nv12Test, TurnTest,
                         testing::Values(Turn{0, false}, Turn{90, false}, Turn{180, false},
                                         Turn{270, false}, Turn{0, true}, Turn{90, true},
                                         Turn{180, true}, Turn{270, true}));

TEST(Nv12Test, LuminanceAloneIsTurnedWithoutAColourPlane) {
    const TestPicture picture = TestPicture::pattern({20, 12});
    for (const int rotation : {0, 90, 180, 270}) {
        Frame frame(hostcam::turnedSize(picture.size, rotation), 20);
        Nv12Target target = frame.target();
        target.uv = nullptr;
        std::vector<std::uint8_t> scratch;
        hostcam::drawTurned(viewOf(picture.size, picture.nv12.data(), 20), rotation, true, target,
                            scratch);
        EXPECT_EQ(frame.bytes.back(), 7);
        EXPECT_NE(frame.y(0, 0), 7);
    }
}

TEST(Nv12Test, FullRangeBecomesVideoRange) {
    Frame frame({4, 2}, 4);
    frame.bytes = {0, 255, 128, 1, 2, 3, 4, 5, 0, 255, 128, 128};
    hostcam::narrowRange(frame.target());
    EXPECT_EQ(frame.y(0, 0), 16);
    EXPECT_EQ(frame.y(1, 0), 235);
    EXPECT_EQ(frame.y(2, 0), 126);
    EXPECT_EQ(frame.u(0, 0), 16);
    EXPECT_EQ(frame.v(0, 0), 240);
    EXPECT_EQ(frame.u(1, 0), 128);
    EXPECT_EQ(frame.v(1, 0), 128);
}

} // namespace
