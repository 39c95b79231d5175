#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/area_of_interest.h"
#include "tests/unit/analysis/logged.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::forgetLog;
using testing_support::logged;

Logger g_Logger("test", "./area_of_interest_test.txt");

namespace {

const t_Polygon kSquare = {{0, 0}, {100, 0}, {100, 100}, {0, 100}};
const t_Polygon kReversedSquare = {{0, 100}, {100, 100}, {100, 0}, {0, 0}};

bool winds(cv::Point2f p, const t_Polygon& poly) {
    static const area_of_interest area;
    return area.is_winding_number_nonzero(p, poly);
}

} // namespace

TEST(AreaOfInterest, LogsItsConstruction) {
    forgetLog();
    const area_of_interest areas;
    EXPECT_THAT(logged("info"), ElementsAre("area_of_interest: constructor invoked"));
}

TEST(AreaOfInterest, BeginsWithEmptyAreasOfWhichOnlyTheFirstIsActive) {
    const area_of_interest areas;
    for (int n = 1; n <= 3; ++n) {
        EXPECT_THAT(areas.get_detection(n), IsEmpty());
        EXPECT_EQ(areas.get_detection_active(n), n == 1);
        EXPECT_FALSE(areas.is_detected(n, {0, 0}));
    }
}

TEST(AreaOfInterest, KeepsEachAreaForItself) {
    area_of_interest areas;
    for (int n = 1; n <= 3; ++n) {
        EXPECT_TRUE(areas.set_detection(n, {{static_cast<float>(n), 7}}));
    }
    for (int n = 1; n <= 3; ++n) {
        EXPECT_THAT(areas.get_detection(n), ElementsAre(cv::Point2f(static_cast<float>(n), 7)));
    }
}

TEST(AreaOfInterest, ReplacesAnAreaAsAWhole) {
    area_of_interest areas;
    areas.set_detection(1, kSquare);
    EXPECT_TRUE(areas.set_detection(1, {{1, 2}, {3, 4}, {5, 6}}));
    EXPECT_EQ(areas.get_detection(1), (t_Polygon{{1, 2}, {3, 4}, {5, 6}}));
    EXPECT_TRUE(areas.set_detection(1, {}));
    EXPECT_THAT(areas.get_detection(1), IsEmpty());
}

TEST(AreaOfInterest, HandsOutCopies) {
    area_of_interest areas;
    areas.set_detection(1, kSquare);
    t_Polygon copy = areas.get_detection(1);
    copy.clear();
    EXPECT_EQ(areas.get_detection(1), kSquare);
}

TEST(AreaOfInterest, IsCopiedWithAllAreasAndFlags) {
    area_of_interest areas;
    for (int n = 1; n <= 3; ++n) {
        areas.set_detection(n, {{static_cast<float>(n), 7}});
        areas.set_detection_active(n, n != 1);
    }
    const area_of_interest copy(areas);
    area_of_interest assigned;
    assigned = areas;
    areas.set_detection(2, {});
    for (const area_of_interest& same : {std::cref(copy), std::cref(assigned)}) {
        for (int n = 1; n <= 3; ++n) {
            EXPECT_THAT(same.get_detection(n), ElementsAre(cv::Point2f(static_cast<float>(n), 7)));
            EXPECT_EQ(same.get_detection_active(n), n != 1);
        }
    }
    assigned = *&assigned;
    EXPECT_FALSE(assigned.get_detection(3).empty());
}

TEST(AreaOfInterest, RefusesNumbersOtherThanOneToThree) {
    area_of_interest areas;
    areas.set_detection(1, kSquare);
    for (const int n : {0, 4, -1, std::numeric_limits<int>::max()}) {
        EXPECT_FALSE(areas.set_detection(n, {{1, 1}}));
        EXPECT_FALSE(areas.set_detection_active(n, false));
        EXPECT_THAT(areas.get_detection(n), IsEmpty());
        EXPECT_FALSE(areas.is_detected(n, {50, 50}));
    }
    EXPECT_EQ(areas.get_detection(1), kSquare);
    EXPECT_TRUE(areas.get_detection_active(1));
}

TEST(AreaOfInterest, CallsAnUnknownAreaActive) {
    area_of_interest areas;
    EXPECT_TRUE(areas.get_detection_active(4));
    EXPECT_TRUE(areas.get_detection_active(0));
    areas.set_detection_active(4, false);
    EXPECT_TRUE(areas.get_detection_active(4));
}

TEST(AreaOfInterest, DetectsInTheSecondAndThirdAreaOnlyOnceTheyAreActive) {
    area_of_interest areas;
    for (int n = 2; n <= 3; ++n) {
        areas.set_detection(n, kSquare);
        EXPECT_FALSE(areas.is_detected(n, {50, 50}));
        EXPECT_TRUE(areas.set_detection_active(n, true));
        EXPECT_TRUE(areas.get_detection_active(n));
        EXPECT_TRUE(areas.is_detected(n, {50, 50}));
        EXPECT_FALSE(areas.is_detected(n, {150, 50}));
    }
}

TEST(AreaOfInterest, DetectsInTheFirstAreaFromConstructionUntilItIsSwitchedOff) {
    area_of_interest areas;
    areas.set_detection(1, kSquare);
    EXPECT_TRUE(areas.is_detected(1, {50, 50}));
    EXPECT_TRUE(areas.set_detection_active(1, false));
    EXPECT_FALSE(areas.is_detected(1, {50, 50}));
    EXPECT_EQ(areas.get_detection(1), kSquare) << "the area itself stays";
}

TEST(AreaOfInterest, KeepsEverythingAtInit) {
    area_of_interest areas;
    areas.set_detection(2, kSquare);
    areas.set_detection_active(2, true);
    areas.init();
    EXPECT_TRUE(areas.is_detected(2, {50, 50}));
}

TEST(AreaOfInterest, LogsNothingButItsConstruction) {
    area_of_interest areas;
    forgetLog();
    areas.init();
    areas.set_detection(1, kSquare);
    areas.set_detection(9, kSquare);
    EXPECT_TRUE(areas.is_detected(1, {50, 50}));
    EXPECT_FALSE(areas.is_detected(9, {50, 50}));
    EXPECT_THAT(logged("info"), IsEmpty());
    EXPECT_THAT(logged("error"), IsEmpty());
}

TEST(WindingTest, TellsInsideFromOutsideWhateverTheOrderOfTheVertices) {
    for (const t_Polygon& square : {kSquare, kReversedSquare}) {
        EXPECT_TRUE(winds({50, 50}, square));
        EXPECT_FALSE(winds({150, 50}, square));
        EXPECT_FALSE(winds({-50, 50}, square));
        EXPECT_FALSE(winds({50, 150}, square));
        EXPECT_FALSE(winds({50, -50}, square));
    }
}

TEST(WindingTest, FindsNothingInAPolygonWithoutAnArea) {
    EXPECT_FALSE(winds({0, 0}, {}));
    EXPECT_FALSE(winds({5, 5}, {{5, 5}}));
    EXPECT_FALSE(winds({5, 5}, {{0, 0}, {10, 10}}));
    EXPECT_FALSE(winds({5, 6}, {{0, 0}, {10, 10}}));
}

TEST(WindingTest, DoesNotDetectInAnEmptyAreaOrASingleVertex) {
    area_of_interest areas;
    EXPECT_FALSE(areas.is_detected(1, {0, 0}));
    areas.set_detection(1, {{5, 5}});
    EXPECT_FALSE(areas.is_detected(1, {5, 5}));
    EXPECT_FALSE(areas.is_detected(1, {4, 5}));
}

TEST(WindingTest, PutsAPointThatIsWoundAroundTwiceOutside) {
    // A five-pointed star drawn in one stroke: twice around its middle, once around its points.
    t_Polygon star;
    for (int i = 0; i < 5; ++i) {
        const double angle = i * 4 * M_PI / 5 - M_PI / 2;
        star.emplace_back(static_cast<float>(500 + 400 * std::cos(angle)),
                          static_cast<float>(500 + 400 * std::sin(angle)));
    }
    EXPECT_FALSE(winds({500, 500}, star));
    EXPECT_TRUE(winds({500, 200}, star)) << "in the upper point";
    std::reverse(star.begin(), star.end());
    EXPECT_FALSE(winds({500, 500}, star));
    EXPECT_TRUE(winds({500, 200}, star));
}

TEST(WindingTest, FindsBothHalvesOfABowTie) {
    const t_Polygon bowTie = {{0, 0}, {100, 100}, {100, 0}, {0, 100}};
    EXPECT_TRUE(winds({10, 50}, bowTie));
    EXPECT_TRUE(winds({90, 50}, bowTie));
    EXPECT_FALSE(winds({50, 10}, bowTie));
}

TEST(WindingTest, CountsTheUpperAndLeftEdgeAsInsideAndTheOthersAsOutside) {
    EXPECT_TRUE(winds({50, 0}, kSquare));
    EXPECT_TRUE(winds({0, 50}, kSquare));
    EXPECT_TRUE(winds({0, 0}, kSquare));
    EXPECT_FALSE(winds({50, 100}, kSquare));
    EXPECT_FALSE(winds({100, 50}, kSquare));
    EXPECT_FALSE(winds({100, 100}, kSquare));
}

TEST(WindingTest, DoesNotSeeTheHundredthOfAPixelThatTruncationDrops) {
    EXPECT_TRUE(winds({-0.01F, 50}, kSquare)) << "outside, but 50 times 0.01 is truncated to 0";
    EXPECT_FALSE(winds({-0.03F, 50}, kSquare)) << "50 times 0.03 is truncated to 1";
}

TEST(WindingTest, TruncatesTheFirstFactorBeforeMultiplying) {
    EXPECT_FALSE(winds({3.5F, 9.5F}, {{1, 8}, {10, 4}, {8, 12}})) << "exactly: inside";
    EXPECT_TRUE(winds({12.5F, 6.25F}, {{13, 7}, {18, 4}, {17, 14}})) << "exactly: outside";
}

TEST(WindingTest, TruncatesTheProductToo) {
    EXPECT_TRUE(winds({2.5F, 5.25F}, {{0, 13}, {12, 7}, {4, 2}})) << "exactly: outside";
    EXPECT_FALSE(winds({3.75F, 2.5F}, {{11, 14}, {19, 11}, {1, 1}}))
        << "inside when the products keep their fractions";
}

TEST(WindingTest, IsDefinedForCoordinatesBeyondAnyPicture) {
    const t_Polygon huge = {{-1e30F, -1e30F}, {1e30F, -1e30F}, {1e30F, 1e30F}, {-1e30F, 1e30F}};
    EXPECT_TRUE(winds({0, 0}, huge)) << "the products end at the largest int, the sides hold";
    EXPECT_FALSE(winds({2e30F, 0}, huge));
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    EXPECT_FALSE(winds({kInfinity, kInfinity}, kSquare));
    EXPECT_FALSE(winds({50, 50}, {{kInfinity, kInfinity}, {-kInfinity, -kInfinity}}));
}

TEST(WindingTest, FindsNothingWhereACoordinateIsNotANumber) {
    const float nan = std::nanf("");
    EXPECT_FALSE(winds({nan, 50}, kSquare));
    EXPECT_FALSE(winds({50, nan}, kSquare));
    EXPECT_FALSE(winds({nan, nan}, {{nan, nan}, {nan, nan}, {nan, nan}}));
}

TEST(SharedAreas, AreSeenWholeWhileAnotherThreadReplacesThem) {
    // Both areas hold the point, neither the mix of their vertices would.
    const t_Polygon small = {{40, 40}, {60, 40}, {60, 60}, {40, 60}};
    const t_Polygon triangle = {{-500, 10}, {900, 0}, {50, 700}};
    area_of_interest areas;
    areas.set_detection(1, small);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 20000; ++i) {
            areas.set_detection(1, i % 2 == 0 ? triangle : small);
            areas.set_detection_active(2, i % 2 == 0);
        }
        done = true;
    });
    int missed = 0;
    int torn = 0;
    for (int i = 0; i < 20000 || !done; ++i) {
        missed += areas.is_detected(1, {50, 50}) ? 0 : 1;
        const t_Polygon seen = areas.get_detection(1);
        torn += seen == small || seen == triangle ? 0 : 1;
        static_cast<void>(areas.get_detection_active(2));
    }
    writer.join();
    EXPECT_EQ(missed, 0);
    EXPECT_EQ(torn, 0);
}
