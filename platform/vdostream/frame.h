#pragma once

// The library's side of VdoFrame (and VdoBuffer, the same type): how a stream makes one.

#include <memory>

#include "platform/hostcam/buffer_pool.h"

#include "vdo-buffer.h"

namespace vdo {

/// What a stream knows about a frame.
struct FrameFacts {
    VdoFrameType type = VDO_FRAME_TYPE_YUV;
    unsigned sequence = 0;
    std::uint64_t microseconds = 0; ///< capture time, CLOCK_MONOTONIC
    std::size_t bytes = 0;          ///< of the picture
};

/// A new frame around a buffer, which goes back to its pool when the last reference to the frame
/// does.
/// @param finalizer called with the frame just before that; may be null
/// @return a reference that the caller owns
[[nodiscard]] VdoFrame* newFrame(std::unique_ptr<hostcam::BufferPool::Lease> buffer,
                                 const FrameFacts& facts, VdoBufferFinalizer finalizer);

} // namespace vdo
