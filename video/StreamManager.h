#pragma once

// Chooses the size of the camera stream that the analysis reads, among the sizes that the camera
// offers on its video channel 1, and tells the rest of the application that size as the sensor and
// as the viewer see it. Start-up fills the one instance, g_AnalysisStreamManager, on the main
// thread before any other thread exists; nothing changes it afterwards, so that any thread may read
// it then. Also the home of Resolution and AspectRatioType, which everything that talks about
// stream sizes uses.

#include <cstdint>
#include <string>

/// A stream size in pixels, width first.
struct Resolution {
    Resolution(unsigned resolutionWidth, unsigned resolutionHeight)
        : width(resolutionWidth), height(resolutionHeight) {}

    /// "1920x1080".
    [[nodiscard]] std::string to_string() const {
        return std::to_string(width) + "x" + std::to_string(height);
    }

    std::uint32_t width;
    std::uint32_t height;
};

/// Orders by width, then by height: the order of every container of resolutions.
[[nodiscard]] inline bool operator<(const Resolution& a, const Resolution& b) {
    return a.width != b.width ? a.width < b.width : a.height < b.height;
}

/// Classes of aspect ratios, wide enough that 5:4 belongs to 4:3. The numbers appear in the log.
enum AspectRatioType {
    ASPECT_RATIO_INVALID = 0, ///< of no class, 16:10 and every portrait size among them
    FULLSCREEN = 1,           ///< about 4:3
    WIDESCREEN = 2,           ///< about 16:9
    SQUARE = 3,               ///< about 1:1
};

class StreamManager {
  public:
    /// The class of a size: width / height strictly between 1.7 and 1.8 (WIDESCREEN), 1.2 and 1.4
    /// (FULLSCREEN), or 0.9 and 1.1 (SQUARE). Any thread.
    [[nodiscard]] static AspectRatioType getAspectRatioType(int width, int height);

    /// The class that a text names: exactly "16:9", "4:3" or "1:1", any other text none. Any
    /// thread.
    [[nodiscard]] static AspectRatioType convertAspectRatio(std::string str_aspect_ratio);

    /// Whether the camera is mounted rotated by 90 or 270 degrees.
    [[nodiscard]] bool isPortrait() const;

    /// @param rotation of the camera in degrees; any value but 90 and 270 counts as landscape
    void setCameraRotation(int rotation);

    /// The chosen stream's size as the viewer sees it: in portrait with width and height exchanged.
    [[nodiscard]] Resolution getResolution() const;

    /// The chosen stream's size along the sensor's own axes.
    [[nodiscard]] Resolution getResolutionAxis() const;

    /// Whether a stream is at least as wide and as high as a model. Any thread.
    [[nodiscard]] static bool doesStreamContainModel(int stream_width, int stream_height,
                                                     int model_width, int model_height);

    /// Finds the smallest (by area) offered size of a class that contains a model.
    /// @param streamWidth, streamHeight receive the size; untouched when the result is false
    /// @returns false when the camera cannot be asked ("Failed vdo_channel_get(): " or "Failed
    ///   vdo_channel_get_resolutions(): ", with the reason, at error level) or offers no such size
    ///   (not logged). Asking the camera takes tens of milliseconds.
    [[nodiscard]] static bool findSmallestContainingStream(int modelWidth, int modelHeight,
                                                           AspectRatioType aspectRatio,
                                                           unsigned& streamWidth,
                                                           unsigned& streamHeight);

    /// Finds the largest offered size of a class that does not contain a model. Parameters and
    /// failures as findSmallestContainingStream().
    [[nodiscard]] static bool findLargestNotContainingStream(int modelWidth, int modelHeight,
                                                             AspectRatioType aspectRatio,
                                                             unsigned& streamWidth,
                                                             unsigned& streamHeight);

    /// Finds the stream that serves a model best: 16:9 before 4:3 before 1:1, and in each class the
    /// smallest that contains the model before the largest that does not. The application itself
    /// takes the largest stream instead (chooseMaxResolution()).
    /// @returns false, with "Failed to find a suitable stream for model WxH=" at error level, when
    /// there
    ///   is none; the two references are untouched then
    [[nodiscard]] static bool chooseResolution(unsigned landscapeModelWidth,
                                               unsigned landscapeModelHeight, unsigned& chosenWidth,
                                               unsigned& chosenHeight);

    /// Chooses the largest offered size of a class for the analysis stream and keeps it.
    /// @returns false, and keeps what it had, as findSmallestContainingStream() does
    [[nodiscard]] bool chooseMaxResolution(AspectRatioType aspectRatio);

    std::uint32_t m_StreamWidth = 0;  ///< chosen width along the sensor's own axes, pixels
    std::uint32_t m_StreamHeight = 0; ///< chosen height along the sensor's own axes, pixels
    int m_CameraRotation = 0;         ///< degrees
};

/// The analysis stream's size. Filled once by start-up (main thread), only read afterwards.
extern StreamManager g_AnalysisStreamManager;
