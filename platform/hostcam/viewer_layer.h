#pragma once

// What a viewer asks for, and the overlay that belongs over it.
//
// Overlays are drawn for the configured viewer streams only, as seen by their viewers. A viewer of
// exactly such a stream gets that layer. Whoever asks for another size, rotation or mirroring gets
// the layer of the stream with the same size or else with the same aspect, turned and scaled so
// that everything lies on what it was drawn over. With no such stream there is no overlay.

#include <memory>

#include "platform/hostcam/config.h"
#include "platform/hostcam/overlay_layers.h"

namespace hostcam {

/// A picture as a viewer asks for it. Viewers that ask for the same share its making.
struct PictureWish {
    Size size;             ///< before rotation; even
    int rotation = 0;      ///< clockwise: 0, 90, 180 or 270
    bool mirrored = false; ///< left to right, after the rotation
    bool overlays = true;  ///< whether overlays are drawn over it
    int quality = 75;      ///< of the JPEG, 1 to 100

    bool operator==(const PictureWish&) const = default;
};

/// The newest layer that belongs over a picture, of its size after rotation; null for none. *Any
/// thread.*
[[nodiscard]] std::shared_ptr<const OverlayLayer> layerFor(const PictureWish& wish,
                                                           const Config& config);

} // namespace hostcam
