#pragma once

// The camera behind the four libraries: one source and one pace for every stream and viewer of the
// process. It comes into being with the first who opens it and goes away, with every thread of its
// source, when the last has let go.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/hostcam/config.h"
#include "platform/hostcam/pace.h"
#include "platform/hostcam/picture.h"
#include "platform/hostcam/video_source.h"

namespace hostcam {

/// A frame of the camera: everyone who gets the same number sees the same image.
struct Moment {
    std::uint64_t number = 0;      ///< counted from 0, when the camera was opened
    std::int64_t microseconds = 0; ///< when the frame was due, CLOCK_MONOTONIC
    std::shared_ptr<const Image> image;
};

/// Any thread.
class Camera {
  public:
    /// The process's camera; made when nobody holds one, with the configuration in force.
    /// @throws ConfigError, SourceError; std::exception when the system is out of something
    [[nodiscard]] static std::shared_ptr<Camera> open();

    /// A camera of one's own.
    Camera(std::shared_ptr<const Config> config, std::unique_ptr<VideoSource> source,
           std::shared_ptr<Pace> pace);
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    [[nodiscard]] const Config& config() const { return *m_config; }
    [[nodiscard]] const std::shared_ptr<Pace>& pace() const { return m_pace; }

    /// The newest frame that is due. A caller that wants a new one each time waits with
    /// pace()->waitFor(number + 1) first.
    /// @param patience how long to wait for a live source that has no picture
    /// @param interrupted ends that wait early (within 50 milliseconds); may be null
    /// @throws SourceError when the source has no picture
    [[nodiscard]] Moment latest(std::chrono::milliseconds patience = std::chrono::milliseconds(0),
                                const std::atomic<bool>* interrupted = nullptr);

  private:
    [[nodiscard]] Moment tryLatest();

    const std::shared_ptr<const Config> m_config;
    const std::shared_ptr<Pace> m_pace;
    const std::unique_ptr<VideoSource> m_source;
    std::mutex m_mutex;             ///< held while the source is asked
    std::optional<Moment> m_moment; // guarded by m_mutex
};

/// For tests: has frames come by hand (true), or by time again (false). Holds for the camera that
/// is open and for those that follow, until resetCamera().
void setManualPace(bool manual);

/// For tests with a manual pace: makes the next frames due. The count goes on from camera to
/// camera.
void advanceFrames(std::uint64_t frames);

/// For tests that run several cameras in one process: forgets the configuration, the camera that is
/// open and the manual pace. Streams that are still there keep the old camera, which gets no more
/// frames.
void resetCamera();

} // namespace hostcam
