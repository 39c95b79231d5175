// Which streams are drawn on, the sizes that the camera offers, and the render options.

#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outputs/overlay_manager.h"
#include "tests/support/log_lines.h"
#include "tests/unit/outputs/overlay_stand_ins.h"

namespace {

using overlay_stand_ins::world;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::logLines;

class OverlayStreamsTest : public testing::Test {
  protected:
    OverlayStreamsTest() { overlay_stand_ins::reset(); }
    ~OverlayStreamsTest() override { g_OverlayInfo = OverlayInfo{}; }

    static std::vector<std::string> texts(const std::set<Resolution>& sizes) {
        std::vector<std::string> found;
        for (const Resolution& size : sizes) {
            found.push_back(size.to_string());
        }
        return found;
    }
};

// Stream types.

TEST_F(OverlayStreamsTest, AFreshInfoKnowsOnlyTheApplicationStreamOf800x450) {
    const OverlayInfo info;

    EXPECT_EQ(info.appStreamWidth, 800U);
    EXPECT_EQ(info.appStreamHeight, 450U);
    EXPECT_EQ(info.overlayStreamWidth, 0U);
    EXPECT_EQ(info.overlayStreamHeight, 0U);
    EXPECT_EQ(info.anonymizedStreamWidth, 0U);
    EXPECT_EQ(info.anonymizedStreamHeight, 0U);
    EXPECT_EQ(static_cast<int>(info.appStreamType), 0);
    EXPECT_FALSE(info.renderOnUserStreams);
    EXPECT_EQ(info.getStreamType(800, 450, false), 1);
    EXPECT_EQ(info.getStreamType(1280, 720, false), 0);
}

TEST_F(OverlayStreamsTest, TheApplicationStreamOfARotatedCameraIsComparedTurned) {
    const OverlayInfo info;

    EXPECT_EQ(info.getStreamType(450, 800, true), 1);
    EXPECT_EQ(info.getStreamType(800, 450, true), 0);
    EXPECT_EQ(info.getStreamType(450, 800, false), 0);
}

TEST_F(OverlayStreamsTest, TheOverlayStreamOfARotatedCameraIsComparedAsItReportsItself) {
    OverlayManager::SetOverlayStreamResolution(1280, 720);

    EXPECT_EQ(g_OverlayInfo.getStreamType(720, 1280, true), 0);
    EXPECT_EQ(g_OverlayInfo.getStreamType(1280, 720, true), 2);
    EXPECT_EQ(g_OverlayInfo.getStreamType(1280, 720, false), 2);
}

TEST_F(OverlayStreamsTest, TheAnonymizedStreamOfARotatedCameraIsComparedAsItReportsItself) {
    OverlayManager::SetAnonymizedStreamResolution(640, 360);

    EXPECT_EQ(g_OverlayInfo.getStreamType(640, 360, false), 3);
    EXPECT_EQ(g_OverlayInfo.getStreamType(640, 360, true), 3);
    EXPECT_EQ(g_OverlayInfo.getStreamType(360, 640, true), 0);
}

TEST_F(OverlayStreamsTest, AStreamThatFitsSeveralSizesIsTheFirstOfThem) {
    OverlayManager::SetApplicationStreamResolution(1280, 720);
    OverlayManager::SetOverlayStreamResolution(1280, 720);
    OverlayManager::SetAnonymizedStreamResolution(1280, 720);
    EXPECT_EQ(g_OverlayInfo.getStreamType(1280, 720, false), 1);

    OverlayManager::SetApplicationStreamResolution(1, 1);
    EXPECT_EQ(g_OverlayInfo.getStreamType(1280, 720, false), 2);

    OverlayManager::SetOverlayStreamResolution(0, 0);
    EXPECT_EQ(g_OverlayInfo.getStreamType(1280, 720, false), 3);
}

TEST_F(OverlayStreamsTest, EachSetterChangesItsOwnSizeOnly) {
    OverlayManager::SetApplicationStreamResolution(1, 2);
    OverlayManager::SetOverlayStreamResolution(3, 4);
    OverlayManager::SetAnonymizedStreamResolution(5, 6);

    EXPECT_EQ(g_OverlayInfo.appStreamWidth, 1U);
    EXPECT_EQ(g_OverlayInfo.appStreamHeight, 2U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 3U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 4U);
    EXPECT_EQ(g_OverlayInfo.anonymizedStreamWidth, 5U);
    EXPECT_EQ(g_OverlayInfo.anonymizedStreamHeight, 6U);
}

TEST_F(OverlayStreamsTest, ASizeIsNeverSeenHalfChanged) {
    OverlayManager::SetApplicationStreamResolution(1, 1);
    std::thread writer([] {
        for (int i = 0; i < 20000; ++i) {
            const auto width = i % 2 == 0 ? 1280U : 640U;
            OverlayManager::SetOverlayStreamResolution(width, width / 2);
        }
    });
    int torn = 0;
    for (int i = 0; i < 20000; ++i) {
        torn += g_OverlayInfo.getStreamType(1280, 320, false);
        torn += g_OverlayInfo.getStreamType(640, 640, false);
    }
    writer.join();

    EXPECT_EQ(torn, 0);
}

// Sizes from text.

TEST_F(OverlayStreamsTest, TheOverlayStreamIsSetFromText) {
    OverlayManager::SetOverlayStreamResolutionFromString("1920x1080");
    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 1920U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 1080U);

    OverlayManager::SetOverlayStreamResolutionFromString("0x0");
    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 0U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 0U);
    EXPECT_EQ(g_OverlayInfo.anonymizedStreamWidth, 0U);
}

TEST_F(OverlayStreamsTest, TheAnonymizedStreamIsSetFromText) {
    OverlayManager::SetAnonymizedStreamResolutionFromString("640x360");

    EXPECT_EQ(g_OverlayInfo.anonymizedStreamWidth, 640U);
    EXPECT_EQ(g_OverlayInfo.anonymizedStreamHeight, 360U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 0U);
}

TEST_F(OverlayStreamsTest, WhatFollowsTheNumbersOfASizeIsIgnored) {
    OverlayManager::SetOverlayStreamResolutionFromString(" 12ax 34bx56");

    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 12U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 34U);
}

TEST_F(OverlayStreamsTest, ATextThatIsNoSizeRaisesAndChangesNothing) {
    OverlayManager::SetOverlayStreamResolution(7, 8);

    for (const char* const text :
         {"", "0", "1280", "x720", "1280x", "1280xx720", "axb", "1280*720"}) {
        EXPECT_THROW(OverlayManager::SetOverlayStreamResolutionFromString(text),
                     std::invalid_argument)
            << text;
        EXPECT_THROW(OverlayManager::SetAnonymizedStreamResolutionFromString(text),
                     std::invalid_argument)
            << text;
    }
    EXPECT_THROW(OverlayManager::SetOverlayStreamResolutionFromString("99999999999x1"),
                 std::out_of_range);

    EXPECT_EQ(g_OverlayInfo.overlayStreamWidth, 7U);
    EXPECT_EQ(g_OverlayInfo.overlayStreamHeight, 8U);
    EXPECT_EQ(g_OverlayInfo.anonymizedStreamWidth, 0U);
}

// The camera's sizes.

TEST_F(OverlayStreamsTest, WithoutAChannelListThereAreNoSizesAndAnError) {
    EXPECT_THAT(OverlayManager::getCameraResolutions(), IsEmpty());
    EXPECT_THAT(logLines(), ElementsAre("error|getCameraResolutions: Failed to get all channels."));
    EXPECT_EQ(OverlayManager::getCamerasResolutionsAsCsv(), "");
}

TEST_F(OverlayStreamsTest, TheSizesOfAllChannelsAreMergedInAscendingOrder) {
    world().channels = {{{{1280, 720}, {640, 480}, {640, 360}}}, {{{1280, 720}}}};

    EXPECT_THAT(texts(OverlayManager::getCameraResolutions()),
                ElementsAre("640x360", "640x480", "1280x720"));
    EXPECT_THAT(logLines(),
                ElementsAre("info|getCameraResolutions: Successfully got all channels."));
}

TEST_F(OverlayStreamsTest, TheCsvHasACommaBehindEverySize) {
    world().channels = {{{{1280, 720}}}, {{{640, 360}, {1280, 720}}}};

    EXPECT_EQ(OverlayManager::getCamerasResolutionsAsCsv(), "640x360,1280x720,");
}

TEST_F(OverlayStreamsTest, ASquareSensorContributesOnlySquareSizes) {
    world().channels = {{{{1920, 1920}, {1920, 1080}}}};
    world().aspectRatio = "1:1";

    EXPECT_THAT(texts(OverlayManager::getCameraResolutions()), ElementsAre("1920x1920"));
}

TEST_F(OverlayStreamsTest, AnyOtherSensorContributesSquareSizesToo) {
    world().channels = {{{{1920, 1920}, {1920, 1080}}}};
    for (const char* const ratio : {"16:9", "4:3", "", "1:1 "}) {
        world().aspectRatio = ratio;
        EXPECT_THAT(texts(OverlayManager::getCameraResolutions()),
                    ElementsAre("1920x1080", "1920x1920"));
    }
}

TEST_F(OverlayStreamsTest, AChannelThatDoesNotTellItsSizesAddsNothing) {
    world().channels = {std::nullopt, {{{640, 360}}}, std::nullopt};

    EXPECT_THAT(texts(OverlayManager::getCameraResolutions()), ElementsAre("640x360"));
    EXPECT_THAT(logLines(),
                ElementsAre("info|getCameraResolutions: Successfully got all channels."));
}

TEST_F(OverlayStreamsTest, AChannelWithoutSizesAddsNothing) {
    world().channels = {std::vector<std::pair<std::uint32_t, std::uint32_t>>{}};

    EXPECT_EQ(OverlayManager::getCamerasResolutionsAsCsv(), "");
}

TEST_F(OverlayStreamsTest, EveryChannelAndEveryListOfSizesIsReleased) {
    world().channels = {std::nullopt, {{{640, 360}}}, {{{640, 360}}}};

    EXPECT_THAT(texts(OverlayManager::getCameraResolutions()), ElementsAre("640x360"));

    EXPECT_EQ(world().liveObjects, 0);
}

// Render options.

TEST_F(OverlayStreamsTest, OptionsAreEqualWhenBothFieldsAre) {
    EXPECT_EQ((OverlayRenderOptions{true, false}), (OverlayRenderOptions{true, false}));
    EXPECT_NE((OverlayRenderOptions{true, false}), (OverlayRenderOptions{false, false}));
    EXPECT_NE((OverlayRenderOptions{true, false}), (OverlayRenderOptions{true, true}));
}

TEST_F(OverlayStreamsTest, OptionsAreFoundByExactlyTheirResolution) {
    OverlayRenderOptionsDict dict;
    EXPECT_TRUE(dict.setOptions(Resolution(640, 360), {true, true}));
    OverlayRenderOptions out;

    EXPECT_TRUE(dict.getOptions(Resolution(640, 360), out));
    EXPECT_EQ(out, (OverlayRenderOptions{true, true}));
    out = {};
    EXPECT_TRUE(dict.getOptions(640, 360, out));
    EXPECT_EQ(out, (OverlayRenderOptions{true, true}));
}

TEST_F(OverlayStreamsTest, OptionsThatWereNeverSetLeaveTheOutputAsItWas) {
    OverlayRenderOptionsDict dict;
    dict.setOptions(Resolution(640, 360), {false, false});
    OverlayRenderOptions out{true, true};

    EXPECT_FALSE(dict.getOptions(Resolution(640, 361), out));
    EXPECT_FALSE(dict.getOptions(360, 640, out));
    EXPECT_EQ(out, (OverlayRenderOptions{true, true}));
}

TEST_F(OverlayStreamsTest, OptionsSetAgainReplaceTheOldOnes) {
    OverlayRenderOptionsDict dict;
    EXPECT_TRUE(dict.setOptions(Resolution(640, 360), {true, true}));
    EXPECT_TRUE(dict.setOptions(Resolution(640, 360), {false, true}));
    OverlayRenderOptions out;

    EXPECT_TRUE(dict.getOptions(640, 360, out));
    EXPECT_EQ(out, (OverlayRenderOptions{false, true}));
    EXPECT_EQ(dict.map.size(), 1U);
}

} // namespace
