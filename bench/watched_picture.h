#pragma once

// The application on a host camera that shows one still picture, ready to tick: for benchmarks that
// put a tick beside the marker detector alone, on the same frame with the same library. Frames come
// by hand, so that no tick waits for one.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include <libyuv.h>
#include <opencv2/core/utility.hpp>
#include <opencv2/objdetect/aruco_detector.hpp>

#include "core/app_main.h"
#include "outputs/event_manager.h"
#include "outputs/overlay_manager.h"
#include "platform/hostcam/camera.h"
#include "platform/hostcam/scene.h"
#include "settings/config_params.h"
#include "video/VideoStreamSource.h"

namespace bench {

/// Prints which marker detection is measured.
inline void tellLibrary() {
    const char* const kWords = "accelerated marker detection";
    const bool isAccelerated = cv::getBuildInformation().find(kWords) != std::string::npos;
    std::printf("OpenCV %s: %s\n", cv::getVersionString().c_str(),
                isAccelerated ? kWords : "the library's own marker detection");
}

struct StillPicture {
    unsigned width;
    unsigned height;
    std::vector<std::uint8_t> nv12;
};

/// A still scene with a number of markers.
inline StillPicture renderPicture(unsigned width, unsigned height, int markers, double noise) {
    hostcam::SceneOptions options;
    std::vector<int> ids;
    ids.resize(static_cast<std::size_t>(markers));
    std::iota(ids.begin(), ids.end(), 0);
    options.script = hostcam::gridScript(ids);
    options.noise = noise;
    const hostcam::Scene scene(options);
    StillPicture picture{width, height,
                         std::vector<std::uint8_t>(std::size_t{width} * height * 3 / 2)};
    scene.render(0, width, height, picture.nv12.data(), width);
    return picture;
}

/// Writes a picture as a photo that the host camera can show.
inline void writePhoto(const StillPicture& picture, const std::filesystem::path& path) {
    const int width = static_cast<int>(picture.width);
    const int height = static_cast<int>(picture.height);
    std::vector<std::uint8_t> rgb(std::size_t{picture.width} * picture.height * 3);
    libyuv::NV12ToRAW(picture.nv12.data(), width,
                      picture.nv12.data() + std::size_t{picture.width} * picture.height, width,
                      rgb.data(), width * 3, width, height);
    std::ofstream file(path, std::ios::binary);
    file << "P6\n" << width << ' ' << height << "\n255\n";
    file.write(reinterpret_cast<const char*>(rgb.data()), static_cast<std::streamsize>(rgb.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

/// The camera and the application. One at a time; in the thread that ticks.
class WatchedPicture {
  public:
    /// @param folder for the picture and the camera's state
    /// @param width, height of the picture and of the analysis, in pixels
    /// @param noise standard deviation in grey levels
    /// @param viewer size WxH of the stream that overlays are drawn for; none when empty
    WatchedPicture(const std::filesystem::path& folder, unsigned width, unsigned height,
                   int markers, double noise, const std::string& viewer = "")
        : m_width(static_cast<int>(width)), m_height(static_cast<int>(height)) {
        const std::filesystem::path photo = folder / "photo.ppm";
        writePhoto(renderPicture(width, height, markers, noise), photo);
        std::ofstream config(folder / "hostcam.conf");
        config << "[camera]\nsource=" << photo.string() << "\nresolutions=" << width << 'x'
               << height << "\n[state]\ndirectory=" << (folder / "state").string()
               << "\n[viewers]\nstreams=" << viewer << "\n[http]\nport=0\n";
        config.close();
        setenv("HOSTCAM_CONFIG", (folder / "hostcam.conf").c_str(), 1);
        hostcam::resetCamera();
        hostcam::setManualPace(true);

        g_AnalysisStreamWidth = m_width;
        g_AnalysisStreamHeight = m_height;
        {
            const auto lock = lockConfigParams();
            g_ConfigParams = ConfigParams{};
            g_ConfigParams.b_EulaAccepted = true;
            g_ConfigParams.b_DisplayNonAOI = true;
            g_ConfigParams.str_SelectedDictionary = "5x5";
            g_ConfigParams.b_DetectionOverlaysOn = !viewer.empty();
            g_ConfigParams.str_DetectionOverlay = viewer;
        }
        g_videoStreamSource = std::make_unique<VideoStreamSource>(m_height, m_width, 0);
        init_overlay_manager();
        if (g_EventManager == nullptr) {
            init_event_manager();
        }
        init_logic(1);
        fetchFrame();
    }

    ~WatchedPicture() {
        g_overlayManager.reset();
        g_videoStreamSource.reset();
    }
    WatchedPicture(const WatchedPicture&) = delete;
    WatchedPicture& operator=(const WatchedPicture&) = delete;

    static void tick() {
        hostcam::advanceFrames(1);
        do_one_analysis();
    }

    /// The detector's call as the application makes it, on the frame that the tick sees.
    void detectOnly() {
        const cv::Mat image(m_height, m_width, CV_8UC3, m_frame.data());
        const cv::aruco::ArucoDetector detector(
            cv::aruco::getPredefinedDictionary(cv::aruco::DICT_5X5_100),
            cv::aruco::DetectorParameters(), cv::aruco::RefineParameters(10.0F, 3.0F, true));
        std::vector<std::vector<cv::Point2f>> corners;
        std::vector<std::vector<cv::Point2f>> rejected;
        m_ids.clear();
        detector.detectMarkers(image, corners, m_ids, rejected);
    }

    [[nodiscard]] std::size_t detected() const { return m_ids.size(); }

    /// The frame that the tick sees: RGB, rows without padding.
    [[nodiscard]] const std::vector<std::uint8_t>& frame() const { return m_frame; }

  private:
    void fetchFrame() {
        m_frame.resize(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) * 3);
        hostcam::advanceFrames(1);
        g_videoStreamSource->setDirty();
        if (!g_videoStreamSource->getFrame(m_height, m_width, 0, m_frame.data())) {
            throw std::runtime_error(
                "the host camera gives no frame: see localdata/MarkersLog.txt");
        }
    }

    int m_width;
    int m_height;
    std::vector<std::uint8_t> m_frame;
    std::vector<int> m_ids;
};

} // namespace bench
