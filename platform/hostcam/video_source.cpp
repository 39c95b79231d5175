#include "platform/hostcam/video_source.h"

#include "platform/hostcam/gstreamer_source.h"
#include "platform/hostcam/scene_source.h"

namespace hostcam {

bool VideoSource::awaitPictures(std::chrono::milliseconds /*timeout*/) {
    return false;
}

std::unique_ptr<VideoSource> openSource(const Config& config) {
    return config.source == "scene" ? openSceneSource(config) : openGstreamerSource(config);
}

} // namespace hostcam
