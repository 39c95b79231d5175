#include "platform/hostcam/viewer_jpeg.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include <turbojpeg.h>

namespace hostcam {

void JpegEncoder::Destroy::operator()(void* handle) const {
    tjDestroy(handle);
}

JpegEncoder::JpegEncoder() : m_handle(tjInitCompress()) {
    if (!m_handle) {
        throw std::runtime_error(std::string("no JPEG encoder: ") + tjGetErrorStr2(nullptr));
    }
}

std::shared_ptr<const Jpeg> JpegEncoder::encode(const ViewerPlanes& planes, int quality) {
    const int width = static_cast<int>(planes.size.width);
    const int height = static_cast<int>(planes.size.height);
    const unsigned long largest = tjBufSize(width, height, TJSAMP_420);
    m_room.resize(std::max<std::size_t>(m_room.size(), largest));
    const unsigned char* sources[] = {planes.y, planes.u, planes.v};
    const int pitches[] = {static_cast<int>(planes.yPitch), static_cast<int>(planes.colourPitch),
                           static_cast<int>(planes.colourPitch)};
    unsigned char* destination = m_room.data();
    unsigned long size = largest;
    if (tjCompressFromYUVPlanes(m_handle.get(), sources, width, pitches, height, TJSAMP_420,
                                &destination, &size, quality, TJFLAG_NOREALLOC) != 0) {
        throw std::runtime_error(std::string("a picture cannot become a JPEG: ") +
                                 tjGetErrorStr2(m_handle.get()));
    }
    return std::make_shared<const Jpeg>(destination, destination + size);
}

} // namespace hostcam
