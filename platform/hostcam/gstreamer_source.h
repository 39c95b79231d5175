#pragma once

// Video sources that GStreamer decodes: files, folders of photos, and live cameras.

#include <memory>

#include "platform/hostcam/video_source.h"

namespace hostcam {

/// Opens the source that a configuration names, unless that is the scene:
///
/// - a photo: its picture stays;
/// - a folder: its photos (.bmp .gif .jpeg .jpg .pgm .png .pnm .ppm .tif .tiff .webp) in the order
/// of
///   their names' bytes, one second each; one that cannot be read leaves the picture before it;
/// - a video: its pictures at their own times; where the camera's rate is higher a picture comes
/// again,
///   where it is lower pictures are left out. After the last picture has had its time it begins
///   again
///   (`loop=true`), or that picture stays;
/// - an rtsp, rtsps or v4l2 URI, or the path of a video device: the newest picture (live_source.h).
///
/// A video's first picture, or a folder's, belongs to the first frame that the source is asked for.
/// @throws SourceError naming the source and the reason
[[nodiscard]] std::unique_ptr<VideoSource> openGstreamerSource(const Config& config);

} // namespace hostcam
