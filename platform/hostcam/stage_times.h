#pragma once

// How long the stages of an analysis tick take, for who asks: the web endpoint's /metrics and the
// table at the end of a run. A program that measures them (platform/stages) reports its times here;
// the ordinary one reports none.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace hostcam {

/// In the order of a tick. `Tick` is all of them and what lies between them.
enum class Stage { GetFrame, Convert, Detect, Track, Decide, Events, Redraw, Tick };

constexpr std::size_t kStages = 8;

/// What is known of one stage. Median, 95th percentile and maximum are of the last times only, as
/// many as kKeptStageTimes.
struct StageSummary {
    const char* name;    ///< as a label's value: "get_frame"
    std::uint64_t count; ///< times reported since the start, or since resetStageTimes()
    double sum;          ///< seconds, of all of them
    double median;       ///< seconds; 0 without a time. So are the next two
    double p95;
    double maximum;
};

constexpr std::size_t kKeptStageTimes = 10'000;

/// Reports how long a stage took in a tick. *Any thread.*
void addStageTime(Stage stage, std::chrono::nanoseconds time);

/// Forgets all times. *Any thread.*
void resetStageTimes();

/// *Any thread.*
[[nodiscard]] std::array<StageSummary, kStages> stageSummaries();

/// The summaries in the text format of Prometheus; only a comment when nobody has measured.
[[nodiscard]] std::string stageMetrics();

/// The summaries as a table for people, in milliseconds; empty when nobody has measured.
[[nodiscard]] std::string stageTable();

} // namespace hostcam
