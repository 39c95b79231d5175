#pragma once

// Pictures decoded by GStreamer, one after the other: of a photo or video file, step by step and
// the same ones in every run, or of a live camera as they arrive. A reader has threads of
// GStreamer's from its construction to its destruction, and no callback of ours runs on them but
// the one that links the decoder.

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "platform/hostcam/picture.h"
#include "platform/hostcam/video_source.h"

namespace hostcam {

/// A picture and where it belongs in its video.
struct DecodedPicture {
    std::shared_ptr<const Image> image;
    Size size;                            ///< its own size, which may be odd
    std::chrono::nanoseconds time{0};     ///< since the beginning of the video; live: meaningless
    std::chrono::nanoseconds duration{0}; ///< how long it is to be shown
};

/// One thread at a time.
class PictureReader {
  public:
    enum class Mode {
        File, ///< every picture is read, none is dropped; the decoder waits for the reader
        Live, ///< only the newest picture is kept
    };

    /// What reading came to.
    enum class Step { Picture, Nothing, End };

    /// Begins to decode. What is wrong with the source shows when the first picture is read.
    /// @param uri file, rtsp, rtsps or v4l2
    /// @param name what errors call the source
    /// @throws SourceError when GStreamer or a part of it is missing
    PictureReader(const std::string& uri, std::string name, Mode mode = Mode::File);
    ~PictureReader();
    PictureReader(const PictureReader&) = delete;
    PictureReader& operator=(const PictureReader&) = delete;

    /// Waits for the next picture.
    /// @param picture set when the result is Step::Picture
    /// @return Nothing when the time is over
    /// @throws SourceError when the source cannot be read (on)
    [[nodiscard]] Step read(std::chrono::milliseconds timeout, DecodedPicture& picture);

    /// The next picture of a file; nothing at its end.
    /// @throws SourceError when the file cannot be read (on), or nothing comes for 20 seconds
    [[nodiscard]] std::optional<DecodedPicture> next();

  private:
    struct Pipeline;
    void throwIfFailed();

    const std::string m_name;
    const std::string m_uri;
    std::unique_ptr<Pipeline> m_pipeline;
    std::chrono::nanoseconds m_expected{0}; ///< the time of the next picture, when it carries none
};

/// The first picture of a file.
/// @throws SourceError also for a file without one
[[nodiscard]] DecodedPicture readPhoto(const std::string& path);

/// The URI of a file. @throws SourceError for a name that cannot be one
[[nodiscard]] std::string fileUri(const std::string& path);

} // namespace hostcam
