#include "analysis/distance_controller.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/objdetect/aruco_detector.hpp>

#include "analysis/truncation.h"
#include "core/Logger.h"
#include "core/app_state.h"
#include "outputs/overlay_manager.h"
#include "settings/config_params.h"
#include "settings/parameter_controller.h"
#include "video/VideoStreamSource.h"

namespace {

constexpr int kChannels = 3;

struct FreeDeleter {
    void operator()(unsigned char* memory) const { std::free(memory); }
};
using CropBuffer = std::unique_ptr<unsigned char, FreeDeleter>;
using FrameBuffer = std::unique_ptr<unsigned char[]>;

/// One frame of the analysis stream, or nothing. The memory is not zeroed first: the source fills
/// all of it, and zeroing would be one more pass over every frame.
FrameBuffer fetchFrame(ImageFrameSource& source, int height, int width) {
    if (height < 0 || width < 0) {
        return nullptr;
    }
    auto frame = std::make_unique_for_overwrite<unsigned char[]>(
        static_cast<std::size_t>(height) * static_cast<std::size_t>(width) * kChannels);
    if (!source.getFrame(height, width, 0, frame.get())) {
        return nullptr;
    }
    return frame;
}

/// The part of the frame that the bounding box of an area covers, empty when there is none. The
/// points are clamped instead of the box, which comes to the same and cannot overflow.
cv::Rect rectangleInFrame(const int (&area)[16], int height, int width) {
    int at[8];
    for (int i = 0; i < 8; i += 2) {
        at[i] = std::clamp(area[i], 0, width);
        at[i + 1] = std::clamp(area[i + 1], 0, height);
    }
    return Distance_Controller::find_detection_rectangle(at[0], at[1], at[2], at[3], at[4], at[5],
                                                         at[6], at[7]);
}

/// Leaves one of the processor's cores to whatever else runs there: on a camera, its video. Who
/// starts the program may say otherwise, by the variable that the library reads.
void limitDetectorThreads() {
    if (std::getenv("OPENCV_FOR_THREADS_NUM") == nullptr) {
        cv::setNumThreads(std::max(1, cv::getNumberOfCPUs() - 1));
    }
}

/// Deliberate: the number of markers differs from size to size, and names are compared exactly.
std::optional<cv::aruco::PredefinedDictionaryType> dictionaryNamed(const std::string& name) {
    if (name == "4x4") {
        return cv::aruco::DICT_4X4_50;
    }
    if (name == "5x5") {
        return cv::aruco::DICT_5X5_100;
    }
    if (name == "6x6") {
        return cv::aruco::DICT_6X6_250;
    }
    if (name == "7x7") {
        return cv::aruco::DICT_7X7_1000;
    }
    return std::nullopt;
}

/// The markers in a picture, their corners shifted by the picture's place in the frame.
/// @throws what the detector throws
std::vector<detection> markersIn(const cv::Mat& image,
                                 cv::aruco::PredefinedDictionaryType dictionary, cv::Point origin) {
    const cv::aruco::ArucoDetector detector(cv::aruco::getPredefinedDictionary(dictionary),
                                            cv::aruco::DetectorParameters(),
                                            cv::aruco::RefineParameters(10.0F, 3.0F, true));
    std::vector<std::vector<cv::Point2f>> corners;
    std::vector<std::vector<cv::Point2f>> rejected;
    std::vector<int> ids;
    detector.detectMarkers(image, corners, ids, rejected);
    std::vector<detection> found;
    found.reserve(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        detection marker;
        marker.classId = ids[i];
        marker.markerCorners = corners[i];
        for (cv::Point2f& corner : marker.markerCorners) {
            corner.x += static_cast<float>(origin.x);
            corner.y += static_cast<float>(origin.y);
        }
        found.push_back(std::move(marker));
    }
    return found;
}

/// An exception's text on one line, as a log entry must be.
std::string reasonOf(const std::exception& thrown) {
    std::string reason = thrown.what();
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    reason.erase(reason.find_last_not_of(' ') + 1);
    return reason;
}

} // namespace

Distance_Controller::Distance_Controller() : m_squareSize(0.15F), m_boardSize(9, 6) {
    limitDetectorThreads();
    g_Logger.info("Distance_Controller: constructor invoked");
}

std::vector<detection> Distance_Controller::find_markers(ImageFrameSource& source) {
    OverlayManager::clearUserOverlays();
    return detect_markers(source);
}

std::vector<detection> Distance_Controller::detect_markers(ImageFrameSource& source) {
    const int height = g_AnalysisStreamHeight;
    const int width = g_AnalysisStreamWidth;
    const FrameBuffer frame = fetchFrame(source, height, width);
    if (!frame) {
        g_Logger.error("detect_markers: unable to getFrame");
        return {};
    }
    const ConfigParams settings = currentConfigParams();
    cv::Rect rect(0, 0, width, height);
    CropBuffer crop;
    if (!settings.b_DisplayNonAOI) {
        rect = rectangleInFrame(settings.i_Detection1, height, width);
        if (rect.width == 0 || rect.height == 0) {
            g_Logger.error("detect_markers: find_detection_rectangle failed");
            return {};
        }
        crop.reset(cropInterleaved(frame.get(), width, height, kChannels, rect.x, rect.y,
                                   rect.width, rect.height));
        if (!crop) {
            throw std::bad_alloc();
        }
    }
    const auto dictionary = dictionaryNamed(settings.str_SelectedDictionary);
    if (!dictionary) {
        g_Logger.error("detect_markers: unknown dictionary " + settings.str_SelectedDictionary);
        return {};
    }
    try {
        const cv::Mat image(rect.height, rect.width, CV_8UC3, crop ? crop.get() : frame.get());
        return markersIn(image, *dictionary, rect.tl());
    } catch (const std::exception& thrown) {
        g_Logger.error("detect_markers: marker detector failed: " + reasonOf(thrown));
        return {};
    }
}

cv::Rect Distance_Controller::find_detection_rectangle(int x0, int y0, int x1, int y1, int x2,
                                                       int y2, int x3, int y3) {
    const auto [left, right] = std::minmax({x0, x1, x2, x3});
    const auto [top, bottom] = std::minmax({y0, y1, y2, y3});
    const auto extent = [](std::int64_t low, std::int64_t high) {
        return static_cast<int>(
            std::min<std::int64_t>(high - low, std::numeric_limits<int>::max()));
    };
    return {left, top, extent(left, right), extent(top, bottom)};
}

unsigned char* Distance_Controller::cropInterleaved(unsigned char* src, int width, int /*height*/,
                                                    int channels, int x, int y, int w, int h) {
    const std::size_t pixel = static_cast<std::size_t>(channels);
    const std::size_t sourceRow = static_cast<std::size_t>(width) * pixel;
    const std::size_t croppedRow = static_cast<std::size_t>(w) * pixel;
    auto* const cropped =
        static_cast<unsigned char*>(std::malloc(croppedRow * static_cast<std::size_t>(h)));
    if (cropped == nullptr) {
        return nullptr;
    }
    const unsigned char* from =
        src + sourceRow * static_cast<std::size_t>(y) + pixel * static_cast<std::size_t>(x);
    unsigned char* to = cropped;
    for (int row = 0; row < h; ++row) {
        std::memcpy(to, from, croppedRow);
        from += sourceRow;
        to += croppedRow;
    }
    return cropped;
}

std::vector<cv::Point2f> Distance_Controller::detect_chessboard(ImageFrameSource& source) {
    const int height = g_AnalysisStreamHeight;
    const int width = g_AnalysisStreamWidth;
    g_Logger.info("detect_chessboard: Detecting chessboard with stream of " +
                  std::to_string(width) + " x " + std::to_string(height));
    const FrameBuffer frame = fetchFrame(source, height, width);
    if (!frame) {
        // Deliberate: with a capital, unlike the message of detect_markers().
        g_Logger.error("detect_chessboard: Unable to getFrame");
        return {};
    }
    try {
        const cv::Mat image(height, width, CV_8UC3, frame.get());
        std::vector<cv::Point2f> corners;
        // Deliberate: what was found counts, whether or not the board is complete.
        cv::findChessboardCorners(image, m_boardSize, corners, 0);
        return corners;
    } catch (const std::exception& thrown) {
        g_Logger.error("detect_chessboard: chessboard detector failed: " + reasonOf(thrown));
        return {};
    }
}

int Distance_Controller::find_pattern(ImageFrameSource& source) {
    OverlayManager::clearUserOverlays();
    const std::vector<cv::Point2f> corners = detect_chessboard(source);
    const std::string count = std::to_string(corners.size());
    if (corners.size() != static_cast<std::size_t>(m_boardSize.area())) {
        g_Logger.error("find_pattern: Could not find chessboard corners, size is " + count);
        return 0;
    }
    g_Logger.info("find_pattern: found chessboard corners, size is " + count);
    // The grid's last corner, the first of its last row, its first, the last of its first row.
    constexpr std::size_t kOuterCorners[4] = {53, 45, 0, 8};
    ConfigParams settings;
    {
        const auto lock = lockConfigParams();
        int* coordinate = g_ConfigParams.i_Markers;
        for (const std::size_t corner : kOuterCorners) {
            *coordinate++ = truncateToInt(corners[corner].x);
            *coordinate++ = truncateToInt(corners[corner].y);
        }
        settings = g_ConfigParams;
    }
    g_ParameterController.save_config(settings);
    constexpr int kSteelBlue = 7;
    constexpr int kLineWidth = 5;
    const auto& at = settings.i_Markers; // x0, y0 .. x3, y3
    for (std::size_t from = 0; from < std::size(at); from += 2) {
        const std::size_t to = (from + 2) % std::size(at);
        OverlayManager::addUserLine(at[from], at[from + 1], at[to], at[to + 1], kSteelBlue,
                                    kLineWidth);
    }
    return 1;
}

void Distance_Controller::writePixelBuffer(const std::string& path, unsigned char* pixels,
                                           int width, int height) const {
    std::ofstream file(path, std::ios::out | std::ios::trunc);
    file << " P2\n " << width << ' ' << height << "\n 255\n";
    const unsigned char* pixel = pixels;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            file << std::setw(4) << static_cast<int>(*pixel);
            pixel += kChannels;
        }
        file << '\n';
    }
    file.close();
    if (!file) {
        g_Logger.error("writePixelBuffer: unable to write " + path);
    }
}

std::string exec(const char* cmd) {
    struct PipeCloser {
        void operator()(FILE* pipe) const { pclose(pipe); }
    };
    // NOLINTNEXTLINE(cert-env33-c): a shell command is what this is for
    const std::unique_ptr<FILE, PipeCloser> pipe(popen(cmd, "r"));
    if (!pipe) {
        throw std::runtime_error("popen() failed!");
    }
    std::string output;
    char piece[128];
    while (std::fgets(piece, sizeof piece, pipe.get()) != nullptr) {
        output += piece;
    }
    return output;
}
