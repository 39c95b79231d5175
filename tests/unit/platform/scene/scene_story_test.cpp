// The default story keeps its timetable: by the true corners in every frame, and as the detector
// sees it.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/scene.h"
#include "tests/unit/platform/scene/scene_pictures.h"

namespace {

using hostcam::kStoryArea;
using hostcam::kStoryGone;
using hostcam::kStoryInside;
using hostcam::kStoryOutside;
using hostcam::kStorySeconds;
using hostcam::Scene;
using hostcam::SceneMarker;
using hostcam::SceneOptions;
using hostcam::SceneSpan;
using testing::IsEmpty;
using testing_support::compare;
using testing_support::Comparison;
using testing_support::detect;
using testing_support::Found;
using testing_support::rgbOf;

constexpr int kFirst = 7; // of the default ids 7, 23 and 42

struct Place {
    int corners; ///< how many lie in the area
    double room; ///< the least distance of a corner from the area's edge, share of the picture
};

Place placeIn(const std::vector<cv::Point2f>& corners, cv::Size size) {
    Place place{0, 1};
    for (const cv::Point2f& p : corners) {
        const double x = (p.x + 0.5) / size.width;
        const double y = (p.y + 0.5) / size.height;
        const double room = std::min(
            {x - kStoryArea.left, kStoryArea.right - x, y - kStoryArea.top, kStoryArea.bottom - y});
        place.corners += room > 0 ? 1 : 0;
        place.room = std::min(place.room, room);
    }
    return place;
}

std::optional<SceneMarker> markerAt(const Scene& scene, int id, std::uint64_t frame,
                                    cv::Size size) {
    for (const SceneMarker& marker : scene.markersAt(frame, static_cast<unsigned>(size.width),
                                                     static_cast<unsigned>(size.height))) {
        if (marker.id == id) {
            return marker;
        }
    }
    return std::nullopt;
}

Place placeAt(const Scene& scene, int id, std::uint64_t frame, cv::Size size) {
    const auto marker = markerAt(scene, id, frame, size);
    return marker ? placeIn({marker->corners.begin(), marker->corners.end()}, size) : Place{0, 0};
}

template <typename Spans>
bool within(const Spans& spans, double seconds) {
    return std::any_of(spans.begin(), spans.end(), [&](const SceneSpan& span) {
        return seconds >= span.from && seconds <= span.to;
    });
}

class StoryTimetableTest : public testing::TestWithParam<cv::Size> {};

TEST_P(StoryTimetableTest, TheFirstMarkerIsWhereTheTimetableSaysAtEveryFrameRate) {
    for (const double rate : {5.0, 12.5, 25.0, 30.0, 60.0}) {
        SceneOptions options;
        options.framerate = rate;
        const Scene scene(options);
        const auto frames = static_cast<std::uint64_t>(std::lround(kStorySeconds * rate));
        for (std::uint64_t frame = 0; frame < 2 * frames; ++frame) {
            const double seconds = static_cast<double>(frame % frames) / rate;
            const Place place = placeAt(scene, kFirst, frame, GetParam());
            if (within(kStoryInside, seconds)) {
                ASSERT_EQ(place.corners, 4) << seconds << " s at " << rate;
                ASSERT_GE(place.room, 0.05) << seconds << " s at " << rate;
            }
            if (within(kStoryOutside, seconds)) {
                ASSERT_EQ(place.corners, 0) << seconds << " s at " << rate;
            }
            if (within(kStoryGone, seconds)) {
                ASSERT_FALSE(markerAt(scene, kFirst, frame, GetParam()))
                    << seconds << " s at " << rate;
            }
        }
    }
}

TEST_P(StoryTimetableTest, EachStayAndEachAbsenceOutlastsADwellOfThreeSeconds) {
    // Whole seconds are counted and must exceed 3, and a step takes a tenth of a second: 4.5
    // seconds are enough for either alert, whenever the steps fall.
    constexpr double kEnough = 4.5;
    const Scene scene{SceneOptions{}};
    std::vector<double> stays;
    std::vector<double> absences;
    bool inside = false;
    double since = 0;
    for (std::uint64_t frame = 0; frame < 750; ++frame) {
        const double seconds = static_cast<double>(frame) / 25;
        const bool now = placeAt(scene, kFirst, frame, GetParam()).corners == 4;
        if (now != inside) {
            (inside ? stays : absences).push_back(seconds - since);
            inside = now;
            since = seconds;
        }
    }
    EXPECT_FALSE(inside);
    EXPECT_EQ(stays.size(), 2U);
    EXPECT_EQ(absences.size(), 2U);
    for (const double length : stays) {
        EXPECT_GE(length, kEnough);
    }
    for (const double length : absences) {
        EXPECT_GE(length, kEnough);
    }
}

TEST_P(StoryTimetableTest, TheOtherMarkersNeverTouchTheArea) {
    SceneOptions options;
    std::vector<int> ids{kFirst};
    for (int id = 50; id < 65; ++id) {
        ids.push_back(id);
    }
    options.script = hostcam::storyScript(ids);
    const Scene scene(options);
    for (std::uint64_t frame = 0; frame < 750; frame += 5) {
        for (const SceneMarker& marker :
             scene.markersAt(frame, static_cast<unsigned>(GetParam().width),
                             static_cast<unsigned>(GetParam().height))) {
            if (marker.id != kFirst) {
                const std::vector<cv::Point2f> corners(marker.corners.begin(),
                                                       marker.corners.end());
                ASSERT_EQ(placeIn(corners, GetParam()).corners, 0) << marker.id << " in " << frame;
            }
        }
    }
}

TEST_P(StoryTimetableTest, TheThirdMarkerIsCutByThePicturesEdgeForAWhile) {
    const Scene scene{SceneOptions{}};
    for (std::uint64_t frame = 0; frame < 750; ++frame) {
        const double seconds = static_cast<double>(frame) / 25;
        const auto marker = markerAt(scene, 42, frame, GetParam());
        ASSERT_TRUE(marker) << seconds;
        if (seconds >= 10 && seconds <= 13) {
            ASSERT_FALSE(marker->whole) << seconds;
        }
        if (seconds <= 8 || seconds >= 15) {
            ASSERT_TRUE(marker->whole) << seconds;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Pictures, StoryTimetableTest,
                         testing::Values(cv::Size(1920, 1080), cv::Size(640, 360),
                                         cv::Size(1080, 1920), cv::Size(1024, 768)),
                         [](const auto& instance) {
                             return std::to_string(instance.param.width) + "x" +
                                    std::to_string(instance.param.height);
                         });

class SeenStoryTest : public testing::TestWithParam<cv::Size> {};

TEST_P(SeenStoryTest, TheDetectorSeesTheFirstMarkerInTheAreaWhenTheTimetableSays) {
    const Scene scene{SceneOptions{}};
    const cv::Size size = GetParam();
    for (double seconds = 0; seconds < kStorySeconds; seconds += 0.4) {
        const auto frame = static_cast<std::uint64_t>(std::lround(seconds * 25));
        const auto found = detect(rgbOf(scene, frame, size), "5x5");
        const auto first = std::find_if(found.begin(), found.end(),
                                        [](const Found& one) { return one.id == kFirst; });
        const bool inside = first != found.end() && placeIn(first->corners, size).corners == 4;
        if (within(kStoryInside, seconds)) {
            EXPECT_TRUE(inside) << seconds;
        }
        if (within(kStoryOutside, seconds)) {
            EXPECT_FALSE(inside) << seconds;
        }
        if (within(kStoryGone, seconds)) {
            EXPECT_EQ(first, found.end()) << seconds;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Pictures, SeenStoryTest,
                         testing::Values(cv::Size(1280, 720), cv::Size(640, 360),
                                         cv::Size(720, 1280)),
                         [](const auto& instance) {
                             return std::to_string(instance.param.width) + "x" +
                                    std::to_string(instance.param.height);
                         });

TEST(SeenStoryTest, FiveHundredFramesShowEveryWholeMarkerAndNoOther) {
    const Scene scene{SceneOptions{}};
    Comparison all;
    for (std::uint64_t i = 0; i < 500; ++i) {
        const std::uint64_t frame = i * 3 / 2; // the whole story
        const Comparison result = compare(scene, "5x5", frame, {1280, 720});
        EXPECT_THAT(result.missed, IsEmpty()) << "frame " << frame;
        EXPECT_THAT(result.phantoms, IsEmpty()) << "frame " << frame;
        all.add(result);
    }
    EXPECT_GE(all.errors.size(), 4U * 1200U);
    EXPECT_LE(all.worst(), 1.5);
    EXPECT_LE(all.mean(), 0.1);
}

TEST(SeenStoryTest, NoBackdropHoldsAMarkerOfAnyDictionary) {
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        SceneOptions options;
        options.seed = seed;
        options.script = {};
        const cv::Mat rgb = rgbOf(Scene(options), seed, {1920, 1080});
        for (const char* dictionary : testing_support::kDictionaries) {
            EXPECT_TRUE(detect(rgb, dictionary).empty()) << "seed " << seed << ", " << dictionary;
        }
    }
}

} // namespace
