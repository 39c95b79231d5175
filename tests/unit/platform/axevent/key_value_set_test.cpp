#include <string>

#include <axsdk/axevent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/live_objects.h"
#include "tests/unit/platform/axevent/event_fixture.h"

namespace {

using hostcam::Kind;
using testing::Contains;
using testing::HasSubstr;
using testing_support::ErrorSlot;
using testing_support::KeyValueSet;

class KeyValueSetTest : public testing::Test {
  protected:
    bool add(const char* key, const char* space, gconstpointer value, AXEventValueType type) {
        return ax_event_key_value_set_add_key_value(set.get(), key, space, value, type,
                                                    error.out()) != FALSE;
    }

    testing_support::HostCamera camera;
    KeyValueSet set{ax_event_key_value_set_new()};
    ErrorSlot error;
};

TEST_F(KeyValueSetTest, TheErrorDomainAndItsCodesAreThePlatforms) {
    EXPECT_STREQ(g_quark_to_string(AX_EVENT_ERROR), "ax-event-error-quark");
    EXPECT_EQ(AX_EVENT_ERROR_SEND, 5);
    EXPECT_EQ(AX_EVENT_ERROR_KEY_NOT_FOUND, 8);
    EXPECT_EQ(AX_VALUE_TYPE_BOOL, 1);
    EXPECT_EQ(AX_VALUE_TYPE_STRING, 3);
}

TEST_F(KeyValueSetTest, EachTypeOfValueComesBackAsItWasGiven) {
    gint number = -5;
    gdouble real = 0.25;
    gboolean truth = 7;
    std::string text = "3,7";
    ASSERT_TRUE(add("int", nullptr, &number, AX_VALUE_TYPE_INT));
    ASSERT_TRUE(add("double", nullptr, &real, AX_VALUE_TYPE_DOUBLE));
    ASSERT_TRUE(add("bool", nullptr, &truth, AX_VALUE_TYPE_BOOL));
    ASSERT_TRUE(add("string", nullptr, text.c_str(), AX_VALUE_TYPE_STRING));
    text = "changed afterwards";
    number = 9;
    EXPECT_TRUE(
        ax_event_key_value_set_get_integer(set.get(), "int", nullptr, &number, error.out()));
    EXPECT_EQ(number, -5);
    EXPECT_TRUE(
        ax_event_key_value_set_get_double(set.get(), "double", nullptr, &real, error.out()));
    EXPECT_EQ(real, 0.25);
    EXPECT_TRUE(
        ax_event_key_value_set_get_boolean(set.get(), "bool", nullptr, &truth, error.out()));
    EXPECT_EQ(truth, TRUE);
    gchar* copy = nullptr;
    EXPECT_TRUE(
        ax_event_key_value_set_get_string(set.get(), "string", nullptr, &copy, error.out()));
    EXPECT_STREQ(copy, "3,7");
    g_free(copy);
    AXEventValueType type = AX_VALUE_TYPE_INT;
    EXPECT_TRUE(
        ax_event_key_value_set_get_value_type(set.get(), "bool", nullptr, &type, error.out()));
    EXPECT_EQ(type, AX_VALUE_TYPE_BOOL);
}

TEST_F(KeyValueSetTest, AKeyIsNamedByKeyAndNamespace) {
    const gint one = 1;
    const gint two = 2;
    ASSERT_TRUE(add("key", nullptr, &one, AX_VALUE_TYPE_INT));
    ASSERT_TRUE(add("key", "tnsaxis", &two, AX_VALUE_TYPE_INT));
    gint value = 0;
    EXPECT_TRUE(ax_event_key_value_set_get_integer(set.get(), "key", nullptr, &value, error.out()));
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(
        ax_event_key_value_set_get_integer(set.get(), "key", "tnsaxis", &value, error.out()));
    EXPECT_EQ(value, 2);
    EXPECT_FALSE(ax_event_key_value_set_get_integer(set.get(), "key", "tns1", &value, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_KEY_NOT_FOUND);
    EXPECT_THAT(error.text(), HasSubstr("tns1:key"));
}

TEST_F(KeyValueSetTest, AddingAKeyAgainReplacesItsValueAndType) {
    const gint one = 1;
    ASSERT_TRUE(add("key", nullptr, &one, AX_VALUE_TYPE_INT));
    ASSERT_TRUE(add("key", nullptr, "text", AX_VALUE_TYPE_STRING));
    gint value = 0;
    EXPECT_FALSE(
        ax_event_key_value_set_get_integer(set.get(), "key", nullptr, &value, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INCOMPATIBLE_VALUE);
    gchar* text = nullptr;
    EXPECT_TRUE(ax_event_key_value_set_get_string(set.get(), "key", nullptr, &text, error.out()));
    EXPECT_STREQ(text, "text");
    g_free(text);
}

TEST_F(KeyValueSetTest, ANullValueDeclaresTheKeyWithItsTypeButWithoutAValue) {
    ASSERT_TRUE(add("key", nullptr, nullptr, AX_VALUE_TYPE_DOUBLE));
    AXEventValueType type = AX_VALUE_TYPE_INT;
    EXPECT_TRUE(
        ax_event_key_value_set_get_value_type(set.get(), "key", nullptr, &type, error.out()));
    EXPECT_EQ(type, AX_VALUE_TYPE_DOUBLE);
    gdouble value = 0;
    EXPECT_FALSE(ax_event_key_value_set_get_double(set.get(), "key", nullptr, &value, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INCOMPATIBLE_VALUE);
}

TEST_F(KeyValueSetTest, ManyKeysAreAddedInOneCallOrNoneOfThem) {
    const gboolean off = FALSE;
    ASSERT_TRUE(ax_event_key_value_set_add_key_values(set.get(), error.out(), "a", "tnsaxis", "A",
                                                      AX_VALUE_TYPE_STRING, "b", nullptr, &off,
                                                      AX_VALUE_TYPE_BOOL, nullptr));
    gboolean value = TRUE;
    EXPECT_TRUE(ax_event_key_value_set_get_boolean(set.get(), "b", nullptr, &value, error.out()));
    EXPECT_EQ(value, FALSE);
    EXPECT_FALSE(ax_event_key_value_set_add_key_values(set.get(), error.out(), "c", nullptr, "C",
                                                       AX_VALUE_TYPE_STRING, "d", nullptr, &off, 77,
                                                       nullptr));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
    gchar* text = nullptr;
    EXPECT_FALSE(ax_event_key_value_set_get_string(set.get(), "c", nullptr, &text, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_KEY_NOT_FOUND);
    EXPECT_TRUE(ax_event_key_value_set_add_key_values(set.get(), error.out(), nullptr));
}

TEST_F(KeyValueSetTest, MarksAndNamesNeedAKeyThatIsThere) {
    ASSERT_TRUE(add("key", nullptr, "text", AX_VALUE_TYPE_STRING));
    EXPECT_TRUE(ax_event_key_value_set_mark_as_data(set.get(), "key", nullptr, error.out()));
    EXPECT_TRUE(ax_event_key_value_set_mark_as_source(set.get(), "key", nullptr, error.out()));
    EXPECT_TRUE(
        ax_event_key_value_set_mark_as_user_defined(set.get(), "key", nullptr, "tag", error.out()));
    EXPECT_TRUE(ax_event_key_value_set_add_nice_names(set.get(), "key", nullptr, "Key", nullptr,
                                                      error.out()));
    EXPECT_FALSE(ax_event_key_value_set_mark_as_data(set.get(), "other", nullptr, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_KEY_NOT_FOUND);
    EXPECT_FALSE(ax_event_key_value_set_mark_as_source(set.get(), "key", "tns1", error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_KEY_NOT_FOUND);
    EXPECT_FALSE(ax_event_key_value_set_mark_as_user_defined(set.get(), "key", nullptr, nullptr,
                                                             error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
    EXPECT_FALSE(
        ax_event_key_value_set_add_nice_names(set.get(), "none", nullptr, "K", "V", error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_KEY_NOT_FOUND);
}

TEST_F(KeyValueSetTest, ARemovedKeyIsGone) {
    ASSERT_TRUE(add("key", nullptr, "text", AX_VALUE_TYPE_STRING));
    ASSERT_TRUE(add("after", nullptr, "text", AX_VALUE_TYPE_STRING));
    EXPECT_TRUE(ax_event_key_value_set_remove_key(set.get(), "key", nullptr, error.out()));
    EXPECT_FALSE(ax_event_key_value_set_remove_key(set.get(), "key", nullptr, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_KEY_NOT_FOUND);
    EXPECT_TRUE(ax_event_key_value_set_mark_as_data(set.get(), "after", nullptr, error.out()));
}

TEST_F(KeyValueSetTest, NullAndGarbageArgumentsFailAndNeverCrash) {
    int noSet = 0;
    gint number = 0;
    for (AXEventKeyValueSet* const bad : {static_cast<AXEventKeyValueSet*>(nullptr),
                                          reinterpret_cast<AXEventKeyValueSet*>(&noSet)}) {
        EXPECT_FALSE(ax_event_key_value_set_add_key_value(bad, "k", nullptr, "v",
                                                          AX_VALUE_TYPE_STRING, error.out()));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
        EXPECT_FALSE(ax_event_key_value_set_add_key_values(bad, error.out(), nullptr));
        EXPECT_FALSE(ax_event_key_value_set_mark_as_data(bad, "k", nullptr, error.out()));
        EXPECT_FALSE(
            ax_event_key_value_set_add_nice_names(bad, "k", nullptr, "a", "b", error.out()));
        EXPECT_FALSE(ax_event_key_value_set_get_integer(bad, "k", nullptr, &number, error.out()));
        EXPECT_FALSE(ax_event_key_value_set_remove_key(bad, "k", nullptr, error.out()));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
        ax_event_key_value_set_free(bad);
    }
    for (const char* const key : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_FALSE(add(key, nullptr, "v", AX_VALUE_TYPE_STRING));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
        EXPECT_FALSE(ax_event_key_value_set_mark_as_data(set.get(), key, nullptr, nullptr));
    }
    EXPECT_FALSE(add("k", nullptr, &number, static_cast<AXEventValueType>(7)));
    EXPECT_FALSE(add("k", nullptr, &number, AX_VALUE_TYPE_ELEMENT));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
    ASSERT_TRUE(add("k", nullptr, &number, AX_VALUE_TYPE_INT));
    EXPECT_FALSE(ax_event_key_value_set_get_integer(set.get(), "k", nullptr, nullptr, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
    EXPECT_FALSE(ax_event_key_value_set_get_value_type(set.get(), "k", nullptr, nullptr, nullptr));
}

TEST_F(KeyValueSetTest, FreeingTwiceIsReportedAndHarmless) {
    AXEventKeyValueSet* const other = ax_event_key_value_set_new();
    EXPECT_EQ(hostcam::liveCount(Kind::EventKeyValueSet), 2U);
    ax_event_key_value_set_free(other);
    ax_event_key_value_set_free(other);
    EXPECT_EQ(hostcam::liveCount(Kind::EventKeyValueSet), 1U);
    EXPECT_THAT(hostcam::misuses(), Contains(HasSubstr("ax_event_key_value_set_free")));
}

TEST_F(KeyValueSetTest, AnElementIsCopiedIntoTheSetAndOutOfIt) {
    AXEventElementItem* const item = ax_event_element_item_new("place", "tt");
    ASSERT_TRUE(ax_event_element_item_set_body(item, "door", error.out()));
    ASSERT_TRUE(add("element", nullptr, item, AX_VALUE_TYPE_ELEMENT));
    ASSERT_TRUE(ax_event_element_item_set_body(item, "window", error.out()));
    ax_event_element_item_free(item);
    AXEventElementItem* copy = nullptr;
    ASSERT_TRUE(
        ax_event_key_value_set_get_element(set.get(), "element", nullptr, &copy, error.out()));
    gchar* body = nullptr;
    ASSERT_TRUE(ax_event_element_item_get_body(copy, &body, error.out()));
    EXPECT_STREQ(body, "door");
    g_free(body);
    ax_event_element_item_free(copy);
}

class ElementItem : public KeyValueSetTest {};

TEST_F(ElementItem, TellsWhatItWasMadeOf) {
    AXEventElementItem* const item = ax_event_element_item_new("analyticdata", nullptr);
    ASSERT_NE(item, nullptr);
    gchar* text = nullptr;
    ASSERT_TRUE(ax_event_element_item_get_name(item, &text, error.out()));
    EXPECT_STREQ(text, "analyticdata");
    g_free(text);
    ASSERT_TRUE(ax_event_element_item_get_name_space(item, &text, error.out()));
    EXPECT_EQ(text, nullptr);
    ASSERT_TRUE(ax_event_element_item_get_body(item, &text, error.out()));
    EXPECT_EQ(text, nullptr);
    GHashTable* const attributes = g_hash_table_new(g_str_hash, g_str_equal);
    g_hash_table_insert(attributes, const_cast<char*>("x"), const_cast<char*>("1"));
    ASSERT_TRUE(ax_event_element_item_set_attributes(item, attributes, error.out()));
    g_hash_table_unref(attributes);
    GHashTable* copy = nullptr;
    ASSERT_TRUE(ax_event_element_item_get_attributes(item, &copy, error.out()));
    EXPECT_STREQ(static_cast<const char*>(g_hash_table_lookup(copy, "x")), "1");
    g_hash_table_unref(copy);
    ax_event_element_item_free(item);
}

TEST_F(ElementItem, OwnsItsChildrenAndHandsThemOutInOrder) {
    AXEventElementItem* const parent = ax_event_element_item_new("parent", nullptr);
    AXEventElementItem* const first = ax_event_element_item_new("first", nullptr);
    AXEventElementItem* const second = ax_event_element_item_new("second", nullptr);
    ASSERT_TRUE(ax_event_element_item_add_child(parent, first, error.out()));
    ASSERT_TRUE(ax_event_element_item_add_child(parent, second, error.out()));
    EXPECT_FALSE(ax_event_element_item_add_child(second, first, error.out()));
    EXPECT_FALSE(ax_event_element_item_add_child(second, parent, error.out()));
    EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
    AXEventElementItem* at = nullptr;
    ASSERT_TRUE(ax_event_element_item_get_first_child(parent, &at, error.out()));
    EXPECT_EQ(at, first);
    ASSERT_TRUE(ax_event_element_item_get_next_child(at, &at, error.out()));
    EXPECT_EQ(at, second);
    ASSERT_TRUE(ax_event_element_item_get_next_child(at, &at, error.out()));
    EXPECT_EQ(at, nullptr);
    ax_event_element_item_free(first); // belongs to its parent: refused
    EXPECT_THAT(hostcam::misuses(), Contains(HasSubstr("ax_event_element_item_free")));
    ax_event_element_item_free(parent);
    EXPECT_EQ(hostcam::liveCount(Kind::EventElementItem), 0U);
}

TEST_F(ElementItem, NullAndGarbageArgumentsFailAndNeverCrash) {
    EXPECT_EQ(ax_event_element_item_new(nullptr, nullptr), nullptr);
    EXPECT_EQ(ax_event_element_item_new("", "x"), nullptr);
    ax_event_element_item_free(nullptr);
    int noItem = 0;
    auto* const garbage = reinterpret_cast<AXEventElementItem*>(&noItem);
    ax_event_element_item_free(garbage);
    gchar* text = nullptr;
    for (AXEventElementItem* const bad : {static_cast<AXEventElementItem*>(nullptr), garbage}) {
        EXPECT_FALSE(ax_event_element_item_get_name(bad, &text, error.out()));
        EXPECT_FALSE(ax_event_element_item_get_name_space(bad, &text, error.out()));
        EXPECT_FALSE(ax_event_element_item_get_body(bad, &text, error.out()));
        EXPECT_FALSE(ax_event_element_item_set_body(bad, "x", error.out()));
        EXPECT_FALSE(ax_event_element_item_set_attributes(bad, nullptr, error.out()));
        EXPECT_FALSE(ax_event_element_item_get_attributes(bad, nullptr, error.out()));
        EXPECT_FALSE(ax_event_element_item_add_child(bad, bad, error.out()));
        EXPECT_FALSE(ax_event_element_item_get_first_child(bad, nullptr, error.out()));
        EXPECT_FALSE(ax_event_element_item_get_next_child(bad, nullptr, error.out()));
        EXPECT_EQ(error.code(), AX_EVENT_ERROR_INVALID_ARGUMENT);
    }
}

} // namespace
