#include "tests/faults/matrix_run.h"

#include <algorithm>
#include <functional>

#include "tests/faults/driven_run.h"

using namespace std::chrono_literals;

namespace testing_support {
namespace {

constexpr int kFactorySeconds = 3; ///< what DrivenRun stores before the start
constexpr int kFirstSeconds = 1;   ///< what is written while calls fail
constexpr int kLastSeconds = 2;    ///< what is written when none does any more
constexpr int kFailedStart = 255;
constexpr std::size_t kDateTime = 19; ///< characters

class Run {
  public:
    explicit Run(const std::vector<PlannedFault>& faults) : m_faults(faults) {
        std::string text;
        for (const PlannedFault& fault : faults) {
            text += faultOf(*fault.row, fault.position);
            m_calls.push_back(fault.row->call);
        }
        m_run.planFaults(text);
        // More than the ticks of a run in which none comes back.
        m_run.program().configure("camera", "buffers", "64");
        const bool loses = std::any_of(faults.begin(), faults.end(), [](const PlannedFault& fault) {
            return fault.row->isRelease;
        });
        if (loses) {
            m_run.program().setEnvironment("ASAN_OPTIONS", "detect_leaks=0");
        }
    }

    MatrixResult go() {
        m_result.hasStarted = m_run.start();
        if (m_result.hasStarted) {
            tickWithFaults();
            tickWithout();
            planFaultsOfTheStop();
            stop(0);
        } else {
            m_result.wasHit.assign(m_faults.size(), true);
            demand(any([](const MatrixRow& row) -> auto& { return row.fatalAt; }),
                   "it does not start");
            demand(!m_run.program().running(), "it hangs at the start");
            stop(kFailedStart);
            demand(isStored(kFactorySeconds), "a start that failed changed the settings");
        }
        checkLog();
        m_result.evidence = m_run.program().log() + m_run.program().output();
        return std::move(m_result);
    }

  private:
    void demand(bool holds, const std::string& complaint) {
        if (!holds) {
            m_result.complaints.push_back(complaint);
        }
    }

    /// Whether a planned fault has its position among those of its row.
    template <typename Positions>
    [[nodiscard]] bool any(Positions positions) const {
        return std::any_of(m_faults.begin(), m_faults.end(), [&](const PlannedFault& fault) {
            return positions(*fault.row).contains(fault.position);
        });
    }

    [[nodiscard]] bool touches(const std::string& library) const {
        return std::any_of(m_calls.begin(), m_calls.end(),
                           [&](const std::string& call) { return call.starts_with(library); });
    }

    void tick(unsigned count, std::chrono::seconds stride = 1s) {
        demand(m_run.tick(count, stride), "it hangs in its main loop");
    }

    void tickTo(std::chrono::seconds age, std::chrono::seconds stride) {
        while (m_run.age() < age && m_run.program().running()) {
            tick(1, stride);
        }
    }

    void demandAnswer(const std::string& what,
                      const std::function<std::optional<std::string>()>& ask) {
        constexpr auto kNobodyWaitsLonger = 5s;
        const auto begin = std::chrono::steady_clock::now();
        const std::optional<std::string> answer = ask();
        demand(std::chrono::steady_clock::now() - begin < kNobodyWaitsLonger, what + " hangs");
        const bool isLost = any([](const MatrixRow& row) -> auto& { return row.serviceLostAt; });
        demand(isLost ? !answer : answer && answer->starts_with("Status: 200 OK\r\n"),
               what + (answer ? " was answered: " + *answer : " was not answered"));
    }

    void demandGet(const std::string& action) {
        demandAnswer(action, [&] { return m_run.get(action); });
    }

    void demandWrite(int seconds) {
        demandAnswer("set_post_parameters", [&] {
            return m_run.post("set_post_parameters", DrivenRun::settings(seconds));
        });
    }

    [[nodiscard]] bool isStored(int seconds) {
        const auto wanted = DrivenRun::storedSettings(seconds);
        return std::all_of(wanted.begin(), wanted.end(), [&](const auto& parameter) {
            return m_run.program().stored(parameter.first) == parameter.second;
        });
    }

    /// The service begins beside the main loop.
    void waitForService() {
        const bool isLost = any([](const MatrixRow& row) -> auto& { return row.serviceLostAt; });
        demand(m_run.program().waitUntil(
                   [&] {
                       return isLost ? m_run.program().logHolds("Failed to init fastcgi service")
                                     : m_run.get("get_status_code").has_value();
                   },
                   DrivenRun::kPatience),
               "the web service does not begin");
    }

    void tickWithFaults() {
        waitForService();
        tick(3);
        demandGet("get_status_code");
        tick(3);
        demandGet("get_all_parameters");
        tick(3);
        demandWrite(kFirstSeconds);
        tick(3);
        demandGet("get_logfile_as_serialized_text");
        tick(3);
        demandGet("manual_markers_alert_on");
        tick(5);
        const bool isServed = !any([](const MatrixRow& row) -> auto& { return row.serviceLostAt; });
        if (isServed && !touches("ax_parameter_")) {
            demand(isStored(kFirstSeconds), "the settings are not stored as written");
        } else {
            const auto seconds = m_run.program().stored("MarkersSeconds");
            demand(seconds == std::to_string(kFactorySeconds) ||
                       seconds == std::to_string(kFirstSeconds),
                   "a setting was lost");
        }
    }

    /// The story lasts 30 seconds. In its first four and its last two nothing is in the area.
    void tickWithout() {
        const std::vector<unsigned> counts = m_run.changeFaults("", m_calls);
        for (std::size_t i = 0; i < m_faults.size(); ++i) {
            m_result.wasHit.push_back(counts[i] >= std::max(1U, m_faults[i].position));
        }
        const std::size_t before = m_run.program().journal().size();
        demandWrite(kLastSeconds);
        demandGet("manual_markers_alert_off");
        // Two seconds are often enough to see an alert come and go; the end, between the second
        // story and the third, must be met.
        tickTo(57s, 2s);
        tickTo(61s, 1s);
        const bool isServed = !any([](const MatrixRow& row) -> auto& { return row.serviceLostAt; });
        if (isServed) {
            demand(isStored(kLastSeconds), "the settings are not stored after the faults");
            demandGet("get_all_parameters");
            const auto status = m_run.get("get_status_code");
            demand(status && status->ends_with("\r\n200"), "the status after the faults");
        }
        const bool isIdle =
            !isServed && any([](const MatrixRow& row) -> auto& { return row.settingsLostAt; });
        if (isIdle || any([](const MatrixRow& row) -> auto& { return row.alertLostAt; })) {
            return;
        }
        const std::vector<bool> alerts = m_run.alerts(before);
        demand(std::count(alerts.begin(), alerts.end(), true) >= 2,
               "not two alerts after the faults");
        demand(!alerts.empty() && !alerts.back(), "the alert is stuck");
    }

    void planFaultsOfTheStop() {
        std::string text;
        for (std::size_t i = 0; i < m_faults.size(); ++i) {
            if (m_faults[i].row->isAtStop) {
                text += faultOf(*m_faults[i].row, m_faults[i].position);
                m_result.wasHit[i] = m_faults[i].position <= 1;
            }
        }
        if (!text.empty()) {
            m_run.changeFaults(text);
        }
    }

    void stop(int status) {
        const auto end = m_run.stop();
        if (!end) {
            demand(false, "it does not stop");
            return;
        }
        demand(end->exited, "signal " + std::to_string(end->status) + " ended it");
        demand(!end->exited || end->status == status,
               "it ended with status " + std::to_string(end->status));
    }

    void checkLog() {
        const std::string log = m_run.program().log();
        demand(log.find("|zerith_markers|warning|STARTING zerith_markers\n") == kDateTime,
               "the log has no begin");
        demand(log.ends_with("|zerith_markers|warning|\n"), "the log has no end");
        bool isTold = false;
        bool mustTell = false;
        for (std::size_t i = 0; i < m_faults.size(); ++i) {
            const std::vector<std::string>& lines = m_faults[i].row->lines;
            mustTell |= m_result.wasHit[i] && !lines.empty() &&
                        !m_faults[i].row->silentAt.contains(m_faults[i].position);
            isTold |= std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
                return log.find(line) != std::string::npos;
            });
        }
        demand(isTold || !mustTell, "the log does not tell of the failure");
    }

    const std::vector<PlannedFault>& m_faults;
    std::vector<std::string> m_calls;
    DrivenRun m_run;
    MatrixResult m_result;
};

} // namespace

MatrixResult runMatrix(const std::vector<PlannedFault>& faults) {
    return Run(faults).go();
}

} // namespace testing_support
