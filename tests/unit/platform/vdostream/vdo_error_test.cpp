#include <gtest/gtest.h>
#include <vdo-types.h>

#include "vdo-error.h"

namespace {

bool isExpected(GQuark domain, int code) {
    GError* error = g_error_new_literal(domain, code, "text");
    const bool expected = vdo_error_is_expected(&error) != FALSE;
    g_error_free(error);
    return expected;
}

bool isLimitation(GQuark domain, int code) {
    GError* error = g_error_new_literal(domain, code, "text");
    const bool limitation = vdo_error_is_resource_limitation(&error) != FALSE;
    g_error_free(error);
    return limitation;
}

TEST(VdoErrorTest, TheDomainHasAName) {
    EXPECT_STREQ(g_quark_to_string(VDO_ERROR), "vdo-error-quark");
}

TEST(VdoErrorTest, CodesHaveTheirNumbers) {
    EXPECT_EQ(VDO_ERROR_NOT_FOUND, 1);
    EXPECT_EQ(VDO_ERROR_INVALID_ARGUMENT, 3);
    EXPECT_EQ(VDO_ERROR_NO_DATA, 13);
    EXPECT_EQ(VDO_ERROR_NO_BUFFER_SPACE, 14);
    EXPECT_EQ(VDO_ERROR_INTERFACE_DOWN, 16);
    EXPECT_EQ(VDO_ERROR_NO_VIDEO, 21);
}

TEST(VdoErrorTest, MaintenanceAndAClosedStreamAreExpected) {
    for (int code = VDO_ERROR_NOT_FOUND; code <= VDO_ERROR_NO_VIDEO; ++code) {
        EXPECT_EQ(isExpected(VDO_ERROR, code),
                  code == VDO_ERROR_INTERFACE_DOWN || code == VDO_ERROR_CLOSED)
            << code;
    }
}

TEST(VdoErrorTest, MemoryAndBuffersAreResources) {
    for (int code = VDO_ERROR_NOT_FOUND; code <= VDO_ERROR_NO_VIDEO; ++code) {
        EXPECT_EQ(isLimitation(VDO_ERROR, code),
                  code == VDO_ERROR_OOM || code == VDO_ERROR_NO_BUFFER_SPACE)
            << code;
    }
}

TEST(VdoErrorTest, ErrorsOfOtherDomainsAreNeither) {
    const GQuark other = g_quark_from_static_string("other");
    EXPECT_FALSE(isExpected(other, VDO_ERROR_INTERFACE_DOWN));
    EXPECT_FALSE(isLimitation(other, VDO_ERROR_OOM));
}

TEST(VdoErrorTest, NoErrorIsNeither) {
    GError* none = nullptr;
    EXPECT_FALSE(vdo_error_is_expected(nullptr));
    EXPECT_FALSE(vdo_error_is_expected(&none));
    EXPECT_FALSE(vdo_error_is_resource_limitation(nullptr));
    EXPECT_FALSE(vdo_error_is_resource_limitation(&none));
}

TEST(VdoTypesTest, FormatsHaveNames) {
    EXPECT_STREQ(vdo_format_to_str(VDO_FORMAT_YUV), "yuv");
    EXPECT_STREQ(vdo_format_to_str(VDO_FORMAT_H264), "h264");
    EXPECT_STREQ(vdo_format_to_str(VDO_FORMAT_AV1), "av1");
    EXPECT_STREQ(vdo_format_to_str(VDO_FORMAT_NONE), "none");
    EXPECT_STREQ(vdo_format_to_str(static_cast<VdoFormat>(15)), "unknown");
}

TEST(VdoTypesTest, EncodedFormatsAreKnown) {
    EXPECT_TRUE(vdo_format_is_encoded(VDO_FORMAT_JPEG));
    EXPECT_FALSE(vdo_format_is_motion_encoded(VDO_FORMAT_JPEG));
    EXPECT_TRUE(vdo_format_is_motion_encoded(VDO_FORMAT_H265));
    EXPECT_FALSE(vdo_format_is_encoded(VDO_FORMAT_YUV));
}

} // namespace
