#include "platform/hostcam/picture.h"

#include <algorithm>
#include <new>

namespace hostcam {
namespace {

constexpr std::align_val_t kAlignment{64};

/// Sizes that an Image keeps. An Image that never changes (a photo) lives as long as the camera,
/// and its consumers use few sizes.
constexpr std::size_t kSizesKept = 4;

} // namespace

AlignedBytes::AlignedBytes(std::size_t size)
    : m_data(static_cast<std::uint8_t*>(::operator new(size, kAlignment))), m_size(size) {}

void AlignedBytes::Free::operator()(std::uint8_t* data) const {
    ::operator delete(data, kAlignment);
}

Picture::Picture(Size size)
    : m_size(size), m_pitch((std::size_t{size.width} + 1) & ~std::size_t{1}),
      m_bytes(nv12Bytes(size, m_pitch)) {}

std::shared_ptr<Image::Made> Image::entry(Size size) const {
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_made.begin(), m_made.end(),
                                    [size](const auto& made) { return made->size == size; });
    if (found != m_made.end()) {
        m_made.splice(m_made.begin(), m_made, found);
        return m_made.front();
    }
    if (m_made.size() == kSizesKept) {
        m_made.pop_back();
    }
    m_made.push_front(std::make_shared<Made>(size));
    return m_made.front();
}

std::shared_ptr<const Picture> Image::picture(Size size) const {
    const std::shared_ptr<Made> made = entry(size);
    const std::lock_guard lock(made->mutex);
    if (!made->picture) {
        made->picture = make(size);
    }
    return made->picture;
}

} // namespace hostcam
