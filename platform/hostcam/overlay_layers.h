#pragma once

// The finished overlays, one layer for each viewer stream of the configuration. The overlay library
// puts them here after each redraw; whoever encodes a viewer stream's picture takes the newest and
// blends it over the frame.
//
// A layer never changes once it is here: who holds one may read it for as long as it likes, while
// newer ones come. All functions may be called from any thread.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/hostcam/config.h"

namespace hostcam {

/// What lies over one viewer stream, in the orientation in which the viewer sees it.
struct OverlayLayer {
    Size size;                         ///< of the picture after rotation
    std::vector<std::uint32_t> pixels; ///< rows without padding; premultiplied alpha, red, green,
                                       ///< blue from the highest byte of each word (cairo's ARGB32)
    std::uint64_t serial = 0;          ///< counts redraws
};

/// The newest layer of a viewer stream; null when nothing lies over it.
/// @param viewer the stream's place in Config::viewers, from 0
[[nodiscard]] std::shared_ptr<const OverlayLayer> overlayLayer(std::size_t viewer);

/// Replaces all layers. @param layers one for each viewer stream, null for none
void publishOverlayLayers(std::vector<std::shared_ptr<const OverlayLayer>> layers);

} // namespace hostcam
