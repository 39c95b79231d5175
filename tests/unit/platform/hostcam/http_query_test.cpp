#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/http_query.h"

namespace {

using hostcam::BadRequest;
using hostcam::Config;
using hostcam::parseQuery;
using hostcam::PictureArguments;
using hostcam::Size;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

PictureArguments read(const std::string& query, const Config& config = {}) {
    return readPictureArguments(parseQuery(query), config);
}

/// Why a query is refused; empty when it is not.
std::string refusal(const std::string& query) {
    try {
        (void)read(query);
        return "";
    } catch (const BadRequest& problem) {
        return problem.what();
    }
}

TEST(HttpQueryTest, NamesAndValuesComeDecodedInTheirOrder) {
    EXPECT_THAT(parseQuery("b=1&a=x%20y+z%2C%c3%a4&c="),
                ElementsAre(Pair("b", "1"), Pair("a", "x y z,\xC3\xA4"), Pair("c", "")));
    EXPECT_THAT(parseQuery("a=b=c"), ElementsAre(Pair("a", "b=c")));
    EXPECT_THAT(parseQuery(""), IsEmpty());
    EXPECT_THAT(parseQuery("&&a=1&"), ElementsAre(Pair("a", "1")));
}

struct Refused {
    const char* query;
    const char* reason;
};

class RefusedQueryTest : public testing::TestWithParam<Refused> {};

TEST_P(RefusedQueryTest, IsRefusedInOneSentence) {
    EXPECT_EQ(refusal(GetParam().query), GetParam().reason);
}

constexpr const char* kFpsAllowed = "allowed is a whole number from 0 to 1000.";

INSTANTIATE_TEST_SUITE_P(
    Queries, RefusedQueryTest,
    testing::Values(
        Refused{"fps=%", "The query holds a % that two hexadecimal digits do not follow."},
        Refused{"fps=%1", "The query holds a % that two hexadecimal digits do not follow."},
        Refused{"%g1=1", "The query holds a % that two hexadecimal digits do not follow."},
        Refused{"fps=1%00", "The query holds a control character."},
        Refused{"fps=%0a1", "The query holds a control character."},
        Refused{"%7f=1", "The query holds a control character."},
        Refused{"fps", "The argument fps has no value."},
        Refused{"fps=1&fps=1", "The argument fps comes twice."},
        Refused{"fps=1&f%70s=2", "The argument fps comes twice."},
        Refused{"fps=", "fps=: allowed is a whole number from 0 to 1000."},
        Refused{"fps=-1", "fps=-1: allowed is a whole number from 0 to 1000."},
        Refused{"fps=1.5", "fps=1.5: allowed is a whole number from 0 to 1000."},
        Refused{"fps=1001", "fps=1001: allowed is a whole number from 0 to 1000."},
        Refused{"fps=99999999999999999999",
                "fps=99999999999999999999: allowed is a whole number from 0 to 1000."},
        Refused{"fps=+5", "fps= 5: allowed is a whole number from 0 to 1000."},
        Refused{"fps=0x5", "fps=0x5: allowed is a whole number from 0 to 1000."},
        Refused{"compression=101", "compression=101: allowed is a whole number from 0 to 100."},
        Refused{"resolution=800x600",
                "resolution=800x600: allowed is 1280x720, 1920x1080, 640x360."},
        Refused{"resolution=0x0", "resolution=0x0: allowed is 1280x720, 1920x1080, 640x360."},
        Refused{"resolution=640x360x1",
                "resolution=640x360x1: allowed is 1280x720, 1920x1080, 640x360."},
        Refused{"resolution=4294967936x360",
                "resolution=4294967936x360: allowed is 1280x720, 1920x1080, 640x360."},
        Refused{"rotation=45", "rotation=45: allowed is 0, 90, 180 or 270."},
        Refused{"rotation=090", "rotation=090: allowed is 0, 90, 180 or 270."},
        Refused{"mirror=yes", "mirror=yes: allowed is 0 or 1."},
        Refused{"text=2", "text=2: allowed is 0 or 1."},
        Refused{"camera=2", "camera=2: allowed is 1, as there is one camera."},
        Refused{"overlays=some", "overlays=some: allowed is all or off."},
        Refused{"resoluton=640x360",
                "The argument resoluton is not known: allowed are camera, compression, duration, "
                "fps, mirror, nbrofframes, overlays, resolution, rotation, squarepixel, text."}));

TEST(HttpQueryTest, WhatARefusalRepeatsIsShortAndPrintable) {
    const std::string reason = refusal("fps=" + std::string(2000, 'x'));
    EXPECT_EQ(reason, "fps=" + std::string(60, 'x') + "...: " + kFpsAllowed);
    EXPECT_EQ(refusal("fps=%c3%a4"), std::string("fps=??: ") + kFpsAllowed);
}

TEST(HttpQueryTest, AQueryThatIsTooLongIsRefused) {
    EXPECT_EQ(refusal("fps=" + std::string(4096, '1')), "The query is longer than 4096 bytes.");
}

TEST(HttpQueryTest, WithoutArgumentsTheCameraIsTakenAsItIsSetUp) {
    Config config;
    config.rotation = 180;
    config.framerate = 12.5;
    config.viewers = {{{640, 360}, true}, {{1280, 720}, false}};
    const PictureArguments arguments = read("", config);
    EXPECT_EQ(arguments.wish.size, (Size{640, 360}));
    EXPECT_TRUE(arguments.wish.mirrored);
    EXPECT_EQ(arguments.wish.rotation, 180);
    EXPECT_TRUE(arguments.wish.overlays);
    EXPECT_EQ(arguments.wish.quality, 75);
    EXPECT_EQ(arguments.fps, 0U);
    EXPECT_EQ(arguments.pictures, 0U);
    EXPECT_EQ(arguments.seconds, 0U);
    EXPECT_EQ(arguments.framerate, 12.5);
}

TEST(HttpQueryTest, EveryArgumentIsTaken) {
    const PictureArguments arguments =
        read("resolution=640x360&camera=1&compression=40&rotation=90&mirror=1&fps=5&duration=60"
             "&nbrofframes=100&text=0&overlays=off&squarepixel=1");
    EXPECT_EQ(arguments.wish.size, (Size{640, 360}));
    EXPECT_EQ(arguments.wish.quality, 60);
    EXPECT_EQ(arguments.wish.rotation, 90);
    EXPECT_TRUE(arguments.wish.mirrored);
    EXPECT_FALSE(arguments.wish.overlays);
    EXPECT_EQ(arguments.fps, 5U);
    EXPECT_EQ(arguments.seconds, 60U);
    EXPECT_EQ(arguments.pictures, 100U);
}

TEST(HttpQueryTest, TheStrongestCompressionIsTheLowestQuality) {
    EXPECT_EQ(read("compression=100").wish.quality, 1);
    EXPECT_EQ(read("compression=0").wish.quality, 100);
}

TEST(HttpQueryTest, AStreamIsChosenByWhatIsNamed) {
    Config config;
    config.viewers = {{{1280, 720}, false}, {{1280, 720}, true}, {{640, 360}, true}};
    EXPECT_FALSE(read("resolution=1280x720", config).wish.mirrored);
    EXPECT_TRUE(read("resolution=640x360", config).wish.mirrored) << "that stream is mirrored";
    EXPECT_FALSE(read("resolution=640x360&mirror=0", config).wish.mirrored);
    EXPECT_EQ(read("mirror=1", config).wish.size, (Size{1280, 720}));
    EXPECT_FALSE(read("resolution=1920x1080", config).wish.mirrored);
}

TEST(HttpQueryTest, AViewerStreamsSizeNeedNotBeAmongTheResolutions) {
    Config config;
    config.viewers = {{{800, 600}, false}};
    EXPECT_EQ(read("resolution=800x600", config).wish.size, (Size{800, 600}));
}

} // namespace
