// What a whole analysis tick costs beside the marker detector alone, on the same frame with the
// same library, and whether memory grows over many ticks. The camera is the host camera with a
// still photo; its frames come by hand, so that no tick waits for one.

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
#include <opencv2/objdetect/aruco_detector.hpp>

#include "bench/side_by_side.h"
#include "core/Logger.h"
#include "core/app_main.h"
#include "outputs/event_manager.h"
#include "outputs/overlay_manager.h"
#include "platform/hostcam/camera.h"
#include "platform/hostcam/scene.h"
#include "settings/config_params.h"
#include "video/VideoStreamSource.h"

namespace {

constexpr double kMostTickRatio = 1.10;
constexpr long kMostGrowthKilobytes = 2048;

struct Picture {
    unsigned width;
    unsigned height;
    std::vector<std::uint8_t> nv12;
};

/// A still scene with a number of markers.
Picture renderPicture(unsigned width, unsigned height, int markers, double noise) {
    hostcam::SceneOptions options;
    std::vector<int> ids;
    ids.resize(static_cast<std::size_t>(markers));
    std::iota(ids.begin(), ids.end(), 0);
    options.script = hostcam::gridScript(ids);
    options.noise = noise;
    const hostcam::Scene scene(options);
    Picture picture{width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 3 / 2)};
    scene.render(0, width, height, picture.nv12.data(), width);
    return picture;
}

/// Writes a picture as a photo that the host camera can show.
void writePhoto(const Picture& picture, const std::filesystem::path& path) {
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

/// The host camera with one photo in one size, and the application on it, ready to tick.
class Bench {
  public:
    Bench(const std::filesystem::path& folder, unsigned width, unsigned height, int markers,
          double noise)
        : m_width(static_cast<int>(width)), m_height(static_cast<int>(height)) {
        const std::filesystem::path photo = folder / "photo.ppm";
        writePhoto(renderPicture(width, height, markers, noise), photo);
        std::ofstream config(folder / "hostcam.conf");
        config << "[camera]\nsource=" << photo.string() << "\nresolutions=" << width << 'x'
               << height << "\n[state]\ndirectory=" << (folder / "state").string()
               << "\n[viewers]\nstreams=\n[http]\nport=0\n";
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
        }
        g_videoStreamSource = std::make_unique<VideoStreamSource>(m_height, m_width, 0);
        init_overlay_manager();
        if (g_EventManager == nullptr) {
            init_event_manager();
        }
        init_logic(1);
        fetchFrame();
    }

    ~Bench() { g_videoStreamSource.reset(); }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

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

bool compareTicks(const std::filesystem::path& folder, int rounds) {
    bool withinLimit = true;
    const unsigned sizes[][2] = {{1280, 720}, {1920, 1080}, {3840, 2160}};
    for (const auto& size : sizes) {
        for (const int markers : {0, 4, 20}) {
            for (const double noise : {0.0, 4.0}) {
                Bench bench(folder, size[0], size[1], markers, noise);
                const std::string title = std::to_string(size[0]) + "x" + std::to_string(size[1]) +
                                          ", " + std::to_string(markers) + " markers, " +
                                          (noise > 0 ? "noisy" : "clean");
                const auto ratios = bench::sideBySide(
                    title,
                    {{"detector", [&] { bench.detectOnly(); }}, {"whole tick", &Bench::tick}},
                    rounds);
                if (bench.detected() != static_cast<std::size_t>(markers)) {
                    std::printf("  the detector sees %zu markers\n", bench.detected());
                }
                withinLimit = withinLimit && ratios.back() <= kMostTickRatio;
            }
        }
    }
    std::printf("tick at most %.2f times the detector: %s\n\n", kMostTickRatio,
                withinLimit ? "yes" : "NO");
    return withinLimit;
}

bool watchMemory(const std::filesystem::path& folder) {
    const Bench bench(folder, 640, 360, 4, 2.0);
    long after100 = 0;
    long resident = 0;
    bool flat = true;
    for (int ticks = 1; ticks <= 10'000; ++ticks) {
        Bench::tick();
        if (ticks == 100 || ticks == 1'000 || ticks == 10'000) {
            resident = bench::residentKilobytes();
            after100 = ticks == 100 ? resident : after100;
            std::printf("resident memory after %6d ticks: %ld kB\n", ticks, resident);
            flat = flat && resident - after100 <= kMostGrowthKilobytes;
        }
    }
    std::printf("growth at most %ld kB: %s\n", kMostGrowthKilobytes, flat ? "yes" : "NO");
    return flat;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const int rounds = argc > 1 ? std::stoi(argv[1]) : 15;
        const auto folder = std::filesystem::temp_directory_path() / "zerith-tick-bench";
        std::filesystem::create_directories(folder);
        const bool fast = compareTicks(folder, rounds);
        const bool flat = watchMemory(folder);
        std::filesystem::remove_all(folder);
        return fast && flat ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "tick_bench: %s\n", problem.what());
        return 2;
    }
}
