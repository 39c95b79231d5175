// Single parameters: how values become text and text becomes values, and what failures do.

#include <cmath>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/settings/parameter_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing_support::giveNoValueOnce;
using testing_support::logLines;
using testing_support::parameterCalls;

namespace {

class ParameterValuesTest : public testing_support::ParameterControllerTest {
  protected:
    /// Stores a text and reads it back as the camera holds it.
    void store(const std::string& text) {
        controller.set_string_parameter("SelectedDictionary", text);
        forget();
    }

    static constexpr const char* kName = "SelectedDictionary";
};

/// The text of the exception that a call throws.
template <typename Exception, typename Call>
std::string thrownText(Call call) {
    try {
        call();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

// ---- Writers

TEST_F(ParameterValuesTest, WritersTurnValuesIntoTextAndHaveThemStoredAtOnce) {
    controller.set_guint_parameter("N", 0);
    controller.set_guint_parameter("N", 4294967295U);
    controller.set_guint_parameter("N", static_cast<unsigned>(-1));
    controller.set_gfloat_parameter("F", 1.5F);
    controller.set_gfloat_parameter("F", -0.25F);
    controller.set_boolean_parameter("B", true);
    controller.set_boolean_parameter("B", false);
    controller.set_string_parameter("S", " a=\"b\" ");
    EXPECT_THAT(parameterCalls("set"),
                ElementsAre("set N=0 1", "set N=4294967295 1", "set N=4294967295 1",
                            "set F=1.500000 1", "set F=-0.250000 1", "set B=true 1",
                            "set B=false 1", "set S= a=\"b\"  1"));
}

TEST_F(ParameterValuesTest, FailedWriteIsLoggedWithoutTheReasonAndReleasesTheHandle) {
    failNext("ax_parameter_set", 4);
    controller.set_guint_parameter("N", 1);
    controller.set_gfloat_parameter("F", 1);
    controller.set_boolean_parameter("B", true);
    controller.set_string_parameter("S", "x");
    EXPECT_THAT(logLines(), ElementsAre("error|set_guint_parameter: Failed to save N",
                                        "error|set_gfloat_parameter: Failed to save F",
                                        "error|set_boolean_parameter: Failed to save B",
                                        "error|set_string_parameter: Failed to save S"));
    EXPECT_EQ(parameterCalls("free").size(), 4U);
}

TEST_F(ParameterValuesTest, WriteIntoAParameterThatDoesNotExistFails) {
    controller.set_guint_parameter("NoSuchParameter", 1);
    EXPECT_THAT(logLines(),
                ElementsAre("error|set_guint_parameter: Failed to save NoSuchParameter"));
}

// ---- Readers

TEST_F(ParameterValuesTest, WholeNumbersAreReadInBaseTenUpToTheFirstOtherCharacter) {
    const std::pair<const char*, int> cases[] = {{"0", 0},
                                                 {"42", 42},
                                                 {"-7", -7},
                                                 {"+7", 7},
                                                 {"  12", 12},
                                                 {"12abc", 12},
                                                 {"3.9", 3},
                                                 {"0x10", 0},
                                                 {"010", 10},
                                                 {"2147483647", 2147483647},
                                                 {"-2147483648", -2147483647 - 1}};
    for (const auto& [text, value] : cases) {
        store(text);
        EXPECT_EQ(controller.get_gint_parameter(kName), value) << text;
    }
}

TEST_F(ParameterValuesTest, TextThatIsNoNumberRaisesInvalidArgumentWithTheParametersName) {
    for (const char* const text : {"", "abc", "-", "x12", " "}) {
        store(text);
        EXPECT_EQ(thrownText<std::invalid_argument>([&] { controller.get_gint_parameter(kName); }),
                  "SelectedDictionary holds \"" + std::string(text) + "\", which is no number");
        EXPECT_THAT(parameterCalls("free"), IsEmpty());
    }
}

TEST_F(ParameterValuesTest, NumberOutsideOfAnIntRaisesOutOfRangeWithTheParametersName) {
    for (const char* const text :
         {"2147483648", "4294967295", "-2147483649", "99999999999999999999999"}) {
        store(text);
        EXPECT_EQ(thrownText<std::out_of_range>([&] { controller.get_gint_parameter(kName); }),
                  "SelectedDictionary holds \"" + std::string(text) + "\", which is out of range");
    }
}

TEST_F(ParameterValuesTest, FloatsAreReadAndWhatIsNoneIsZero) {
    const std::pair<const char*, float> cases[] = {
        {"1.500000", 1.5F}, {" -2e3x", -2000.0F}, {"abc", 0.0F}, {"", 0.0F}, {"0.1", 0.1F}};
    for (const auto& [text, value] : cases) {
        store(text);
        EXPECT_EQ(controller.get_gfloat_parameter(kName), value) << text;
    }
}

TEST_F(ParameterValuesTest, FlagIsTrueForExactlyTheWordTrue) {
    store("true");
    EXPECT_TRUE(controller.get_boolean_parameter(kName));
    for (const char* const text :
         {"TRUE", "True", "1", "yes", "false", "0", "", "true ", " true"}) {
        store(text);
        EXPECT_FALSE(controller.get_boolean_parameter(kName)) << text;
    }
}

TEST_F(ParameterValuesTest, TextIsReadAsItStands) {
    for (const char* const text : {"", "0", "5x5", " two  words ", "a\nb|c", "ä"}) {
        store(text);
        EXPECT_EQ(controller.get_string_parameter(kName), text);
    }
}

TEST_F(ParameterValuesTest, FailedReadRaisesWhatItLoggedAndReleasesTheHandle) {
    failNext("ax_parameter_get", 4);
    const std::string text = "Failed to get SelectedDictionary -> reason";
    EXPECT_EQ(thrownText<std::runtime_error>([&] { controller.get_gint_parameter(kName); }), text);
    EXPECT_EQ(thrownText<std::runtime_error>([&] { controller.get_gfloat_parameter(kName); }),
              text);
    EXPECT_EQ(thrownText<std::runtime_error>([&] { controller.get_boolean_parameter(kName); }),
              text);
    EXPECT_EQ(thrownText<std::runtime_error>([&] { controller.get_string_parameter(kName); }),
              text);
    EXPECT_THAT(logLines(), ElementsAre("error|get_gint_parameter: " + text,
                                        "error|get_gfloat_parameter: " + text,
                                        "error|get_boolean_parameter: " + text,
                                        "error|get_string_parameter: " + text));
    EXPECT_EQ(parameterCalls("free").size(), 4U);
}

TEST_F(ParameterValuesTest, FailedReadWithoutAnErrorObjectSaysSo) {
    failNextSilently("ax_parameter_get");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { controller.get_string_parameter(kName); }),
              "Failed to get SelectedDictionary -> N/A");
}

TEST_F(ParameterValuesTest, ReadThatGivesNoValueCountsAsFailed) {
    giveNoValueOnce();
    EXPECT_EQ(thrownText<std::runtime_error>([&] { controller.get_string_parameter(kName); }),
              "Failed to get SelectedDictionary -> N/A");
    EXPECT_THAT(logLines(), ElementsAre("error|get_string_parameter: Failed to get "
                                        "SelectedDictionary -> N/A"));
}

TEST_F(ParameterValuesTest, ListNamesEveryParameterAtErrorLevel) {
    parameter_controller other;
    other.init_controller("other_app");
    forget();
    other.list_params();
    const std::vector<std::string> lines = logLines();
    ASSERT_EQ(lines.size(), 15U);
    EXPECT_EQ(lines.front(), "error|list_params: Parameter in list: IsRequirePresent");
    EXPECT_EQ(lines.back(), "error|list_params: Parameter in list: SelectedDictionary");
}

TEST_F(ParameterValuesTest, FailedListNamesNothing) {
    failNext("ax_parameter_list");
    controller.list_params();
    EXPECT_THAT(parameterCalls(), ElementsAre("list"));
    EXPECT_THAT(logLines(), IsEmpty());
}

// ---- The camera's own values

TEST_F(ParameterValuesTest, ProductNameIsReadAndLogged) {
    EXPECT_EQ(controller.findProdShortName(), "HostCam");
    EXPECT_THAT(logLines(),
                ElementsAre("info|findProdShortName: The value of root.Brand.ProdShortName is "
                            "HostCam",
                            "info|findProdShortName: About to return ProdShortName: HostCam"));
    EXPECT_THAT(parameterCalls(), ElementsAre("get root.Brand.ProdShortName"));
}

TEST_F(ParameterValuesTest, ProductNameIsEmptyAfterAFailureThatIsLoggedWithoutASeparator) {
    failNext("ax_parameter_get");
    EXPECT_EQ(controller.findProdShortName(), "");
    EXPECT_THAT(logLines(), ElementsAre("error|findProdShortName: ERROR ax_parameter_getreason",
                                        "info|findProdShortName: About to return ProdShortName: "));
    EXPECT_THAT(parameterCalls("free"), IsEmpty());
}

TEST_F(ParameterValuesTest, ProductNameThatIsNotGivenIsUnknown) {
    giveNoValueOnce();
    EXPECT_EQ(controller.findProdShortName(), "");
    EXPECT_THAT(logLines(), ElementsAre("error|findProdShortName: Unknown ProdShortName value",
                                        "info|findProdShortName: About to return ProdShortName: "));
}

TEST_F(ParameterValuesTest, RotationIsReadAndLogged) {
    camera.configure("[camera]\nrotation=270\n");
    parameter_controller rotated;
    rotated.init_controller("zerith_markers");
    forget();
    EXPECT_EQ(rotated.find_rotation_parameter(), 270);
    EXPECT_THAT(logLines(), ElementsAre("info|find_rotation_parameter: Camera rotation : 270"));
}

TEST_F(ParameterValuesTest, RotationTextIsReadUpToTheFirstOtherCharacter) {
    const std::pair<const char*, int> cases[] = {
        {"90", 90}, {"180 degrees", 180}, {"abc", 0}, {"", 0}, {"-90", -90}};
    for (const auto& [text, value] : cases) {
        hostcam::Fault fault;
        fault.call = "ax_parameter_get";
        fault.fail = false;
        fault.odd = text;
        hostcam::addFault(fault);
        EXPECT_EQ(controller.find_rotation_parameter(), value) << text;
    }
}

TEST_F(ParameterValuesTest, RotationIsZeroAfterAFailure) {
    failNext("ax_parameter_get");
    EXPECT_EQ(controller.find_rotation_parameter(), 0);
    EXPECT_THAT(logLines(),
                ElementsAre("error|find_rotation_parameter: ERROR ax_parameter_getreason",
                            "info|find_rotation_parameter: Camera rotation : 0"));
    EXPECT_THAT(parameterCalls("free"), IsEmpty());
}

TEST_F(ParameterValuesTest, RotationThatIsNotGivenIsUnexpected) {
    giveNoValueOnce();
    EXPECT_EQ(controller.find_rotation_parameter(), 0);
    EXPECT_THAT(logLines(), ElementsAre("error|find_rotation_parameter: Unexpected error finding "
                                        "rotation value",
                                        "info|find_rotation_parameter: Camera rotation : 0"));
}

TEST_F(ParameterValuesTest, SensorAspectRatioIsReadWithoutALogLine) {
    camera.configure("[camera]\naspect-ratio=4:3\n");
    parameter_controller square;
    square.init_controller("zerith_markers");
    forget();
    EXPECT_EQ(square.get_sensor_aspect_ratio(), "4:3");
    EXPECT_THAT(parameterCalls(), ElementsAre("get root.ImageSource.I0.Sensor.AspectRatio"));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ParameterValuesTest, MissingSensorAspectRatioIsTakenAsSixteenToNineAndLogged) {
    failNext("ax_parameter_get");
    EXPECT_EQ(controller.get_sensor_aspect_ratio(), "16:9");
    EXPECT_THAT(logLines(),
                ElementsAre("error|get_sensor_aspect_ratio: ERROR getting sensor aspect "
                            "ratio. Assuming 16:9. Error reason"));
    EXPECT_THAT(parameterCalls("free"), IsEmpty());
    giveNoValueOnce();
    EXPECT_EQ(controller.get_sensor_aspect_ratio(), "16:9");
    EXPECT_THAT(logLines().back(), HasSubstr("Error N/A"));
}

} // namespace
