// Runs the ordinary program in real time and records what it holds of the machine and what it does:
//
//     record_run PROGRAM SECONDS WIDTHxHEIGHT CSV-FILE
//
// Every ten seconds a line goes to the file; at the end a summary goes to the standard output. Like
// a page that somebody keeps open, it asks for the status once a second and for the settings, the
// log and a change of the settings now and then. It ends with 1 when the program came to an end by
// itself or did not stop in order.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/soak/watched_process.h"
#include "tests/support/application_process.h"
#include "tests/support/fcgi_client.h"

using namespace std::chrono_literals;
using namespace testing_support;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto kLook = 20ms; // shorter than the time between two ticks
constexpr auto kSample = 10s;
constexpr auto kWarmUp = 120s;
constexpr const char* kFrames = "_ZN17VideoStreamSource17s_framesDeliveredE";

struct Sample {
    double seconds = 0;
    Holdings holdings;
    long ticks = 0;
    std::size_t alerts = 0;
    std::uintmax_t logBytes = 0;
};

struct Recording {
    std::vector<Sample> samples;
    std::vector<int> tickMilliseconds;
    std::vector<double> answerMilliseconds;
    int failedRequests = 0;
    double warmUpSeconds = 0;
};

std::string ask(const ApplicationProcess& program, const std::string& method,
                const std::string& action, const std::string& body = "") {
    std::map<std::string, std::string> values{{"REQUEST_METHOD", method},
                                              {"REQUEST_URI", "/api?action=" + action}};
    if (method == "POST") {
        values["CONTENT_LENGTH"] = std::to_string(body.size());
    }
    try {
        return FcgiClient::ask(program.socket(), values, body).value_or("");
    } catch (const std::runtime_error&) {
        return ""; // nobody listens yet
    }
}

/// A settings document with another number of seconds each time; all else as it was.
std::string changedSettings(const std::string& answer, int seconds) {
    std::string document = answer.substr(std::min(answer.size(), answer.find("<app>")));
    const std::string open = "<Markers_Secs>";
    const std::size_t begin = document.find(open);
    const std::size_t end = document.find("</Markers_Secs>");
    if (begin == std::string::npos || end == std::string::npos) {
        return "";
    }
    document.replace(begin + open.size(), end - begin - open.size(), std::to_string(seconds));
    document.replace(0, std::string_view("<app>").size(), "<root>");
    document.replace(document.rfind("</app>"), std::string_view("</app>").size(), "</root>");
    return document;
}

/// What a page that is open asks in the given second. @return whether all was answered
bool behaveAsPage(const ApplicationProcess& program, long second) {
    bool isAnswered = ask(program, "GET", "get_status_code").starts_with("Status: 200");
    if (second % 60 == 20) {
        isAnswered &=
            ask(program, "GET", "get_logfile_as_serialized_text").starts_with("Status: 200");
    }
    if (second % 60 == 40) {
        const std::string settings = ask(program, "GET", "get_all_parameters");
        const int seconds = 2 + static_cast<int>(second / 60 % 3);
        isAnswered &=
            ask(program, "POST", "set_post_parameters", changedSettings(settings, seconds))
                .starts_with("Status: 200");
    }
    return isAnswered;
}

std::size_t startedAlerts(const ApplicationProcess& program) {
    const auto journal = program.journal();
    return static_cast<std::size_t>(
        std::count_if(journal.begin(), journal.end(), [](const std::string& line) {
            return line.find(R"("declared":true)") == std::string::npos &&
                   line.find(R"("active":true)") != std::string::npos;
        }));
}

Recording record(ApplicationProcess& program, const WatchedProcess& watched,
                 std::chrono::seconds length, std::ofstream& csv) {
    Recording recording;
    recording.warmUpSeconds = std::chrono::duration<double>(std::min(kWarmUp, length / 10)).count();
    csv << "seconds,resident_kb,descriptors,threads,cpu_seconds,ticks,alerts,log_bytes\n";
    const auto begin = Clock::now();
    const int firstTick = watched.variable(kFrames).value_or(0);
    auto nextSample = begin;
    long askedSecond = -1;
    int lastTick = firstTick;
    while (Clock::now() - begin < length && program.running()) {
        const int tick = watched.variable(kFrames).value_or(0);
        if (tick != lastTick) {
            // The tick that took this frame is still at work; the time is that of the one before.
            lastTick = tick;
            recording.tickMilliseconds.push_back(watched.variable("g_ExecutionTime").value_or(-1));
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        if (static_cast<long>(seconds) != askedSecond) {
            askedSecond = static_cast<long>(seconds);
            const auto asked = Clock::now();
            recording.failedRequests += behaveAsPage(program, askedSecond) ? 0 : 1;
            recording.answerMilliseconds.push_back(
                std::chrono::duration<double, std::milli>(Clock::now() - asked).count());
        }
        if (Clock::now() >= nextSample) {
            nextSample += kSample;
            Sample sample;
            sample.seconds = seconds;
            sample.holdings = watched.holdings().value_or(Holdings{});
            sample.ticks = tick - firstTick;
            sample.alerts = startedAlerts(program);
            std::error_code none;
            sample.logBytes = std::filesystem::file_size(
                program.packageDir() / "localdata" / "MarkersLog.txt", none);
            recording.samples.push_back(sample);
            csv << sample.seconds << ',' << sample.holdings.residentKilobytes << ','
                << sample.holdings.descriptors << ',' << sample.holdings.threads << ','
                << sample.holdings.cpuSeconds << ',' << sample.ticks << ',' << sample.alerts << ','
                << sample.logBytes << std::endl;
        }
        std::this_thread::sleep_for(kLook);
    }
    return recording;
}

template <typename Value>
void printSpread(const char* what, std::vector<Value> values) {
    if (values.empty()) {
        std::printf("%s: none\n", what);
        return;
    }
    std::sort(values.begin(), values.end());
    const auto at = [&](double share) {
        return static_cast<double>(
            values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))]);
    };
    std::printf("%s: %zu values, least %.2f, median %.2f, 99 %% %.2f, most %.2f\n", what,
                values.size(), at(0), at(0.5), at(0.99), at(1));
}

void print(const Recording& recording) {
    std::vector<long> resident;
    std::vector<int> descriptors;
    std::vector<int> threads;
    for (const Sample& sample : recording.samples) {
        if (sample.seconds >= recording.warmUpSeconds) {
            resident.push_back(sample.holdings.residentKilobytes);
            descriptors.push_back(sample.holdings.descriptors);
            threads.push_back(sample.holdings.threads);
        }
    }
    if (resident.empty()) {
        return;
    }
    const Sample& last = recording.samples.back();
    std::printf("%.0f s, of which %.0f s warm-up\n", last.seconds, recording.warmUpSeconds);
    std::printf("resident memory after the warm-up: first %ld kB, last %ld kB\n", resident.front(),
                resident.back());
    printSpread("resident memory, kB", resident);
    printSpread("descriptors", descriptors);
    printSpread("threads", threads);
    std::printf("ticks: %ld, %.2f a second\n", last.ticks,
                static_cast<double>(last.ticks) / last.seconds);
    printSpread("time of a tick, ms", recording.tickMilliseconds);
    std::printf("processor: %.1f %% of a core\n", 100 * last.holdings.cpuSeconds / last.seconds);
    std::printf("alerts: %zu\n", last.alerts);
    std::printf("log: %ju bytes\n", last.logBytes);
    printSpread("requests of a second, ms", recording.answerMilliseconds);
    std::printf("requests without an answer: %d\n", recording.failedRequests);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: record_run PROGRAM SECONDS WIDTHxHEIGHT CSV-FILE\n");
        return 2;
    }
    unsigned width = 0;
    unsigned height = 0;
    if (std::sscanf(argv[3], "%ux%u", &width, &height) != 2) {
        std::fprintf(stderr, "record_run: %s is no size\n", argv[3]);
        return 2;
    }
    const std::string file = std::filesystem::absolute(argv[1]);
    ApplicationProcess program(file);
    program.configure("camera", "resolutions", argv[3]);
    program.storeDemonstrationSettings(width, height);
    program.start();
    if (!program.waitForMainLoop(30s)) {
        std::fprintf(stderr, "record_run: %s did not start:\n%s%s\n", argv[1],
                     program.log().c_str(), program.output().c_str());
        return 1;
    }
    std::ofstream csv(argv[4]);
    const WatchedProcess watched(program.pid(), file);
    const std::chrono::seconds length(std::atol(argv[2]));
    const Recording recording = record(program, watched, length, csv);
    const bool ranOn = program.running();
    program.signal(SIGTERM);
    const auto end = program.waitForEnd(10s);
    const bool isOrderly = ranOn && end && end->exited && end->status == 0;
    print(recording);
    std::printf("end: %s\n", isOrderly ? "in order" : "not in order");
    return isOrderly ? 0 : 1;
}
