#pragma once

// A picture in GStreamer's memory as an Image.

#include <memory>
#include <mutex>

#include <gst/gst.h>

#include "platform/hostcam/picture.h"

namespace hostcam {

struct SampleUnref {
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
};
using SampleHandle = std::unique_ptr<GstSample, SampleUnref>;

/// Converts only what is asked for: a video that is shown in parts costs no more than the parts.
class GstreamerImage : public Image {
  public:
    /// @param sample NV12 or I420 of that size
    GstreamerImage(SampleHandle sample, Size size) : m_size(size), m_sample(std::move(sample)) {}

  protected:
    std::shared_ptr<const Picture> make(Size size) const override;

  private:
    [[nodiscard]] std::shared_ptr<const Picture> native() const;

    const Size m_size;
    mutable std::mutex m_mutex;
    mutable SampleHandle m_sample; // guarded by m_mutex; null once it is converted
    mutable std::shared_ptr<const Picture> m_native; // guarded by m_mutex
};

} // namespace hostcam
