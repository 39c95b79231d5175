#include <algorithm>
#include <string>
#include <vector>

#include <axsdk/axparameter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/declared_parameters.h"
#include "tests/unit/platform/axparameter/parameter_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing_support::readFile;
using testing_support::readLines;

class AxParameter : public testing_support::ParameterTest {};

TEST_F(AxParameter, TheErrorDomainAndItsCodesAreThePlatforms) {
    EXPECT_STREQ(g_quark_to_string(AX_PARAMETER_ERROR), "ax-parameter-error-quark");
    EXPECT_EQ(AX_PARAMETER_PARAM_EXIST_ERROR, 12);
    EXPECT_EQ(AX_PARAMETER_PARAM_ADDED_ERROR, 13);
    EXPECT_EQ(AX_PARAMETER_FILE_RENAME_ERROR, 20);
}

TEST_F(AxParameter, ThePackagesThirtyNineParametersExistFromTheFirstStartWithZero) {
    open();
    ASSERT_EQ(hostcam::declaredParameters().size(), 39U);
    std::vector<std::string> lines;
    for (const std::string& name : hostcam::declaredParameters()) {
        EXPECT_EQ(get(name), "0") << name;
        lines.push_back("root.Zerith_markers." + name + "=0");
    }
    EXPECT_THAT(readLines(camera.parameters()), ElementsAreArray(lines));
    EXPECT_THAT(list(), ElementsAreArray(hostcam::declaredParameters()));
}

TEST_F(AxParameter, AnotherApplicationHasNoneAndIsGivenAnEmptyList) {
    open("other");
    EXPECT_EQ(ax_parameter_list(handle, error.out()), nullptr);
    EXPECT_FALSE(error.isSet());
    EXPECT_EQ(codeOfGet("MarkersSeconds"), AX_PARAMETER_PARAM_EXIST_ERROR);
    EXPECT_EQ(get("root.Brand.ProdShortName"), "HostCam");
}

TEST_F(AxParameter, ValuesSurviveARestart) {
    open();
    set("MarkersSeconds", "4294967295");
    reopen();
    EXPECT_EQ(get("MarkersSeconds"), "4294967295");
    EXPECT_EQ(get("IsRequirePresent"), "0");
}

TEST_F(AxParameter, AnyTextRoundTripsThroughTheFile) {
    open();
    const std::string text = " \\n=#\n\r\t\x01\x7F\xC3\xA4\xFF end ";
    set("SelectedDictionary", text);
    reopen();
    EXPECT_EQ(get("SelectedDictionary"), text);
    EXPECT_EQ(readLines(camera.parameters()).size(), 39U);
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(AxParameter, AMissingValueMeansTheEmptyText) {
    open();
    ASSERT_TRUE(ax_parameter_set(handle, "MarkersSeconds", nullptr, TRUE, error.out()));
    EXPECT_EQ(get("MarkersSeconds"), "");
    ASSERT_TRUE(ax_parameter_add(handle, "Fresh", nullptr, nullptr, error.out()));
    EXPECT_EQ(get("Fresh"), "");
}

TEST_F(AxParameter, AddingAParameterThatIsThereFailsWithThirteenAndKeepsItsValue) {
    open();
    set("MarkersSeconds", "5");
    EXPECT_FALSE(ax_parameter_add(handle, "MarkersSeconds", "0", nullptr, error.out()));
    EXPECT_EQ(error.code(), 13);
    EXPECT_EQ(error.domain(), AX_PARAMETER_ERROR);
    EXPECT_THAT(error.text(), HasSubstr("root.Zerith_markers.MarkersSeconds"));
    EXPECT_EQ(get("MarkersSeconds"), "5");
    EXPECT_FALSE(ax_parameter_add(handle, "MarkersSeconds", "0", nullptr, nullptr));
}

TEST_F(AxParameter, AMissingParameterFailsWithTwelveAndLeavesTheValueAlone) {
    open();
    gchar* value = const_cast<gchar*>("untouched");
    EXPECT_FALSE(ax_parameter_get(handle, "NoSuch", &value, error.out()));
    EXPECT_EQ(error.code(), 12);
    EXPECT_STREQ(value, "untouched");
    EXPECT_FALSE(ax_parameter_set(handle, "NoSuch", "1", TRUE, error.out()));
    EXPECT_EQ(error.code(), 12);
    EXPECT_FALSE(ax_parameter_set(handle, "NoSuch", "1", FALSE, error.out()));
    EXPECT_EQ(error.code(), 12);
    EXPECT_FALSE(ax_parameter_remove(handle, "NoSuch", error.out()));
    EXPECT_EQ(error.code(), 12);
    EXPECT_FALSE(ax_parameter_register_callback(
        handle, "NoSuch", [](const gchar*, const gchar*, gpointer) {}, nullptr, error.out()));
    EXPECT_EQ(error.code(), 12);
}

TEST_F(AxParameter, ARemovedParameterIsGoneAndCanBeAddedAgain) {
    open();
    ASSERT_TRUE(ax_parameter_add(handle, "Extra", "1", "hidden:string", error.out()));
    EXPECT_THAT(list(), Contains("Extra"));
    ASSERT_TRUE(ax_parameter_remove(handle, "Extra", error.out()));
    EXPECT_THAT(list(), Not(Contains("Extra")));
    EXPECT_EQ(codeOfGet("Extra"), 12);
    EXPECT_THAT(readFile(camera.parameters()), Not(HasSubstr("Extra")));
    EXPECT_TRUE(ax_parameter_add(handle, "Extra", "2", nullptr, error.out()));
    EXPECT_EQ(get("Extra"), "2");
}

TEST_F(AxParameter, ADeclaredParameterThatWasRemovedIsThereAgainAfterARestart) {
    open();
    set("MarkersSeconds", "9");
    ASSERT_TRUE(ax_parameter_remove(handle, "MarkersSeconds", error.out()));
    EXPECT_EQ(codeOfGet("MarkersSeconds"), 12);
    reopen();
    EXPECT_EQ(get("MarkersSeconds"), "0");
}

TEST_F(AxParameter, FullNamesInBothLetterCasesMeanTheApplicationsOwn) {
    open();
    set("root.zerith_markers.MarkersSeconds", "7");
    EXPECT_EQ(get("root.Zerith_markers.MarkersSeconds"), "7");
    EXPECT_EQ(get("MarkersSeconds"), "7");
    open("Zerith_markers");
    EXPECT_EQ(get("MarkersSeconds"), "7");
}

TEST_F(AxParameter, TheCamerasOwnParametersFollowItsConfiguration) {
    camera.configure("[camera]\nproduct=Bench 7\nrotation=90\naspect-ratio=4:3\n"
                     "resolutions=1600x1200,640x480\nserial=B8A44F000001\n");
    open();
    EXPECT_EQ(get("root.Brand.ProdShortName"), "Bench 7");
    EXPECT_EQ(get("root.Image.I0.Appearance.Rotation"), "90");
    EXPECT_EQ(get("root.ImageSource.I0.Sensor.AspectRatio"), "4:3");
    EXPECT_EQ(get("root.Properties.Image.Resolution"), "1600x1200,640x480");
    EXPECT_EQ(get("root.Properties.Image.Rotation"), "0,90,180,270");
    EXPECT_EQ(get("root.Properties.Image.Format"), "jpeg,mjpeg");
    EXPECT_EQ(get("root.Properties.System.SerialNumber"), "B8A44F000001");
    EXPECT_EQ(get("root.Image.NbrOfConfigs"), "1");
}

TEST_F(AxParameter, TheCamerasOwnParametersCannotBeChanged) {
    open();
    for (const gboolean sync : {gboolean{TRUE}, gboolean{FALSE}}) {
        EXPECT_FALSE(
            ax_parameter_set(handle, "root.Image.I0.Appearance.Rotation", "90", sync, error.out()));
        EXPECT_EQ(error.code(), AX_PARAMETER_PARAM_SET_ERROR);
    }
    EXPECT_EQ(get("root.Image.I0.Appearance.Rotation"), "0");
    EXPECT_FALSE(ax_parameter_remove(handle, "root.Brand.Brand", error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_PARAM_PATH_ERROR);
    EXPECT_FALSE(ax_parameter_add(handle, "root.Brand.Mine", "1", nullptr, error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_PARAM_PATH_ERROR);
}

TEST_F(AxParameter, AChangeWithoutSyncIsNotStoredBeforeALaterOneWithSync) {
    open();
    ASSERT_TRUE(ax_parameter_set(handle, "MarkersSeconds", "3", FALSE, error.out()));
    EXPECT_EQ(get("MarkersSeconds"), "3");
    EXPECT_THAT(readFile(camera.parameters()), HasSubstr("MarkersSeconds=0\n"));
    set("IsRequirePresent", "true");
    EXPECT_THAT(readFile(camera.parameters()), HasSubstr("MarkersSeconds=3\n"));
    EXPECT_THAT(readFile(camera.parameters()), HasSubstr("IsRequirePresent=true\n"));
}

TEST_F(AxParameter, AChangeWithoutSyncIsForgottenByARestart) {
    open();
    ASSERT_TRUE(ax_parameter_set(handle, "MarkersSeconds", "3", FALSE, error.out()));
    reopen();
    EXPECT_EQ(get("MarkersSeconds"), "0");
}

TEST_F(AxParameter, SettingTheValueThatIsStoredWritesNothing) {
    open();
    set("MarkersSeconds", "5");
    const auto before = std::filesystem::last_write_time(camera.parameters());
    // A write would need a new file in the folder, which this name makes impossible.
    std::filesystem::create_directory(camera.state() / "parameters.conf.new");
    set("MarkersSeconds", "5");
    EXPECT_EQ(std::filesystem::last_write_time(camera.parameters()), before);
    EXPECT_FALSE(ax_parameter_set(handle, "MarkersSeconds", "6", TRUE, error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_FILE_CREATE_ERROR);
    EXPECT_EQ(get("MarkersSeconds"), "5");
}

TEST_F(AxParameter, NullAndGarbageArgumentsFailAndNeverCrash) {
    EXPECT_EQ(ax_parameter_new(nullptr, error.out()), nullptr);
    EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR);
    for (const char* name : {"", "two words", "a.b", "a=b", "\n", "\xFF"}) {
        EXPECT_EQ(ax_parameter_new(name, error.out()), nullptr) << name;
        EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR) << name;
        EXPECT_EQ(ax_parameter_new(name, nullptr), nullptr) << name;
    }
    open();
    int notAHandle = 0;
    gchar* value = nullptr;
    for (AXParameter* const bad :
         {static_cast<AXParameter*>(nullptr), reinterpret_cast<AXParameter*>(&notAHandle)}) {
        EXPECT_FALSE(ax_parameter_get(bad, "MarkersSeconds", &value, error.out()));
        EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR);
        EXPECT_FALSE(ax_parameter_set(bad, "MarkersSeconds", "1", TRUE, error.out()));
        EXPECT_FALSE(ax_parameter_add(bad, "X", "1", nullptr, error.out()));
        EXPECT_FALSE(ax_parameter_remove(bad, "X", error.out()));
        EXPECT_EQ(ax_parameter_list(bad, error.out()), nullptr);
        EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR);
        EXPECT_FALSE(ax_parameter_register_callback(bad, "X", nullptr, nullptr, error.out()));
        ax_parameter_unregister_callback(bad, "X");
        ax_parameter_free(bad);
    }
    EXPECT_FALSE(ax_parameter_get(handle, nullptr, &value, error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR);
    EXPECT_FALSE(ax_parameter_get(handle, "MarkersSeconds", nullptr, error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR);
    for (const char* name : {"bad name", "root.", "root.X", "a..b", "a=b", "\n"}) {
        EXPECT_FALSE(ax_parameter_get(handle, name, &value, error.out())) << name;
        EXPECT_EQ(error.code(), AX_PARAMETER_PARAM_PATH_ERROR) << name;
        EXPECT_FALSE(ax_parameter_add(handle, name, "1", nullptr, error.out())) << name;
    }
    EXPECT_FALSE(
        ax_parameter_register_callback(handle, "MarkersSeconds", nullptr, nullptr, error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR);
    ax_parameter_unregister_callback(handle, nullptr);
    ax_parameter_unregister_callback(handle, "NeverRegistered");
    EXPECT_EQ(value, nullptr);
}

TEST_F(AxParameter, AHandleThatWasFreedIsRefused) {
    open();
    AXParameter* const freed = handle;
    ax_parameter_free(freed);
    handle = nullptr;
    gchar* value = nullptr;
    EXPECT_FALSE(ax_parameter_get(freed, "MarkersSeconds", &value, error.out()));
    EXPECT_EQ(error.code(), AX_PARAMETER_INVALID_ARG_ERROR);
    EXPECT_THAT(hostcam::misuses(), IsEmpty());
    ax_parameter_free(freed);
    EXPECT_THAT(hostcam::misuses(), Contains(HasSubstr("ax_parameter_free")));
}

TEST_F(AxParameter, AConfigurationThatIsWrongIsAnErrorThatNamesTheKey) {
    camera.configure("[camera]\nrotation=45\n");
    EXPECT_EQ(ax_parameter_new("zerith_markers", error.out()), nullptr);
    EXPECT_EQ(error.code(), AX_PARAMETER_FILE_FORMAT_ERROR);
    EXPECT_THAT(error.text(), HasSubstr("rotation=45"));
    EXPECT_THAT(camera.takeWarnings(), Contains(HasSubstr("rotation=45")));
}

} // namespace
