#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/faults.h"
#include "tests/unit/platform/camera_test_base.h"

#include "vdo-map.h"

namespace {

using testing_support::Map;
using testing_support::Ref;

class VdoMapTest : public testing::Test {
  protected:
    ~VdoMapTest() override { hostcam::clearFaults(); }

    Map map{vdo_map_new()};
    Map other{vdo_map_new()};
};

TEST_F(VdoMapTest, StartsEmpty) {
    EXPECT_TRUE(vdo_map_empty(map.get()));
    EXPECT_EQ(vdo_map_size(map.get()), 0U);
    EXPECT_FALSE(vdo_map_contains(map.get(), "width"));
}

TEST_F(VdoMapTest, GivesBackWholeNumbersOfEveryType) {
    vdo_map_set_byte(map.get(), "byte", 255);
    vdo_map_set_int16(map.get(), "int16", std::numeric_limits<gint16>::min());
    vdo_map_set_uint16(map.get(), "uint16", 65535);
    vdo_map_set_int32(map.get(), "int32", std::numeric_limits<gint32>::min());
    vdo_map_set_uint32(map.get(), "uint32", 4294967295U);
    vdo_map_set_int64(map.get(), "int64", std::numeric_limits<gint64>::min());
    vdo_map_set_uint64(map.get(), "uint64", std::numeric_limits<guint64>::max());

    EXPECT_EQ(vdo_map_get_byte(map.get(), "byte", 0), 255);
    EXPECT_EQ(vdo_map_get_int16(map.get(), "int16", 0), std::numeric_limits<gint16>::min());
    EXPECT_EQ(vdo_map_get_uint16(map.get(), "uint16", 0), 65535);
    EXPECT_EQ(vdo_map_get_int32(map.get(), "int32", 0), std::numeric_limits<gint32>::min());
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "uint32", 0), 4294967295U);
    EXPECT_EQ(vdo_map_get_int64(map.get(), "int64", 0), std::numeric_limits<gint64>::min());
    EXPECT_EQ(vdo_map_get_uint64(map.get(), "uint64", 0), std::numeric_limits<guint64>::max());
    EXPECT_EQ(vdo_map_size(map.get()), 7U);
}

TEST_F(VdoMapTest, GivesBackOtherSingleValues) {
    vdo_map_set_double(map.get(), "double", 29.97);
    vdo_map_set_boolean(map.get(), "boolean", TRUE);
    vdo_map_set_string(map.get(), "string", "nv12");

    EXPECT_EQ(vdo_map_get_double(map.get(), "double", 0), 29.97);
    EXPECT_TRUE(vdo_map_get_boolean(map.get(), "boolean", FALSE));
    gsize size = 99;
    EXPECT_STREQ(vdo_map_get_string(map.get(), "string", &size, ""), "nv12");
    EXPECT_EQ(size, 4U);
    gchar* const copy = vdo_map_dup_string(map.get(), "string", nullptr);
    EXPECT_STREQ(copy, "nv12");
    g_free(copy);
}

TEST_F(VdoMapTest, GivesBackArraysAndPairs) {
    const guint32 two[2] = {1, 2};
    const guint32 four[4] = {1, 2, 3, 4294967295U};
    const gdouble doubles[4] = {0.25, 0.5, 0.75, 1.0};
    VdoPair32i pairI{};
    pairI.val[0] = -5;
    pairI.val[1] = 7;
    VdoPair32u pairU{};
    pairU.res = {1920, 1080};
    vdo_map_set_uint32x2(map.get(), "two", two);
    vdo_map_set_uint32x4(map.get(), "four", four);
    vdo_map_set_doublex4(map.get(), "doubles", doubles);
    vdo_map_set_pair32i(map.get(), "pairI", pairI);
    vdo_map_set_pair32u(map.get(), "pairU", pairU);

    const guint32* const gotTwo = vdo_map_get_uint32x2(map.get(), "two", nullptr);
    ASSERT_NE(gotTwo, nullptr);
    EXPECT_THAT(std::vector<guint32>(gotTwo, gotTwo + 2), testing::ElementsAre(1, 2));
    const guint32* const gotFour = vdo_map_get_uint32x4(map.get(), "four", nullptr);
    ASSERT_NE(gotFour, nullptr);
    EXPECT_THAT(std::vector<guint32>(gotFour, gotFour + 4),
                testing::ElementsAre(1, 2, 3, 4294967295U));
    const gdouble* const gotDoubles = vdo_map_get_doublex4(map.get(), "doubles", nullptr);
    ASSERT_NE(gotDoubles, nullptr);
    EXPECT_THAT(std::vector<gdouble>(gotDoubles, gotDoubles + 4),
                testing::ElementsAre(0.25, 0.5, 0.75, 1.0));
    const VdoPair32i gotI = vdo_map_get_pair32i(map.get(), "pairI", {});
    EXPECT_EQ(gotI.x, -5);
    EXPECT_EQ(gotI.y, 7);
    const VdoPair32u gotU = vdo_map_get_pair32u(map.get(), "pairU", {});
    EXPECT_EQ(gotU.w, 1920U);
    EXPECT_EQ(gotU.res.height, 1080U);
}

TEST_F(VdoMapTest, AMissingNameGivesTheDefault) {
    guint32 two[2] = {8, 9};
    gdouble doubles[4] = {};
    gsize size = 99;
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 17), 17U);
    EXPECT_EQ(vdo_map_get_double(map.get(), "width", 0.5), 0.5);
    EXPECT_STREQ(vdo_map_get_string(map.get(), "width", &size, "none"), "none");
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(vdo_map_get_string(map.get(), "width", &size, nullptr), nullptr);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(vdo_map_dup_string(map.get(), "width", nullptr), nullptr);
    EXPECT_EQ(vdo_map_get_uint32x2(map.get(), "width", two), two);
    EXPECT_EQ(vdo_map_get_doublex4(map.get(), "width", doubles), doubles);
    EXPECT_EQ(vdo_map_get_variant(map.get(), "width", nullptr), nullptr);
}

TEST_F(VdoMapTest, ANumberIsNotConvertedToAnotherType) {
    vdo_map_set_int32(map.get(), "width", 640);
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 1), 1U);
    EXPECT_EQ(vdo_map_get_int64(map.get(), "width", 1), 1);
    EXPECT_EQ(vdo_map_get_int32(map.get(), "width", 1), 640);
}

TEST_F(VdoMapTest, SettingReplacesValueAndType) {
    vdo_map_set_uint32(map.get(), "width", 640);
    vdo_map_set_string(map.get(), "width", "wide");
    EXPECT_EQ(vdo_map_size(map.get()), 1U);
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 0), 0U);
    EXPECT_STREQ(vdo_map_get_string(map.get(), "width", nullptr, ""), "wide");
}

TEST_F(VdoMapTest, ContainsChecksSeveralNames) {
    vdo_map_set_uint32(map.get(), "width", 640);
    vdo_map_set_uint32(map.get(), "height", 360);
    const gchar* const both[] = {"width", "height", nullptr};
    const gchar* const more[] = {"width", "rotation", nullptr};
    EXPECT_TRUE(vdo_map_contains(map.get(), "width"));
    EXPECT_TRUE(vdo_map_contains_va(map.get(), "width", "height", nullptr));
    EXPECT_FALSE(vdo_map_contains_va(map.get(), "width", "rotation", nullptr));
    EXPECT_TRUE(vdo_map_contains_strv(map.get(), both));
    EXPECT_FALSE(vdo_map_contains_strv(map.get(), more));
}

TEST_F(VdoMapTest, ComparesEntriesAndMaps) {
    vdo_map_set_uint32(map.get(), "width", 640);
    vdo_map_set_uint32(map.get(), "height", 360);
    vdo_map_set_uint32(other.get(), "width", 640);
    vdo_map_set_uint32(other.get(), "height", 480);
    EXPECT_TRUE(vdo_map_entry_equals(map.get(), other.get(), "width"));
    EXPECT_FALSE(vdo_map_entry_equals(map.get(), other.get(), "height"));
    EXPECT_FALSE(vdo_map_entry_updates(map.get(), other.get(), "width"));
    EXPECT_TRUE(vdo_map_entry_updates(map.get(), other.get(), "height"));
    EXPECT_FALSE(vdo_map_entry_updates(map.get(), other.get(), "rotation"));
    EXPECT_FALSE(vdo_map_equals(map.get(), other.get()));
    EXPECT_TRUE(vdo_map_equals_va(map.get(), other.get(), "width", "rotation", nullptr));
    EXPECT_FALSE(vdo_map_equals_va(map.get(), other.get(), "width", "height", nullptr));
    const gchar* const names[] = {"width", nullptr};
    EXPECT_TRUE(vdo_map_equals_strv(map.get(), other.get(), names));
    vdo_map_set_uint32(other.get(), "height", 360);
    EXPECT_TRUE(vdo_map_equals(map.get(), other.get()));
}

TEST_F(VdoMapTest, EntriesOfDifferentTypesDiffer) {
    vdo_map_set_uint32(map.get(), "width", 640);
    vdo_map_set_int32(other.get(), "width", 640);
    EXPECT_FALSE(vdo_map_equals(map.get(), other.get()));
}

TEST_F(VdoMapTest, RemovesEntries) {
    for (const char* name : {"a", "b", "c", "d", "e"}) {
        vdo_map_set_uint32(map.get(), name, 1);
    }
    vdo_map_remove(map.get(), "a");
    vdo_map_remove(map.get(), "not there");
    vdo_map_remove_va(map.get(), "b", "not there", nullptr);
    const gchar* const names[] = {"c", "d", nullptr};
    vdo_map_remove_strv(map.get(), names);
    EXPECT_EQ(vdo_map_size(map.get()), 1U);
    EXPECT_TRUE(vdo_map_contains(map.get(), "e"));
    vdo_map_clear(map.get());
    EXPECT_TRUE(vdo_map_empty(map.get()));
}

TEST_F(VdoMapTest, FiltersIntoNewMaps) {
    vdo_map_set_uint32(map.get(), "buffer.count", 3);
    vdo_map_set_uint32(map.get(), "buffer.strategy", 1);
    vdo_map_set_uint32(map.get(), "width", 640);
    const Map prefixed(vdo_map_filter_prefix(map.get(), "buffer."));
    EXPECT_EQ(vdo_map_size(prefixed.get()), 2U);
    const Map named(vdo_map_filter_va(map.get(), "width", "height", nullptr));
    EXPECT_EQ(vdo_map_size(named.get()), 1U);
    EXPECT_EQ(vdo_map_get_uint32(named.get(), "width", 0), 640U);
    const gchar* const names[] = {"width", "buffer.count", nullptr};
    const Map listed(vdo_map_filter_strv(map.get(), names));
    EXPECT_EQ(vdo_map_size(listed.get()), 2U);
    vdo_map_set_uint32(listed.get(), "width", 1);
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 0), 640U) << "the new map is independent";
}

TEST_F(VdoMapTest, MergesSwapsAndCopies) {
    vdo_map_set_uint32(map.get(), "width", 640);
    vdo_map_set_uint32(other.get(), "width", 1280);
    vdo_map_set_uint32(other.get(), "height", 720);
    vdo_map_merge(map.get(), other.get());
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 0), 1280U);
    EXPECT_EQ(vdo_map_size(map.get()), 2U);
    vdo_map_merge(map.get(), map.get());
    EXPECT_EQ(vdo_map_size(map.get()), 2U);

    vdo_map_copy_value(map.get(), "width", "framerate");
    vdo_map_copy_value(map.get(), "not there", "width");
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "framerate", 0), 1280U);
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 0), 1280U);

    vdo_map_swap(map.get(), other.get());
    EXPECT_EQ(vdo_map_size(map.get()), 2U);
    EXPECT_EQ(vdo_map_size(other.get()), 3U);
    vdo_map_swap(map.get(), map.get());
    EXPECT_EQ(vdo_map_size(map.get()), 2U);
}

TEST_F(VdoMapTest, TravelsThroughAVariant) {
    vdo_map_set_uint32(map.get(), "width", 640);
    vdo_map_set_string(map.get(), "subformat", "nv12");
    const Map copy(vdo_map_new_from_variant(vdo_map_to_variant(map.get())));
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(vdo_map_equals(map.get(), copy.get()));
    EXPECT_EQ(vdo_map_new_from_variant(nullptr), nullptr);
    EXPECT_EQ(vdo_map_new_from_variant(g_variant_new_uint32(3)), nullptr);
    GVariant* const value = vdo_map_get_variant(map.get(), "width", nullptr);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(g_variant_get_uint32(value), 640U);
}

TEST_F(VdoMapTest, DumpPrintsEveryEntry) {
    vdo_map_set_uint32(map.get(), "width", 640);
    vdo_map_set_string(map.get(), "subformat", "nv12");
    testing::internal::CaptureStdout();
    vdo_map_dump(map.get());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "subformat: 'nv12'\nwidth: uint32 640\n");
}

TEST_F(VdoMapTest, ATextThatIsNotUtf8IsMadeSo) {
    vdo_map_set_string(map.get(), "text",
                       "a\xff"
                       "b");
    EXPECT_STREQ(vdo_map_get_string(map.get(), "text", nullptr, ""), "a\xef\xbf\xbd"
                                                                     "b");
}

TEST_F(VdoMapTest, ANullTextRemovesTheEntry) {
    vdo_map_set_string(map.get(), "text", "a");
    vdo_map_set_string(map.get(), "text", nullptr);
    EXPECT_TRUE(vdo_map_empty(map.get()));
}

TEST_F(VdoMapTest, NullArgumentsDoNoHarm) {
    vdo_map_set_uint32(nullptr, "width", 1);
    vdo_map_set_uint32(map.get(), nullptr, 1);
    vdo_map_set_uint32x2(map.get(), "two", nullptr);
    vdo_map_set_uint32x4(map.get(), "four", nullptr);
    vdo_map_set_doublex4(map.get(), "doubles", nullptr);
    vdo_map_remove(map.get(), nullptr);
    vdo_map_remove_strv(map.get(), nullptr);
    vdo_map_swap(map.get(), nullptr);
    vdo_map_merge(map.get(), nullptr);
    vdo_map_merge(nullptr, map.get());
    vdo_map_clear(nullptr);
    vdo_map_copy_value(map.get(), nullptr, nullptr);
    vdo_map_dump(nullptr);
    EXPECT_TRUE(vdo_map_empty(map.get()));
    EXPECT_TRUE(vdo_map_empty(nullptr));
    EXPECT_EQ(vdo_map_size(nullptr), 0U);
    EXPECT_FALSE(vdo_map_contains(nullptr, "width"));
    EXPECT_FALSE(vdo_map_contains(map.get(), nullptr));
    EXPECT_TRUE(vdo_map_contains_strv(map.get(), nullptr));
    EXPECT_EQ(vdo_map_get_uint32(nullptr, "width", 5), 5U);
    EXPECT_EQ(vdo_map_get_uint32(map.get(), nullptr, 5), 5U);
    EXPECT_EQ(vdo_map_get_variant(map.get(), nullptr, nullptr), nullptr);
    EXPECT_FALSE(vdo_map_entry_equals(map.get(), nullptr, nullptr));
    EXPECT_TRUE(vdo_map_equals(nullptr, nullptr));
    const Map filtered(vdo_map_filter_prefix(nullptr, nullptr));
    EXPECT_TRUE(vdo_map_empty(filtered.get()));
}

TEST_F(VdoMapTest, AnObjectThatIsNoMapCountsAsAnEmptyOne) {
    const Ref<GObject> object(static_cast<GObject*>(g_object_new(VDO_TYPE_CHANNEL, nullptr)));
    auto* const notAMap = reinterpret_cast<VdoMap*>(object.get());
    vdo_map_set_uint32(notAMap, "width", 1);
    EXPECT_EQ(vdo_map_get_uint32(notAMap, "width", 5), 5U);
    EXPECT_TRUE(vdo_map_empty(notAMap));
}

TEST_F(VdoMapTest, FaultsMakeItsCallsFail) {
    hostcam::addFaults("vdo_map_new; vdo_map_get_uint32; vdo_map_set_uint32");
    EXPECT_EQ(vdo_map_new(), nullptr);
    vdo_map_set_uint32(map.get(), "width", 640);
    EXPECT_FALSE(vdo_map_contains(map.get(), "width"));
    vdo_map_set_uint32(map.get(), "width", 640);
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 3), 3U);
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 3), 640U);
    EXPECT_EQ(hostcam::callCount("vdo_map_get_uint32"), 2U);
}

TEST_F(VdoMapTest, AFaultHandsOutAnOddNumber) {
    vdo_map_set_uint32(map.get(), "width", 640);
    hostcam::addFaults("vdo_map_get_uint32 odd=4294967295 pass");
    EXPECT_EQ(vdo_map_get_uint32(map.get(), "width", 3), 4294967295U);
}

} // namespace
