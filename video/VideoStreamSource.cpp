#include "video/VideoStreamSource.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <vdo-buffer.h>
#include <vdo-map.h>
#include <vdo-stream.h>
#include <vdo-types.h>

#include "core/Logger.h"
#include "core/handles.h"
#include "video/imgconverter.h"

namespace {

constexpr std::size_t kPixelBytes = 3;
constexpr guint32 kVideoChannel = 1;

/// Bytes of an RGB picture; 0 for a size that no picture has. The largest int squared still fits.
std::size_t pictureBytes(int height, int width) {
    if (height <= 0 || width <= 0) {
        return 0;
    }
    return static_cast<std::size_t>(height) * static_cast<std::size_t>(width) * kPixelBytes;
}

/// A black picture, released by its taker with delete[].
std::unique_ptr<std::uint8_t[]> allocatePicture(int height, int width) {
    return std::make_unique<std::uint8_t[]>(pictureBytes(height, width));
}

/// Logs why the stream could not be opened, and throws it.
[[noreturn]] void failOpening(const char* reason, const ErrorSlot& error) {
    // Deliberate: the reason is written over the preset from its first character, so the preset's
    // end shows behind a text that is shorter than its 44 characters.
    std::stringstream text("VideoStreamSource::VideoStreamSource error :");
    text << reason << error.message();
    g_Logger.error("VideoStreamSource: " + text.str());
    throw std::runtime_error(text.str());
}

ObjectHandle<VdoStream> createStream(int height, int width, int rotation) {
    const ObjectHandle<VdoMap> settings(vdo_map_new());
    vdo_map_set_uint32(settings.get(), "channel", kVideoChannel);
    vdo_map_set_uint32(settings.get(), "format", VDO_FORMAT_YUV);
    vdo_map_set_uint32(settings.get(), "width", static_cast<guint32>(width));
    vdo_map_set_uint32(settings.get(), "height", static_cast<guint32>(height));
    vdo_map_set_uint32(settings.get(), "rotation", static_cast<guint32>(rotation));
    ErrorSlot error;
    ObjectHandle<VdoStream> stream(vdo_stream_new(settings.get(), nullptr, error.out()));
    if (stream == nullptr) {
        failOpening("Failed to create new VDO stream from settings. ", error);
    }
    return stream;
}

/// Logs what the camera made of the settings. Not knowing it is no reason to stop.
void logSettings(VdoStream* stream) {
    ErrorSlot error;
    const ObjectHandle<VdoMap> settings(vdo_stream_get_settings(stream, error.out()));
    if (settings == nullptr) {
        g_Logger.error("VideoStreamSource: Failed to attach retrieve VDO stream settings. " +
                       error.message());
        return;
    }
    const guint32 width = vdo_map_get_uint32(settings.get(), "width", 0);
    const guint32 height = vdo_map_get_uint32(settings.get(), "height", 0);
    const guint32 rotation = vdo_map_get_uint32(settings.get(), "rotation", 0);
    const guint32 framerate = vdo_map_get_uint32(settings.get(), "framerate", 0);
    std::ostringstream text;
    text << "VideoStreamSource: Starting stream: VDO_FORMAT_YUV, " << width << "x" << height
         << ", rotation " << rotation << ", " << framerate << " fps";
    g_Logger.info(text.str());
}

struct CloseFile {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};

void requireData(const void* data) {
    if (data == nullptr) {
        throw std::runtime_error("the frame buffer has no data");
    }
}

enum class Turn { Clockwise, CounterClockwise };

constexpr std::size_t kTile = 64; // pixels
constexpr std::size_t kTileRowBytes = kTile * kPixelBytes;
constexpr std::size_t kCacheLine = 64;
constexpr std::size_t kRowsAhead = 8;

/// Turns a piece of a picture, height x width pixels and no larger than a tile, into a tile. It
/// asks for the piece's rows some way ahead, because they lie on different memory pages, across
/// which the processor does not look ahead by itself.
/// @param stride bytes from one row of the picture to the next
template <Turn turn>
void turnIntoTile(const std::uint8_t* source, std::size_t stride, std::size_t height,
                  std::size_t width, std::uint8_t* tile) {
    constexpr bool kClockwise = turn == Turn::Clockwise;
    for (std::size_t r = 0; r < height; ++r, source += stride) {
        if (r + kRowsAhead < height) {
            const std::uint8_t* const ahead = source + kRowsAhead * stride;
            for (std::size_t byte = 0; byte < width * kPixelBytes; byte += kCacheLine) {
                __builtin_prefetch(ahead + byte);
            }
        }
        const std::size_t tileColumn = kClockwise ? height - 1 - r : r;
        for (std::size_t c = 0; c < width; ++c) {
            const std::size_t tileRow = kClockwise ? c : width - 1 - c;
            std::memcpy(tile + tileRow * kTileRowBytes + tileColumn * kPixelBytes,
                        source + c * kPixelBytes, kPixelBytes);
        }
    }
}

/// Turns a picture of rows x columns pixels by a quarter: clockwise, destination (c, rows - 1 - r)
/// = source (r, c); counter-clockwise, destination (columns - 1 - c, r) = source (r, c).
///
/// It goes by square tiles, each turned inside a buffer of 12 KiB, so that the single pixels move
/// within the first-level cache and both pictures are touched in runs of whole cache lines. Turned
/// pixel by pixel, every pixel of a large picture would miss the caches once.
template <Turn turn>
void turnQuarter(const std::uint8_t* source, std::uint8_t* dest, int pictureRows,
                 int pictureColumns) {
    constexpr bool kClockwise = turn == Turn::Clockwise;
    const auto rows = static_cast<std::size_t>(std::max(pictureRows, 0));
    const auto columns = static_cast<std::size_t>(std::max(pictureColumns, 0));
    const std::size_t sourceStride = columns * kPixelBytes;
    const std::size_t destStride = rows * kPixelBytes;
    alignas(64) std::uint8_t tile[kTile * kTileRowBytes];
    for (std::size_t top = 0; top < rows; top += kTile) {
        const std::size_t height = std::min(kTile, rows - top);
        const std::size_t destLeft = kClockwise ? rows - top - height : top;
        for (std::size_t left = 0; left < columns; left += kTile) {
            const std::size_t width = std::min(kTile, columns - left);
            const std::size_t destTop = kClockwise ? left : columns - left - width;
            turnIntoTile<turn>(source + top * sourceStride + left * kPixelBytes, sourceStride,
                               height, width, tile);
            std::uint8_t* to = dest + destTop * destStride + destLeft * kPixelBytes;
            for (std::size_t row = 0; row < width; ++row, to += destStride) {
                std::memcpy(to, tile + row * kTileRowBytes, height * kPixelBytes);
            }
        }
    }
}

/// Writes bytes in reverse order, eight at a time.
void reverseBytes(const std::uint8_t* source, std::uint8_t* dest, std::size_t bytes) {
    std::uint64_t word = 0;
    while (bytes >= sizeof word) {
        bytes -= sizeof word;
        std::memcpy(&word, source + bytes, sizeof word);
        word = __builtin_bswap64(word);
        std::memcpy(dest, &word, sizeof word);
        dest += sizeof word;
    }
    std::reverse_copy(source, source + bytes, dest);
}

} // namespace

VideoStreamSource::VideoStreamSource(int height, int width, int rotation)
    : m_streamHeight(height), m_streamWidth(width), m_streamRotation(rotation) {
    g_Logger.info("VideoStreamSource: VideoStreamSource constructor called");
    // Held by local owners until nothing can fail any more: a constructor that throws has no
    // destructor.
    auto tempBuffer = allocatePicture(height, width);
    auto stream = createStream(height, width, rotation);
    ErrorSlot error;
    if (!vdo_stream_attach(stream.get(), nullptr, error.out())) {
        failOpening("Failed to attach VDO stream to stream. ", error);
    }
    logSettings(stream.get());
    if (!vdo_stream_start(stream.get(), error.out())) {
        failOpening("Failed to start VDO stream. ", error);
    }
    g_Logger.info("VideoStreamSource: Successfully created VideoStreamSource instance");
    m_vdoStream = stream.release();
    m_tempBuffer = tempBuffer.release();
}

VideoStreamSource::~VideoStreamSource() {
    if (m_vdoStream != nullptr) {
        g_object_unref(m_vdoStream);
    }
    delete[] m_tempBuffer;
}

bool VideoStreamSource::getFrame(int requestedHeight, int requestedWidth, int rotation,
                                 std::uint8_t* pOutputPixels) {
    ErrorSlot error;
    VdoBuffer* const buffer = vdo_stream_get_buffer(m_vdoStream, error.out());
    if (buffer == nullptr) {
        g_Logger.error("getFrame: VideoStreamSource::getFrame failed to get VDO buffer. " +
                       error.message());
        return false;
    }
    try {
        if (!convertFrame(buffer, requestedHeight, requestedWidth, rotation, pOutputPixels)) {
            g_Logger.error(
                "getFrame: VideoStreamSource::getFrame convertCropScaleU8yuvToRGB failed "
                "to convert YUV data to RGB data.");
            // Deliberate: the buffer is not handed back on this path.
            return false;
        }
    } catch (...) {
        g_Logger.error("getFrame: Unexpected error while converting YUV data to RGB.");
        static_cast<void>(releaseBuffer(buffer));
        return false;
    }
    if (!releaseBuffer(buffer)) {
        return false;
    }
    ++s_framesDelivered;
    return true;
}

/// Whether the stream's frames are m_streamHeight wide and m_streamWidth high.
bool VideoStreamSource::deliversTurnedFrames() const {
    return m_streamRotation == 90 || m_streamRotation == 270;
}

/// The copy that makes the requested picture of the temporary one, or null when it takes a crop.
VideoStreamSource::RotationCopy
VideoStreamSource::chooseRotationCopy(int requestedHeight, int requestedWidth, int rotation) const {
    const bool sameAsStream = requestedHeight == m_streamHeight && requestedWidth == m_streamWidth;
    const bool exchanged = requestedWidth == m_streamHeight && requestedHeight == m_streamWidth;
    const bool turned = deliversTurnedFrames();
    const bool sameAsFrame = turned ? exchanged : sameAsStream;
    const bool acrossFrame = turned ? sameAsStream : exchanged;
    if (sameAsFrame && rotation == 0) {
        return &VideoStreamSource::rotate0;
    }
    if (sameAsFrame && rotation == 180) {
        return &VideoStreamSource::rotate180;
    }
    if (acrossFrame && rotation == 90) {
        return turned ? &VideoStreamSource::rotate90_R90 : &VideoStreamSource::rotate90;
    }
    if (acrossFrame && rotation == 270) {
        return turned ? &VideoStreamSource::rotate270_R90 : &VideoStreamSource::rotate270;
    }
    return nullptr;
}

/// Makes the requested picture of a stream buffer. False when the crop-and-scale conversion fails.
/// Throws when the buffer has no data where data is needed.
bool VideoStreamSource::convertFrame(VdoBuffer* buffer, int requestedHeight, int requestedWidth,
                                     int rotation, std::uint8_t* pOutputPixels) {
    auto* const data = static_cast<std::uint8_t*>(vdo_buffer_get_data(buffer));
    if (!deliversTurnedFrames() && m_streamRotation != 0 && m_streamRotation != 180) {
        return true; // Deliberate: nothing is known of such a stream's frames, and no error either.
    }
    const RotationCopy copy = chooseRotationCopy(requestedHeight, requestedWidth, rotation);
    if (copy != nullptr) {
        if (m_dirty) {
            requireData(data);
        }
        loadTempBuffer(data);
        (this->*copy)(m_tempBuffer, pOutputPixels);
        return true;
    }
    // Deliberate: width and height are not exchanged for a stream of turned frames.
    return convertCropScaleU8yuvToRGB(data, static_cast<unsigned>(m_streamWidth),
                                      static_cast<unsigned>(m_streamHeight), pOutputPixels,
                                      static_cast<unsigned>(requestedWidth),
                                      static_cast<unsigned>(requestedHeight));
}

/// Hands a buffer back to the stream. False, and logged, when the camera refuses it.
bool VideoStreamSource::releaseBuffer(VdoBuffer* buffer) {
    ErrorSlot error;
    if (!vdo_stream_buffer_unref(m_vdoStream, &buffer, error.out())) {
        g_Logger.error("getFrame: Failed to release VDO stream buffer. " + error.message());
        return false;
    }
    return true;
}

void VideoStreamSource::loadTempBuffer(std::uint8_t* pU8YUVData) {
    if (m_dirty) {
        const auto width = static_cast<unsigned>(m_streamWidth);
        const auto height = static_cast<unsigned>(m_streamHeight);
        if (deliversTurnedFrames()) {
            convertU8yuvToRGBlibYuv(height, width, pU8YUVData, m_tempBuffer);
        } else {
            convertU8yuvToRGBlibYuv(width, height, pU8YUVData, m_tempBuffer);
        }
    }
    m_dirty = false;
}

void VideoStreamSource::rotate0(const std::uint8_t* pSource, std::uint8_t* pDest) const {
    std::memcpy(pDest, pSource, pictureBytes(m_streamHeight, m_streamWidth));
}

void VideoStreamSource::rotate90(const std::uint8_t* pSource, std::uint8_t* pDest) const {
    turnQuarter<Turn::Clockwise>(pSource, pDest, m_streamHeight, m_streamWidth);
}

void VideoStreamSource::rotate90_R90(const std::uint8_t* pSource, std::uint8_t* pDest) const {
    turnQuarter<Turn::Clockwise>(pSource, pDest, m_streamWidth, m_streamHeight);
}

void VideoStreamSource::rotate180(const std::uint8_t* pSource, std::uint8_t* pDest) const {
    // Deliberate: bytes are reversed, not pixels, so the channel order comes out reversed too.
    reverseBytes(pSource, pDest, pictureBytes(m_streamHeight, m_streamWidth));
}

void VideoStreamSource::rotate270(const std::uint8_t* pSource, std::uint8_t* pDest) const {
    turnQuarter<Turn::CounterClockwise>(pSource, pDest, m_streamHeight, m_streamWidth);
}

void VideoStreamSource::rotate270_R90(const std::uint8_t* pSource, std::uint8_t* pDest) const {
    turnQuarter<Turn::CounterClockwise>(pSource, pDest, m_streamWidth, m_streamHeight);
}

ConstantStreamSource::ConstantStreamSource(std::uint8_t value) : m_value(value) {}

bool ConstantStreamSource::getFrame(int requestedHeight, int requestedWidth, int /*rotation*/,
                                    std::uint8_t* pOutputPixels) {
    std::fill_n(pOutputPixels, pictureBytes(requestedHeight, requestedWidth), m_value);
    return true;
}

ImageFromBinaryFileSource::ImageFromBinaryFileSource(int height, int width, const std::string& path)
    : m_imageHeight(height), m_imageWidth(width) {
    auto image = allocatePicture(height, width);
    const std::size_t bytes = pictureBytes(height, width);
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        g_Logger.error("ImageFromBinaryFileSource: Failed to open " + path + ": " +
                       std::generic_category().message(errno));
    } else {
        const std::size_t bytesRead = std::fread(image.get(), 1, bytes, file.get());
        if (bytesRead < bytes) {
            g_Logger.error("ImageFromBinaryFileSource: " + path + " holds " +
                           std::to_string(bytesRead) + " of " + std::to_string(bytes) + " bytes");
        }
    }
    m_pImageData = image.release();
}

ImageFromBinaryFileSource::~ImageFromBinaryFileSource() {
    delete[] m_pImageData;
}

bool ImageFromBinaryFileSource::getFrame(int requestedHeight, int requestedWidth, int /*rotation*/,
                                         std::uint8_t* pOutputPixels) {
    if (requestedHeight != m_imageHeight || requestedWidth != m_imageWidth) {
        std::ostringstream text;
        text
            << "getFrame: ImageFromBinaryFileSource::getFrame mismatch in image dimensions. Expect "
            << requestedHeight << " == " << m_imageHeight << " and " << requestedWidth
            << " == " << m_imageWidth;
        g_Logger.error(text.str());
        return false;
    }
    std::memcpy(pOutputPixels, m_pImageData, pictureBytes(m_imageHeight, m_imageWidth));
    return true;
}
