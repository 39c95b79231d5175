#include "platform/hostcam/stage_times.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <mutex>
#include <sstream>
#include <vector>

namespace hostcam {
namespace {

constexpr std::array<const char*, kStages> kNames = {"get_frame", "convert", "detect", "track",
                                                     "decide",    "events",  "redraw", "tick"};

/// The times of one stage, in seconds. The latest kKeptStageTimes of them are there, the oldest
/// overwritten first.
struct Record {
    std::vector<float> latest;
    std::uint64_t count = 0;
    double sum = 0;
};

struct Records {
    std::mutex mutex; ///< held for no longer than a time is added or all are copied
    std::array<Record, kStages> stages;
};

/// Never destroyed: the end of a program may still ask.
Records& records() {
    static auto* const instance = new Records;
    return *instance;
}

std::array<Record, kStages> copyOfRecords() {
    Records& all = records();
    const std::lock_guard lock(all.mutex);
    return all.stages;
}

/// The smallest time that this share of the times does not exceed.
double quantile(const std::vector<float>& sorted, double share) {
    const double rank = std::ceil(share * static_cast<double>(sorted.size()));
    return static_cast<double>(sorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1]);
}

StageSummary summaryOf(const char* name, Record record) {
    StageSummary summary{name, record.count, record.sum, 0, 0, 0};
    if (!record.latest.empty()) {
        std::sort(record.latest.begin(), record.latest.end());
        summary.median = quantile(record.latest, 0.5);
        summary.p95 = quantile(record.latest, 0.95);
        summary.maximum = static_cast<double>(record.latest.back());
    }
    return summary;
}

bool isMeasured(const std::array<StageSummary, kStages>& summaries) {
    return std::any_of(summaries.begin(), summaries.end(),
                       [](const StageSummary& summary) { return summary.count > 0; });
}

} // namespace

void addStageTime(Stage stage, std::chrono::nanoseconds time) {
    const double seconds = std::chrono::duration<double>(time).count();
    Records& all = records();
    const std::lock_guard lock(all.mutex);
    Record& record = all.stages.at(static_cast<std::size_t>(stage));
    const auto place = static_cast<std::size_t>(record.count % kKeptStageTimes);
    if (place < record.latest.size()) {
        record.latest[place] = static_cast<float>(seconds);
    } else {
        record.latest.push_back(static_cast<float>(seconds));
    }
    ++record.count;
    record.sum += seconds;
}

void resetStageTimes() {
    Records& all = records();
    const std::lock_guard lock(all.mutex);
    all.stages = {};
}

std::array<StageSummary, kStages> stageSummaries() {
    std::array<Record, kStages> stages = copyOfRecords();
    std::array<StageSummary, kStages> summaries{};
    for (std::size_t i = 0; i < kStages; ++i) {
        summaries[i] = summaryOf(kNames[i], std::move(stages[i]));
    }
    return summaries;
}

std::string stageMetrics() {
    const auto summaries = stageSummaries();
    if (!isMeasured(summaries)) {
        return "# This program does not measure its stages: ./run --stage-times starts one that "
               "does.\n";
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setprecision(9);
    const char* const name = "zerith_markers_stage_seconds";
    text << "# HELP " << name << " How long a stage of an analysis tick took.\n"
         << "# TYPE " << name << " summary\n";
    for (const StageSummary& stage : summaries) {
        const std::string label = std::string("stage=\"") + stage.name + '"';
        text << name << '{' << label << ",quantile=\"0.5\"} " << stage.median << '\n'
             << name << '{' << label << ",quantile=\"0.95\"} " << stage.p95 << '\n'
             << name << '{' << label << ",quantile=\"1\"} " << stage.maximum << '\n'
             << name << "_sum{" << label << "} " << stage.sum << '\n'
             << name << "_count{" << label << "} " << stage.count << '\n';
    }
    return text.str();
}

std::string stageTable() {
    const auto summaries = stageSummaries();
    if (!isMeasured(summaries)) {
        return "";
    }
    constexpr double kMillisecondsPerSecond = 1000;
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "stage       median ms     p95 ms     max ms      ticks\n"
         << std::fixed << std::setprecision(3);
    for (const StageSummary& stage : summaries) {
        text << std::left << std::setw(10) << stage.name << std::right << std::setw(11)
             << stage.median * kMillisecondsPerSecond << std::setw(11)
             << stage.p95 * kMillisecondsPerSecond << std::setw(11)
             << stage.maximum * kMillisecondsPerSecond << std::setw(11) << stage.count << '\n';
    }
    return text.str();
}

} // namespace hostcam
