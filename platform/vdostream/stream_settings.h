#pragma once

// What a stream is asked to be: the settings map of vdo_stream_new(), checked against what the
// camera offers.

#include <chrono>
#include <cstddef>
#include <optional>

#include "platform/hostcam/config.h"
#include "platform/vdostream/map_values.h"

namespace vdo {

struct StreamSettings {
    hostcam::Size size;         ///< before rotation
    int rotation = 0;           ///< clockwise, 0, 90, 180 or 270 degrees
    bool mirrored = false;      ///< flipped left to right, after the rotation
    bool luminanceOnly = false; ///< "y800"; otherwise "nv12"
    double framerate = 0;       ///< frames a second, at most the camera's
    unsigned buffers = 0;       ///< in flight at most; BufferPool::kUnlimited: any number
    std::size_t pitch = 0;      ///< bytes from one row to the next
    bool blocking = true;       ///< taking a buffer waits for one
    std::optional<std::chrono::milliseconds> timeout; ///< it waits no longer than this

    /// The delivered frame.
    [[nodiscard]] hostcam::Size frameSize() const;
    [[nodiscard]] std::size_t frameBytes() const;
};

/// Reads a settings map. Keys that the host camera has no use for are ignored, as on a camera.
/// @throws Failure naming the key, its value and what is allowed
[[nodiscard]] StreamSettings readSettings(const Values& asked, const hostcam::Config& config);

/// The frame rate that a stream gets when it asks for one. @throws Failure for one that is none
[[nodiscard]] double limitedFramerate(double asked, const hostcam::Config& config);

/// The whole settings of a stream: what was asked for, and the rest as it is.
[[nodiscard]] Values completeSettings(const Values& asked, const StreamSettings& settings);

/// A frame rate as the maps carry it: a whole number, at least 1.
[[nodiscard]] std::uint32_t wholeFramerate(double framerate);

} // namespace vdo
