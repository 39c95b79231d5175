#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/faults.h"
#include "tests/unit/platform/camera_test_base.h"

#include "vdo-channel.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::CameraTest;
using testing_support::Channel;
using testing_support::Map;

class VdoChannelTest : public CameraTest {
  protected:
    VdoChannelTest() {
        useCamera("resolutions=640x360,1920x1080,800x600,640x360,640x640,1280x720,1366x768\n"
                  "aspect-ratio=4:3\n");
    }

    std::vector<std::string> resolutions(VdoMap* filter) {
        VdoResolutionSet* const set =
            vdo_channel_get_resolutions(channel.get(), filter, error.out());
        std::vector<std::string> texts;
        for (gsize index = 0; set != nullptr && index < set->count; ++index) {
            texts.push_back(std::to_string(set->resolutions[index].width) + "x" +
                            std::to_string(set->resolutions[index].height));
        }
        g_free(set);
        return texts;
    }

    std::vector<std::string> filtered(const char* key, const char* value) {
        const Map filter(vdo_map_new());
        vdo_map_set_string(filter.get(), key, value);
        return resolutions(filter.get());
    }

    const Channel channel{vdo_channel_get(1, nullptr)};
};

TEST_F(VdoChannelTest, ThereIsOneChannel) {
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(vdo_channel_get_id(channel.get()), 1U);
    for (const guint number : {0U, 2U, 4294967295U}) {
        EXPECT_EQ(vdo_channel_get(number, error.out()), nullptr);
        EXPECT_EQ(error.code(), VDO_ERROR_NOT_FOUND);
        EXPECT_THAT(error.text(), HasSubstr(std::to_string(number)));
    }
}

TEST_F(VdoChannelTest, AllChannelsAreThatOne) {
    GList* const all = vdo_channel_get_all(error.out());
    ASSERT_EQ(g_list_length(all), 1U);
    EXPECT_EQ(vdo_channel_get_id(VDO_CHANNEL(all->data)), 1U);
    g_list_free_full(all, g_object_unref);
}

TEST_F(VdoChannelTest, AChannelIsFoundByItsDescription) {
    for (const char* key : {"view", "input", "channel"}) {
        const Map description(vdo_map_new());
        vdo_map_set_uint32(description.get(), key, 1);
        const Channel found(vdo_channel_get_ex(description.get(), error.out()));
        EXPECT_NE(found, nullptr) << key;
        vdo_map_set_uint32(description.get(), key, 2);
        EXPECT_EQ(vdo_channel_get_ex(description.get(), error.out()), nullptr);
        EXPECT_EQ(error.code(), VDO_ERROR_NOT_FOUND);
        vdo_map_set_int32(description.get(), key, 1);
        EXPECT_EQ(vdo_channel_get_ex(description.get(), error.out()), nullptr);
        EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
        EXPECT_THAT(error.text(), HasSubstr(key));
    }
    const Map warp(vdo_map_new());
    vdo_map_set_uint32(warp.get(), "warp", 1);
    EXPECT_EQ(vdo_channel_get_ex(warp.get(), error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_FOUND);
    EXPECT_EQ(vdo_channel_get_ex(nullptr, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoChannelTest, AFilterForChannelsTakesOrLeavesTheOne) {
    GList* list = vdo_channel_get_filtered(nullptr, error.out());
    EXPECT_EQ(g_list_length(list), 1U);
    g_list_free_full(list, g_object_unref);
    const Map filter(vdo_map_new());
    vdo_map_set_uint32(filter.get(), "input", 1);
    list = vdo_channel_get_filtered(filter.get(), error.out());
    EXPECT_EQ(g_list_length(list), 1U);
    g_list_free_full(list, g_object_unref);
    vdo_map_set_uint32(filter.get(), "input", 2);
    EXPECT_EQ(vdo_channel_get_filtered(filter.get(), error.out()), nullptr);
    EXPECT_FALSE(error.isSet());
}

TEST_F(VdoChannelTest, InfoTellsWhatTheChannelCan) {
    const Map info(vdo_channel_get_info(channel.get(), error.out()));
    ASSERT_NE(info, nullptr) << error.text();
    EXPECT_TRUE(vdo_map_get_boolean(info.get(), "mirror.possible", FALSE));
    EXPECT_FALSE(vdo_map_get_boolean(info.get(), "crop.possible", TRUE));
    EXPECT_FALSE(vdo_map_get_boolean(info.get(), "dptz.possible", TRUE));
    EXPECT_STREQ(vdo_map_get_string(info.get(), "available_rotations", nullptr, ""),
                 "0,90,180,270");
}

TEST_F(VdoChannelTest, SettingsTellTheInstalledRotationAndCannotBeChanged) {
    useCamera("rotation=270\n");
    const Map settings(vdo_channel_get_settings(channel.get(), error.out()));
    ASSERT_NE(settings, nullptr) << error.text();
    EXPECT_EQ(vdo_map_get_uint32(settings.get(), "rotation", 0), 270U);
    EXPECT_TRUE(vdo_channel_set_settings(channel.get(), settings.get(), error.out()));
    vdo_map_set_uint32(settings.get(), "rotation", 90);
    EXPECT_FALSE(vdo_channel_set_settings(channel.get(), settings.get(), error.out()));
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
    EXPECT_THAT(error.text(), HasSubstr("rotation"));
}

TEST_F(VdoChannelTest, ThereAreNoStreamProfiles) {
    EXPECT_EQ(
        vdo_channel_get_stream_profile(channel.get(), "quality", VDO_FORMAT_H264, error.out()),
        nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
}

TEST_F(VdoChannelTest, ResolutionsAreTheConfiguredOnesOnceLargestFirst) {
    EXPECT_THAT(resolutions(nullptr),
                ElementsAre("1920x1080", "1366x768", "1280x720", "800x600", "640x640", "640x360"));
}

TEST_F(VdoChannelTest, SelectTakesTheEnds) {
    EXPECT_THAT(filtered("select", "all").size(), 6U);
    EXPECT_THAT(filtered("select", "max"), ElementsAre("1920x1080"));
    EXPECT_THAT(filtered("select", "min"), ElementsAre("640x360"));
    EXPECT_THAT(filtered("select", "minmax"), ElementsAre("1920x1080", "640x360"));
    EXPECT_THAT(filtered("select", "most"), IsEmpty());
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_THAT(error.text(), HasSubstr("most"));
}

TEST_F(VdoChannelTest, AspectRatiosFilter) {
    EXPECT_THAT(filtered("aspect_ratio", "16:9"),
                ElementsAre("1920x1080", "1366x768", "1280x720", "640x360"));
    EXPECT_THAT(filtered("aspect_ratio", "1:1,4:3"), ElementsAre("800x600", "640x640"));
    EXPECT_THAT(filtered("aspect_ratio", "native"), ElementsAre("800x600"));
    EXPECT_THAT(filtered("aspect_ratio", "5:4, 16:10"), IsEmpty());
    EXPECT_FALSE(error.isSet());
    EXPECT_THAT(filtered("aspect_ratio", "16:9,2:1"), IsEmpty());
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_THAT(error.text(), HasSubstr("2:1"));
}

TEST_F(VdoChannelTest, ThePixelLimitFilters) {
    const Map filter(vdo_map_new());
    vdo_map_set_uint32(filter.get(), "pixel.limit", 800 * 600);
    EXPECT_THAT(resolutions(filter.get()), ElementsAre("800x600", "640x640", "640x360"));
    vdo_map_set_uint32(filter.get(), "pixel.limit", 1);
    EXPECT_THAT(resolutions(filter.get()), IsEmpty());
    EXPECT_FALSE(error.isSet());
}

TEST_F(VdoChannelTest, EveryFormatHasTheSameResolutions) {
    const Map filter(vdo_map_new());
    for (const guint32 format : {VDO_FORMAT_H264, VDO_FORMAT_JPEG, VDO_FORMAT_YUV}) {
        vdo_map_set_uint32(filter.get(), "format", format);
        EXPECT_EQ(resolutions(filter.get()).size(), 6U);
    }
    vdo_map_set_uint32(filter.get(), "format", 99);
    EXPECT_THAT(resolutions(filter.get()), IsEmpty());
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    vdo_map_set_uint32(filter.get(), "format", VDO_FORMAT_YUV);
    vdo_map_set_string(filter.get(), "subformat", "yv12");
    EXPECT_THAT(resolutions(filter.get()), IsEmpty());
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoChannelTest, AFilterValueOfAnotherTypeIsRefused) {
    const Map filter(vdo_map_new());
    vdo_map_set_uint32(filter.get(), "select", 1);
    EXPECT_THAT(resolutions(filter.get()), IsEmpty());
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_THAT(error.text(), HasSubstr("select"));
}

TEST_F(VdoChannelTest, AWrongConfigurationIsTold) {
    useCamera("resolutions=odd\n");
    EXPECT_THAT(resolutions(nullptr), IsEmpty());
    EXPECT_EQ(error.code(), VDO_ERROR_FAILED);
    EXPECT_THAT(error.text(), HasSubstr("resolutions=odd"));
}

TEST_F(VdoChannelTest, NullAndOtherObjectsGiveErrors) {
    const Map map(vdo_map_new());
    auto* const other = reinterpret_cast<VdoChannel*>(map.get());
    EXPECT_EQ(vdo_channel_get_id(nullptr), 0U);
    EXPECT_EQ(vdo_channel_get_id(other), 0U);
    EXPECT_EQ(vdo_channel_get_info(VDO_CHANNEL_GLOBAL, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(vdo_channel_get_info(other, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(vdo_channel_get_resolutions(other, nullptr, error.out()), nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(vdo_channel_get_resolutions(channel.get(), reinterpret_cast<VdoMap*>(channel.get()),
                                          error.out()),
              nullptr);
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
    EXPECT_FALSE(vdo_channel_set_settings(nullptr, nullptr, nullptr));
    EXPECT_EQ(vdo_channel_get_settings(nullptr, nullptr), nullptr);
}

TEST_F(VdoChannelTest, FaultsHandOutOddResolutions) {
    hostcam::addFaults("vdo_channel_get_resolutions odd=0x0,4294967295x1 pass; "
                       "vdo_channel_get_resolutions first=2 odd= pass");
    EXPECT_THAT(resolutions(nullptr), ElementsAre("0x0", "4294967295x1"));
    EXPECT_THAT(resolutions(nullptr), IsEmpty());
    EXPECT_FALSE(error.isSet());
}

} // namespace
