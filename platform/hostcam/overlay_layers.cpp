#include "platform/hostcam/overlay_layers.h"

#include <mutex>
#include <utility>

namespace hostcam {
namespace {

struct Layers {
    std::mutex mutex;
    std::vector<std::shared_ptr<const OverlayLayer>> byViewer; // guarded by mutex
};

Layers& all() {
    static auto* const instance = new Layers;
    return *instance;
}

} // namespace

std::shared_ptr<const OverlayLayer> overlayLayer(std::size_t viewer) {
    Layers& layers = all();
    const std::lock_guard lock(layers.mutex);
    return viewer < layers.byViewer.size() ? layers.byViewer[viewer] : nullptr;
}

void publishOverlayLayers(std::vector<std::shared_ptr<const OverlayLayer>> layers) {
    Layers& known = all();
    {
        const std::lock_guard lock(known.mutex);
        known.byViewer.swap(layers);
    }
    // The old layers are given up here, outside the lock.
}

} // namespace hostcam
