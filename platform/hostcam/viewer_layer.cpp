#include "platform/hostcam/viewer_layer.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include <libyuv.h>

#include "platform/hostcam/nv12.h"

namespace hostcam {
namespace {

std::uint64_t areaOf(Size size) {
    return std::uint64_t{size.width} * size.height;
}

bool sameAspect(Size a, Size b) {
    return std::uint64_t{a.width} * b.height == std::uint64_t{b.width} * a.height;
}

/// How well a viewer stream's layer suits a wish; 0: not at all.
int suitability(const ViewerStream& viewer, const PictureWish& wish) {
    if (viewer.size == wish.size) {
        return viewer.mirrored == wish.mirrored ? 3 : 2;
    }
    return sameAspect(viewer.size, wish.size) ? 1 : 0;
}

/// The viewer stream whose layer suits a wish best, the largest of equals.
std::optional<std::size_t> suitableViewer(const PictureWish& wish, const Config& config) {
    std::optional<std::size_t> best;
    for (std::size_t i = 0; i < config.viewers.size(); ++i) {
        const int suits = suitability(config.viewers[i], wish);
        if (suits == 0) {
            continue;
        }
        const int known = best ? suitability(config.viewers[*best], wish) : 0;
        if (suits > known || (suits == known && areaOf(config.viewers[i].size) >
                                                    areaOf(config.viewers[*best].size))) {
            best = i;
        }
    }
    return best;
}

OverlayLayer emptyLayer(Size size, std::uint64_t serial) {
    return {size, std::vector<std::uint32_t>(areaOf(size)), serial};
}

int pitchOf(const OverlayLayer& layer) {
    return static_cast<int>(layer.size.width) * 4;
}
int widthOf(const OverlayLayer& layer) {
    return static_cast<int>(layer.size.width);
}
int heightOf(const OverlayLayer& layer) {
    return static_cast<int>(layer.size.height);
}
const std::uint8_t* bytesOf(const OverlayLayer& layer) {
    return reinterpret_cast<const std::uint8_t*>(layer.pixels.data());
}
std::uint8_t* bytesOf(OverlayLayer& layer) {
    return reinterpret_cast<std::uint8_t*>(layer.pixels.data());
}

OverlayLayer turned(const OverlayLayer& layer, int rotation) {
    OverlayLayer result = emptyLayer(turnedSize(layer.size, rotation), layer.serial);
    libyuv::ARGBRotate(bytesOf(layer), pitchOf(layer), bytesOf(result), pitchOf(result),
                       widthOf(layer), heightOf(layer),
                       static_cast<libyuv::RotationMode>(rotation));
    return result;
}

OverlayLayer flipped(const OverlayLayer& layer) {
    OverlayLayer result = emptyLayer(layer.size, layer.serial);
    libyuv::ARGBMirror(bytesOf(layer), pitchOf(layer), bytesOf(result), pitchOf(result),
                       widthOf(layer), heightOf(layer));
    return result;
}

OverlayLayer scaled(const OverlayLayer& layer, Size size) {
    OverlayLayer result = emptyLayer(size, layer.serial);
    libyuv::ARGBScale(bytesOf(layer), pitchOf(layer), widthOf(layer), heightOf(layer),
                      bytesOf(result), pitchOf(result), widthOf(result), heightOf(result),
                      libyuv::kFilterBox);
    return result;
}

} // namespace

std::shared_ptr<const OverlayLayer> layerFor(const PictureWish& wish, const Config& config) {
    const std::optional<std::size_t> viewer =
        wish.overlays ? suitableViewer(wish, config) : std::nullopt;
    std::shared_ptr<const OverlayLayer> layer = viewer ? overlayLayer(*viewer) : nullptr;
    if (!layer) {
        return nullptr;
    }
    // A layer that was drawn mirrored turns the other way round.
    const bool mirrored = config.viewers[*viewer].mirrored;
    const int further = (wish.rotation - config.rotation + 360) % 360;
    const int rotation = mirrored ? (360 - further) % 360 : further;
    if (rotation != 0) {
        layer = std::make_shared<const OverlayLayer>(turned(*layer, rotation));
    }
    if (mirrored != wish.mirrored) {
        layer = std::make_shared<const OverlayLayer>(flipped(*layer));
    }
    const Size size = turnedSize(wish.size, wish.rotation);
    if (layer->size != size) {
        layer = std::make_shared<const OverlayLayer>(scaled(*layer, size));
    }
    return layer;
}

} // namespace hostcam
