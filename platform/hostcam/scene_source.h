#pragma once

// The built-in scene as a video source: frame n of the camera is frame n of the scene.

#include <memory>

#include "platform/hostcam/video_source.h"

namespace hostcam {

/// @throws SourceError when the scene cannot be made from the configuration
[[nodiscard]] std::unique_ptr<VideoSource> openSceneSource(const Config& config);

} // namespace hostcam
