#pragma once

// Where the analysis gets its pictures from: the camera's live stream, or, without a camera, a flat
// picture or one read from a file. Start-up makes one VideoStreamSource; the tick marks it dirty
// once and the marker detector then asks for pictures. Everything here is used on the main loop's
// thread only and takes no lock.
//
// Every picture handed out is packed 8-bit RGB: 3 bytes a pixel, R, G, B, rows top to bottom, no
// padding. Sizes are in pixels, height first. Rotations are in degrees clockwise.

#include <cstdint>
#include <memory>
#include <string>

#include <vdo-stream.h>

/// A source of pictures of a requested size and orientation.
class ImageFrameSource {
  public:
    ImageFrameSource() = default;
    ImageFrameSource(const ImageFrameSource&) = delete;
    ImageFrameSource& operator=(const ImageFrameSource&) = delete;

    /// Tells the source that a new tick has begun: what it keeps of an earlier frame is outdated.
    virtual void setDirty() { m_dirty = true; }

    /// Fetches one picture.
    /// @param requestedHeight, requestedWidth size of the picture wanted
    /// @param rotation 0, 90, 180 or 270: the turn asked for
    /// @param pOutputPixels receives requestedHeight x requestedWidth x 3 bytes; the caller's
    /// @returns false when there is no picture; the reason is logged at error level
    [[nodiscard]] virtual bool getFrame(int requestedHeight, int requestedWidth, int rotation,
                                        std::uint8_t* pOutputPixels) = 0;

    virtual ~ImageFrameSource() = default;

    bool m_dirty = false; ///< a tick has begun since the last full-size conversion
};

/// The camera's live stream, running from construction to destruction. It converts at most one
/// frame to RGB at full size in a tick and turns that same picture for every further full-size
/// request; each request takes a buffer from the stream and gives it back all the same. Any other
/// size is cut out of the request's own frame and scaled, which costs two heap pictures a call.
class VideoStreamSource : public ImageFrameSource {
  public:
    /// Opens and starts the stream on channel 1, in NV12 at the camera's own frame rate. Takes tens
    /// of milliseconds.
    /// @param height, width size of the stream along the sensor's own, unrotated axes
    /// @param rotation asked of the stream; at 90 and 270 its frames are height wide and width high
    /// @throws std::runtime_error when the stream cannot be created, attached or started. Its text,
    /// also
    ///   logged at error level, is "Failed to create new VDO stream from settings. ", "Failed to
    ///   attach VDO stream to stream. " or "Failed to start VDO stream. " with the camera's reason.
    VideoStreamSource(int height, int width, int rotation);

    /// Stops and releases the stream.
    ~VideoStreamSource() override;

    /// Waits for the next frame and hands it out as asked; see ImageFrameSource. A rotation that
    /// does not go with a full-size picture is ignored: the frame is then cropped and scaled as it
    /// comes. A stream rotation other than 0, 90, 180 and 270 leaves the output untouched and
    /// counts as success.
    [[nodiscard]] bool getFrame(int requestedHeight, int requestedWidth, int rotation,
                                std::uint8_t* pOutputPixels) override;

    /// Converts a frame into the temporary picture if the source is dirty, and marks it clean.
    /// @param pU8YUVData the NV12 frame; not read when the source is clean
    void loadTempBuffer(std::uint8_t* pU8YUVData);

    // The rotation copies, from the temporary picture into an output of as many pixels that does
    // not overlap it. Those named _R90 serve streams that deliver turned frames: the roles of the
    // stream's height and width are exchanged.

    /// Copies as it is.
    void rotate0(const std::uint8_t* pSource, std::uint8_t* pDest) const;

    /// Quarter turn clockwise of a picture m_streamWidth wide and m_streamHeight high.
    void rotate90(const std::uint8_t* pSource, std::uint8_t* pDest) const;

    /// Quarter turn clockwise of a picture m_streamHeight wide and m_streamWidth high.
    void rotate90_R90(const std::uint8_t* pSource, std::uint8_t* pDest) const;

    /// Half turn, byte by byte: every pixel comes out as B, G, R.
    void rotate180(const std::uint8_t* pSource, std::uint8_t* pDest) const;

    /// Quarter turn counter-clockwise of a picture m_streamWidth wide and m_streamHeight high.
    void rotate270(const std::uint8_t* pSource, std::uint8_t* pDest) const;

    /// Quarter turn counter-clockwise of a picture m_streamHeight wide and m_streamWidth high.
    void rotate270_R90(const std::uint8_t* pSource, std::uint8_t* pDest) const;

    VdoStream* m_vdoStream = nullptr; ///< owned
    int m_streamHeight;               ///< as asked of the camera, along the sensor's own axes
    int m_streamWidth;                ///< likewise
    int m_streamRotation;             ///< as asked of the camera, degrees
    std::uint8_t* m_tempBuffer =
        nullptr; ///< the last full-size RGB picture, owned (new[]); black at first

    /// Successful getFrame() calls of all instances since the process began; wraps around.
    static inline std::uint32_t s_framesDelivered = 0;

  private:
    using RotationCopy = void (VideoStreamSource::*)(const std::uint8_t*, std::uint8_t*) const;

    [[nodiscard]] bool deliversTurnedFrames() const;
    [[nodiscard]] RotationCopy chooseRotationCopy(int requestedHeight, int requestedWidth,
                                                  int rotation) const;
    [[nodiscard]] bool convertFrame(VdoBuffer* buffer, int requestedHeight, int requestedWidth,
                                    int rotation, std::uint8_t* pOutputPixels);
    [[nodiscard]] bool releaseBuffer(VdoBuffer* buffer);
};

/// A flat picture of one byte value.
class ConstantStreamSource : public ImageFrameSource {
  public:
    /// @param value of every channel of every pixel
    explicit ConstantStreamSource(std::uint8_t value);

    /// Always succeeds; the rotation makes no difference.
    [[nodiscard]] bool getFrame(int requestedHeight, int requestedWidth, int rotation,
                                std::uint8_t* pOutputPixels) override;

    std::uint8_t m_value;
};

/// A picture from a file of bare RGB bytes.
class ImageFromBinaryFileSource : public ImageFrameSource {
  public:
    /// Loads the picture. A file that cannot be opened or ends early is logged at error level; the
    /// bytes that are missing are black.
    /// @param height, width size of the picture in the file
    ImageFromBinaryFileSource(int height, int width, const std::string& path);

    ~ImageFromBinaryFileSource() override;

    /// Hands out the picture as it is, whatever the rotation; only its own size can be requested.
    [[nodiscard]] bool getFrame(int requestedHeight, int requestedWidth, int rotation,
                                std::uint8_t* pOutputPixels) override;

    int m_imageHeight;
    int m_imageWidth;
    std::uint8_t* m_pImageData = nullptr; ///< m_imageHeight x m_imageWidth x 3 bytes, owned (new[])
};

/// The camera's stream; empty until start-up has opened it. Main loop's thread only.
extern std::unique_ptr<VideoStreamSource> g_videoStreamSource;
