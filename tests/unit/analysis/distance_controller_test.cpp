#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/distance_controller.h"
#include "core/app_state.h"
#include "tests/unit/analysis/detector_doubles.h"
#include "tests/unit/analysis/drawn_scenes.h"
#include "tests/unit/analysis/logged.h"

using namespace testing_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr float kOnePixel = 1.0F;

class MarkerDetector : public testing::Test {
  protected:
    MarkerDetector() {
        resetDetectorWorld(kWidth, kHeight);
        m_source.picture = emptyScene(kWidth, kHeight);
    }

    /// Searches only this area from now on: x0, y0 .. x3, y3.
    static void searchOnly(const std::vector<int>& points) {
        g_ConfigParams.b_DisplayNonAOI = false;
        std::copy(points.begin(), points.end(), g_ConfigParams.i_Detection1);
    }

    static void useDictionary(const std::string& name) {
        g_ConfigParams.str_SelectedDictionary = name;
    }

    std::vector<cv::Point2f> draw(cv::aruco::PredefinedDictionaryType dictionary, int id, int left,
                                  int top) {
        return drawMarker(m_source.picture, dictionary, id, left, top);
    }

    std::vector<int> foundIds() {
        std::vector<int> ids;
        for (const detection& marker : m_detector.detect_markers(m_source)) {
            ids.push_back(marker.classId);
        }
        return ids;
    }

    Distance_Controller m_detector;
    PictureSource m_source;
};

} // namespace

TEST_F(MarkerDetector, LogsItsConstruction) {
    forgetLog();
    const Distance_Controller another;
    EXPECT_THAT(logged("info"), ElementsAre("Distance_Controller: constructor invoked"));
}

TEST_F(MarkerDetector, LeavesOneCoreOfTheProcessorToOthersUnlessItsStarterSaysOtherwise) {
    const char* const variable = "OPENCV_FOR_THREADS_NUM";
    const char* const given = std::getenv(variable);
    const std::string before = given == nullptr ? "" : given;
    const int threads = cv::getNumThreads();
    unsetenv(variable);
    {
        const Distance_Controller detector;
        EXPECT_EQ(cv::getNumThreads(), std::max(1, cv::getNumberOfCPUs() - 1));
    }
    setenv(variable, "3", 1);
    cv::setNumThreads(3); // as the library does where it finds the variable
    {
        const Distance_Controller detector;
        EXPECT_EQ(cv::getNumThreads(), 3);
    }
    cv::setNumThreads(threads);
    if (given == nullptr) {
        unsetenv(variable);
    } else {
        setenv(variable, before.c_str(), 1);
    }
}

TEST_F(MarkerDetector, FindsAMarkerWithItsCornersClockwiseFromTheTopLeft) {
    const auto corners = draw(cv::aruco::DICT_4X4_50, 7, 200, 150);
    const std::vector<detection> found = m_detector.detect_markers(m_source);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].classId, 7);
    EXPECT_TRUE(cornersAgree(found[0].markerCorners, corners, kOnePixel));
    EXPECT_THAT(logged("error"), IsEmpty());
}

TEST_F(MarkerDetector, FindsNothingInAnEmptyScene) {
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_THAT(logged("error"), IsEmpty()) << "no marker is no error";
}

TEST_F(MarkerDetector, AnswersInTheOrderOfTheLibrary) {
    draw(cv::aruco::DICT_4X4_50, 30, 20, 20);
    draw(cv::aruco::DICT_4X4_50, 2, 300, 40);
    draw(cv::aruco::DICT_4X4_50, 11, 150, 250);
    draw(cv::aruco::DICT_4X4_50, 2, 480, 350);
    const cv::aruco::ArucoDetector library(
        cv::aruco::getPredefinedDictionary(cv::aruco::DICT_4X4_50));
    std::vector<std::vector<cv::Point2f>> corners;
    std::vector<int> ids;
    library.detectMarkers(m_source.picture, corners, ids);
    ASSERT_EQ(ids.size(), 4U);
    const std::vector<detection> found = m_detector.detect_markers(m_source);
    ASSERT_EQ(found.size(), ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        EXPECT_EQ(found[i].classId, ids[i]);
        EXPECT_EQ(found[i].markerCorners, corners[i]);
    }
}

TEST_F(MarkerDetector, AsksForOneFrameHeightFirstAndUnrotated) {
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_EQ(m_source.calls, 1);
    EXPECT_EQ(m_source.lastHeight, kHeight);
    EXPECT_EQ(m_source.lastWidth, kWidth);
    EXPECT_EQ(m_source.lastRotation, 0);
}

TEST_F(MarkerDetector, SearchesTheWholeFrameWhereItLiesWithoutACopy) {
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_EQ(g_search.data, m_source.lastBuffer);
    EXPECT_EQ(g_search.size, cv::Size(kWidth, kHeight));
    EXPECT_EQ(g_search.type, CV_8UC3);
    EXPECT_EQ(g_search.step, kWidth * 3U);
}

TEST_F(MarkerDetector, IgnoresTheAreaWhenTheWholeFrameIsSearched) {
    searchOnly({0, 0, 0, 0, 0, 0, 0, 0});
    g_ConfigParams.b_DisplayNonAOI = true;
    draw(cv::aruco::DICT_4X4_50, 7, 200, 150);
    EXPECT_THAT(foundIds(), ElementsAre(7));
}

TEST_F(MarkerDetector, UsesTheLibrarysDefaultsAndTheGivenRefinement) {
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_EQ(g_search.refine.minRepDistance, 10.0F);
    EXPECT_EQ(g_search.refine.errorCorrectionRate, 3.0F);
    EXPECT_TRUE(g_search.refine.checkAllOrders);
    cv::FileStorage used(".xml", cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    g_search.parameters.writeDetectorParameters(used, "p");
    cv::aruco::DetectorParameters untouched;
    cv::FileStorage defaults(".xml", cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    untouched.writeDetectorParameters(defaults, "p");
    EXPECT_EQ(used.releaseAndGetString(), defaults.releaseAndGetString());
}

TEST_F(MarkerDetector, HoldsNoLockWhileAFrameIsFetchedOrSearched) {
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_TRUE(m_source.settingsWereFree);
    EXPECT_TRUE(g_search.settingsWereFree);
}

// The dictionaries -------------------------------------------------------------------------------

struct NamedDictionary {
    const char* name;
    cv::aruco::PredefinedDictionaryType type;
    int bits;
    int size;
};

class EachDictionary : public MarkerDetector,
                       public testing::WithParamInterface<NamedDictionary> {};

TEST_P(EachDictionary, IsChosenByItsNameAndFoundUpToItsLastMarker) {
    const NamedDictionary& chosen = GetParam();
    useDictionary(chosen.name);
    const auto first = draw(chosen.type, 0, 60, 60);
    const auto last = draw(chosen.type, chosen.size - 1, 400, 300);
    const std::vector<detection> found = m_detector.detect_markers(m_source);
    EXPECT_EQ(g_search.markerSize, chosen.bits);
    EXPECT_EQ(g_search.dictionarySize, chosen.size);
    ASSERT_EQ(found.size(), 2U);
    for (const detection& marker : found) {
        EXPECT_TRUE(marker.classId == 0 || marker.classId == chosen.size - 1);
        EXPECT_TRUE(
            cornersAgree(marker.markerCorners, marker.classId == 0 ? first : last, kOnePixel));
    }
}

INSTANTIATE_TEST_SUITE_P(OfTheSetting, EachDictionary,
                         testing::Values(NamedDictionary{"4x4", cv::aruco::DICT_4X4_50, 4, 50},
                                         NamedDictionary{"5x5", cv::aruco::DICT_5X5_100, 5, 100},
                                         NamedDictionary{"6x6", cv::aruco::DICT_6X6_250, 6, 250},
                                         NamedDictionary{"7x7", cv::aruco::DICT_7X7_1000, 7, 1000}),
                         [](const auto& chosen) { return std::string("Of") + chosen.param.name; });

TEST_F(MarkerDetector, FindsId60Of5x5ButNoMarkerOf4x4InTheSamePicture) {
    useDictionary("5x5");
    draw(cv::aruco::DICT_5X5_100, 60, 60, 60);
    draw(cv::aruco::DICT_4X4_50, 7, 400, 300);
    EXPECT_THAT(foundIds(), ElementsAre(60));
}

TEST_F(MarkerDetector, DoesNotFindId100Of5x5) {
    useDictionary("5x5");
    draw(cv::aruco::DICT_5X5_1000, 100, 60, 60);
    EXPECT_THAT(foundIds(), IsEmpty()) << "its dictionary ends at 99";
}

TEST_F(MarkerDetector, TellsWhichDictionaryItDoesNotKnow) {
    draw(cv::aruco::DICT_4X4_50, 7, 200, 150);
    for (const char* name : {"4X4", "", "4x4 ", "8x8", "0"}) {
        forgetLog();
        useDictionary(name);
        EXPECT_THAT(foundIds(), IsEmpty());
        EXPECT_THAT(logged("error"),
                    ElementsAre(std::string("detect_markers: unknown dictionary ") + name));
    }
    EXPECT_EQ(g_search.calls, 0);
}

// Failures ---------------------------------------------------------------------------------------

TEST_F(MarkerDetector, TellsThatThereIsNoFrame) {
    m_source.succeeds = false;
    useDictionary("none");
    searchOnly({0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_THAT(logged("error"), ElementsAre("detect_markers: unable to getFrame"));
}

TEST_F(MarkerDetector, AsksForNoFrameOfANegativeSize) {
    g_AnalysisStreamWidth = -1;
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_THAT(logged("error"), ElementsAre("detect_markers: unable to getFrame"));
    EXPECT_EQ(m_source.calls, 0);
}

TEST_F(MarkerDetector, AsksForAFrameWithoutPixelsBeforeTheAnalysisSizeIsKnown) {
    struct NoPixels : ImageFrameSource {
        int calls = 0;
        bool getFrame(int /*height*/, int /*width*/, int /*rotation*/,
                      std::uint8_t* /*pixels*/) override {
            ++calls;
            return true;
        }
    } source;
    g_AnalysisStreamWidth = 0;
    g_AnalysisStreamHeight = 0;
    useDictionary("4X4");
    EXPECT_THAT(Distance_Controller().detect_markers(source), IsEmpty());
    EXPECT_THAT(logged("error"), ElementsAre("detect_markers: unknown dictionary 4X4"));
    EXPECT_EQ(source.calls, 1);
}

TEST_F(MarkerDetector, LogsWhatTheLibraryThrowsOnOneLineAndFindsNothing) {
    draw(cv::aruco::DICT_4X4_50, 7, 200, 150);
    g_search.throws = std::make_exception_ptr(
        cv::Exception(cv::Error::StsAssert, "a > b", "function", "file.cpp", 12));
    EXPECT_THAT(foundIds(), IsEmpty());
    ASSERT_EQ(logged("error").size(), 1U);
    EXPECT_THAT(logged("error")[0],
                testing::StartsWith("detect_markers: marker detector failed: "));
    EXPECT_THAT(logged("error")[0], testing::HasSubstr("a > b"));

    forgetLog();
    g_search.throws = std::make_exception_ptr(std::runtime_error("no\nluck\n"));
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_THAT(logged("error"), ElementsAre("detect_markers: marker detector failed: no luck"));

    g_search.throws = nullptr;
    EXPECT_THAT(foundIds(), ElementsAre(7)) << "the next search is as good as ever";
}

// The search area --------------------------------------------------------------------------------

TEST_F(MarkerDetector, ReportsAMarkerOfACropAtItsPlaceInTheFrame) {
    const auto corners = draw(cv::aruco::DICT_4X4_50, 7, 105, 207);
    searchOnly({100, 200, 300, 200, 300, 400, 100, 400});
    const std::vector<detection> found = m_detector.detect_markers(m_source);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(cornersAgree(found[0].markerCorners, corners, kOnePixel));
    EXPECT_EQ(g_search.size, cv::Size(200, 200));
    EXPECT_EQ(g_search.type, CV_8UC3);
    EXPECT_EQ(g_search.step, 200U * 3U);
    EXPECT_NE(g_search.data, m_source.lastBuffer);

    const cv::Mat crop = m_source.picture(cv::Rect(100, 200, 200, 200)).clone();
    resetDetectorWorld(200, 200);
    PictureSource cropSource(crop);
    const std::vector<detection> inCrop = m_detector.detect_markers(cropSource);
    ASSERT_EQ(inCrop.size(), 1U);
    EXPECT_TRUE(cornersAgree(inCrop[0].markerCorners, {{5, 7}, {64, 7}, {64, 66}, {5, 66}}, 1));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(found[0].markerCorners[i], inCrop[0].markerCorners[i] + cv::Point2f(100, 200));
    }
}

TEST_F(MarkerDetector, SearchesTheBoundingBoxOfASlantedArea) {
    draw(cv::aruco::DICT_4X4_50, 7, 110, 110);
    draw(cv::aruco::DICT_4X4_50, 8, 450, 110);
    searchOnly({250, 90, 400, 250, 240, 420, 90, 260});
    EXPECT_THAT(foundIds(), ElementsAre(7)) << "in the box, though outside the area itself";
    EXPECT_EQ(g_search.size, cv::Size(310, 330));
}

TEST_F(MarkerDetector, ReadsOnlyTheFirstFourPointsOfTheArea) {
    draw(cv::aruco::DICT_4X4_50, 7, 110, 110);
    searchOnly({100, 100, 300, 100, 300, 300, 100, 300, 0, 0, 639, 0, 639, 479, 0, 479});
    EXPECT_THAT(foundIds(), ElementsAre(7));
    EXPECT_EQ(g_search.size, cv::Size(200, 200));
}

TEST_F(MarkerDetector, TellsThatAnAreaWithoutWidthOrHeightCannotBeSearched) {
    const std::vector<std::vector<int>> areas = {
        {320, 10, 320, 400, 320, 200, 320, 100}, // one vertical line
        {10, 240, 600, 240, 300, 240, 100, 240}, // one horizontal line
        {0, 0, 0, 0, 0, 0, 0, 0},                // settings that were never made
    };
    for (const std::vector<int>& area : areas) {
        forgetLog();
        searchOnly(area);
        EXPECT_THAT(foundIds(), IsEmpty());
        EXPECT_THAT(logged("error"),
                    ElementsAre("detect_markers: find_detection_rectangle failed"));
    }
    EXPECT_EQ(g_search.calls, 0);
}

TEST_F(MarkerDetector, TellsThatAnAreaOutsideTheFrameCannotBeSearched) {
    const std::vector<std::vector<int>> areas = {
        {640, 0, 900, 0, 900, 300, 640, 300},     // right of it
        {0, 480, 300, 480, 300, 700, 0, 700},     // below
        {-300, 0, 0, 0, 0, 300, -300, 300},       // left
        {0, -300, 300, -300, 300, 0, 0, 0},       // above
        {-50, -50, -10, -50, -10, -10, -50, -10}, // beyond its corner
    };
    for (const std::vector<int>& area : areas) {
        forgetLog();
        searchOnly(area);
        EXPECT_THAT(foundIds(), IsEmpty());
        EXPECT_THAT(logged("error"),
                    ElementsAre("detect_markers: find_detection_rectangle failed"));
    }
    EXPECT_EQ(g_search.calls, 0);
}

TEST_F(MarkerDetector, TellsOfTheAreaBeforeTheDictionary) {
    searchOnly({0, 0, 0, 0, 0, 0, 0, 0});
    useDictionary("none");
    EXPECT_THAT(foundIds(), IsEmpty());
    EXPECT_THAT(logged("error"), ElementsAre("detect_markers: find_detection_rectangle failed"));
}

TEST_F(MarkerDetector, SearchesThePartOfTheAreaThatLiesInTheFrame) {
    const auto corners = draw(cv::aruco::DICT_4X4_50, 7, 20, 30);
    searchOnly({-100, -200, 150, -200, 150, 130, -100, 130});
    std::vector<detection> found = m_detector.detect_markers(m_source);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(g_search.size, cv::Size(150, 130));
    EXPECT_TRUE(cornersAgree(found[0].markerCorners, corners, kOnePixel))
        << "shifted by where the part begins, not the area";

    const auto lastCorners = draw(cv::aruco::DICT_4X4_50, 9, 560, 400);
    searchOnly({500, 350, 900, 350, 900, 1000, 500, 1000});
    found = m_detector.detect_markers(m_source);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(g_search.size, cv::Size(140, 130));
    EXPECT_TRUE(cornersAgree(found[0].markerCorners, lastCorners, kOnePixel));
}

TEST_F(MarkerDetector, SearchesTheWholeFrameWithinAnAreaOfAnySize) {
    draw(cv::aruco::DICT_4X4_50, 7, 20, 30);
    constexpr int kMin = std::numeric_limits<int>::min();
    constexpr int kMax = std::numeric_limits<int>::max();
    searchOnly({kMin, kMin, kMax, kMin, kMax, kMax, kMin, kMax});
    EXPECT_THAT(foundIds(), ElementsAre(7));
    EXPECT_EQ(g_search.size, cv::Size(kWidth, kHeight));
}

TEST_F(MarkerDetector, SurvivesAreasOfAFewPixels) {
    draw(cv::aruco::DICT_4X4_50, 7, 20, 30);
    for (const cv::Size size :
         {cv::Size(1, 1), cv::Size(1, 400), cv::Size(400, 1), cv::Size(2, 3)}) {
        searchOnly({5, 5, 5 + size.width, 5, 5 + size.width, 5 + size.height, 5, 5 + size.height});
        EXPECT_THAT(foundIds(), IsEmpty());
        EXPECT_EQ(g_search.size, size);
    }
}

// find_markers -----------------------------------------------------------------------------------

TEST_F(MarkerDetector, EmptiesTheUserShapesBeforeEverySearchAndReturnsWhatWasFound) {
    const auto corners = draw(cv::aruco::DICT_4X4_50, 7, 200, 150);
    const std::vector<detection> found = m_detector.find_markers(m_source);
    EXPECT_THAT(g_calls, ElementsAre("clear"));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].classId, 7);
    EXPECT_TRUE(cornersAgree(found[0].markerCorners, corners, kOnePixel));

    m_source.succeeds = false;
    EXPECT_THAT(m_detector.find_markers(m_source), IsEmpty());
    EXPECT_THAT(g_calls, ElementsAre("clear", "clear"));
}
