#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/http_parameters.h"
#include "platform/hostcam/parameter_store.h"
#include "tests/unit/platform/host_camera.h"

namespace {

using hostcam::BadRequest;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class HttpParametersTest : public testing::Test {
  protected:
    static std::string list(const std::string& arguments) {
        return hostcam::listedParameters(hostcam::parseQuery("action=list" + arguments));
    }

    testing_support::HostCamera camera{
        "[camera]\nproduct=Model 7\nresolutions=640x360,320x180\nserial=B8A44F000001\n"};
};

TEST_F(HttpParametersTest, AGroupGivesItsParametersALineEach) {
    EXPECT_EQ(list("&group=Properties.Image"), "root.Properties.Image.Format=jpeg,mjpeg\n"
                                               "root.Properties.Image.Resolution=640x360,320x180\n"
                                               "root.Properties.Image.Rotation=0,90,180,270\n");
}

TEST_F(HttpParametersTest, RootMayBeNamedOrLeftOut) {
    EXPECT_EQ(list("&group=root.Brand.ProdShortName"), "root.Brand.ProdShortName=Model 7\n");
    EXPECT_EQ(list("&group=Brand.ProdShortName"), "root.Brand.ProdShortName=Model 7\n");
}

TEST_F(HttpParametersTest, SeveralGroupsComeInTheirOrder) {
    EXPECT_EQ(list("&group=Properties.System.SerialNumber,Brand.ProdShortName"),
              "root.Properties.System.SerialNumber=B8A44F000001\n"
              "root.Brand.ProdShortName=Model 7\n");
}

TEST_F(HttpParametersTest, AStarStandsForAnyPart) {
    EXPECT_EQ(list("&group=Image.*.Appearance"), "root.Image.I0.Appearance.Rotation=0\n");
    EXPECT_THAT(list("&group=Properties.*"), HasSubstr("root.Properties.System.SerialNumber="));
    EXPECT_THAT(list("&group=Properties.*"), HasSubstr("root.Properties.Image.Format="));
}

TEST_F(HttpParametersTest, WithoutAGroupEverythingIsListed) {
    const std::string all = list("");
    EXPECT_THAT(all, HasSubstr("root.Brand.ProdShortName=Model 7\n"));
    EXPECT_THAT(all, HasSubstr("root.ImageSource.I0.Sensor.AspectRatio=16:9\n"));
    EXPECT_EQ(list("&group=root"), all);
}

TEST_F(HttpParametersTest, APartOfANameIsNoGroup) {
    EXPECT_THAT(list("&group=Brand.Prod"), StartsWith("# Error:"));
}

TEST_F(HttpParametersTest, AnUnknownGroupIsAnErrorLineAmongTheOthers) {
    EXPECT_EQ(list("&group=Nothing,Brand.ProdShortName"),
              "# Error: Error -1 getting param in group 'Nothing'\n"
              "root.Brand.ProdShortName=Model 7\n");
}

TEST_F(HttpParametersTest, TheApplicationsParametersAreThereInEitherCase) {
    hostcam::currentParameterStore()->add("root.Zerith_markers.MarkersSeconds", "7");
    EXPECT_EQ(list("&group=Zerith_markers.MarkersSeconds"),
              "root.Zerith_markers.MarkersSeconds=7\n");
    EXPECT_EQ(list("&group=zerith_markers.MarkersSeconds"),
              "root.Zerith_markers.MarkersSeconds=7\n");
}

TEST_F(HttpParametersTest, AValueCannotPassForAnotherLine) {
    hostcam::currentParameterStore()->add("root.Zerith_markers.Text",
                                          "a\nroot.Brand.Brand=b\\\xC3\xA4");
    EXPECT_EQ(list("&group=Zerith_markers.Text"),
              "root.Zerith_markers.Text=a root.Brand.Brand=b\\\xC3\xA4\n");
}

TEST_F(HttpParametersTest, AChangeIsSeenAtOnce) {
    const auto store = hostcam::currentParameterStore();
    store->add("root.Zerith_markers.Text", "before");
    store->set("root.Zerith_markers.Text", "after", true);
    EXPECT_EQ(list("&group=Zerith_markers.Text"), "root.Zerith_markers.Text=after\n");
}

class WrongListingTest : public HttpParametersTest,
                         public testing::WithParamInterface<const char*> {};

TEST_P(WrongListingTest, IsRefused) {
    EXPECT_THROW((void)hostcam::listedParameters(hostcam::parseQuery(GetParam())), BadRequest);
}

INSTANTIATE_TEST_SUITE_P(Queries, WrongListingTest,
                         testing::Values("", "action=", "action=update&root.Brand.Brand=x",
                                         "action=List", "group=Brand",
                                         "action=list&group=", "action=list&group=a,,b",
                                         "action=list&group=Brand,", "action=list&group=a b",
                                         "action=list&group=../etc", "action=list&group=%c3%a4",
                                         "action=list&usergroup=admin"));

} // namespace
