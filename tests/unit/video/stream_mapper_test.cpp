// The three mappers and their choice, by example.

#include <array>
#include <memory>
#include <ostream>

#include <gtest/gtest.h>

#include "core/app_state.h"
#include "video/StreamMapper.h"

bool g_SensorIs16x9 = true;

namespace {

struct Rectangle {
    int x0;
    int y0;
    int x1;
    int y1;
    bool operator==(const Rectangle&) const = default;
};

void PrintTo(const Rectangle& rectangle, std::ostream* out) {
    *out << "(" << rectangle.x0 << ", " << rectangle.y0 << ", " << rectangle.x1 << ", "
         << rectangle.y1 << ")";
}

Rectangle activeInput(const StreamMapper& mapper) {
    Rectangle rectangle{-1, -1, -1, -1};
    mapper.getActiveInputRectangle(rectangle.x0, rectangle.y0, rectangle.x1, rectangle.y1);
    return rectangle;
}

Rectangle activeOutput(const StreamMapper& mapper) {
    Rectangle rectangle{-1, -1, -1, -1};
    mapper.getActiveOutputRectangle(rectangle.x0, rectangle.y0, rectangle.x1, rectangle.y1);
    return rectangle;
}

enum class Kind { Extraction, Embedding, Neither };

Kind chosen(int HI, int WI, int HO, int WO, bool isPortrait, bool sensorIs16x9) {
    g_SensorIs16x9 = sensorIs16x9;
    const auto mapper = getStreamMapper(HI, WI, HO, WO, isPortrait, false);
    g_SensorIs16x9 = true;
    if (dynamic_cast<ExtractionMapper*>(mapper.get()) != nullptr) {
        return Kind::Extraction;
    }
    return dynamic_cast<EmbeddingMapper*>(mapper.get()) != nullptr ? Kind::Embedding
                                                                   : Kind::Neither;
}

TEST(StreamMapper, StretchesEachAxisOfTheInputOverTheWholeOutput) {
    const StreamMapper mapper(480, 640, 720, 1280, false);
    EXPECT_EQ(mapper.mapX(0), 0);
    EXPECT_EQ(mapper.mapX(639), 1279);
    EXPECT_EQ(mapper.mapX(100), 200); // 1279 / 639 x 100 = 200.16
    EXPECT_EQ(mapper.mapY(0), 0);
    EXPECT_EQ(mapper.mapY(479), 719);
    EXPECT_EQ(mapper.mapY(101), 151); // 151.6, truncated
    EXPECT_EQ(mapper.mapWidth(101), 202);
    EXPECT_EQ(mapper.mapHeight(101), 151);
    EXPECT_EQ(activeInput(mapper), (Rectangle{0, 0, 639, 479}));
    EXPECT_EQ(activeOutput(mapper), (Rectangle{0, 0, 1279, 719}));
}

TEST(StreamMapper, MultipliesAWidthBeforeItDividesAndACoordinateAfterwards) {
    // 31 / 7 x 7 falls just short of 31 in 32-bit float, 7 x 31 / 7 does not.
    const StreamMapper mapper(8, 8, 32, 32, false);
    EXPECT_EQ(mapper.mapX(7), 30);
    EXPECT_EQ(mapper.mapY(7), 30);
    EXPECT_EQ(mapper.mapWidth(7), 31);
    EXPECT_EQ(mapper.mapHeight(7), 31);
}

TEST(StreamMapper, KeepsItsSizesAndItsMirrorFlag) {
    const StreamMapper mapper(1, 2, 3, 4, true);
    EXPECT_EQ(mapper.HI, 1);
    EXPECT_EQ(mapper.WI, 2);
    EXPECT_EQ(mapper.HO, 3);
    EXPECT_EQ(mapper.WO, 4);
    EXPECT_TRUE(mapper.isMirrored);
}

TEST(StreamMapper, MapsNegativeCoordinatesTowardZero) {
    const StreamMapper mapper(11, 11, 6, 6, false); // scale 0.5
    EXPECT_EQ(mapper.mapX(-3), -1);
    EXPECT_EQ(mapper.mapY(-3), -1);
    EXPECT_EQ(mapper.mapWidth(-3), -1);
}

TEST(StreamMapper, MirrorsTheOutputsColumnsOnly) {
    const StreamMapper mapper(480, 640, 480, 640, true);
    EXPECT_EQ(mapper.mapX(0), 639);
    EXPECT_EQ(mapper.mapX(639), 0);
    EXPECT_EQ(mapper._mapX(0), 0);
    EXPECT_EQ(mapper.mapY(7), 7);
    EXPECT_EQ(mapper.mapWidth(7), 7);
    EXPECT_EQ(activeOutput(mapper), (Rectangle{0, 0, 639, 479}));
}

TEST(StreamMapper, MirrorsEveryKindSoThat0And639ChangePlacesInAnOutput640Wide) {
    const ExtractionMapper extraction(480, 640, 480, 640, true);
    const EmbeddingMapper embedding(480, 640, 480, 640, true);
    for (const StreamMapper* mapper : std::array<const StreamMapper*, 2>{&extraction, &embedding}) {
        EXPECT_EQ(mapper->mapX(0), 639);
        EXPECT_EQ(mapper->mapX(639), 0);
    }
}

TEST(StreamMapper, MapsAPointLikeItsColumnAndItsRow) {
    const EmbeddingMapper mapper(480, 640, 720, 1280, true);
    int x = 100;
    int y = 200;
    mapper.mapPoint(x, y);
    EXPECT_EQ(x, mapper.mapX(100));
    EXPECT_EQ(y, mapper.mapY(200));
    EXPECT_EQ(x, 1280 - 310 - 1);
    EXPECT_EQ(y, 300);
}

TEST(StreamMapper, MapsEveryCoordinateToItselfBetweenEqualSizesWhicheverTheKind) {
    for (const auto& [height, width] : {std::array{720, 1280}, std::array{480, 640},
                                        std::array{1080, 1920}, std::array{600, 800}}) {
        const StreamMapper linear(height, width, height, width, false);
        const ExtractionMapper extraction(height, width, height, width, false);
        const EmbeddingMapper embedding(height, width, height, width, false);
        for (const StreamMapper* mapper :
             std::array<const StreamMapper*, 3>{&linear, &extraction, &embedding}) {
            for (int x = 0; x < width; ++x) {
                ASSERT_EQ(mapper->mapX(x), x);
                ASSERT_EQ(mapper->mapWidth(x), x);
            }
            for (int y = 0; y < height; ++y) {
                ASSERT_EQ(mapper->mapY(y), y);
                ASSERT_EQ(mapper->mapHeight(y), y);
            }
            ASSERT_EQ(activeInput(*mapper), (Rectangle{0, 0, width - 1, height - 1}));
            ASSERT_EQ(activeOutput(*mapper), (Rectangle{0, 0, width - 1, height - 1}));
        }
    }
}

TEST(StreamMapper, SurvivesSizesOfOnePixelWhichDivideByZero) {
    for (const bool mirrored : {false, true}) {
        const StreamMapper linear(1, 1, 480, 640, mirrored);
        const ExtractionMapper extraction(1, 1, 480, 640, mirrored);
        const EmbeddingMapper embedding(1, 1, 480, 640, mirrored);
        const EmbeddingMapper onto(480, 640, 1, 1, mirrored);
        for (const StreamMapper* mapper :
             std::array<const StreamMapper*, 4>{&linear, &extraction, &embedding, &onto}) {
            int x = 5;
            int y = 5;
            mapper->mapPoint(x, y);
            static_cast<void>(mapper->mapWidth(0));
            static_cast<void>(mapper->mapHeight(-1));
            static_cast<void>(activeInput(*mapper));
            static_cast<void>(activeOutput(*mapper));
        }
    }
}

TEST(ExtractionMapper, ShowsTheMiddle960ColumnsOf1280x720In640x480) {
    const ExtractionMapper mapper(720, 1280, 480, 640, false);
    EXPECT_NEAR(mapper.alpha, 0.66620F, 0.00001F);
    EXPECT_EQ(mapper.epsilonX, 160.0F);
    EXPECT_EQ(mapper.epsilonY, 0.0F);
    EXPECT_EQ(mapper.mapX(100), 0);
    EXPECT_EQ(mapper.mapX(160), 0);
    EXPECT_EQ(mapper.mapX(640), 319);
    EXPECT_EQ(mapper.mapX(1119), 638);
    EXPECT_EQ(mapper.mapX(1120), 639);
    EXPECT_EQ(mapper.mapX(1279), 639);
    EXPECT_EQ(mapper.mapY(719), 479);
    EXPECT_EQ(activeInput(mapper), (Rectangle{160, 0, 1119, 719}));
    EXPECT_EQ(activeOutput(mapper), (Rectangle{0, 0, 639, 479}));
}

TEST(ExtractionMapper, ShowsTheMiddleRowsOfARelativelyHigherInput) {
    const ExtractionMapper mapper(480, 640, 720, 1280, false);
    EXPECT_NEAR(mapper.alpha, 1279.0F / 639.0F, 0.00001F);
    EXPECT_EQ(mapper.epsilonX, 0.0F);
    EXPECT_NEAR(mapper.epsilonY, 60.0F, 0.001F);
    EXPECT_EQ(mapper.mapY(30), 0);
    EXPECT_EQ(mapper.mapY(240), 360);
    EXPECT_EQ(mapper.mapY(420), 719);
    EXPECT_EQ(activeInput(mapper), (Rectangle{0, 60, 639, 419}));
}

TEST(ExtractionMapper, DeliberatelyFollowsItsFloatFormulaWhereEqualSizesMissAPixel) {
    // 31 / 7 x 7 again: a sliver of a band is left, and column 1 comes to lie just before 1.
    const ExtractionMapper mapper(7, 31, 7, 31, false);
    EXPECT_GT(mapper.epsilonX, 0.0F);
    EXPECT_EQ(mapper.mapX(1), 0);
    EXPECT_EQ(mapper.mapY(1), 1);
}

TEST(ExtractionMapper, TruncatesWidthsAndHeights) {
    const ExtractionMapper mapper(720, 1280, 480, 640, false);
    EXPECT_EQ(mapper.mapWidth(2), 1); // 1.33
    EXPECT_EQ(mapper.mapWidth(100), 66);
    EXPECT_EQ(mapper.mapHeight(100), 66);
}

TEST(ExtractionMapper, MirrorsTheCutAwayBandsToTheOtherEdge) {
    const ExtractionMapper mapper(720, 1280, 480, 640, true);
    EXPECT_EQ(mapper.mapX(100), 639);
    EXPECT_EQ(mapper.mapX(1120), 0);
}

TEST(EmbeddingMapper, CentresTheWhole640x480In1280x720) {
    const EmbeddingMapper mapper(480, 640, 720, 1280, false);
    EXPECT_NEAR(mapper.alpha, 1.50104F, 0.00001F);
    EXPECT_EQ(mapper.deltaX, 160.0F);
    EXPECT_EQ(mapper.deltaY, 0.0F);
    EXPECT_EQ(mapper.mapX(0), 160);
    EXPECT_EQ(mapper.mapX(639), 1119);
    EXPECT_EQ(mapper.mapY(0), 0);
    EXPECT_EQ(mapper.mapY(479), 719);
    EXPECT_EQ(activeInput(mapper), (Rectangle{0, 0, 639, 479}));
    EXPECT_EQ(activeOutput(mapper), (Rectangle{160, 0, 1119, 719}));
}

TEST(EmbeddingMapper, ExchangesTheActiveOutputsColumnsWhenMirrored) {
    const EmbeddingMapper mapper(480, 640, 720, 1280, true);
    EXPECT_EQ(activeOutput(mapper), (Rectangle{1119, 0, 160, 719}));
}

TEST(EmbeddingMapper, DeliberatelyKeepsTheFractionOfTheVerticalOffsetButNotOfTheHorizontalOne) {
    const EmbeddingMapper wide(720, 1280, 480, 640, false); // alpha 639 / 1279
    EXPECT_EQ(wide.deltaX, 0.0F);
    EXPECT_FLOAT_EQ(wide.deltaY, (480.0F - (639.0F / 1279.0F * 719.0F + 1.0F)) / 2.0F);
    EXPECT_NE(wide.deltaY * 2.0F, static_cast<float>(static_cast<int>(wide.deltaY * 2.0F)));

    const EmbeddingMapper narrow(720, 405, 480, 640, false); // 404 x 479 / 719 + 1 = 270.1 wide
    EXPECT_EQ(narrow.deltaX, 185.0F);
    EXPECT_EQ(narrow.deltaY, 0.0F);

    const EmbeddingMapper half(720, 406, 480, 639, false); // 369 empty columns: a half stays
    EXPECT_EQ(half.deltaX, 184.5F);
}

TEST(EmbeddingMapper, RoundsPointsButTruncatesWidthsAndHeights) {
    const EmbeddingMapper mapper(480, 640, 720, 1280, false);
    EXPECT_EQ(mapper.mapY(1), 2); // 1.501, rounded
    EXPECT_EQ(mapper.mapHeight(1), 1);
    EXPECT_EQ(mapper.mapWidth(1), 1);
    EXPECT_EQ(mapper.mapWidth(100), 150);
}

TEST(StreamMapperChoice, ExtractsOnA16x9SensorWhenTheOutputIsRelativelyNarrower) {
    EXPECT_EQ(chosen(720, 1280, 480, 640, false, true), Kind::Extraction);
    EXPECT_EQ(chosen(480, 640, 720, 1280, false, true), Kind::Embedding);
}

TEST(StreamMapperChoice, DeliberatelyTurnsRoundOnASensorOfAnotherAspectRatio) {
    EXPECT_EQ(chosen(720, 1280, 480, 640, false, false), Kind::Embedding);
    EXPECT_EQ(chosen(480, 640, 720, 1280, false, false), Kind::Extraction);
}

TEST(StreamMapperChoice, EmbedsEqualRatiosOnA16x9SensorAndExtractsThemOtherwise) {
    EXPECT_EQ(chosen(720, 1280, 1080, 1920, false, true), Kind::Embedding);
    EXPECT_EQ(chosen(720, 1280, 1080, 1920, false, false), Kind::Extraction);
    EXPECT_EQ(chosen(720, 1280, 1080, 1920, true, true), Kind::Embedding);
    EXPECT_EQ(chosen(720, 1280, 1080, 1920, true, false), Kind::Extraction);
}

TEST(StreamMapperChoice, ComparesTheRatiosTheOtherWayRoundInPortrait) {
    EXPECT_EQ(chosen(1280, 720, 640, 480, true, true), Kind::Extraction);
    EXPECT_EQ(chosen(640, 480, 1280, 720, true, true), Kind::Embedding);
    EXPECT_EQ(chosen(1280, 720, 640, 480, true, false), Kind::Embedding);
    EXPECT_EQ(chosen(640, 480, 1280, 720, true, false), Kind::Extraction);
}

TEST(StreamMapperChoice, BuildsTheMapperWithTheSizesAsGivenEvenInPortrait) {
    for (const bool isPortrait : {false, true}) {
        const auto mapper = getStreamMapper(1280, 720, 640, 480, isPortrait, true);
        EXPECT_EQ(mapper->HI, 1280);
        EXPECT_EQ(mapper->WI, 720);
        EXPECT_EQ(mapper->HO, 640);
        EXPECT_EQ(mapper->WO, 480);
        EXPECT_TRUE(mapper->isMirrored);
    }
}

} // namespace
