#pragma once

// A video stream behind a VdoStream: takes the camera's pictures at the stream's pace, turns them,
// and hands them out in the buffers of a bounded pool. It has no thread of its own: a picture is
// made when it is taken, for the newest frame that is due.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/hostcam/buffer_pool.h"
#include "platform/hostcam/camera.h"
#include "platform/hostcam/http_service.h"
#include "platform/vdostream/map_values.h"
#include "platform/vdostream/stream_settings.h"

#include "vdo-buffer.h"

namespace vdo {

/// Any thread, although applications use a stream from one.
class Stream {
  public:
    /// @param finalizer called with every buffer that goes away; may be null
    /// @throws Failure for settings that cannot be had, hostcam::SourceError when there is no
    /// source,
    ///         hostcam::ConfigError
    Stream(unsigned id, const Values& asked, VdoBufferFinalizer finalizer);

    [[nodiscard]] unsigned id() const { return m_id; }
    [[nodiscard]] Values settings() const;
    [[nodiscard]] Values info() const;

    /// Changes what can be changed, the frame rate. @throws Failure naming the key for anything
    /// else
    void change(const Values& settings);
    void setFramerate(double framerate);

    /// Frames begin: the newest one is there to be taken.
    void start();

    /// Frames end; a take() that waits fails.
    void stop();

    /// Waits for a frame that was not taken before and takes the newest one.
    /// @return a reference that the caller owns
    /// @throws Failure; hostcam::SourceError when a live source has had no picture for a second
    [[nodiscard]] VdoFrame* take();

    /// Whether the application holds this frame of the stream. The pointer is only compared.
    [[nodiscard]] bool isOut(const VdoFrame* frame) const { return m_pool->isHolder(frame); }

    /// A descriptor that is readable while there is a frame to be taken. The stream's own.
    [[nodiscard]] int descriptor();

  private:
    [[nodiscard]] std::uint64_t awaitFrame();
    void passOver(std::uint64_t number);
    void draw(const hostcam::Image& image, std::uint8_t* bytes);

    const unsigned m_id;
    const std::shared_ptr<hostcam::Camera> m_camera;
    const std::shared_ptr<hostcam::HttpService> m_http; ///< held, so that it is there
    const StreamSettings m_settings; ///< its framerate is the one at the beginning
    const VdoBufferFinalizer m_finalizer;
    const std::shared_ptr<hostcam::BufferPool> m_pool;
    std::atomic<bool> m_stopped{true};

    mutable std::mutex m_mutex;
    Values m_asked;                               ///< guarded by m_mutex
    double m_framerate;                           ///< guarded by m_mutex
    std::uint64_t m_wanted = 0;                   ///< the next frame; guarded by m_mutex
    bool m_everStarted = false;                   ///< guarded by m_mutex
    std::shared_ptr<hostcam::FrameAlarm> m_alarm; ///< guarded by m_mutex

    std::mutex m_drawing;
    std::vector<std::uint8_t> m_scratch; ///< guarded by m_drawing
};

} // namespace vdo
