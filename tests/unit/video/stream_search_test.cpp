// StreamManager's searches among what the camera offers, with the video service stood in for.

#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/video/logged_lines.h"
#include "tests/unit/video/random_values.h"
#include "tests/unit/video/vdo_stand_in.h"
#include "video/StreamManager.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vdo_stand_in::service;
using video_test::loggedErrors;
using video_test::loggedLines;
using video_test::RandomValues;

using Offers = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

class StreamSearch : public testing::Test {
  protected:
    StreamSearch() {
        vdo_stand_in::reset();
        video_test::forgetLog();
    }

    /// The size found, as text; "none" when the search says so, which must leave its outputs alone.
    template <typename Search>
    static std::string found(Search search) {
        unsigned width = 111;
        unsigned height = 222;
        if (!search(width, height)) {
            EXPECT_EQ(width, 111U);
            EXPECT_EQ(height, 222U);
            return "none";
        }
        return Resolution(width, height).to_string();
    }

    static std::string smallest(int modelWidth, int modelHeight, AspectRatioType aspectRatio) {
        return found([=](unsigned& width, unsigned& height) {
            return StreamManager::findSmallestContainingStream(modelWidth, modelHeight, aspectRatio,
                                                               width, height);
        });
    }

    static std::string largest(int modelWidth, int modelHeight, AspectRatioType aspectRatio) {
        return found([=](unsigned& width, unsigned& height) {
            return StreamManager::findLargestNotContainingStream(modelWidth, modelHeight,
                                                                 aspectRatio, width, height);
        });
    }

    static std::string preferred(unsigned modelWidth, unsigned modelHeight) {
        return found([=](unsigned& width, unsigned& height) {
            return StreamManager::chooseResolution(modelWidth, modelHeight, width, height);
        });
    }

    /// The size that a fresh manager keeps.
    static std::string maximum(AspectRatioType aspectRatio) {
        StreamManager manager;
        if (!manager.chooseMaxResolution(aspectRatio)) {
            EXPECT_EQ(manager.getResolutionAxis().to_string(), "0x0");
            return "none";
        }
        return manager.getResolutionAxis().to_string();
    }
};

const Offers kCamera = {{1920, 1080}, {1600, 1200}, {1280, 960}, {1280, 720},
                        {800, 600},   {640, 480},   {640, 360},  {480, 480}};

TEST_F(StreamSearch, AsksChannel1ForItsSizesAndReleasesTheChannelThenTheList) {
    service().offered = kCamera;
    EXPECT_EQ(maximum(WIDESCREEN), "1920x1080");
    EXPECT_THAT(vdo_stand_in::takeCalls(),
                ElementsAre("vdo_channel_get 1", "vdo_channel_get_resolutions channel",
                            "release channel", "free list"));
}

TEST_F(StreamSearch, ReleasesWhatItHoldsWhenNothingIsFoundToo) {
    EXPECT_EQ(smallest(1, 1, SQUARE), "none");
    EXPECT_THAT(vdo_stand_in::takeCalls(),
                ElementsAre("vdo_channel_get 1", "vdo_channel_get_resolutions channel",
                            "release channel", "free list"));
}

TEST_F(StreamSearch, FindsTheSmallestStreamOfTheClassThatContainsTheModel) {
    service().offered = kCamera;
    EXPECT_EQ(smallest(641, 361, WIDESCREEN), "1280x720");
    EXPECT_EQ(smallest(641, 361, FULLSCREEN), "800x600");
    EXPECT_EQ(smallest(1281, 1, WIDESCREEN), "1920x1080");
    EXPECT_EQ(smallest(1, 721, WIDESCREEN), "1920x1080");
    EXPECT_EQ(smallest(480, 480, SQUARE), "480x480");
    EXPECT_EQ(smallest(1921, 1080, WIDESCREEN), "none");
}

TEST_F(StreamSearch, TakesAStreamOfTheModelsOwnSizeAsContainingIt) {
    service().offered = {{1920, 1080}, {1280, 720}, {640, 360}};
    EXPECT_EQ(smallest(640, 360, WIDESCREEN), "640x360");
}

TEST_F(StreamSearch, FindsTheLargestStreamOfTheClassThatDoesNotContainTheModel) {
    service().offered = kCamera;
    EXPECT_EQ(largest(1920, 1080, WIDESCREEN), "1280x720");
    EXPECT_EQ(largest(1, 1081, WIDESCREEN), "1920x1080");
    EXPECT_EQ(largest(801, 1, FULLSCREEN), "800x600");
    EXPECT_EQ(largest(1, 1, WIDESCREEN), "none");
}

TEST_F(StreamSearch, TakesTheFirstEntryOfAListThatOffers1280x720Twice) {
    service().offered = {{1280, 720}, {640, 360}, {1280, 720}};
    EXPECT_EQ(maximum(WIDESCREEN), "1280x720");
    EXPECT_EQ(smallest(641, 1, WIDESCREEN), "1280x720");
}

TEST_F(StreamSearch, KeepsTheEarlierOfTwoSizesOfOneClassAndOneArea) {
    service().offered = {{42, 40}, {40, 42}};
    EXPECT_EQ(maximum(SQUARE), "42x40");
    EXPECT_EQ(smallest(1, 1, SQUARE), "42x40");
    EXPECT_EQ(largest(50, 50, SQUARE), "42x40");
    service().offered = {{40, 42}, {42, 40}};
    EXPECT_EQ(maximum(SQUARE), "40x42");
    EXPECT_EQ(smallest(1, 1, SQUARE), "40x42");
    EXPECT_EQ(largest(50, 50, SQUARE), "40x42");
}

TEST_F(StreamSearch, DeliberatelyLetsAreasWrapAt32Bits) {
    // 65536 x 65536 has area 0 in 32 bits.
    service().offered = {{65536, 65536}, {100, 100}};
    EXPECT_EQ(maximum(SQUARE), "100x100");
    EXPECT_EQ(smallest(1, 1, SQUARE), "65536x65536");
    service().offered = {{65536, 65536}};
    EXPECT_EQ(maximum(SQUARE), "none");
}

TEST_F(StreamSearch, NeverTakesAnEntryWithoutAWidth) {
    service().offered = {{0, 5}, {100, 50}};
    EXPECT_EQ(smallest(0, 1, ASPECT_RATIO_INVALID), "none"); // its area of 0 cannot be beaten
    EXPECT_EQ(maximum(ASPECT_RATIO_INVALID), "100x50");
}

TEST_F(StreamSearch, CountsSizesOfNoClassWhenAskedForThem) {
    service().offered = {{1920, 1080}, {1920, 1200}, {1080, 1920}};
    EXPECT_EQ(maximum(ASPECT_RATIO_INVALID), "1920x1200");
}

TEST_F(StreamSearch, KeepsTheLargestStreamOfTheClassAndLogsIt) {
    service().offered = kCamera;
    StreamManager manager;
    manager.setCameraRotation(90);
    ASSERT_TRUE(manager.chooseMaxResolution(FULLSCREEN));
    EXPECT_EQ(manager.m_StreamWidth, 1600U);
    EXPECT_EQ(manager.m_StreamHeight, 1200U);
    EXPECT_EQ(manager.m_CameraRotation, 90);
    EXPECT_THAT(loggedLines(), ElementsAre("info: chooseMaxResolution: Found a stream with the "
                                           "largest area WxH=1600x1200"));
}

TEST_F(StreamSearch, KeepsTheOldSizeSilentlyWhenNoneOfTheClassIsOffered) {
    service().offered = {{640, 480}};
    StreamManager manager;
    manager.m_StreamWidth = 7;
    manager.m_StreamHeight = 8;
    EXPECT_FALSE(manager.chooseMaxResolution(WIDESCREEN));
    EXPECT_EQ(manager.getResolutionAxis().to_string(), "7x8");
    EXPECT_THAT(loggedLines(), IsEmpty());
}

TEST_F(StreamSearch, LogsTheSearchForTheSmallestAtItsStartAndTheOtherNotAtAll) {
    EXPECT_EQ(smallest(640, 360, WIDESCREEN), "none");
    EXPECT_EQ(largest(640, 360, WIDESCREEN), "none");
    EXPECT_THAT(loggedLines(), ElementsAre("info: findSmallestContainingStream: modelWidth=640, "
                                           "modelHeight=360, aspectRatio=2"));
}

TEST_F(StreamSearch, ReportsEachSearchThatGetsNoChannelWithTheServicesReason) {
    service().failures["vdo_channel_get"] = "no such channel";
    EXPECT_EQ(smallest(640, 360, FULLSCREEN), "none");
    EXPECT_EQ(largest(640, 360, FULLSCREEN), "none");
    EXPECT_EQ(maximum(FULLSCREEN), "none");
    EXPECT_THAT(
        loggedErrors(),
        ElementsAre(
            "error: findSmallestContainingStream: Failed vdo_channel_get(): no such channel",
            "error: findLargestNotContainingStream: Failed vdo_channel_get(): no such channel",
            "error: chooseMaxResolution: Failed vdo_channel_get(): no such channel"));
}

TEST_F(StreamSearch, ReportsAMissingChannelWithoutAReasonAsNotAvailable) {
    service().failures["vdo_channel_get"] = std::nullopt;
    EXPECT_EQ(maximum(SQUARE), "none");
    EXPECT_THAT(loggedErrors(),
                ElementsAre("error: chooseMaxResolution: Failed vdo_channel_get(): N/A"));
    EXPECT_THAT(vdo_stand_in::takeCalls(), ElementsAre("vdo_channel_get 1"));
}

TEST_F(StreamSearch, ReportsEachSearchThatGetsNoListWithTheServicesReason) {
    service().failures["vdo_channel_get_resolutions"] = "camera busy";
    EXPECT_EQ(smallest(640, 360, FULLSCREEN), "none");
    EXPECT_EQ(largest(640, 360, FULLSCREEN), "none");
    EXPECT_EQ(maximum(FULLSCREEN), "none");
    EXPECT_THAT(loggedErrors(), ElementsAre("error: findSmallestContainingStream: Failed "
                                            "vdo_channel_get_resolutions(): camera busy",
                                            "error: findLargestNotContainingStream: Failed "
                                            "vdo_channel_get_resolutions(): camera busy",
                                            "error: chooseMaxResolution: Failed "
                                            "vdo_channel_get_resolutions(): camera busy"));
}

TEST_F(StreamSearch, ReleasesTheChannelWhenItGetsNoListAndReportsAMissingReasonAsNotAvailable) {
    service().failures["vdo_channel_get_resolutions"] = std::nullopt;
    EXPECT_EQ(maximum(SQUARE), "none");
    EXPECT_THAT(
        loggedErrors(),
        ElementsAre("error: chooseMaxResolution: Failed vdo_channel_get_resolutions(): N/A"));
    EXPECT_THAT(
        vdo_stand_in::takeCalls(),
        ElementsAre("vdo_channel_get 1", "vdo_channel_get_resolutions channel", "release channel"));
}

struct PreferenceRow {
    Offers offered;
    std::string chosen;
    std::string text;
};

class StreamPreference : public StreamSearch, public testing::WithParamInterface<PreferenceRow> {};

TEST_P(StreamPreference, IsTakenBeforeTheRowsBelowItAndLogged) {
    const PreferenceRow& row = GetParam();
    service().offered = row.offered;
    EXPECT_EQ(preferred(500, 400), row.chosen);
    EXPECT_EQ(loggedLines().back(), "info: chooseResolution: " + row.text + row.chosen);
    EXPECT_THAT(loggedErrors(), IsEmpty());
}

// Model 500 x 400. Each row's camera offers all that the rows below would take, too.
INSTANTIATE_TEST_SUITE_P(
    Each, StreamPreference,
    testing::Values(
        PreferenceRow{
            {{100, 100}, {600, 600}, {320, 240}, {640, 480}, {320, 180}, {1280, 720}, {1920, 1080}},
            "1280x720",
            "Found a 16:9 stream that contains the model WxH="},
        PreferenceRow{{{100, 100}, {600, 600}, {320, 240}, {640, 480}, {160, 90}, {320, 180}},
                      "320x180",
                      "Found a 16:9 stream that does not contain the model WxH="},
        PreferenceRow{{{100, 100}, {600, 600}, {320, 240}, {640, 480}, {800, 600}},
                      "640x480",
                      "Found a 4:3 stream that contains the model WxH="},
        PreferenceRow{{{100, 100}, {600, 600}, {160, 120}, {320, 240}},
                      "320x240",
                      "Found a 4:3 stream that does not contain the model WxH="},
        PreferenceRow{{{100, 100}, {700, 700}, {600, 600}},
                      "600x600",
                      "Found a 1:1 stream that contains the model WxH="},
        PreferenceRow{{{100, 100}, {200, 200}},
                      "200x200",
                      "Found a 1:1 stream that does not contain the model WxH="}));

TEST_F(StreamSearch, ReportsWhenNoPreferenceCanBeServed) {
    service().offered = {{1920, 1200}};
    EXPECT_EQ(preferred(640, 360), "none");
    EXPECT_THAT(loggedLines(),
                ElementsAre("info: findSmallestContainingStream: modelWidth=640, modelHeight=360, "
                            "aspectRatio=2",
                            "info: findSmallestContainingStream: modelWidth=640, modelHeight=360, "
                            "aspectRatio=1",
                            "info: findSmallestContainingStream: modelWidth=640, modelHeight=360, "
                            "aspectRatio=3",
                            "error: chooseResolution: Failed to find a suitable stream for model "
                            "WxH=640x360"));
}

/// The best entry of a list, by looking at each on its own.
std::string referenceSearch(const Offers& offers, AspectRatioType aspectRatio, bool wantSmallest,
                            std::optional<std::pair<int, int>> model) {
    std::optional<std::size_t> best;
    const auto area = [&](std::size_t i) {
        return static_cast<std::uint32_t>(std::uint64_t{offers[i].first} * offers[i].second);
    };
    for (std::size_t i = 0; i < offers.size(); ++i) {
        const auto [width, height] = offers[i];
        if (StreamManager::getAspectRatioType(static_cast<int>(width), static_cast<int>(height)) !=
            aspectRatio) {
            continue;
        }
        if (model) {
            const bool contains = static_cast<int>(width) >= model->first &&
                                  static_cast<int>(height) >= model->second;
            if (contains != wantSmallest) {
                continue;
            }
        }
        const std::uint32_t worst = wantSmallest ? std::numeric_limits<std::uint32_t>::max() : 0;
        const std::uint32_t toBeat = best ? area(*best) : worst;
        if (wantSmallest ? area(i) < toBeat : area(i) > toBeat) {
            best = i;
        }
    }
    if (!best || offers[*best].first == 0) {
        return "none";
    }
    return std::to_string(offers[*best].first) + "x" + std::to_string(offers[*best].second);
}

TEST_F(StreamSearch, FindsInRandomListsWhatTheReferenceFinds) {
    RandomValues random(2302);
    const std::vector<AspectRatioType> classes = {ASPECT_RATIO_INVALID, FULLSCREEN, WIDESCREEN,
                                                  SQUARE};
    const auto anySize = [&random]() -> std::pair<std::uint32_t, std::uint32_t> {
        switch (random.between(0, 3)) {
        case 0: // many equal areas
            return {random.between(0U, 12U), random.between(0U, 12U)};
        case 1:
            return random.oneOf(kCamera);
        case 2: { // near a class
            const auto height = random.between(1U, 3000U);
            return {height * random.oneOf<std::uint32_t>({16, 12, 9, 10}) / 9, height};
        }
        default: // areas that wrap
            return {random.between(1U, 200'000U), random.between(1U, 200'000U)};
        }
    };
    for (int i = 0; i < 100'000; ++i) {
        Offers& offers = service().offered;
        offers.resize(random.between<std::size_t>(0, 8));
        for (auto& offer : offers) {
            offer = anySize();
        }
        const auto aspectRatio = random.oneOf(classes);
        const auto [width, height] = anySize();
        const auto model = std::pair(static_cast<int>(width), static_cast<int>(height));
        switch (random.between(0, 2)) {
        case 0:
            ASSERT_EQ(smallest(model.first, model.second, aspectRatio),
                      referenceSearch(offers, aspectRatio, true, model));
            break;
        case 1:
            ASSERT_EQ(largest(model.first, model.second, aspectRatio),
                      referenceSearch(offers, aspectRatio, false, model));
            break;
        default:
            ASSERT_EQ(maximum(aspectRatio),
                      referenceSearch(offers, aspectRatio, false, std::nullopt));
        }
        service().calls.clear();
    }
    EXPECT_THAT(loggedErrors(), IsEmpty());
}

} // namespace
