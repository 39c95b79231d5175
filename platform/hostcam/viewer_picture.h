#pragma once

// The picture that one viewer sees, on its way to a JPEG: a frame of the camera in full range with
// an overlay blended over it. Stateless functions on planes; the maker of pictures
// (viewer_maker.h) calls them in its thread, any other may too.

#include <cstddef>
#include <cstdint>

#include "platform/hostcam/config.h"
#include "platform/hostcam/nv12.h"
#include "platform/hostcam/overlay_layers.h"
#include "platform/hostcam/picture.h"

namespace hostcam {

/// A picture of three planes in somebody else's memory: Y, and U and V at half the width and
/// height, all in full range (0 to 255), as JPEG files have them. Width and height are even.
struct ViewerPlanes {
    Size size;
    std::uint8_t* y = nullptr;
    std::uint8_t* u = nullptr;
    std::uint8_t* v = nullptr;
    std::size_t yPitch = 0;      ///< bytes from one row to the next
    std::size_t colourPitch = 0; ///< the same for U and V
};

/// Memory for the planes of one picture, not initialised.
class ViewerPicture {
  public:
    /// @param size even @throws std::bad_alloc
    explicit ViewerPicture(Size size);

    [[nodiscard]] const ViewerPlanes& planes() const { return m_planes; }

  private:
    AlignedBytes m_bytes;
    ViewerPlanes m_planes;
};

/// Copies a picture of video range into planes of full range.
/// @param picture of the planes' size
void widen(const Nv12View& picture, const ViewerPlanes& planes);

/// Blends a layer over a picture. Colours arrive as they were drawn, as far as one U and V for four
/// pixels can tell them. Where the layer is transparent the picture is not touched, and costs
/// little.
/// @param layer of the picture's size
void blendOver(const OverlayLayer& layer, const ViewerPlanes& planes);

} // namespace hostcam
