// Opening the parameters: what is created, what is read, and what a handle goes through.

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/settings/parameter_fixture.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing_support::logLines;
using testing_support::parameterCalls;
using testing_support::ParameterControllerTest;

Logger g_Logger("settings-test", "./parameter_test_log.txt");

namespace {

const std::vector<std::string> kCreation = {
    "add IsRequirePresent=0 untyped",    "add MarkersSeconds=0 untyped",
    "add Markers0x=0 untyped",           "add Markers0y=0 untyped",
    "add Markers1x=0 untyped",           "add Markers1y=0 untyped",
    "add Markers2x=0 untyped",           "add Markers2y=0 untyped",
    "add Markers3x=0 untyped",           "add Markers3y=0 untyped",
    "add DetectionOverlaysOn=0 untyped", "add SelectedDetectionOverlay=0 untyped",
    "add DisplayNonAOI=0 untyped",       "add EulaAccepted=0 untyped",
    "add SelectedDictionary=0 untyped"};

/// As ParameterControllerTest, for an application whose package declares nothing.
class ParameterStartTest : public ParameterControllerTest {
  protected:
    parameter_controller other;
};

TEST_F(ParameterStartTest, NewControllerHasNoHandleAndNoProductName) {
    const parameter_controller fresh;
    EXPECT_EQ(fresh.get_rotation(), 0);
    EXPECT_THAT(parameterCalls(), IsEmpty());
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ParameterStartTest, FirstStartCreatesFifteenParametersWithZeroInTheirOrder) {
    other.init_controller("other_app");
    EXPECT_EQ(parameterCalls("add"), kCreation);
    EXPECT_THAT(logLines(), ElementsAre("info|find_rotation_parameter: Camera rotation : 0"));
    EXPECT_EQ(other.get_string_parameter("EulaAccepted"), "0");
    EXPECT_EQ(other.get_string_parameter("SelectedDictionary"), "0");
    EXPECT_EQ(other.get_gint_parameter("Markers3y"), 0);
}

TEST_F(ParameterStartTest, StartOpensThenReadsTheRotationThenCreates) {
    other.init_controller("other_app");
    const std::vector<std::string> calls = parameterCalls();
    ASSERT_THAT(calls, SizeIs(17));
    EXPECT_EQ(calls[0], "new other_app");
    EXPECT_EQ(calls[1], "get root.Image.I0.Appearance.Rotation");
    EXPECT_EQ(calls[2], kCreation.front());
}

TEST_F(ParameterStartTest, AreaParametersAreNeverCreated) {
    other.init_controller("other_app");
    EXPECT_THAT(parameterCalls("add Detection1"), IsEmpty());
    EXPECT_THAT(parameterCalls("add Detection2"), IsEmpty());
    EXPECT_THAT(parameterCalls("add Detection3"), IsEmpty());
}

TEST_F(ParameterStartTest, ParametersThatExistKeepTheirValueAndNothingIsLogged) {
    controller.set_guint_parameter("MarkersSeconds", 7);
    forget();
    parameter_controller later;
    later.init_controller("zerith_markers");
    EXPECT_EQ(parameterCalls("add"), kCreation);
    EXPECT_THAT(parameterCalls("free"), IsEmpty());
    EXPECT_THAT(logLines(), ElementsAre("info|find_rotation_parameter: Camera rotation : 0"));
    EXPECT_EQ(later.get_gint_parameter("MarkersSeconds"), 7);
}

TEST_F(ParameterStartTest, CodeThirteenLogsNothingAndKeepsTheHandle) {
    failNext("ax_parameter_add", 1, 13);
    controller.add_parameter("Any");
    EXPECT_THAT(logLines(), IsEmpty());
    EXPECT_THAT(parameterCalls(), ElementsAre("add Any=0 untyped"));
}

TEST_F(ParameterStartTest, AnyOtherCodeIsLoggedAndReleasesTheHandle) {
    for (const int code : {0, 12, 14}) {
        forget();
        failNext("ax_parameter_add", 1, code);
        controller.add_parameter("Any");
        EXPECT_THAT(logLines(),
                    ElementsAre("error|add_parameter: Failed to add parameter Any. Error: reason"));
        EXPECT_THAT(parameterCalls().back(), "free");
    }
}

TEST_F(ParameterStartTest, FailedAddWithoutAnErrorObjectSaysSo) {
    failNextSilently("ax_parameter_add");
    controller.add_parameter("Any");
    EXPECT_THAT(logLines(),
                ElementsAre("error|add_parameter: Failed to add parameter Any. Error: N/A"));
}

TEST_F(ParameterStartTest, ServiceThatCannotBeOpenedIsLoggedAndTheRestIsTriedRegardless) {
    failNext("ax_parameter_new");
    other.init_controller("other_app");
    EXPECT_THAT(logLines().front(),
                "error|init_controller: Error initializing parameter of other_app");
    EXPECT_EQ(parameterCalls("add"), kCreation);
    // The first add found no handle; the second one had it opened.
    EXPECT_THAT(parameterCalls("new"), ElementsAre("new other_app", "new other_app"));
    EXPECT_EQ(other.get_string_parameter("EulaAccepted"), "0");
    EXPECT_EQ(other.get_rotation(), 0);
}

TEST_F(ParameterStartTest, RotationOfTheCameraIsReadOnceAtTheStart) {
    for (const int rotation : {0, 90, 180, 270}) {
        camera.configure("[camera]\nrotation=" + std::to_string(rotation) + "\n");
        parameter_controller rotated;
        rotated.init_controller("zerith_markers");
        EXPECT_EQ(rotated.get_rotation(), rotation);
        forget();
        EXPECT_EQ(rotated.get_rotation(), rotation);
        EXPECT_THAT(parameterCalls(), IsEmpty());
    }
}

// ---- The handle

TEST_F(ParameterStartTest, ReleasedHandleIsOpenedAgainUnderTheSameNameAtTheNextCall) {
    failNext("ax_parameter_set");
    controller.set_guint_parameter("MarkersSeconds", 1);
    EXPECT_THAT(parameterCalls(), ElementsAre("set MarkersSeconds=1 1", "free"));
    forget();
    controller.set_guint_parameter("MarkersSeconds", 2);
    EXPECT_THAT(parameterCalls(), ElementsAre("new zerith_markers", "set MarkersSeconds=2 1"));
    forget();
    EXPECT_EQ(controller.get_gint_parameter("MarkersSeconds"), 2);
    EXPECT_THAT(parameterCalls(), ElementsAre("get MarkersSeconds"));
}

TEST_F(ParameterStartTest, HandleThatCannotBeOpenedAgainFailsTheCallAndIsTriedAtTheNext) {
    failNext("ax_parameter_get");
    EXPECT_THROW(controller.get_gint_parameter("MarkersSeconds"), std::runtime_error);
    failNext("ax_parameter_new", 4);
    forget();
    EXPECT_THROW(controller.get_gint_parameter("MarkersSeconds"), std::runtime_error);
    controller.set_guint_parameter("MarkersSeconds", 3);
    controller.add_parameter("Any");
    controller.list_params();
    EXPECT_THAT(parameterCalls(), Each("new zerith_markers"));
    EXPECT_THAT(logLines(),
                ElementsAre("error|get_gint_parameter: Failed to get MarkersSeconds -> reason",
                            "error|set_guint_parameter: Failed to save MarkersSeconds",
                            "error|add_parameter: Failed to add parameter Any. Error: reason"));
    EXPECT_EQ(controller.get_gint_parameter("MarkersSeconds"), 0);
}

TEST_F(ParameterStartTest, FailureIsLoggedBeforeTheHandleIsReleased) {
    std::vector<std::vector<std::string>> loggedAtFree;
    testing_support::onParameterFree([&] { loggedAtFree.push_back(logLines()); });
    failNext("ax_parameter_add");
    controller.add_parameter("Any");
    failNext("ax_parameter_set");
    controller.set_boolean_parameter("EulaAccepted", true);
    failNext("ax_parameter_get");
    EXPECT_THROW(controller.get_gint_parameter("MarkersSeconds"), std::runtime_error);
    testing_support::onParameterFree({});
    ASSERT_THAT(loggedAtFree, SizeIs(3));
    EXPECT_THAT(loggedAtFree[0], ElementsAre("error|add_parameter: Failed to add parameter Any. "
                                             "Error: reason"));
    EXPECT_EQ(loggedAtFree[1].back(), "error|set_boolean_parameter: Failed to save EulaAccepted");
    EXPECT_EQ(loggedAtFree[2].back(),
              "error|get_gint_parameter: Failed to get MarkersSeconds -> reason");
}

TEST_F(ParameterStartTest, CameraWideReadersOpenAReleasedHandleToo) {
    failNext("ax_parameter_get");
    EXPECT_THROW(controller.get_string_parameter("SelectedDictionary"), std::runtime_error);
    EXPECT_EQ(controller.get_sensor_aspect_ratio(), "16:9");
    EXPECT_THAT(parameterCalls("new"), SizeIs(1));
}

TEST_F(ParameterStartTest, ThreadsNeverCallThePlatformAtTheSameTime) {
    parameter_controller second;
    second.init_controller("zerith_markers");
    const auto use = [](parameter_controller& parameters) {
        for (int i = 0; i < 25; ++i) {
            parameters.set_guint_parameter("MarkersSeconds", static_cast<unsigned>(i));
            EXPECT_GE(parameters.get_gint_parameter("MarkersSeconds"), 0);
            parameters.add_parameter("EulaAccepted");
            EXPECT_EQ(parameters.get_sensor_aspect_ratio(), "16:9");
        }
    };
    std::thread first([&] { use(controller); });
    std::thread other_object([&] { use(second); });
    use(controller);
    first.join();
    other_object.join();
    EXPECT_THAT(hostcam::misuses(), IsEmpty());
}

TEST_F(ParameterStartTest, FailuresOfSeveralThreadsNeverUseOrFreeAReleasedHandle) {
    failNext("ax_parameter_set", 50);
    const auto use = [this] {
        for (int i = 0; i < 50; ++i) {
            controller.set_guint_parameter("MarkersSeconds", 1);
        }
    };
    std::thread other_thread(use);
    use();
    other_thread.join();
    EXPECT_THAT(hostcam::misuses(), IsEmpty());
    // Two threads may fail with one handle, which only one of them gives back. The last one to be
    // opened may be in use still.
    const std::size_t freed = parameterCalls("free").size();
    const std::size_t opened = parameterCalls("new").size() + 1;
    EXPECT_GE(freed, 25U);
    EXPECT_LE(freed, 50U);
    EXPECT_TRUE(opened == freed || opened == freed + 1) << opened << " opened, " << freed;
}

// ---- Free functions

TEST(FreeError, ReleasesAnErrorAndTakesNone) {
    free_error(g_error_new_literal(g_quark_from_static_string("test"), 1, "text"));
    free_error(nullptr);
}

TEST(StatusCallback, LogsTheNewValue) {
    testing_support::forgetLog();
    status_callback_log("root.App.X", "5", nullptr);
    status_callback_log(nullptr, nullptr, nullptr);
    EXPECT_THAT(
        logLines(),
        ElementsAre("info|status_callback_log: Value of parameter root.App.X has changed to 5",
                    "info|status_callback_log: Value of parameter  has changed to "));
}

} // namespace
