// Eight clients change and read the settings, write, read and clear the log and switch the alert at
// full speed while ticks run as fast as they can: no document is torn, no log line is broken, and
// under the thread sanitizer there is no race.
//
// ZM_HAMMER_SECONDS: how long (10 when it is not set, 20 under the thread sanitizer).

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <random>
#include <regex>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "tests/faults/driven_run.h"

using namespace std::chrono_literals;
using namespace testing_support;

namespace {

constexpr unsigned kClients = 8;
#if defined(__SANITIZE_THREAD__)
constexpr long kSeconds = 20;
#else
constexpr long kSeconds = 10;
#endif
constexpr int kDocuments = 9;

/// A document in which every number tells which one it is.
std::string document(int which) {
    std::string text = DrivenRun::settings(which);
    for (int i = 0; i < 8; ++i) {
        const std::string name = "Detection1_" + std::to_string(i) + ">";
        const std::size_t begin = text.find("<" + name) + name.size() + 1;
        text.replace(begin, text.find('<', begin) - begin, std::to_string(10 * which));
    }
    return text;
}

std::string elementOf(const std::string& text, const std::string& name) {
    const std::string open = "<" + name + ">";
    const std::size_t begin = text.find(open);
    return begin == std::string::npos
               ? ""
               : text.substr(begin + open.size(), text.find('<', begin + 1) - begin - open.size());
}

class Hammer : public testing::Test {
  protected:
    void expect(bool holds, const std::string& what) {
        if (!holds && m_failures++ < 10) {
            ADD_FAILURE() << what;
        }
    }

    /// One of the documents as a whole. A percentage of a picture's height is not exact.
    void expectWhole(const std::string& answer) {
        const std::string seconds = elementOf(answer, "Markers_Secs");
        const std::string left = elementOf(answer, "Detection1_0");
        bool isWhole = !seconds.empty();
        for (int i = 2; i < 8; i += 2) {
            isWhole &= elementOf(answer, "Detection1_" + std::to_string(i)) == left;
        }
        expect(isWhole && left == seconds + "0", "a torn document: " + answer);
    }

    void expectWholeLines(const std::string& answer) {
        static const std::regex line(
            R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\|zerith_markers\|(info|warning|error)\|.*)");
        std::istringstream lines(answer.substr(answer.find("\r\n\r\n") + 4));
        for (std::string text; std::getline(lines, text);) {
            expect(std::regex_match(text, line), "a broken line: " + text);
            if (text.find("from client ") != std::string::npos) {
                expect(text.ends_with("; end"), "a broken entry: " + text);
            }
        }
    }

    void actAsClient(unsigned client, std::chrono::steady_clock::time_point end) {
        std::mt19937 random(client);
        while (std::chrono::steady_clock::now() < end && m_failures == 0) {
            std::optional<std::string> answer;
            switch (random() % 8) {
            case 0:
            case 1:
                answer = m_run.post("set_post_parameters",
                                    document(1 + static_cast<int>(random() % kDocuments)));
                break;
            case 2:
                answer = m_run.get("get_all_parameters");
                expectWhole(answer.value_or(""));
                break;
            case 3:
                answer = m_run.get("get_logfile_as_serialized_text");
                expectWholeLines(answer.value_or("\r\n\r\n"));
                break;
            case 4:
                answer = m_run.post("post_submit_log",
                                    "<root><log_severity>warning</log_severity><log_entry>from "
                                    "client " +
                                        std::to_string(client) + "; end</log_entry></root>");
                break;
            case 5:
                answer = m_run.get(random() % 16 == 0 ? "clear_logfile" : "get_status_string");
                break;
            case 6:
                answer = m_run.get("manual_markers_alert_on");
                break;
            default:
                answer = m_run.get("manual_markers_alert_off");
                break;
            }
            ++m_requests;
            expect(answer && answer->starts_with("Status: 200 OK\r\n"),
                   "no answer: " + answer.value_or(""));
        }
    }

    DrivenRun m_run;
    std::atomic<unsigned> m_failures{0};
    std::atomic<unsigned long> m_requests{0};
};

TEST_F(Hammer, SettingsLogAndAlertStayWholeUnderEightClientsAndTicksAtFullSpeed) {
    const char* const text = std::getenv("ZM_HAMMER_SECONDS");
    const std::chrono::seconds length(text == nullptr ? kSeconds : std::atol(text));
    ASSERT_TRUE(m_run.start()) << m_run.program().log() << m_run.program().output();
    ASSERT_TRUE(
        m_run.program().waitUntil([&] { return m_run.get("get_status_code").has_value(); }, 20s));
    ASSERT_TRUE(m_run.post("set_post_parameters", document(1)).has_value());
    m_run.control().stride = 0;
    m_run.control().allowed = std::uint64_t{1} << 60U;
    const auto end = std::chrono::steady_clock::now() + length;
    std::vector<std::thread> clients;
    for (unsigned client = 0; client < kClients; ++client) {
        clients.emplace_back([this, client, end] { actAsClient(client, end); });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    std::cout << m_requests << " requests of " << kClients << " clients and "
              << m_run.control().skipped << " ticks in " << length.count() << " s\n";
    EXPECT_GT(m_requests, kClients);
    const auto status = m_run.stop();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(status->exited && status->status == 0) << status->status << "\n"
                                                       << m_run.program().output();
    EXPECT_EQ(m_run.program().output().find("ThreadSanitizer"), std::string::npos)
        << m_run.program().output();
}

} // namespace
