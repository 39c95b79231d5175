#include "platform/axoverlay/layer_pool.h"

#include <algorithm>
#include <utility>

namespace hostcam {

std::shared_ptr<OverlayLayer> LayerPool::take(Size size) {
    std::unique_ptr<OverlayLayer> layer;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = std::find_if(m_free.begin(), m_free.end(),
                                        [&](const auto& free) { return free->size == size; });
        if (found != m_free.end()) {
            layer = std::move(*found);
            m_free.erase(found);
        }
    }
    if (!layer) {
        layer = std::make_unique<OverlayLayer>();
        layer->size = size;
    }
    layer->pixels.assign(std::size_t{size.width} * size.height, 0);
    OverlayLayer* const raw = layer.release();
    return {raw, [pool = shared_from_this()](OverlayLayer* used) {
                pool->giveBack(std::unique_ptr<OverlayLayer>(used));
            }};
}

void LayerPool::giveBack(std::unique_ptr<OverlayLayer> layer) {
    const std::lock_guard lock(m_mutex);
    if (m_free.size() == kKept) {
        m_free.erase(m_free.begin());
    }
    m_free.push_back(std::move(layer));
}

} // namespace hostcam
