// Days of the whole application in minutes: the clock is moved from tick to tick, the frames, the
// detection, the overlays and the requests are real. What the program holds of the machine must not
// grow, its log must stay within its bounds, and it must do its work on the last day as on the
// first.
//
// ZM_SOAK_DAYS: how many days (2 when it is not set); ZM_SOAK_CSV: a file for one line a day.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include <gtest/gtest.h>

#include "tests/faults/driven_run.h"
#include "tests/soak/watched_process.h"

using namespace std::chrono_literals;
using namespace testing_support;

namespace {

constexpr auto kDay = 24h;
/// Not a part of the scene's 30 seconds, so that every moment of its story is met.
constexpr auto kStride = 37s;
constexpr auto kDense = 100ms;
constexpr unsigned kDenseTicks = 300; ///< one story as the program sees it in real time
constexpr unsigned kTicksBetweenRequests = 60;
constexpr long kMostGrowth = 2048; ///< kB of resident memory
constexpr std::uintmax_t kLogLimit = 2097152;

class Soak : public testing::Test {
  protected:
    void SetUp() override {
        if (std::filesystem::is_directory("/dev/shm")) {
            setenv("TMPDIR", "/dev/shm", 1);
        }
        m_run.emplace();
        ASSERT_TRUE(m_run->start()) << m_run->program().log() << m_run->program().output();
        ASSERT_TRUE(m_run->program().waitUntil(
            [&] { return m_run->get("get_status_code").has_value(); }, 20s));
    }

    void tick(unsigned count, std::chrono::milliseconds stride) {
        ASSERT_TRUE(m_run->tick(count, stride)) << m_run->program().output();
        m_ticks += count;
    }

    void expectAnswered(const std::optional<std::string>& answer) {
        ++m_requests;
        EXPECT_TRUE(answer && answer->starts_with("Status: 200 OK\r\n"))
            << answer.value_or("no answer");
    }

    /// A page's line for the log, of some thousand characters.
    void submitLog() {
        const std::string entry(4000, 'x');
        expectAnswered(
            m_run->post("post_submit_log", "<root><log_severity>info</log_severity><log_entry>" +
                                               entry + "</log_entry></root>"));
        m_logged += entry.size();
    }

    /// What a page and an integrator ask in a quarter of an hour or so.
    void ask(unsigned round) {
        expectAnswered(m_run->get("get_status_code"));
        expectAnswered(m_run->get("get_all_parameters"));
        for (int i = 0; i < 4; ++i) {
            submitLog();
        }
        switch (round % 8) {
        case 1:
            m_seconds = 1 + static_cast<int>(round / 8 % 5);
            expectAnswered(m_run->post("set_post_parameters", DrivenRun::settings(m_seconds)));
            break;
        case 3:
            expectAnswered(m_run->get("manual_markers_alert_on"));
            break;
        case 4:
            expectAnswered(m_run->get("manual_markers_alert_off"));
            break;
        case 5:
            expectAnswered(m_run->get("get_logfile_as_serialized_text"));
            break;
        case 6: // The camera has no picture for a while.
            m_run->changeFaults("vdo_stream_get_buffer count=20 code=13");
            break;
        case 7: // It cannot be written for a moment.
            m_run->changeFaults("ax_event_handler_send_event count=2 code=1");
            break;
        default:
            break;
        }
    }

    /// Has the log at its full size from the beginning: who reads it all makes copies of it, so
    /// that memory grows with it.
    void fillTheLog() {
        while (logBytes() < kLogLimit && !HasFailure()) {
            submitLog();
        }
        expectAnswered(m_run->get("get_logfile_as_serialized_text"));
        expectAnswered(m_run->get("get_logfile_as_plain_text"));
        m_logged = 0;
    }

    [[nodiscard]] std::uintmax_t logBytes() {
        std::error_code none;
        return std::filesystem::file_size(
            m_run->program().packageDir() / "localdata" / "MarkersLog.txt", none);
    }

    void liveADay() {
        const auto end = m_run->age() + kDay;
        tick(kDenseTicks, kDense);
        while (m_run->age() < end && !HasFatalFailure()) {
            tick(kTicksBetweenRequests, kStride);
            ask(m_round++);
            m_mostLogBytes = std::max(m_mostLogBytes, logBytes());
        }
    }

    std::optional<DrivenRun> m_run;
    unsigned m_round = 0;
    unsigned long m_ticks = 0;
    unsigned long m_requests = 0;
    std::size_t m_logged = 0;
    std::uintmax_t m_mostLogBytes = 0;
    int m_seconds = 3;
};

unsigned daysAsked() {
    const char* const text = std::getenv("ZM_SOAK_DAYS");
#if defined(__SANITIZE_ADDRESS__)
    constexpr unsigned kDays = 1; // of several times the length
#else
    constexpr unsigned kDays = 2;
#endif
    return text == nullptr ? kDays : static_cast<unsigned>(std::atol(text));
}

TEST_F(Soak, WhatIsHeldDoesNotGrowAndTheWorkIsDoneOnTheLastDayAsOnTheFirst) {
    const unsigned days = daysAsked();
    constexpr unsigned kWarmUp = 1;
    const WatchedProcess watched(m_run->program().pid(), "/proc/self/exe");
    const char* const file = std::getenv("ZM_SOAK_CSV");
    std::ofstream csv(file == nullptr ? "/dev/null" : file);
    csv << "day,ticks,resident_kb,descriptors,threads,log_bytes,alerts\n";
    std::vector<Holdings> after;
    std::size_t alertsBefore = 0;
    std::uintmax_t mostLoggedADay = 0;
    fillTheLog();
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned day = 1; day <= days; ++day) {
        const std::size_t loggedBefore = m_logged;
        liveADay();
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_TRUE(m_run->settle());
        Holdings holdings = watched.holdings().value_or(Holdings{});
        // The last request's connection may be open for a moment after its answer, at most for the
        // two seconds that the library waits for its peer.
        const auto closed = std::chrono::steady_clock::now() + 3s;
        static_cast<void>(m_run->program().waitUntil(
            [&] {
                holdings = watched.holdings().value_or(Holdings{});
                return after.empty() ? std::chrono::steady_clock::now() > closed
                                     : holdings.descriptors == after.front().descriptors;
            },
            5s));
        const std::vector<bool> alerts = m_run->alerts();
        const auto started =
            static_cast<std::size_t>(std::count(alerts.begin(), alerts.end(), true));
        EXPECT_GT(started, alertsBefore + 50) << "too few alerts on day " << day;
        alertsBefore = started;
        mostLoggedADay = std::max<std::uintmax_t>(mostLoggedADay, m_logged - loggedBefore);
        csv << day << ',' << m_ticks << ',' << holdings.residentKilobytes << ','
            << holdings.descriptors << ',' << holdings.threads << ',' << logBytes() << ','
            << started << std::endl;
        if (day >= kWarmUp) {
            after.push_back(holdings);
        }
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const auto byMemory = [](const Holdings& one, const Holdings& other) {
        return one.residentKilobytes < other.residentKilobytes;
    };
    const auto [least, most] = std::minmax_element(after.begin(), after.end(), byMemory);
    std::cout << days << " days, " << m_ticks << " ticks, " << m_requests << " requests, "
              << alertsBefore << " alerts in " << seconds << " s; resident memory after day "
              << kWarmUp << ": " << least->residentKilobytes << " to " << most->residentKilobytes
              << " kB, " << after.back().descriptors << " descriptors, " << after.back().threads
              << " threads; log at most " << m_mostLogBytes << " bytes\n";
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LE(after.back().residentKilobytes - after.front().residentKilobytes, kMostGrowth);
#endif
    for (const Holdings& holdings : after) {
        EXPECT_EQ(holdings.descriptors, after.front().descriptors);
        EXPECT_EQ(holdings.threads, after.front().threads);
    }
    // The log is looked at once a day: what comes in a day may lie above the limit.
    constexpr std::uintmax_t kOwnLinesOfADay = 2 * 1024 * 1024 / 4;
    EXPECT_LE(m_mostLogBytes, kLogLimit + mostLoggedADay + kOwnLinesOfADay);

    for (const auto& [name, value] : DrivenRun::storedSettings(m_seconds)) {
        EXPECT_EQ(m_run->program().stored(name), value) << name;
    }
    const auto end = m_run->stop();
    ASSERT_TRUE(end.has_value());
    EXPECT_TRUE(end->exited && end->status == 0) << m_run->program().output();
}

} // namespace
