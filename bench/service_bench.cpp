// What the web service costs: a request beside one to a bare FastCGI responder that answers a
// constant, with the same library and the same client; and what two hundred requests a second cost
// the tick, loaded and idle times taking turns in one run.
//
// service_bench [--seconds N]: N seconds of load (default 60), and as many without.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>

#include <fcgiapp.h>

#include "bench/side_by_side.h"
#include "bench/watched_picture.h"
#include "outputs/fastcgi_service.h"
#include "settings/parameter_controller.h"
#include "settings/parameter_io.h"
#include "tests/support/fcgi_client.h"
#include "tests/support/private_package_folder.h"

namespace {

using Clock = std::chrono::steady_clock;
using testing_support::FcgiClient;
using testing_support::PrivatePackageFolder;

constexpr double kLeastRequestRatio = 0.8;
constexpr double kMostTickRatio = 1.05;
constexpr std::chrono::milliseconds kTickPeriod{100};
constexpr std::chrono::milliseconds kRequestPeriod{5};

const std::string kServicePath = PrivatePackageFolder::kHtml / "zerith_markers_fcgi.socket";
const std::string kBarePath = PrivatePackageFolder::kHtml / "bare.socket";
const std::string kPlainText = "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n";

/// The least that a responder does.
class BareResponder {
  public:
    BareResponder() : m_socket(FCGX_OpenSocket(kBarePath.c_str(), 5)) {
        if (m_socket < 0 || FCGX_InitRequest(&m_request, m_socket, 0) != 0) {
            throw std::runtime_error("no socket for the bare responder");
        }
        m_thread = std::thread([this] {
            while (FCGX_Accept_r(&m_request) == 0) {
                FCGX_FPrintF(m_request.out, "%s", (kPlainText + "200").c_str());
                FCGX_Finish_r(&m_request);
            }
        });
    }
    ~BareResponder() {
        shutdown(m_socket, SHUT_RDWR);
        m_thread.join();
        FCGX_Free(&m_request, m_socket);
    }
    BareResponder(const BareResponder&) = delete;
    BareResponder& operator=(const BareResponder&) = delete;

  private:
    FCGX_Request m_request{};
    int m_socket;
    std::thread m_thread;
};

/// The process's web service in a thread of its own.
class RunningService {
  public:
    RunningService() {
        if (g_FastcgiService.init() != 0) {
            throw std::runtime_error("the web service does not start");
        }
        m_thread = std::thread([] { g_FastcgiService.run(); });
    }
    ~RunningService() {
        static_cast<void>(g_FastcgiService.stop(std::chrono::seconds(20)));
        m_thread.join();
    }
    RunningService(const RunningService&) = delete;
    RunningService& operator=(const RunningService&) = delete;

  private:
    std::thread m_thread;
};

std::string ask(const std::string& path, const std::string& action) {
    return FcgiClient::ask(
               path, {{"REQUEST_METHOD", "GET"},
                      {"REQUEST_URI", "/local/zerith_markers/zerith_markers.cgi?action=" + action}})
        .value_or("(no answer)");
}

bool compareRequests() {
    constexpr int kRequests = 20;
    constexpr int kRounds = 501;
    const BareResponder bare;
    storeShared(g_StatusCode, 200);
    const auto requests = [](const std::string& path) {
        return [path] {
            for (int i = 0; i < kRequests; ++i) {
                if (ask(path, "get_status_code") != kPlainText + "200") {
                    throw std::runtime_error("a wrong answer at " + path);
                }
            }
        };
    };
    const auto ratios = bench::sideBySide(
        "20 requests in a row",
        {{"bare responder", requests(kBarePath)}, {"web service", requests(kServicePath)}},
        kRounds);
    const double share = 1 / ratios.back();
    std::printf("  %.3f of the bare responder's requests a second; at least %.1f: %s\n\n", share,
                kLeastRequestRatio, share >= kLeastRequestRatio ? "yes" : "NO");
    return share >= kLeastRequestRatio;
}

/// A browser that asks two hundred times a second while it is switched on.
class Load {
  public:
    Load() : m_settings(parameter_io::get_parameters()), m_thread([this] { run(); }) {}
    ~Load() {
        m_isEnding = true;
        m_thread.join();
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    void switchOn(bool on) { m_isOn = on; }
    [[nodiscard]] int requests() const { return m_requests; }
    [[nodiscard]] int wrong() const { return m_wrong; }

  private:
    void run() {
        auto due = Clock::now();
        for (int i = 0; !m_isEnding; ++i) {
            std::this_thread::sleep_until(due);
            due += kRequestPeriod;
            if (m_isOn) {
                ++m_requests;
                m_wrong += isAnswered(i) ? 0 : 1;
            }
        }
    }

    /// The page asks for the status again and again, and now and then for all the rest.
    [[nodiscard]] bool isAnswered(int number) const {
        try {
            switch (number % 5) {
            case 0: {
                const std::string answer = ask(kServicePath, "get_status_code");
                return answer == kPlainText + "200" || answer == kPlainText + "600" ||
                       answer == kPlainText + "502";
            }
            case 1:
                return ask(kServicePath, "get_all_parameters") ==
                       "Status: 200 OK\r\nContent-Type: text/xml\r\n\r\n" + m_settings;
            case 2:
                return ask(kServicePath, "get_aspect_ratio") == kPlainText + "16:9";
            case 3:
                return ask(kServicePath, "get_is_portrait") == kPlainText + "0";
            default:
                return ask(kServicePath, "get_status_string").starts_with(kPlainText);
            }
        } catch (const std::exception&) {
            return false;
        }
    }

    const std::string m_settings;
    std::atomic<bool> m_isOn{false};
    std::atomic<bool> m_isEnding{false};
    std::atomic<int> m_requests{0};
    std::atomic<int> m_wrong{0};
    std::thread m_thread;
};

bool compareTicks(std::chrono::seconds loaded) {
    const auto turn = std::min<std::chrono::milliseconds>(std::chrono::seconds(5), loaded);
    const long turns = 2 * (loaded / turn);
    Load load;
    std::vector<double> idleTicks;
    std::vector<double> loadedTicks;
    auto due = Clock::now();
    for (long i = 0; i < turns; ++i) {
        const bool isLoaded = i % 2 == 1;
        load.switchOn(isLoaded);
        const auto end = Clock::now() + turn;
        while (due < end) {
            std::this_thread::sleep_until(due);
            due += kTickPeriod;
            (isLoaded ? loadedTicks : idleTicks)
                .push_back(bench::timed(&bench::WatchedPicture::tick));
        }
    }
    load.switchOn(false);
    const double idle = bench::median(idleTicks);
    const double busy = bench::median(loadedTicks);
    const bool isFast = busy <= kMostTickRatio * idle;
    const bool isRight = load.wrong() == 0 && load.requests() > 0;
    std::printf("tick, idle service    %zu ticks, median %9.1f us\n", idleTicks.size(), idle);
    std::printf("tick, 200 requests/s  %zu ticks, median %9.1f us  %6.3f\n", loadedTicks.size(),
                busy, busy / idle);
    std::printf("  at most %.2f times: %s\n", kMostTickRatio, isFast ? "yes" : "NO");
    std::printf("  %d requests, %d wrong answers\n", load.requests(), load.wrong());
    return isFast && isRight;
}

bool compareAll(const std::filesystem::path& folder, std::chrono::seconds loaded) {
    bench::WatchedPicture watched(folder, 1280, 720, 4, 2.0, "1280x720");
    g_ParameterController.init_controller("zerith_markers");
    const RunningService service;
    const bool requests = compareRequests();
    const bool ticks = compareTicks(loaded);
    return requests && ticks;
}

} // namespace

int main(int argc, char** argv) {
    try {
        int seconds = 60;
        if (argc == 3 && std::string(argv[1]) == "--seconds") {
            seconds = std::stoi(argv[2]);
        } else if (argc != 1) {
            seconds = 0;
        }
        if (seconds < 1) {
            std::fprintf(stderr, "Usage: service_bench [--seconds N]\n");
            return 2;
        }
        // Before any thread: they share it.
        const std::string obstacle = PrivatePackageFolder::make();
        if (!obstacle.empty()) {
            throw std::runtime_error("no package folder of its own: " + obstacle);
        }
        const auto folder = std::filesystem::temp_directory_path() / "zerith-service-bench";
        std::filesystem::create_directories(folder);
        const bool withinLimits = compareAll(folder, std::chrono::seconds(seconds));
        std::filesystem::remove_all(folder);
        return withinLimits ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "service_bench: %s\n", problem.what());
        return 2;
    }
}
