#include "tests/unit/analysis/detector_doubles.h"

#include <mutex>

#include <opencv2/calib3d.hpp>

#include "core/Logger.h"
#include "core/app_state.h"
#include "settings/parameter_controller.h"
#include "tests/unit/analysis/logged.h"

// The globals that the detector uses.
ConfigParams g_ConfigParams;
parameter_controller g_ParameterController;
Logger g_Logger("test", "./distance_controller_test.txt");
int g_AnalysisStreamWidth = 0;
int g_AnalysisStreamHeight = 0;

namespace testing_support {

SearchWatch g_search;
std::function<void(cv::Size, int, std::vector<cv::Point2f>&)> g_chessboardSearch;
std::vector<std::string> g_calls;
ConfigParams g_saved;
bool g_settingsWereFreeAtSave = false;

namespace {

bool settingsAreFree() {
    return std::unique_lock(configParamsMutex(), std::try_to_lock).owns_lock();
}

} // namespace

bool PictureSource::getFrame(int requestedHeight, int requestedWidth, int rotation,
                             std::uint8_t* pOutputPixels) {
    ++calls;
    lastHeight = requestedHeight;
    lastWidth = requestedWidth;
    lastRotation = rotation;
    lastBuffer = pOutputPixels;
    settingsWereFree = settingsAreFree();
    if (succeeds) {
        picture.copyTo(cv::Mat(requestedHeight, requestedWidth, CV_8UC3, pOutputPixels));
    }
    return succeeds;
}

void resetDetectorWorld(int width, int height) {
    g_search = SearchWatch();
    g_chessboardSearch = nullptr;
    g_calls.clear();
    g_saved = ConfigParams{};
    g_settingsWereFreeAtSave = false;
    g_ConfigParams = ConfigParams{};
    g_ConfigParams.b_DisplayNonAOI = true;
    g_ConfigParams.str_SelectedDictionary = "4x4";
    g_AnalysisStreamWidth = width;
    g_AnalysisStreamHeight = height;
    forgetLog();
}

} // namespace testing_support

using namespace testing_support;

// The base of all frame sources, the overlay's store and the parameter store: with these few
// operations the detector links without the modules behind them and their platform.

void OverlayManager::clearUserOverlays() {
    g_calls.emplace_back("clear");
}

void OverlayManager::addUserLine(int x0, int y0, int x1, int y1, int colorIndex, int lineWidth) {
    std::string call = "line";
    for (const int value : {x0, y0, x1, y1, colorIndex, lineWidth}) {
        call += " " + std::to_string(value);
    }
    g_calls.push_back(call);
}

parameter_controller::parameter_controller() = default;

void parameter_controller::save_config(ConfigParams c) {
    g_calls.emplace_back("save");
    g_saved = std::move(c);
    g_settingsWereFreeAtSave = settingsAreFree();
}

// The detector library. The linker gives every call from elsewhere to "__wrap_...", and the
// library's own function the name "__real_...".

void realDetectMarkers(const cv::aruco::ArucoDetector* self, const cv::_InputArray& image,
                       const cv::_OutputArray& corners, const cv::_OutputArray& ids,
                       const cv::_OutputArray& rejected) __asm__("__real_" ZM_DETECT_MARKERS);
void watchedDetectMarkers(const cv::aruco::ArucoDetector* self, const cv::_InputArray& image,
                          const cv::_OutputArray& corners, const cv::_OutputArray& ids,
                          const cv::_OutputArray& rejected) __asm__("__wrap_" ZM_DETECT_MARKERS);
bool realFindChessboardCorners(const cv::_InputArray& image, cv::Size board,
                               const cv::_OutputArray& corners,
                               int flags) __asm__("__real_" ZM_FIND_CHESSBOARD);
bool watchedFindChessboardCorners(const cv::_InputArray& image, cv::Size board,
                                  const cv::_OutputArray& corners,
                                  int flags) __asm__("__wrap_" ZM_FIND_CHESSBOARD);

void watchedDetectMarkers(const cv::aruco::ArucoDetector* self, const cv::_InputArray& image,
                          const cv::_OutputArray& corners, const cv::_OutputArray& ids,
                          const cv::_OutputArray& rejected) {
    const cv::Mat searched = image.getMat();
    ++g_search.calls;
    g_search.data = searched.data;
    g_search.size = searched.size();
    g_search.type = searched.type();
    g_search.step = searched.step;
    g_search.parameters = self->getDetectorParameters();
    g_search.refine = self->getRefineParameters();
    g_search.dictionarySize = self->getDictionary().bytesList.rows;
    g_search.markerSize = self->getDictionary().markerSize;
    g_search.settingsWereFree = settingsAreFree();
    if (g_search.throws) {
        std::rethrow_exception(g_search.throws);
    }
    realDetectMarkers(self, image, corners, ids, rejected);
}

bool watchedFindChessboardCorners(const cv::_InputArray& image, cv::Size board,
                                  const cv::_OutputArray& corners, int flags) {
    if (!g_chessboardSearch) {
        return realFindChessboardCorners(image, board, corners, flags);
    }
    auto& found = *static_cast<std::vector<cv::Point2f>*>(corners.getObj());
    g_chessboardSearch(board, flags, found);
    return false;
}
