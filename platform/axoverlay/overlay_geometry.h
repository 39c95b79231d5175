#pragma once

// Where an overlay lies on a stream.

#include <axoverlay.h>

#include "platform/hostcam/config.h"

namespace hostcam {

/// A place in pixels of the picture as the viewer sees it; may lie outside of it.
struct Place {
    int x = 0;
    int y = 0;

    bool operator==(const Place&) const = default;
};

/// What the adjustment callback may change.
struct Placement {
    axoverlay_position_type postype = AXOVERLAY_TOP_LEFT;
    gfloat x = 0;
    gfloat y = 0;
    gint width = 0;  ///< pixels
    gint height = 0; ///< pixels
};

/// Overlays are at most this wide and high.
inline constexpr gint kLargestOverlay = 16384;

/// The size of the stream's picture after rotation.
[[nodiscard]] Size viewedSize(const axoverlay_stream_data& stream);

/// The placement before adjustment: one that scales with the stream is smaller on a stream below
/// the largest.
/// @param largest the camera's largest stream, before rotation
[[nodiscard]] Placement initialPlacement(const axoverlay_overlay_data& overlay,
                                         const axoverlay_stream_data& stream, Size largest);

/// The place of the overlay's upper left corner.
/// @param largest the camera's largest stream, whose pixels AXOVERLAY_CUSTOM_SOURCE counts
[[nodiscard]] Place placeOf(const Placement& placement, axoverlay_anchor_point anchor,
                            const axoverlay_stream_data& stream, Size largest);

} // namespace hostcam
