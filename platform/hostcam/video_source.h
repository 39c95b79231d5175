#pragma once

// Where the camera's pictures come from. One source serves the whole camera: every stream and
// viewer takes its pictures from it through Camera (camera.h), which also sees to it that one
// thread at a time asks and that frame numbers never go back.

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/hostcam/config.h"
#include "platform/hostcam/picture.h"

namespace hostcam {

/// A source that cannot give pictures, with a text for people: which source, and why.
class SourceError : public std::runtime_error {
  public:
    enum class Kind {
        NotFound,     ///< there is no such file, folder or device
        Unreadable,   ///< it is there, but gives no pictures
        NotSupported, ///< its name is of a kind that the host camera does not know
        NoData,       ///< a live source has no picture yet
        Interrupted,  ///< a live source was lost and is being looked for
    };

    SourceError(Kind kind, const std::string& text) : std::runtime_error(text), m_kind(kind) {}

    [[nodiscard]] Kind kind() const { return m_kind; }

    /// Whether pictures may come again without anybody's doing.
    [[nodiscard]] bool passing() const {
        return m_kind == Kind::NoData || m_kind == Kind::Interrupted;
    }

  private:
    Kind m_kind;
};

/// A frame of the camera, as a source is asked for it.
struct FrameRequest {
    std::uint64_t number = 0; ///< the camera's frame number
    double seconds = 0;       ///< its time: the number over the camera's frame rate

    /// How long the source may work to keep up with this time; a file that is decoded more slowly
    /// than that plays more slowly. Unlimited in tests with a manual pace.
    std::chrono::milliseconds budget{500};
};

/// Two threads never call one source at the same time, except awaitPictures().
class VideoSource {
  public:
    VideoSource() = default;
    virtual ~VideoSource() = default;
    VideoSource(const VideoSource&) = delete;
    VideoSource& operator=(const VideoSource&) = delete;

    /// What the source shows at a frame. Does not wait for a live source.
    /// @param request numbers never decrease from call to call
    /// @return never null; the same object as before while the picture stays the same
    /// @throws SourceError
    [[nodiscard]] virtual std::shared_ptr<const Image> imageAt(const FrameRequest& request) = 0;

    /// Waits until imageAt() may have become possible, after it threw a SourceError that is
    /// passing().
    /// @return whether it may have; false: the time is over. *Any thread.*
    virtual bool awaitPictures(std::chrono::milliseconds timeout);
};

/// Opens the source that a configuration names: the scene, a photo, a folder of photos, a video, or
/// a live source, for whose first picture it waits a moment (see LiveTiming).
/// @throws SourceError naming the source and the reason
[[nodiscard]] std::unique_ptr<VideoSource> openSource(const Config& config);

} // namespace hostcam
