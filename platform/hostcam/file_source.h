#pragma once

// Photos, folders of photos and videos as video sources. What they show depends on the camera's
// frame number alone, as long as the decoder keeps up: a test that makes frames by hand gets the
// same pictures every time.

#include <memory>
#include <string>

#include "platform/hostcam/video_source.h"

namespace hostcam {

/// A photo or a video.
/// @param loop begin again at a video's end; otherwise its last picture stays
/// @throws SourceError
[[nodiscard]] std::unique_ptr<VideoSource> openFileSource(const std::string& path, bool loop);

/// A folder of photos.
/// @param loop begin again after the last photo; otherwise it stays
/// @throws SourceError
[[nodiscard]] std::unique_ptr<VideoSource> openFolderSource(const std::string& path, bool loop);

} // namespace hostcam
