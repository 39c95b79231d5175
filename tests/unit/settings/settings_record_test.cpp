// The settings record as a whole: loading and saving the 39 parameters.

#include <algorithm>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/settings/parameter_fixture.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing_support::kSettingsOrder;
using testing_support::logLines;
using testing_support::parameterCalls;

namespace {

constexpr int kDefaultRegion[] = {210, 180, 410, 180, 360, 290, 95, 280};

class SettingsRecordTest : public testing_support::ParameterControllerTest {
  protected:
    /// A record in which every field has a value of its own.
    static ConfigParams numbered() {
        ConfigParams c{};
        c.b_DetectionOverlaysOn = true;
        c.str_DetectionOverlay = "1280x720";
        c.b_DisplayNonAOI = false;
        c.str_SelectedDictionary = "5x5";
        for (int i = 0; i < 16; ++i) {
            c.i_Detection1[i] = 100 + i;
            c.i_Detection2[i] = 200 + i;
            c.i_Detection3[i] = 300 + i;
        }
        c.i_MarkersSeconds = 9;
        for (int i = 0; i < 8; ++i) {
            c.i_Markers[i] = 400 + i;
        }
        c.b_IsRequirePresent = true;
        c.b_EulaAccepted = true;
        return c;
    }
};

TEST_F(SettingsRecordTest, EveryParameterIsReadOnceInOrder) {
    (void)controller.load_config();
    std::vector<std::string> expected;
    for (const std::string& name : kSettingsOrder) {
        expected.push_back("get " + name);
    }
    EXPECT_EQ(parameterCalls(), expected);
    EXPECT_EQ(expected.size(), 39U);
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SettingsRecordTest, EveryParameterIsWrittenOnceInOrder) {
    controller.save_config(numbered());
    EXPECT_THAT(
        parameterCalls(),
        ElementsAre("set DetectionOverlaysOn=true 1", "set SelectedDetectionOverlay=1280x720 1",
                    "set IsRequirePresent=true 1", "set DisplayNonAOI=false 1",
                    "set EulaAccepted=true 1", "set SelectedDictionary=5x5 1",
                    "set Detection10x=100 1", "set Detection10y=101 1", "set Detection11x=102 1",
                    "set Detection11y=103 1", "set Detection12x=104 1", "set Detection12y=105 1",
                    "set Detection13x=106 1", "set Detection13y=107 1", "set Detection20x=200 1",
                    "set Detection20y=201 1", "set Detection21x=202 1", "set Detection21y=203 1",
                    "set Detection22x=204 1", "set Detection22y=205 1", "set Detection23x=206 1",
                    "set Detection23y=207 1", "set Detection30x=300 1", "set Detection30y=301 1",
                    "set Detection31x=302 1", "set Detection31y=303 1", "set Detection32x=304 1",
                    "set Detection32y=305 1", "set Detection33x=306 1", "set Detection33y=307 1",
                    "set MarkersSeconds=9 1", "set Markers0x=400 1", "set Markers0y=401 1",
                    "set Markers1x=402 1", "set Markers1y=403 1", "set Markers2x=404 1",
                    "set Markers2y=405 1", "set Markers3x=406 1", "set Markers3y=407 1"));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SettingsRecordTest, WhatWasSavedIsLoadedByTheNextRun) {
    const ConfigParams saved = numbered();
    controller.save_config(saved);
    camera.restart();
    parameter_controller later;
    later.init_controller("zerith_markers");
    const ConfigParams loaded = later.load_config();
    EXPECT_EQ(loaded.b_DetectionOverlaysOn, saved.b_DetectionOverlaysOn);
    EXPECT_EQ(loaded.str_DetectionOverlay, saved.str_DetectionOverlay);
    EXPECT_EQ(loaded.b_DisplayNonAOI, saved.b_DisplayNonAOI);
    EXPECT_EQ(loaded.str_SelectedDictionary, saved.str_SelectedDictionary);
    EXPECT_TRUE(std::equal(loaded.i_Detection1, loaded.i_Detection1 + 8, saved.i_Detection1));
    EXPECT_TRUE(std::equal(loaded.i_Detection2, loaded.i_Detection2 + 8, saved.i_Detection2));
    EXPECT_TRUE(std::equal(loaded.i_Detection3, loaded.i_Detection3 + 8, saved.i_Detection3));
    EXPECT_EQ(loaded.i_MarkersSeconds, saved.i_MarkersSeconds);
    EXPECT_THAT(loaded.i_Markers, ElementsAreArray(saved.i_Markers));
    EXPECT_EQ(loaded.b_IsRequirePresent, saved.b_IsRequirePresent);
    EXPECT_EQ(loaded.b_EulaAccepted, saved.b_EulaAccepted);
}

TEST_F(SettingsRecordTest, FactorySettingsAreAllOffWithTheDefaultMarkerRegion) {
    const ConfigParams c = controller.load_config();
    EXPECT_FALSE(c.b_DetectionOverlaysOn);
    EXPECT_EQ(c.str_DetectionOverlay, "0");
    EXPECT_FALSE(c.b_DisplayNonAOI);
    EXPECT_EQ(c.str_SelectedDictionary, "0");
    EXPECT_FALSE(c.b_IsRequirePresent);
    EXPECT_FALSE(c.b_EulaAccepted);
    EXPECT_EQ(c.i_MarkersSeconds, 0);
    EXPECT_THAT(c.i_Markers, ElementsAreArray(kDefaultRegion));
    // The areas have no default.
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(c.i_Detection1[i] + c.i_Detection2[i] + c.i_Detection3[i], 0);
    }
}

TEST_F(SettingsRecordTest, MarkerRegionWithASingleZeroLoadsAsTheDefaultOne) {
    for (int zero = 0; zero < 8; ++zero) {
        ConfigParams c = numbered();
        c.i_Markers[zero] = 0;
        controller.save_config(c);
        EXPECT_THAT(controller.load_config().i_Markers, ElementsAreArray(kDefaultRegion)) << zero;
    }
}

TEST_F(SettingsRecordTest, MarkerRegionWithoutAZeroIsKept) {
    ConfigParams c = numbered();
    std::ranges::fill(c.i_Markers, 1);
    controller.save_config(c);
    EXPECT_THAT(controller.load_config().i_Markers, testing::Each(1));
}

TEST_F(SettingsRecordTest, AreaWithAZeroIsKept) {
    ConfigParams c = numbered();
    c.i_Detection1[3] = 0;
    controller.save_config(c);
    const ConfigParams loaded = controller.load_config();
    EXPECT_EQ(loaded.i_Detection1[2], 102);
    EXPECT_EQ(loaded.i_Detection1[3], 0);
}

TEST_F(SettingsRecordTest, FlagStoredInCapitalsLoadsAsFalse) {
    controller.set_string_parameter("EulaAccepted", "TRUE");
    EXPECT_FALSE(controller.load_config().b_EulaAccepted);
}

TEST_F(SettingsRecordTest, NegativeNumberIsStoredAsItsComplementAndThenNoLongerLoads) {
    ConfigParams c = numbered();
    c.i_MarkersSeconds = -1;
    controller.save_config(c);
    EXPECT_EQ(controller.get_string_parameter("MarkersSeconds"), "4294967295");
    EXPECT_THROW((void)controller.load_config(), std::out_of_range);
}

TEST_F(SettingsRecordTest, FirstReadThatFailsEndsTheLoad) {
    forget();
    failNext("ax_parameter_get");
    EXPECT_THROW((void)controller.load_config(), std::runtime_error);
    EXPECT_THAT(parameterCalls(), ElementsAre("get DetectionOverlaysOn", "free"));
    EXPECT_THAT(logLines(), ElementsAre("error|get_boolean_parameter: Failed to get "
                                        "DetectionOverlaysOn -> reason"));
}

TEST_F(SettingsRecordTest, WriteThatFailsInTheMiddleLeavesTheOthersWritten) {
    hostcam::Fault fault;
    fault.call = "ax_parameter_set";
    fault.first = 6;
    hostcam::addFault(fault);
    controller.save_config(numbered());
    EXPECT_THAT(logLines(),
                ElementsAre("error|set_string_parameter: Failed to save SelectedDictionary"));
    EXPECT_EQ(parameterCalls("set").size(), 39U);
    const ConfigParams loaded = controller.load_config();
    EXPECT_TRUE(loaded.b_EulaAccepted);
    EXPECT_EQ(loaded.str_SelectedDictionary, "0");
    EXPECT_EQ(loaded.i_Detection1[0], 100);
    EXPECT_EQ(loaded.i_Markers[7], 407);
}

TEST_F(SettingsRecordTest, RandomRecordsOfNumbersThatAnIntHoldsComeBackAsTheyWere) {
    constexpr unsigned kSeed = 20261120;
    std::cout << "seed " << kSeed << "\n";
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> number(1, 2147483647);
    for (int round = 0; round < 3; ++round) {
        ConfigParams saved = numbered();
        for (int i = 0; i < 8; ++i) {
            saved.i_Detection1[i] = number(random);
            saved.i_Detection2[i] = number(random);
            saved.i_Detection3[i] = number(random);
            saved.i_Markers[i] = number(random);
        }
        saved.i_MarkersSeconds = number(random);
        controller.save_config(saved);
        const ConfigParams loaded = controller.load_config();
        EXPECT_TRUE(std::equal(loaded.i_Detection1, loaded.i_Detection1 + 8, saved.i_Detection1));
        EXPECT_TRUE(std::equal(loaded.i_Detection2, loaded.i_Detection2 + 8, saved.i_Detection2));
        EXPECT_TRUE(std::equal(loaded.i_Detection3, loaded.i_Detection3 + 8, saved.i_Detection3));
        EXPECT_THAT(loaded.i_Markers, ElementsAreArray(saved.i_Markers));
        EXPECT_EQ(loaded.i_MarkersSeconds, saved.i_MarkersSeconds);
    }
}

} // namespace
