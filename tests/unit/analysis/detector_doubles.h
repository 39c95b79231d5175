#pragma once

// What stands around the marker detector in its tests: a source of pictures that a test draws, the
// overlay's store of shapes and the parameter store as recorders, and a watch on the two calls into
// the detector library, which the linker leads past here (--wrap).

#include <exception>
#include <functional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/objdetect/aruco_detector.hpp>

#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "video/VideoStreamSource.h"

namespace testing_support {

/// Hands out one picture, again and again.
class PictureSource : public ImageFrameSource {
  public:
    PictureSource() = default;
    explicit PictureSource(cv::Mat rgb) : picture(std::move(rgb)) {}

    bool getFrame(int requestedHeight, int requestedWidth, int rotation,
                  std::uint8_t* pOutputPixels) override;

    cv::Mat picture;      ///< CV_8UC3, of the size that is requested
    bool succeeds = true; ///< false: no picture

    int calls = 0;
    int lastHeight = 0;
    int lastWidth = 0;
    int lastRotation = 0;
    const std::uint8_t* lastBuffer = nullptr;
    bool settingsWereFree = false; ///< nobody held the settings' lock during the last call
};

/// What the detector library was asked for in the last marker search.
struct SearchWatch {
    int calls = 0;
    const std::uint8_t* data = nullptr;
    cv::Size size;
    int type = -1;
    std::size_t step = 0;
    cv::aruco::DetectorParameters parameters;
    cv::aruco::RefineParameters refine;
    int dictionarySize = 0; ///< markers in the dictionary
    int markerSize = 0;     ///< bits of a marker's side
    bool settingsWereFree = false;
    std::exception_ptr throws; ///< when set, the search throws it
};
extern SearchWatch g_search;

/// When set, stands in for the chessboard search; it writes corners and may throw.
extern std::function<void(cv::Size, int flags, std::vector<cv::Point2f>&)> g_chessboardSearch;

/// What the overlay and the parameter store were told, in order: "clear", "line x0 y0 x1 y1 colour
/// width", "save".
extern std::vector<std::string> g_calls;
/// The record that was saved last, and whether the settings' lock was free then.
extern ConfigParams g_saved;
extern bool g_settingsWereFreeAtSave;

/// Everything as at program start: no calls, no faults, all settings zero but the dictionary
/// ("4x4") and the search area (the whole frame), an analysis size, an empty log.
void resetDetectorWorld(int width, int height);

} // namespace testing_support
