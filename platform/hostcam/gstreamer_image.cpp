#include "platform/hostcam/gstreamer_image.h"

#include <stdexcept>

#include <gst/video/video.h>
#include <libyuv.h>

namespace hostcam {
namespace {

/// A sample's pixels, readable while the object lives.
class MappedFrame {
  public:
    explicit MappedFrame(GstSample* sample) {
        if (!gst_video_info_from_caps(&m_info, gst_sample_get_caps(sample)) ||
            !gst_video_frame_map(&m_frame, &m_info, gst_sample_get_buffer(sample), GST_MAP_READ)) {
            throw std::runtime_error("a decoded picture cannot be read");
        }
    }
    ~MappedFrame() { gst_video_frame_unmap(&m_frame); }
    MappedFrame(const MappedFrame&) = delete;
    MappedFrame& operator=(const MappedFrame&) = delete;

    [[nodiscard]] const std::uint8_t* plane(unsigned index) const {
        return static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&m_frame, index));
    }
    [[nodiscard]] int pitch(unsigned index) const {
        return GST_VIDEO_FRAME_PLANE_STRIDE(&m_frame, index);
    }
    [[nodiscard]] bool isNv12() const { return m_info.finfo->format == GST_VIDEO_FORMAT_NV12; }
    [[nodiscard]] bool isFullRange() const {
        return m_info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
    }

  private:
    GstVideoInfo m_info{};
    GstVideoFrame m_frame{};
};

std::shared_ptr<Picture> convert(const MappedFrame& frame, Size size) {
    auto picture = std::make_shared<Picture>(size);
    const Nv12Target to = picture->target();
    const int pitch = static_cast<int>(picture->pitch());
    const int width = static_cast<int>(size.width);
    const int height = static_cast<int>(size.height);
    if (frame.isNv12()) {
        libyuv::NV12Copy(frame.plane(0), frame.pitch(0), frame.plane(1), frame.pitch(1), to.y,
                         pitch, to.uv, pitch, width, height);
    } else {
        libyuv::I420ToNV12(frame.plane(0), frame.pitch(0), frame.plane(1), frame.pitch(1),
                           frame.plane(2), frame.pitch(2), to.y, pitch, to.uv, pitch, width,
                           height);
    }
    if (frame.isFullRange()) {
        narrowRange(to);
    }
    return picture;
}

} // namespace

std::shared_ptr<const Picture> GstreamerImage::native() const {
    const std::lock_guard lock(m_mutex);
    if (!m_native) {
        m_native = convert(MappedFrame(m_sample.get()), m_size);
        m_sample.reset();
    }
    return m_native;
}

std::shared_ptr<const Picture> GstreamerImage::make(Size size) const {
    const std::shared_ptr<const Picture> original = native();
    if (size == m_size) {
        return original;
    }
    const auto picture = std::make_shared<Picture>(size);
    drawFitted(original->view(), picture->target());
    return picture;
}

} // namespace hostcam
