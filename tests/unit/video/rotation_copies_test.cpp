// The six rotation copies, pixel by pixel, over sizes below, at and above the tiles they work in.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/video/logged_lines.h"
#include "tests/unit/video/random_values.h"
#include "tests/unit/video/vdo_stand_in.h"
#include "video/VideoStreamSource.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using video_test::RandomValues;

using Copy = void (VideoStreamSource::*)(const std::uint8_t*, std::uint8_t*) const;

std::unique_ptr<VideoStreamSource> sourceOf(int height, int width) {
    vdo_stand_in::reset();
    auto source = std::make_unique<VideoStreamSource>(height, width, 0);
    video_test::forgetLog();
    return source;
}

Bytes apply(Copy copy, int height, int width, const Bytes& picture) {
    const auto source = sourceOf(height, width);
    Bytes result(picture.size());
    ((*source).*copy)(picture.data(), result.data());
    return result;
}

// Pixels are written as letters, each a pixel of three different bytes.
Bytes pixels(const std::string& letters) {
    Bytes result;
    for (const char letter : letters) {
        const auto first = static_cast<std::uint8_t>(letter);
        for (const int offset : {0, 50, 100}) {
            result.push_back(static_cast<std::uint8_t>(first + offset));
        }
    }
    return result;
}

TEST(RotationCopies, Rotate0CopiesEveryByte) {
    EXPECT_EQ(apply(&VideoStreamSource::rotate0, 2, 3, pixels("ABCDEF")), pixels("ABCDEF"));
}

TEST(RotationCopies, Rotate180DeliberatelyReversesBytesAndSoTheChannelsToo) {
    EXPECT_EQ(apply(&VideoStreamSource::rotate180, 1, 2, {1, 2, 3, 4, 5, 6}),
              (Bytes{6, 5, 4, 3, 2, 1}));
}

TEST(RotationCopies, Rotate90PutsTheTopLeftPixelAtTheTopRight) {
    // ABC      DA
    // DEF  ->  EB
    //          FC
    EXPECT_EQ(apply(&VideoStreamSource::rotate90, 2, 3, pixels("ABCDEF")), pixels("DAEBFC"));
}

TEST(RotationCopies, Rotate270PutsTheTopLeftPixelAtTheBottomLeft) {
    // ABC      CF
    // DEF  ->  BE
    //          AD
    EXPECT_EQ(apply(&VideoStreamSource::rotate270, 2, 3, pixels("ABCDEF")), pixels("CFBEAD"));
}

TEST(RotationCopies, TheR90CopiesExchangeTheRolesOfTheStreamsHeightAndWidth) {
    // A stream 2 high and 3 wide that delivers turned frames: 2 wide, 3 high.
    // AB      ECA
    // CD  ->  FDB
    // EF
    EXPECT_EQ(apply(&VideoStreamSource::rotate90_R90, 2, 3, pixels("ABCDEF")), pixels("ECAFDB"));
    // and BDF, ACE
    EXPECT_EQ(apply(&VideoStreamSource::rotate270_R90, 2, 3, pixels("ABCDEF")), pixels("BDFACE"));
}

struct Position {
    std::size_t row;
    std::size_t column;
};

using Mapping = std::function<Position(std::size_t r, std::size_t c)>;

/// Moves every pixel of a picture of the given size to where the mapping says.
Bytes moved(const Bytes& picture, std::size_t rows, std::size_t columns, std::size_t destColumns,
            const Mapping& mapping) {
    Bytes result(picture.size());
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t c = 0; c < columns; ++c) {
            const Position to = mapping(r, c);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                result[(to.row * destColumns + to.column) * 3 + channel] =
                    picture[(r * columns + c) * 3 + channel];
            }
        }
    }
    return result;
}

/// All six copies of one random picture against the table of their mappings.
void expectAllCopies(int height, int width, RandomValues& random) {
    const auto H = static_cast<std::size_t>(height);
    const auto W = static_cast<std::size_t>(width);
    const Bytes picture = random.bytes(H * W * 3);
    const auto source = sourceOf(height, width);
    const auto copied = [&](Copy copy) {
        Bytes result(picture.size() + 1, 0xA5);
        ((*source).*copy)(picture.data(), result.data());
        EXPECT_EQ(result.back(), 0xA5) << "written behind the picture";
        result.pop_back();
        return result;
    };
    ASSERT_TRUE(copied(&VideoStreamSource::rotate0) == picture);
    Bytes reversed(picture.size());
    for (std::size_t i = 0; i < picture.size(); ++i) {
        reversed[picture.size() - 1 - i] = picture[i];
    }
    ASSERT_TRUE(copied(&VideoStreamSource::rotate180) == reversed);
    ASSERT_TRUE(copied(&VideoStreamSource::rotate90) ==
                moved(picture, H, W, H, [=](std::size_t r, std::size_t c) {
                    return Position{c, H - 1 - r};
                }));
    ASSERT_TRUE(copied(&VideoStreamSource::rotate90_R90) ==
                moved(picture, W, H, W, [=](std::size_t r, std::size_t c) {
                    return Position{c, W - 1 - r};
                }));
    ASSERT_TRUE(copied(&VideoStreamSource::rotate270) ==
                moved(picture, H, W, H, [=](std::size_t r, std::size_t c) {
                    return Position{W - 1 - c, r};
                }));
    ASSERT_TRUE(copied(&VideoStreamSource::rotate270_R90) ==
                moved(picture, W, H, W, [=](std::size_t r, std::size_t c) {
                    return Position{H - 1 - c, r};
                }));
}

TEST(RotationCopies, MovePixelsOfRandomSizesAsTheirMappingsSay) {
    RandomValues random(2103);
    for (int i = 0; i < 3'000; ++i) {
        const int limit = random.between(0, 9) == 0 ? 300 : 40;
        const int height = random.between(1, limit);
        const int width = random.between(1, limit);
        ASSERT_NO_FATAL_FAILURE(expectAllCopies(height, width, random)) << width << "x" << height;
    }
}

TEST(RotationCopies, MovePixelsOfSizesAroundATileAsTheirMappingsSay) {
    RandomValues random(2104);
    for (const int height : {1, 2, 63, 64, 65, 127, 128, 129}) {
        for (const int width : {1, 2, 63, 64, 65, 127, 128, 129}) {
            ASSERT_NO_FATAL_FAILURE(expectAllCopies(height, width, random))
                << width << "x" << height;
        }
    }
}

TEST(RotationCopies, MovePixelsOfCameraSizesAsTheirMappingsSay) {
    RandomValues random(2105);
    ASSERT_NO_FATAL_FAILURE(expectAllCopies(720, 1280, random));
    ASSERT_NO_FATAL_FAILURE(expectAllCopies(600, 800, random));
    ASSERT_NO_FATAL_FAILURE(expectAllCopies(360, 642, random));
}

TEST(RotationCopies, UndoEachOther) {
    RandomValues random(2106);
    const Bytes picture = random.bytes(std::size_t{70} * 130 * 3);
    // A picture 130 wide and 70 high, turned clockwise, is 70 wide and 130 high.
    EXPECT_EQ(apply(&VideoStreamSource::rotate270_R90, 70, 130,
                    apply(&VideoStreamSource::rotate90, 70, 130, picture)),
              picture);
    EXPECT_EQ(apply(&VideoStreamSource::rotate90_R90, 70, 130,
                    apply(&VideoStreamSource::rotate270, 70, 130, picture)),
              picture);
    EXPECT_EQ(apply(&VideoStreamSource::rotate180, 70, 130,
                    apply(&VideoStreamSource::rotate180, 70, 130, picture)),
              picture);
}

} // namespace
