#pragma once

// A camera on the network (RTSP) or on a USB port as a video source. A thread of its own reads the
// pictures; when the camera is lost it is looked for again, after a quarter of a second at first
// and up to five seconds later on, and the reason is written to the log once per change.

#include <chrono>
#include <memory>
#include <string>

#include "platform/hostcam/video_source.h"

namespace hostcam {

/// How patient a live source is.
struct LiveTiming {
    std::chrono::milliseconds firstPicture{10'000}; ///< many begin long before their first picture
    std::chrono::milliseconds nextPicture{5'000};   ///< after this long without one it is lost
    std::chrono::milliseconds shortestPause{250};   ///< before it is looked for; doubled each time
    std::chrono::milliseconds longestPause{5'000};
    std::chrono::milliseconds opening{1'500}; ///< opening waits no longer for the first picture
};

/// Opens a live source and waits until its first picture is there, or the reason why none comes is
/// known, or its patience is over: the source then goes on without a picture, so that whoever opens
/// it is not held up, and can still be stopped, while a camera thinks.
/// @param uri rtsp, rtsps or v4l2; a user and password in it never appear in a text
/// @throws SourceError
[[nodiscard]] std::unique_ptr<VideoSource> openLiveSource(const std::string& uri,
                                                          const LiveTiming& timing = {});

/// A URI as texts show it: without user and password, and without whatever else might be one.
[[nodiscard]] std::string withoutCredentials(const std::string& uri);

} // namespace hostcam
