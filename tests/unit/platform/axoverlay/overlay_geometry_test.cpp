#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "platform/axoverlay/overlay_geometry.h"

namespace {

using hostcam::Place;
using hostcam::Placement;
using hostcam::Size;

constexpr Size kLargest{1920, 1080};

axoverlay_stream_data stream(gint width, gint height, gint rotation) {
    return {1, 1, width, height, rotation, FALSE, AXOVERLAY_STREAM_JPEG};
}

Place place(axoverlay_position_type postype, gfloat x, gfloat y, gint rotation = 0,
            axoverlay_anchor_point anchor = AXOVERLAY_ANCHOR_TOP_LEFT) {
    const Placement placement{postype, x, y, 100, 50};
    return hostcam::placeOf(placement, anchor, stream(960, 540, rotation), kLargest);
}

TEST(OverlayGeometry, CornersPlaceTheOverlayWhateverXAndYAre) {
    EXPECT_EQ(place(AXOVERLAY_TOP_LEFT, 5, 5), (Place{0, 0}));
    EXPECT_EQ(place(AXOVERLAY_TOP_RIGHT, 5, 5), (Place{860, 0}));
    EXPECT_EQ(place(AXOVERLAY_BOTTOM_LEFT, 5, 5), (Place{0, 490}));
    EXPECT_EQ(place(AXOVERLAY_BOTTOM_RIGHT, 5, 5, 0, AXOVERLAY_ANCHOR_CENTER), (Place{860, 490}));
    EXPECT_EQ(place(AXOVERLAY_BOTTOM_RIGHT, 0, 0, 90), (Place{440, 910}));
}

TEST(OverlayGeometry, NormalizedPositionsRunFromMinusOneToOne) {
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_NORMALIZED, -1, -1), (Place{0, 0}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_NORMALIZED, 0, 0), (Place{480, 270}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_NORMALIZED, 1, 1), (Place{960, 540}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_NORMALIZED, 1, 1, 270), (Place{540, 960}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_NORMALIZED, 0, 0, 0, AXOVERLAY_ANCHOR_CENTER),
              (Place{430, 245}));
}

TEST(OverlayGeometry, SourcePositionsAreScaledToTheStreamAndTurnedWithIt) {
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_SOURCE, 200, 100), (Place{100, 50}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_SOURCE, 200, 100, 90), (Place{490, 100}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_SOURCE, 200, 100, 180), (Place{860, 490}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_SOURCE, 200, 100, 270), (Place{50, 860}));
}

TEST(OverlayGeometry, AnyNumberGivesAPlace) {
    constexpr float kHuge = std::numeric_limits<float>::max();
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_NORMALIZED, kHuge, -kHuge), (Place{1000000, -1000000}));
    EXPECT_EQ(place(AXOVERLAY_CUSTOM_NORMALIZED, std::nanf(""), 0), (Place{0, 270}));
}

TEST(OverlayGeometry, OverlaysThatScaleAreSmallerOnSmallerStreams) {
    axoverlay_overlay_data data{};
    data.width = 400;
    data.height = 200;
    data.scale_to_stream = TRUE;
    EXPECT_EQ(hostcam::initialPlacement(data, stream(960, 540, 90), kLargest).width, 200);
    EXPECT_EQ(hostcam::initialPlacement(data, stream(960, 540, 90), kLargest).height, 100);
    EXPECT_EQ(hostcam::initialPlacement(data, stream(1920, 1080, 0), kLargest).width, 400);
    data.scale_to_stream = FALSE;
    EXPECT_EQ(hostcam::initialPlacement(data, stream(960, 540, 0), kLargest).width, 400);
}

} // namespace
