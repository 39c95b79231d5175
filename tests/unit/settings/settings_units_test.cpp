// Percentages of the page and pixels of the settings.

#include <iostream>
#include <limits>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/settings/settings_document_fixture.h"

using testing::HasSubstr;
using testing_support::Payload;

namespace {

class SettingsUnitsTest : public testing_support::SettingsDocumentTest {
  protected:
    SettingsUnitsTest() { testing_support::skipWrites(true); }
    ~SettingsUnitsTest() override { testing_support::skipWrites(false); }

    /// The pixel that a percentage of element k becomes.
    static int pixelOf(int k, int percent) {
        EXPECT_EQ(
            parameter_io::set_post_parameters(
                Payload().with("Detection1_" + std::to_string(k), std::to_string(percent)).text()),
            0);
        return g_ConfigParams.i_Detection1[k];
    }

    /// The percentages of one area in the settings document.
    static std::vector<std::int64_t> shown(int area) {
        const std::string document = parameter_io::get_parameters();
        std::vector<std::int64_t> values;
        for (int k = 0; k < 8; ++k) {
            const std::string tag =
                "<Detection" + std::to_string(area) + "_" + std::to_string(k) + ">";
            values.push_back(std::stoll(document.substr(document.find(tag) + tag.size())));
        }
        return values;
    }
};

/// Whole division of `value * factor / divisor` as written by hand: on magnitudes, sign apart.
std::int64_t scaled(std::int64_t value, std::int64_t factor, std::int64_t divisor) {
    const bool isNegative = (value < 0) != (factor < 0);
    const auto magnitude = [](std::int64_t number) {
        return static_cast<std::uint64_t>(number < 0 ? -number : number);
    };
    std::uint64_t product = 0; // by long multiplication, so that nothing is shared with the source
    std::uint64_t addend = magnitude(value);
    for (std::uint64_t rest = magnitude(factor); rest != 0; rest /= 2, addend *= 2) {
        product += rest % 2 == 1 ? addend : 0;
    }
    const auto quotient = static_cast<std::int64_t>(product / static_cast<std::uint64_t>(divisor));
    return isNegative ? -quotient : quotient;
}

std::int64_t limited(std::int64_t value) {
    if (value > std::numeric_limits<int>::max()) {
        return std::numeric_limits<int>::max();
    }
    return value < std::numeric_limits<int>::min() ? std::numeric_limits<int>::min() : value;
}

TEST_F(SettingsUnitsTest, HalfOfAStream640WideIsPixel320) {
    EXPECT_EQ(pixelOf(0, 50), 320);
}

TEST_F(SettingsUnitsTest, Pixel321OfAStream640WideIsShownAs50) {
    g_ConfigParams.i_Detection1[0] = 321;
    EXPECT_EQ(shown(1)[0], 50);
}

TEST_F(SettingsUnitsTest, EvenElementsGoByTheWidthAndOddOnesByTheHeight) {
    for (int k = 0; k < 8; ++k) {
        EXPECT_EQ(pixelOf(k, 50), k % 2 == 0 ? 320 : 180) << k;
        std::fill_n(g_ConfigParams.i_Detection1, 8, 180);
        EXPECT_EQ(shown(1)[static_cast<std::size_t>(k)], k % 2 == 0 ? 28 : 50) << k;
    }
}

TEST_F(SettingsUnitsTest, BothWaysTruncateTowardZero) {
    EXPECT_EQ(pixelOf(1, 1), 3); // 3.6
    EXPECT_EQ(pixelOf(1, -1), -3);
    g_ConfigParams.i_Detection1[0] = 639;
    EXPECT_EQ(shown(1)[0], 99); // 99.84
    g_ConfigParams.i_Detection1[0] = -639;
    EXPECT_EQ(shown(1)[0], -99);
}

TEST_F(SettingsUnitsTest, StreamWithoutAWidthShowsZeroForEveryX) {
    std::fill_n(g_ConfigParams.i_Detection1, 8, 180);
    g_AnalysisStreamWidth = 0;
    EXPECT_THAT(shown(1), testing::ElementsAre(0, 50, 0, 50, 0, 50, 0, 50));
}

TEST_F(SettingsUnitsTest, StreamWithoutAHeightShowsZeroForEveryY) {
    std::fill_n(g_ConfigParams.i_Detection1, 8, 320);
    g_AnalysisStreamHeight = 0;
    EXPECT_THAT(shown(1), testing::ElementsAre(50, 0, 50, 0, 50, 0, 50, 0));
}

TEST_F(SettingsUnitsTest, AllThreeAreasAreShown) {
    std::fill_n(g_ConfigParams.i_Detection1, 8, 0);
    std::fill_n(g_ConfigParams.i_Detection2, 8, 36);
    std::fill_n(g_ConfigParams.i_Detection3, 8, 72);
    EXPECT_THAT(shown(2), testing::ElementsAre(5, 10, 5, 10, 5, 10, 5, 10));
    EXPECT_THAT(shown(3), testing::ElementsAre(11, 20, 11, 20, 11, 20, 11, 20));
}

TEST_F(SettingsUnitsTest, ValuesThatNoLongerFitTakeTheNearestThatDoes) {
    EXPECT_EQ(pixelOf(0, std::numeric_limits<int>::max()), std::numeric_limits<int>::max());
    EXPECT_EQ(pixelOf(0, std::numeric_limits<int>::min()), std::numeric_limits<int>::min());
    g_AnalysisStreamWidth = 1;
    g_ConfigParams.i_Detection1[0] = std::numeric_limits<int>::min();
    EXPECT_EQ(shown(1)[0], std::numeric_limits<int>::min());
}

TEST_F(SettingsUnitsTest, RandomPercentagesBecomeThePixelsOfTheReference) {
    constexpr unsigned kSeed = 20261121;
    constexpr int kPayloads = 13'000; // of 8 values each
    std::cout << "seed " << kSeed << "\n";
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> length(0, 8192);
    std::uniform_int_distribution<int> usual(-10, 110);
    std::uniform_int_distribution<int> any(std::numeric_limits<int>::min(),
                                           std::numeric_limits<int>::max());
    for (int i = 0; i < kPayloads; ++i) {
        g_AnalysisStreamWidth = length(random);
        g_AnalysisStreamHeight = length(random);
        Payload payload;
        int percent[8];
        for (int k = 0; k < 8; ++k) {
            percent[k] = i % 4 == 0 ? any(random) : usual(random);
            payload.with("Detection1_" + std::to_string(k), std::to_string(percent[k]));
        }
        ASSERT_EQ(parameter_io::set_post_parameters(payload.text()), 0);
        for (int k = 0; k < 8; ++k) {
            ASSERT_EQ(
                g_ConfigParams.i_Detection1[k],
                limited(scaled(percent[k],
                               k % 2 == 0 ? g_AnalysisStreamWidth : g_AnalysisStreamHeight, 100)))
                << percent[k] << " per cent of " << g_AnalysisStreamWidth << "x"
                << g_AnalysisStreamHeight << ", element " << k;
        }
    }
}

TEST_F(SettingsUnitsTest, RandomPixelsAreShownAsThePercentagesOfTheReference) {
    constexpr unsigned kSeed = 20261122;
    constexpr int kRecords = 5'000; // of 24 values each
    std::cout << "seed " << kSeed << "\n";
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> length(0, 8192);
    std::uniform_int_distribution<int> usual(-100, 8300);
    std::uniform_int_distribution<int> any(std::numeric_limits<int>::min(),
                                           std::numeric_limits<int>::max());
    for (int i = 0; i < kRecords; ++i) {
        g_AnalysisStreamWidth = length(random);
        g_AnalysisStreamHeight = i % 100 == 0 ? 0 : length(random);
        int* const areas[] = {g_ConfigParams.i_Detection1, g_ConfigParams.i_Detection2,
                              g_ConfigParams.i_Detection3};
        for (int* const area : areas) {
            for (int k = 0; k < 8; ++k) {
                area[k] = i % 4 == 0 ? any(random) : usual(random);
            }
        }
        int number = 0;
        for (const int* const area : areas) {
            const std::vector<std::int64_t> values = shown(++number);
            for (int k = 0; k < 8; ++k) {
                const int full = k % 2 == 0 ? g_AnalysisStreamWidth : g_AnalysisStreamHeight;
                ASSERT_EQ(values[static_cast<std::size_t>(k)],
                          full == 0 ? 0 : limited(scaled(area[k], 100, full)))
                    << area[k] << " of " << full;
            }
        }
    }
}

} // namespace
