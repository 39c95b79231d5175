// What the application finds in pictures, as text, to compare one processor with another.
//
//   detections write FOLDER   puts pictures of the built-in scene there, as NV12
//   detections find FOLDER    prints what is found in them: FILE, id, and the four corners, a line
//   each
//
// The pictures are made once and read by both, so that only conversion and detection are compared.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "analysis/distance_controller.h"
#include "core/app_main.h"
#include "platform/hostcam/scene.h"
#include "settings/config_params.h"
#include "video/VideoStreamSource.h"
#include "video/imgconverter.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Kind {
    unsigned width;
    unsigned height;
    const char* dictionary;
    double noise;
};

constexpr Kind kKinds[] = {{640, 360, "4x4", 2.0},   {640, 480, "5x5", 0.0},
                           {1280, 720, "5x5", 4.0},  {1280, 720, "6x6", 2.0},
                           {1920, 1080, "7x7", 2.0}, {1920, 1080, "5x5", 10.0}};
constexpr std::uint64_t kFrames[] = {0, 137, 260};

void write(const std::filesystem::path& folder) {
    for (const Kind& kind : kKinds) {
        hostcam::SceneOptions options;
        options.dictionary = kind.dictionary;
        options.noise = kind.noise;
        options.script = hostcam::gridScript({0, 3, 7, 12, 23, 31, 42, 49});
        const hostcam::Scene scene(options);
        for (const std::uint64_t frame : kFrames) {
            Bytes nv12(std::size_t{kind.width} * kind.height * 3 / 2);
            scene.render(frame, kind.width, kind.height, nv12.data(), kind.width);
            const std::string name = std::to_string(kind.width) + "x" +
                                     std::to_string(kind.height) + "-" + kind.dictionary + "-" +
                                     std::to_string(frame) + ".nv12";
            std::ofstream file(folder / name, std::ios::binary);
            file.write(reinterpret_cast<const char*>(nv12.data()),
                       static_cast<std::streamsize>(nv12.size()));
            if (!file.flush()) {
                throw std::runtime_error("cannot write " + (folder / name).string());
            }
        }
    }
}

/// The frame source of one picture file.
class Photo : public ImageFrameSource {
  public:
    Photo(const std::filesystem::path& path, unsigned width, unsigned height)
        : m_rgb(std::size_t{width} * height * 3) {
        Bytes nv12(std::size_t{width} * height * 3 / 2);
        std::ifstream file(path, std::ios::binary);
        if (!file.read(reinterpret_cast<char*>(nv12.data()),
                       static_cast<std::streamsize>(nv12.size()))) {
            throw std::runtime_error("cannot read " + path.string());
        }
        convertU8yuvToRGBlibYuv(width, height, nv12.data(), m_rgb.data());
    }

    bool getFrame(int /*requestedHeight*/, int /*requestedWidth*/, int /*rotation*/,
                  std::uint8_t* pOutputPixels) override {
        std::copy(m_rgb.begin(), m_rgb.end(), pOutputPixels);
        return true;
    }

  private:
    Bytes m_rgb;
};

void find(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".nv12") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        unsigned width = 0;
        unsigned height = 0;
        char dictionary[8] = "";
        if (std::sscanf(file.filename().c_str(), "%ux%u-%7[^-]", &width, &height, dictionary) !=
            3) {
            throw std::runtime_error("no picture of ours: " + file.string());
        }
        g_AnalysisStreamWidth = static_cast<int>(width);
        g_AnalysisStreamHeight = static_cast<int>(height);
        {
            const auto lock = lockConfigParams();
            g_ConfigParams.b_DisplayNonAOI = true;
            g_ConfigParams.str_SelectedDictionary = dictionary;
        }
        Photo photo(file, width, height);
        for (const detection& found : g_DistanceController.detect_markers(photo)) {
            std::printf("%s %d", file.filename().c_str(), found.classId);
            for (const cv::Point2f& corner : found.markerCorners) {
                std::printf(" %.4f %.4f", static_cast<double>(corner.x),
                            static_cast<double>(corner.y));
            }
            std::printf("\n");
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::string word = argc == 3 ? argv[1] : "";
        if (word == "write") {
            write(argv[2]);
        } else if (word == "find") {
            find(argv[2]);
        } else {
            std::fprintf(stderr, "usage: detections write|find FOLDER\n");
            return 2;
        }
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "detections: %s\n", problem.what());
        return 1;
    }
}
