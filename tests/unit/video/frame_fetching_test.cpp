// VideoStreamSource::getFrame() with the video service stood in for: what is asked of the service,
// what comes out, and every way to fail.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libyuv.h>

#include "tests/unit/video/logged_lines.h"
#include "tests/unit/video/random_values.h"
#include "tests/unit/video/vdo_stand_in.h"
#include "video/VideoStreamSource.h"
#include "video/imgconverter.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::IsEmpty;
using vdo_stand_in::service;
using video_test::loggedLines;
using video_test::RandomValues;

constexpr std::uint8_t kUntouched = 0xA5;

std::size_t rgbBytes(int height, int width) {
    return static_cast<std::size_t>(height) * static_cast<std::size_t>(width) * 3;
}

/// A random frame, long enough for the library at odd sizes too.
Bytes randomFrame(RandomValues& random, int height, int width) {
    const auto longSide = static_cast<std::size_t>(std::max(height, width));
    return random.bytes(longSide * longSide * 3 + 8);
}

/// What the library makes of a frame of that size.
Bytes converted(const Bytes& nv12, int height, int width) {
    Bytes rgb(rgbBytes(height, width));
    const auto chroma = static_cast<std::ptrdiff_t>(rgb.size() / 3);
    EXPECT_EQ(libyuv::NV12ToRAW(nv12.data(), width, nv12.data() + chroma, width, rgb.data(),
                                width * 3, width, height),
              0);
    return rgb;
}

/// A picture with its size, to be turned pixel by pixel.
struct Picture {
    int height;
    int width;
    Bytes rgb;

    [[nodiscard]] std::uint8_t* pixel(int row, int column) {
        return rgb.data() + (std::ptrdiff_t{row} * width + column) * 3;
    }
};

Picture turned(Picture picture, int rotation) {
    if (rotation == 0) {
        return picture;
    }
    if (rotation == 180) {
        return {picture.height, picture.width, Bytes(picture.rgb.rbegin(), picture.rgb.rend())};
    }
    Picture result{picture.width, picture.height, Bytes(picture.rgb.size())};
    for (int row = 0; row < picture.height; ++row) {
        for (int column = 0; column < picture.width; ++column) {
            const int toRow = rotation == 90 ? column : picture.width - 1 - column;
            const int toColumn = rotation == 90 ? picture.height - 1 - row : row;
            std::copy_n(picture.pixel(row, column), 3, result.pixel(toRow, toColumn));
        }
    }
    return result;
}

class FrameFetching : public testing::Test {
  protected:
    FrameFetching() {
        vdo_stand_in::reset();
        video_test::forgetLog();
    }
    ~FrameFetching() override { vdo_stand_in::reset(); }

    /// A dirty source of 4 high, 6 wide over a random frame, its opening forgotten.
    VideoStreamSource& open(int streamRotation, int height = 4, int width = 6) {
        m_source = std::make_unique<VideoStreamSource>(height, width, streamRotation);
        m_source->setDirty();
        service().frame = randomFrame(m_random, height, width);
        service().calls.clear();
        video_test::forgetLog();
        return *m_source;
    }

    /// A request that must succeed.
    Bytes fetch(int height, int width, int rotation) {
        Bytes rgb(rgbBytes(height, width), kUntouched);
        EXPECT_TRUE(m_source->getFrame(height, width, rotation, rgb.data()));
        return rgb;
    }

    /// A request that must fail, count for nothing, and log just the text.
    void expectFailure(int height, int width, int rotation, const std::string& text) {
        const std::uint32_t delivered = VideoStreamSource::s_framesDelivered;
        Bytes rgb(rgbBytes(height, width), kUntouched);
        EXPECT_FALSE(m_source->getFrame(height, width, rotation, rgb.data()));
        EXPECT_THAT(loggedLines(), ElementsAre("error: getFrame: " + text));
        EXPECT_EQ(VideoStreamSource::s_framesDelivered, delivered);
    }

    RandomValues m_random{2101};
    std::unique_ptr<VideoStreamSource> m_source;
};

TEST_F(FrameFetching, TakesABufferItsDataAndHandsItBack) {
    open(0);
    fetch(4, 6, 0);
    EXPECT_THAT(vdo_stand_in::takeCalls(),
                ElementsAre("vdo_stream_get_buffer stream", "vdo_buffer_get_data buffer",
                            "vdo_stream_buffer_unref stream buffer", "release buffer"));
    EXPECT_THAT(loggedLines(), IsEmpty());
}

TEST_F(FrameFetching, GivesAByteExactCopyOfTheConvertedFrameAtItsOwnSizeUnturned) {
    open(0);
    const Bytes rgb = fetch(4, 6, 0);
    EXPECT_EQ(rgb, converted(service().frame, 4, 6));
    EXPECT_EQ(rgb, Bytes(m_source->m_tempBuffer, m_source->m_tempBuffer + rgb.size()));
}

struct FullSizeRow {
    int streamRotation;
    int height; ///< requested; the stream is 4 high and 6 wide
    int width;
    int rotation;
};

void PrintTo(const FullSizeRow& row, std::ostream* out) {
    *out << "stream at " << row.streamRotation << ", asked for " << row.height << " rows of "
         << row.width << " at " << row.rotation;
}

class FullSizeRequest : public FrameFetching, public testing::WithParamInterface<FullSizeRow> {};

TEST_P(FullSizeRequest, ConvertsTheDeliveredFrameAndTurnsIt) {
    const FullSizeRow& row = GetParam();
    open(row.streamRotation);
    const bool deliversTurned = row.streamRotation == 90 || row.streamRotation == 270;
    const Picture frame = deliversTurned ? Picture{6, 4, converted(service().frame, 6, 4)}
                                         : Picture{4, 6, converted(service().frame, 4, 6)};
    const Picture expected = turned(frame, row.rotation);
    ASSERT_EQ(expected.height, row.height);
    ASSERT_EQ(expected.width, row.width);
    EXPECT_EQ(fetch(row.height, row.width, row.rotation), expected.rgb);
    EXPECT_FALSE(m_source->m_dirty);
}

INSTANTIATE_TEST_SUITE_P(Each, FullSizeRequest,
                         testing::Values(FullSizeRow{0, 4, 6, 0}, FullSizeRow{0, 4, 6, 180},
                                         FullSizeRow{0, 6, 4, 90}, FullSizeRow{0, 6, 4, 270},
                                         FullSizeRow{180, 4, 6, 0}, FullSizeRow{180, 4, 6, 180},
                                         FullSizeRow{180, 6, 4, 90}, FullSizeRow{180, 6, 4, 270},
                                         FullSizeRow{90, 6, 4, 0}, FullSizeRow{90, 6, 4, 180},
                                         FullSizeRow{90, 4, 6, 90}, FullSizeRow{90, 4, 6, 270},
                                         FullSizeRow{270, 6, 4, 0}, FullSizeRow{270, 6, 4, 180},
                                         FullSizeRow{270, 4, 6, 90}, FullSizeRow{270, 4, 6, 270}));

class CropRequest : public FrameFetching, public testing::WithParamInterface<FullSizeRow> {};

TEST_P(CropRequest, GoesThroughCropAndScaleWithTheStreamsUnturnedSize) {
    const FullSizeRow& row = GetParam();
    open(row.streamRotation);
    Bytes expected(rgbBytes(row.height, row.width));
    ASSERT_TRUE(convertCropScaleU8yuvToRGB(service().frame.data(), 6, 4, expected.data(),
                                           static_cast<unsigned>(row.width),
                                           static_cast<unsigned>(row.height)));
    EXPECT_EQ(fetch(row.height, row.width, row.rotation), expected);
    EXPECT_TRUE(m_source->m_dirty) << "the crop-and-scale path keeps the dirty flag";
    EXPECT_EQ(service().buffersHandedBack, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Each, CropRequest,
    testing::Values(FullSizeRow{0, 2, 3, 0}, FullSizeRow{0, 8, 12, 0},
                    FullSizeRow{0, 4, 6, 90},    // a quarter turn needs the sizes exchanged
                    FullSizeRow{0, 4, 6, 270},   //
                    FullSizeRow{0, 6, 4, 0},     // and the other way round
                    FullSizeRow{0, 6, 4, 180},   //
                    FullSizeRow{0, 4, 6, 45},    // no such turn
                    FullSizeRow{0, 4, 6, 360},   //
                    FullSizeRow{180, 4, 6, 90},  //
                    FullSizeRow{180, 4, 5, 180}, //
                    FullSizeRow{90, 4, 6, 0},    // the unturned size of a turned stream
                    FullSizeRow{90, 4, 6, 180},  //
                    FullSizeRow{90, 6, 4, 90},   //
                    FullSizeRow{90, 6, 4, 270},  //
                    FullSizeRow{270, 4, 6, 0},   //
                    FullSizeRow{270, 6, 4, 270}, //
                    FullSizeRow{270, 5, 5, -90}));

TEST_F(FrameFetching, ConvertsOnceForTwoFullSizeRequestsInOneTick) {
    open(0);
    const Bytes first = fetch(4, 6, 0);
    service().frame = randomFrame(m_random, 4, 6);
    EXPECT_EQ(fetch(4, 6, 0), first) << "the first frame's content again";
    EXPECT_EQ(fetch(6, 4, 90), turned({4, 6, first}, 90).rgb) << "and the same picture, turned";
    EXPECT_EQ(service().buffersTaken, 3) << "although every request takes a buffer";
    EXPECT_EQ(service().buffersHandedBack, 3);
}

TEST_F(FrameFetching, ConvertsAfreshInTheNextTick) {
    open(0);
    fetch(4, 6, 0);
    service().frame = randomFrame(m_random, 4, 6);
    m_source->setDirty();
    EXPECT_EQ(fetch(4, 6, 0), converted(service().frame, 4, 6));
}

TEST_F(FrameFetching, HandsOutABlackPictureBeforeTheFirstTick) {
    open(0);
    m_source->m_dirty = false;
    EXPECT_EQ(fetch(4, 6, 0), Bytes(72, 0));
}

TEST_F(FrameFetching, CropsEachRequestsOwnFrameWithinATick) {
    open(0);
    const Bytes first = fetch(2, 3, 0);
    service().frame = randomFrame(m_random, 4, 6);
    EXPECT_NE(fetch(2, 3, 0), first);
}

TEST_F(FrameFetching, TakesAnyOtherStreamRotationForSuccessAndLeavesTheOutputUntouched) {
    for (const int streamRotation : {1, 45, -90, 360, 450}) {
        open(streamRotation);
        EXPECT_EQ(fetch(4, 6, 0), Bytes(72, kUntouched));
        EXPECT_EQ(fetch(6, 4, 90), Bytes(72, kUntouched));
        EXPECT_EQ(fetch(2, 3, 0), Bytes(18, kUntouched));
        EXPECT_TRUE(m_source->m_dirty);
        EXPECT_THAT(loggedLines(), IsEmpty());
    }
    EXPECT_EQ(service().buffersHandedBack, 15);
}

TEST_F(FrameFetching, CountsItsSuccessesOverAllSources) {
    const std::uint32_t before = VideoStreamSource::s_framesDelivered;
    open(0);
    fetch(4, 6, 0);
    fetch(2, 3, 0);
    open(90);
    fetch(6, 4, 0);
    EXPECT_EQ(VideoStreamSource::s_framesDelivered, before + 3);
}

TEST_F(FrameFetching, ReportsABufferThatCannotBeHad) {
    open(0);
    service().failures["vdo_stream_get_buffer"] = "maintenance";
    expectFailure(4, 6, 0, "VideoStreamSource::getFrame failed to get VDO buffer. maintenance");
    EXPECT_THAT(vdo_stand_in::takeCalls(), ElementsAre("vdo_stream_get_buffer stream"));
    EXPECT_TRUE(m_source->m_dirty);
}

TEST_F(FrameFetching, ReportsABufferThatCannotBeHadForNoKnownReason) {
    open(0);
    service().failures["vdo_stream_get_buffer"] = std::nullopt;
    expectFailure(4, 6, 0, "VideoStreamSource::getFrame failed to get VDO buffer. N/A");
}

TEST_F(FrameFetching, DeliberatelyKeepsTheBufferWhenCropAndScaleFails) {
    open(0);
    // No picture has a width of 0: the library refuses to scale to it.
    EXPECT_FALSE(m_source->getFrame(4, 0, 0, nullptr));
    EXPECT_THAT(
        loggedLines(),
        ElementsAre("error: convertCropScaleU8yuvToRGB: Failed ARGBScale(), result=-1",
                    "error: getFrame: VideoStreamSource::getFrame convertCropScaleU8yuvToRGB "
                    "failed to convert YUV data to RGB data."));
    EXPECT_THAT(vdo_stand_in::takeCalls(),
                ElementsAre("vdo_stream_get_buffer stream", "vdo_buffer_get_data buffer"));
    EXPECT_EQ(service().buffersTaken, 1);
    EXPECT_EQ(service().buffersHandedBack, 0);
}

TEST_F(FrameFetching, RefusesNegativeSizesAsCropAndScaleDoes) {
    open(0);
    EXPECT_FALSE(m_source->getFrame(-4, -6, 0, nullptr));
    EXPECT_THAT(loggedLines().back(),
                "error: getFrame: VideoStreamSource::getFrame convertCropScaleU8yuvToRGB failed to "
                "convert YUV data to RGB data.");
}

TEST_F(FrameFetching, ReportsABufferThatTheCameraDoesNotTakeBack) {
    open(0);
    service().failures["vdo_stream_buffer_unref"] = "closed";
    expectFailure(4, 6, 0, "Failed to release VDO stream buffer. closed");
}

TEST_F(FrameFetching, ReportsABufferThatIsNotTakenBackForNoKnownReason) {
    open(0);
    service().failures["vdo_stream_buffer_unref"] = std::nullopt;
    expectFailure(2, 3, 0, "Failed to release VDO stream buffer. N/A");
}

TEST_F(FrameFetching, HandsTheBufferBackAfterAnUnexpectedError) {
    open(0);
    service().dataThrows = true;
    expectFailure(4, 6, 0, "Unexpected error while converting YUV data to RGB.");
    EXPECT_EQ(service().buffersHandedBack, 1);
    EXPECT_TRUE(m_source->m_dirty);
}

TEST_F(FrameFetching, ReportsBothWhenTheBufferIsNotTakenBackAfterAnUnexpectedError) {
    open(0);
    service().dataThrows = true;
    service().failures["vdo_stream_buffer_unref"] = "closed";
    Bytes rgb(72);
    EXPECT_FALSE(m_source->getFrame(4, 6, 0, rgb.data()));
    EXPECT_THAT(loggedLines(),
                ElementsAre("error: getFrame: Unexpected error while converting YUV data to RGB.",
                            "error: getFrame: Failed to release VDO stream buffer. closed"));
}

TEST_F(FrameFetching, TreatsABufferWithoutDataAsAnUnexpectedErrorAndHandsItBack) {
    open(0);
    service().frame.clear();
    expectFailure(4, 6, 0, "Unexpected error while converting YUV data to RGB.");
    EXPECT_TRUE(m_source->m_dirty) << "the tick's picture is still to be converted";
    EXPECT_EQ(service().buffersHandedBack, 1);
}

TEST_F(FrameFetching, DeliberatelyKeepsABufferWithoutDataThatCannotBeCropped) {
    open(0);
    service().frame.clear();
    Bytes rgb(18);
    EXPECT_FALSE(m_source->getFrame(2, 3, 0, rgb.data()));
    EXPECT_THAT(
        loggedLines(),
        ElementsAre("error: convertCropScaleU8yuvToRGB: Failed NV12ToARGB(), result=-1",
                    "error: getFrame: VideoStreamSource::getFrame convertCropScaleU8yuvToRGB "
                    "failed to convert YUV data to RGB data."));
    EXPECT_EQ(service().buffersHandedBack, 0);
}

TEST_F(FrameFetching, NeedsNoDataForAPictureThatTheTickHasAlready) {
    open(0);
    const Bytes first = fetch(4, 6, 0);
    service().frame.clear();
    EXPECT_EQ(fetch(4, 6, 0), first);
}

TEST_F(FrameFetching, ConvertsTheNextFrameAfterEachKindOfFailure) {
    open(0);
    service().failures["vdo_stream_get_buffer"] = "maintenance";
    Bytes rgb(72);
    EXPECT_FALSE(m_source->getFrame(4, 6, 0, rgb.data()));
    service().failures.clear();
    service().dataThrows = true;
    EXPECT_FALSE(m_source->getFrame(4, 6, 0, rgb.data()));
    service().dataThrows = false;
    EXPECT_EQ(fetch(4, 6, 0), converted(service().frame, 4, 6));
}

TEST_F(FrameFetching, LoadsTheTemporaryPictureOnlyWhenDirtyAndIsCleanAfterwardsInEveryCase) {
    open(90);
    m_source->loadTempBuffer(service().frame.data());
    EXPECT_FALSE(m_source->m_dirty);
    const Bytes picture = converted(service().frame, 6, 4);
    EXPECT_EQ(Bytes(m_source->m_tempBuffer, m_source->m_tempBuffer + 72), picture);
    m_source->loadTempBuffer(nullptr);
    EXPECT_FALSE(m_source->m_dirty);
    EXPECT_EQ(Bytes(m_source->m_tempBuffer, m_source->m_tempBuffer + 72), picture);
}

/// What requests of one source must give: keeps the picture that the tick has converted.
class ReferenceSource {
  public:
    ReferenceSource(int height, int width, int rotation)
        : m_height(height), m_width(width),
          m_picture(rotation % 180 == 0 ? Picture{height, width, {}} : Picture{width, height, {}}) {
        m_picture.rgb.resize(rgbBytes(height, width), 0);
    }

    void setDirty() { m_dirty = true; }

    /// The picture, or nothing when the output must stay as it is.
    std::optional<Bytes> request(const Bytes& frame, int height, int width, int rotation) {
        if (rotation == 0 || rotation == 90 || rotation == 180 || rotation == 270) {
            const bool exchanges = rotation % 180 != 0;
            if (height == (exchanges ? m_picture.width : m_picture.height) &&
                width == (exchanges ? m_picture.height : m_picture.width)) {
                if (m_dirty) {
                    m_picture.rgb = converted(frame, m_picture.height, m_picture.width);
                }
                m_dirty = false;
                return turned(m_picture, rotation).rgb;
            }
        }
        Bytes rgb(rgbBytes(height, width));
        if (!convertCropScaleU8yuvToRGB(
                frame.data(), static_cast<unsigned>(m_width), static_cast<unsigned>(m_height),
                rgb.data(), static_cast<unsigned>(width), static_cast<unsigned>(height))) {
            return std::nullopt;
        }
        return rgb;
    }

  private:
    int m_height;
    int m_width;
    Picture m_picture;
    bool m_dirty = false;
};

TEST_F(FrameFetching, AnswersRandomSequencesOfRequestsLikeTheReference) {
    RandomValues random(2102);
    int cropsThatFail = 0;
    for (int i = 0; i < 5'000; ++i) {
        const int height = random.between(1, 9);
        const int width = random.between(1, 9);
        const int streamRotation = random.oneOf<int>({0, 90, 180, 270});
        VideoStreamSource source(height, width, streamRotation);
        ReferenceSource reference(height, width, streamRotation);
        service().buffersTaken = 0;
        service().buffersHandedBack = 0;
        int kept = 0;
        for (int step = 1; step <= 20; ++step) {
            if (random.between(0, 2) == 0) {
                source.setDirty();
                reference.setDirty();
            }
            service().frame = randomFrame(random, height, width);
            const bool exchanged = random.coin();
            const bool other = random.between(0, 7) == 0;
            const int requestedHeight = other ? random.between(1, 9) : (exchanged ? width : height);
            const int requestedWidth = other ? random.between(1, 9) : (exchanged ? height : width);
            const int rotation = random.oneOf<int>({0, 90, 180, 270, 45});
            const Bytes untouched(rgbBytes(requestedHeight, requestedWidth) + 1, kUntouched);
            Bytes rgb = untouched;
            const auto expected =
                reference.request(service().frame, requestedHeight, requestedWidth, rotation);
            ASSERT_EQ(source.getFrame(requestedHeight, requestedWidth, rotation, rgb.data()),
                      expected.has_value());
            ASSERT_EQ(rgb.back(), kUntouched) << "written behind the picture";
            rgb.pop_back();
            if (expected) {
                ASSERT_EQ(rgb, *expected)
                    << "stream " << width << "x" << height << " at " << streamRotation << ", asked "
                    << requestedWidth << "x" << requestedHeight << " at " << rotation;
            } else {
                ASSERT_EQ(rgb.size() + 1, untouched.size());
                ++kept;
            }
            ASSERT_EQ(service().buffersTaken, step);
            ASSERT_EQ(service().buffersHandedBack, step - kept);
        }
        cropsThatFail += kept;
        service().calls.clear();
    }
    std::printf("%d crops failed\n", cropsThatFail);
    EXPECT_GT(cropsThatFail, 0);
}

} // namespace
