// What marker detection costs with the library as it is and with the accelerated one, side by side:
// two programs take turns on the same picture, so that whatever else the machine does meets both
// alike. Ids, corners and rejected candidates of both have to be the same in every turn.
//
//   detection_bench [--only CONTENT] [--rounds N] [--json FILE] [--assert]
//   detection_bench --pictures FOLDER     writes the pictures with noise 4 and 4 markers, and stops
//
// Each ratio is the median of the accelerated one's times over the median of the other's, both on
// the same number of threads; the ratio of processor times tells more where the machine is busy.
// --assert fails where a picture with noise 4 takes longer than it may.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

#include "bench/detection_pictures.h"
#include "bench/side_by_side.h"
#include "bench/worker_process.h"

namespace {

namespace fs = std::filesystem;

struct Size {
    int width;
    int height;
    double mostOnOne; ///< ratio on one thread
    double mostOnTwo; ///< and on two
};

constexpr Size kSizes[] = {
    {1280, 720, 0.25, 0.15}, {1920, 1080, 0.20, 0.12}, {3840, 2160, 0.18, 0.11}};

struct Options {
    int rounds = 7;
    std::string json;
    std::string only; ///< one of the contents' names; all when empty
    bool asserts = false;
    std::string picturesFolder;
};

struct Answer {
    double wall = 0;
    double processor = 0;
    std::size_t markers = 0;
    std::string hash;
};

/// One library on one number of threads: its times, in microseconds.
struct Times {
    std::vector<double> wall;
    std::vector<double> processor;
};

struct Line {
    std::string content;
    Size size;
    int markers;
    int threads;
    double stock;
    double accelerated;
    double ratio;
    double processorRatio;
};

Answer ask(bench::WorkerProcess& worker, const fs::path& picture, const Size& size, int threads) {
    const std::string text =
        worker.ask(picture.string() + ' ' + std::to_string(size.width) + ' ' +
                   std::to_string(size.height) + ' ' + std::to_string(threads) + " 1");
    Answer answer;
    std::istringstream words(text);
    if (!(words >> answer.wall >> answer.processor >> answer.markers >> answer.hash)) {
        throw std::runtime_error("a worker answers: " + text);
    }
    return answer;
}

class Comparison {
  public:
    explicit Comparison(const fs::path& programs)
        : m_stock((programs / "detection_worker_stock").string()),
          m_accelerated((programs / "detection_worker_accelerated").string()) {}

    Line compare(const fs::path& picture, bench::Content content, const Size& size, int markers,
                 int threads, int rounds) {
        Times stock;
        Times accelerated;
        for (int round = -1; round < rounds; ++round) {
            const Answer before = ask(m_stock, picture, size, threads);
            const Answer after = ask(m_accelerated, picture, size, threads);
            if (before.hash != after.hash || before.markers != static_cast<std::size_t>(markers)) {
                std::printf("DIFFERENT: %zu markers, %s; accelerated %zu, %s\n", before.markers,
                            before.hash.c_str(), after.markers, after.hash.c_str());
                m_same = false;
            }
            if (round >= 0) { // the first turn makes everybody warm
                stock.wall.push_back(before.wall);
                stock.processor.push_back(before.processor);
                accelerated.wall.push_back(after.wall);
                accelerated.processor.push_back(after.processor);
            }
        }
        const double base = bench::median(stock.wall);
        const double mine = bench::median(accelerated.wall);
        return {bench::nameOf(content),
                size,
                markers,
                threads,
                base / 1000,
                mine / 1000,
                mine / base,
                bench::median(accelerated.processor) / bench::median(stock.processor)};
    }

    [[nodiscard]] bool same() const { return m_same; }

  private:
    bench::WorkerProcess m_stock;
    bench::WorkerProcess m_accelerated;
    bool m_same = true;
};

void print(const Line& line) {
    std::printf(
        "%4dx%-4d  %2d markers  %-8s  %d thread%s  %8.2f ms  %7.2f ms  ratio %.3f  (processor time %.3f)\n",
        line.size.width, line.size.height, line.markers, line.content.c_str(), line.threads,
        line.threads == 1 ? " " : "s", line.stock, line.accelerated, line.ratio,
        line.processorRatio);
    std::fflush(stdout);
}

void writeJson(const std::string& path, const std::vector<Line>& lines) {
    std::ofstream file(path);
    file << "[\n";
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Line& line = lines[i];
        char text[320];
        std::snprintf(
            text, sizeof(text),
            R"(  {"width": %d, "height": %d, "markers": %d, "content": "%s", "threads": %d, )"
            R"("stock_ms": %.3f, "accelerated_ms": %.3f, "ratio": %.4f, "processor_time_ratio": %.4f})",
            line.size.width, line.size.height, line.markers, line.content.c_str(), line.threads,
            line.stock, line.accelerated, line.ratio, line.processorRatio);
        file << text << (i + 1 < lines.size() ? ",\n" : "\n");
    }
    file << "]\n";
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

/// Whether every line with noise 4 keeps its limit.
bool withinLimits(const std::vector<Line>& lines) {
    bool within = true;
    for (const Line& line : lines) {
        const double most = line.threads == 1 ? line.size.mostOnOne : line.size.mostOnTwo;
        if (line.content == bench::nameOf(bench::Content::noise4) && line.ratio > most) {
            std::printf("%dx%d, %d markers, %d threads: %.3f is more than %.2f\n", line.size.width,
                        line.size.height, line.markers, line.threads, line.ratio, most);
            within = false;
        }
    }
    std::printf(
        "at most 0.25 / 0.20 / 0.18 of the library's time on one thread, 0.15 / 0.12 / 0.11 on two: %s\n",
        within ? "yes" : "NO");
    return within;
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool hasValue = i + 1 < argc;
        if (word == "--rounds" && hasValue) {
            options.rounds = std::stoi(argv[++i]);
        } else if (word == "--json" && hasValue) {
            options.json = argv[++i];
        } else if (word == "--only" && hasValue) {
            options.only = argv[++i];
        } else if (word == "--pictures" && hasValue) {
            options.picturesFolder = argv[++i];
        } else if (word == "--assert") {
            options.asserts = true;
        } else {
            throw std::invalid_argument(
                "usage: detection_bench [--only CONTENT] [--rounds N] [--json FILE] "
                "[--assert] | --pictures FOLDER");
        }
    }
    return options;
}

void writePictures(const fs::path& folder) {
    for (const Size& size : kSizes) {
        const std::string name =
            std::to_string(size.width) + 'x' + std::to_string(size.height) + ".rgb";
        bench::writePicture(folder / name, bench::Content::noise4, size.width, size.height, 4);
    }
}

bool compareAll(const Options& options, const fs::path& programs) {
    const fs::path picture =
        fs::temp_directory_path() / ("zerith-detection-bench-" + std::to_string(getpid()));
    Comparison comparison(programs);
    std::vector<Line> lines;
    std::printf("the library as it is beside accelerated marker detection, medians of %d rounds\n",
                options.rounds);
    int number = 0;
    for (const bench::Content content : bench::kContents) {
        if (!options.only.empty() && options.only != bench::nameOf(content)) {
            continue;
        }
        for (const Size& size : kSizes) {
            for (const int markers : {0, 4, 20}) {
                // A name of its own, as workers keep the last picture.
                const fs::path path = picture.string() + '-' + std::to_string(++number) + ".rgb";
                bench::writePicture(path, content, size.width, size.height, markers);
                for (const int threads : {1, 2}) {
                    lines.push_back(
                        comparison.compare(path, content, size, markers, threads, options.rounds));
                    print(lines.back());
                }
                fs::remove(path);
            }
        }
    }
    if (lines.empty()) {
        throw std::invalid_argument("--only " + options.only + ": there is no such content");
    }
    if (!options.json.empty()) {
        writeJson(options.json, lines);
    }
    std::printf("ids, corners and rejected candidates are the same: %s\n",
                comparison.same() ? "yes" : "NO");
    const bool within = withinLimits(lines);
    return comparison.same() && (within || !options.asserts);
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Options options = parse(argc, argv);
        if (!options.picturesFolder.empty()) {
            writePictures(options.picturesFolder);
            return 0;
        }
        return compareAll(options, fs::canonical("/proc/self/exe").parent_path()) ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "detection_bench: %s\n", problem.what());
        return 2;
    }
}
