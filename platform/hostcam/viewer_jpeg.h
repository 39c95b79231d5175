#pragma once

// JPEG pictures out of a viewer's planes, made with libjpeg-turbo.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/hostcam/viewer_picture.h"

namespace hostcam {

/// A finished JPEG. It never changes and is shared by all who are sent it.
using Jpeg = std::vector<std::uint8_t>;

/// One thread at a time.
class JpegEncoder {
  public:
    /// @throws std::runtime_error when the library has no encoder to give
    JpegEncoder();

    /// @param quality 1 to 100
    /// @throws std::runtime_error with the library's reason; std::bad_alloc
    [[nodiscard]] std::shared_ptr<const Jpeg> encode(const ViewerPlanes& planes, int quality);

  private:
    struct Destroy {
        void operator()(void* handle) const;
    };
    std::unique_ptr<void, Destroy> m_handle;
    std::vector<std::uint8_t> m_room; ///< for the largest JPEG; used again
};

} // namespace hostcam
