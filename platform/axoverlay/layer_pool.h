#pragma once

// Memory for layers. A layer that nobody holds any more comes back and is used again, so that a
// redraw many times a second does not ask the system for megabytes each time.

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/hostcam/overlay_layers.h"

namespace hostcam {

class LayerPool : public std::enable_shared_from_this<LayerPool> {
  public:
    /// A transparent layer. It comes back when its last holder lets it go. *Any thread.*
    [[nodiscard]] std::shared_ptr<OverlayLayer> take(Size size);

  private:
    /// More free layers than this are given back to the system.
    static constexpr std::size_t kKept = 4;

    void giveBack(std::unique_ptr<OverlayLayer> layer);

    std::mutex m_mutex;
    std::vector<std::unique_ptr<OverlayLayer>> m_free; // guarded by m_mutex
};

} // namespace hostcam
