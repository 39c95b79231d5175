#include <cmath>
#include <limits>
#include <stdexcept>

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

class PatternFinder : public testing::Test {
  protected:
    PatternFinder() {
        resetDetectorWorld(640, 480);
        m_source.picture = emptyScene(640, 480);
        std::fill(std::begin(g_ConfigParams.i_Markers), std::end(g_ConfigParams.i_Markers), -1);
    }

    /// The library finds so many corners, the n-th at (n + 0.9, 1000 + n + 0.9).
    static void findCorners(std::size_t count) {
        g_chessboardSearch = [count](cv::Size, int, std::vector<cv::Point2f>& corners) {
            for (std::size_t n = 0; n < count; ++n) {
                corners.emplace_back(static_cast<float>(n) + 0.9F, static_cast<float>(n) + 1000.9F);
            }
        };
    }

    static std::vector<int> storedMarkers() {
        return {std::begin(g_ConfigParams.i_Markers), std::end(g_ConfigParams.i_Markers)};
    }

    Distance_Controller m_detector;
    PictureSource m_source;
};

const std::vector<int> kUntouched(8, -1);

} // namespace

TEST_F(PatternFinder, StoresTheOuterCornersOfABoardInViewAndDrawsItsFourEdges) {
    const std::vector<cv::Point2f> inner = drawChessboard(m_source.picture, 110, 90, 40);
    std::vector<cv::Point2f> found = m_detector.detect_chessboard(m_source);
    ASSERT_EQ(found.size(), 54U);
    EXPECT_TRUE(cornersAgree(found, inner, 1.0F));
    ASSERT_EQ(m_detector.find_pattern(m_source), 1);
    std::vector<int> truncated;
    for (const std::size_t corner : {53U, 45U, 0U, 8U}) {
        truncated.push_back(static_cast<int>(found[corner].x));
        truncated.push_back(static_cast<int>(found[corner].y));
    }
    EXPECT_EQ(storedMarkers(), truncated);
    const std::vector<int>& at = truncated;
    const auto line = [&at](std::size_t from, std::size_t to) {
        return "line " + std::to_string(at[2 * from]) + " " + std::to_string(at[2 * from + 1]) +
               " " + std::to_string(at[2 * to]) + " " + std::to_string(at[2 * to + 1]) + " 7 5";
    };
    EXPECT_THAT(g_calls,
                ElementsAre("clear", "save", line(0, 1), line(1, 2), line(2, 3), line(3, 0)));
}

TEST_F(PatternFinder, TruncatesTheCornersThatItStores) {
    findCorners(54);
    EXPECT_EQ(m_detector.find_pattern(m_source), 1);
    EXPECT_THAT(storedMarkers(), ElementsAre(53, 1053, 45, 1045, 0, 1000, 8, 1008));
    EXPECT_THAT(g_calls,
                ElementsAre("clear", "save", "line 53 1053 45 1045 7 5", "line 45 1045 0 1000 7 5",
                            "line 0 1000 8 1008 7 5", "line 8 1008 53 1053 7 5"));
}

TEST_F(PatternFinder, SavesTheWholeRecordWithTheNewCornersAndWithoutHoldingItsLock) {
    g_ConfigParams.i_MarkersSeconds = 17;
    g_ConfigParams.str_SelectedDictionary = "6x6";
    findCorners(54);
    EXPECT_EQ(m_detector.find_pattern(m_source), 1);
    EXPECT_EQ(g_saved.i_MarkersSeconds, 17);
    EXPECT_EQ(g_saved.str_SelectedDictionary, "6x6");
    EXPECT_THAT(g_saved.i_Markers, ElementsAre(53, 1053, 45, 1045, 0, 1000, 8, 1008));
    EXPECT_TRUE(g_settingsWereFreeAtSave);
    EXPECT_TRUE(m_source.settingsWereFree);
}

TEST_F(PatternFinder, TellsHowManyCornersItFound) {
    findCorners(54);
    forgetLog();
    EXPECT_EQ(m_detector.find_pattern(m_source), 1);
    EXPECT_THAT(logged("info"),
                ElementsAre("detect_chessboard: Detecting chessboard with stream of 640 x 480",
                            "find_pattern: found chessboard corners, size is 54"));
    EXPECT_THAT(logged("error"), IsEmpty());
}

TEST_F(PatternFinder, ChangesNothingWhenItFindsFiftyThreeCorners) {
    for (const std::size_t count : {53U, 55U, 0U}) {
        resetDetectorWorld(640, 480);
        std::fill(std::begin(g_ConfigParams.i_Markers), std::end(g_ConfigParams.i_Markers), -1);
        findCorners(count);
        EXPECT_EQ(m_detector.find_pattern(m_source), 0);
        EXPECT_EQ(storedMarkers(), kUntouched);
        EXPECT_THAT(g_calls, ElementsAre("clear")) << "nothing saved, no lines";
        EXPECT_THAT(logged("error"),
                    ElementsAre("find_pattern: Could not find chessboard corners, size is " +
                                std::to_string(count)));
    }
}

TEST_F(PatternFinder, FindsNoBoardInAnEmptyScene) {
    EXPECT_EQ(m_detector.find_pattern(m_source), 0);
    EXPECT_THAT(logged("error"),
                ElementsAre("find_pattern: Could not find chessboard corners, size is 0"));
}

TEST_F(PatternFinder, TellsThatThereIsNoFrameWithACapital) {
    m_source.succeeds = false;
    EXPECT_EQ(m_detector.find_pattern(m_source), 0);
    EXPECT_THAT(logged("error"),
                ElementsAre("detect_chessboard: Unable to getFrame",
                            "find_pattern: Could not find chessboard corners, size is 0"));
    EXPECT_EQ(storedMarkers(), kUntouched);
}

TEST_F(PatternFinder, AsksForOneFrameHeightFirstAndUnrotated) {
    findCorners(1);
    EXPECT_EQ(m_detector.detect_chessboard(m_source).size(), 1U);
    EXPECT_EQ(m_source.calls, 1);
    EXPECT_EQ(m_source.lastHeight, 480);
    EXPECT_EQ(m_source.lastWidth, 640);
    EXPECT_EQ(m_source.lastRotation, 0);
}

TEST_F(PatternFinder, AsksTheLibraryForNineBySixCornersWithoutOptions) {
    g_chessboardSearch = [](cv::Size board, int flags, std::vector<cv::Point2f>&) {
        EXPECT_EQ(board, cv::Size(9, 6));
        EXPECT_EQ(flags, 0);
    };
    EXPECT_THAT(m_detector.detect_chessboard(m_source), IsEmpty());
}

TEST_F(PatternFinder, ReturnsThePartOfABoardThatTheLibraryFound) {
    findCorners(51);
    EXPECT_EQ(m_detector.detect_chessboard(m_source).size(), 51U);
}

TEST_F(PatternFinder, LogsWhatTheLibraryThrowsAndFindsNothing) {
    g_chessboardSearch = [](cv::Size, int, std::vector<cv::Point2f>& corners) {
        corners.resize(54);
        throw std::runtime_error("no luck");
    };
    EXPECT_EQ(m_detector.find_pattern(m_source), 0);
    EXPECT_THAT(logged("error"),
                ElementsAre("detect_chessboard: chessboard detector failed: no luck",
                            "find_pattern: Could not find chessboard corners, size is 0"));
}

TEST_F(PatternFinder, StoresTheNearestIntsOfCornersBeyondAnyPicture) {
    g_chessboardSearch = [](cv::Size, int, std::vector<cv::Point2f>& corners) {
        corners.resize(54, {1e30F, -1e30F});
        corners[0] = {std::nanf(""), -0.9F};
    };
    EXPECT_EQ(m_detector.find_pattern(m_source), 1);
    constexpr int kMin = std::numeric_limits<int>::min();
    constexpr int kMax = std::numeric_limits<int>::max();
    EXPECT_THAT(storedMarkers(), ElementsAre(kMax, kMin, kMax, kMin, 0, 0, kMax, kMin));
}
