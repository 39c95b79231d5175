// What was acknowledged is there after a crash: a process that writes is killed at random moments
// and started again, many times over.

#include <csignal>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/event_journal.h"
#include "platform/hostcam/parameter_file.h"
#include "tests/support/program_start.h"
#include "tests/unit/platform/axevent/json_text.h"
#include "tests/unit/platform/host_camera.h"

namespace {

using testing::IsEmpty;
using testing_support::HostCamera;
using testing_support::readFile;
using testing_support::readLines;

/// A running state_writer and the end of the pipe that it tells its acknowledgements to.
class Writer {
  public:
    Writer(const std::string& prefix, unsigned long first, unsigned long last) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        const testing_support::ProgramStart writer(
            {STATE_WRITER, prefix, std::to_string(first), std::to_string(last)});
        m_process = fork();
        if (m_process == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            writer.become();
            _exit(127);
        }
        close(ends[1]);
        m_pipe = fdopen(ends[0], "r");
    }
    ~Writer() {
        kill();
        wait();
        (void)fclose(m_pipe);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// The next acknowledgement; empty at the end.
    std::string next() {
        char line[128];
        if (fgets(line, sizeof line, m_pipe) == nullptr) {
            return "";
        }
        std::string text = line;
        // A line without its end is one that the kill has cut.
        return text.ends_with('\n') ? text.substr(0, text.size() - 1) : "";
    }
    void kill() const {
        if (m_process > 0) {
            (void)::kill(m_process, SIGKILL);
        }
    }
    /// @return the exit status, -1 when it was killed
    int wait() {
        int status = 0;
        if (m_process > 0) {
            waitpid(m_process, &status, 0);
            m_process = -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t m_process = -1;
    FILE* m_pipe = nullptr;
};

/// What the writers have told, of all rounds.
struct Acknowledged {
    std::map<std::string, unsigned long> parameters; ///< the last number of each
    /// Later ones, any of which may be there untold: short rounds leave several of one parameter.
    std::map<std::string, std::set<unsigned long>> written;
    std::vector<unsigned long> events;
    unsigned long highest = 0;

    /// The writer was killed, perhaps after it had written the next number and before it could
    /// tell.
    void endRound() {
        ++highest;
        written["W" + std::to_string(highest % 5)].insert(highest);
    }

    void take(const std::string& line) {
        std::istringstream words(line);
        std::string kind;
        std::string name;
        unsigned long number = 0;
        words >> kind;
        if (kind == "P") {
            words >> name >> number;
            parameters[name] = number;
            written.erase(name);
        } else {
            words >> number;
            EXPECT_EQ(kind, "E") << line;
            events.push_back(number);
        }
        highest = std::max(highest, number);
    }
};

class Crash : public testing::Test {
  protected:
    /// Every parameter has the number that was acknowledged last, or the one that was being
    /// written.
    void expectParameters(const Acknowledged& told) const {
        std::vector<hostcam::ParameterFile::Problem> problems;
        const hostcam::ParameterFile file(readFile(camera.parameters()), problems);
        EXPECT_THAT(problems.size(), 0U);
        for (const auto& [name, number] : told.parameters) {
            const std::string* const value = file.find("root.Zerith_markers." + name);
            ASSERT_NE(value, nullptr) << name;
            const auto untold = told.written.find(name);
            const bool isUntold =
                untold != told.written.end() && untold->second.contains(std::stoul(*value));
            EXPECT_TRUE(*value == std::to_string(number) || isUntold)
                << name << "=" << *value << ", not " << number;
        }
    }

    /// The journal has whole lines only, with every acknowledged number, each once and in order.
    void expectEvents(const Acknowledged& told) const {
        const std::string text = readFile(camera.journal());
        EXPECT_TRUE(text.empty() || text.back() == '\n');
        std::vector<unsigned long> found;
        for (const std::string& line : readLines(camera.journal())) {
            ASSERT_TRUE(testing_support::JsonText(line).isObject()) << line;
            const std::size_t payload = line.find("\"payload\":\"W");
            if (payload != std::string::npos) {
                found.push_back(std::stoul(line.substr(payload + 12)));
            }
        }
        EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
        std::vector<unsigned long> missing;
        std::set_difference(told.events.begin(), told.events.end(), found.begin(), found.end(),
                            std::back_inserter(missing));
        EXPECT_THAT(missing, IsEmpty());
    }

    HostCamera camera;
};

TEST_F(Crash, NothingAcknowledgedIsLostWhenTheWriterIsKilledSixtyTimes) {
    constexpr unsigned kSeed = 4711;
    SCOPED_TRACE("seed " + std::to_string(kSeed));
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<int> acknowledgements(0, 25);
    std::uniform_int_distribution<int> turns(0, 3000);
    Acknowledged told;
    unsigned long begin = 1;
    for (int round = 0; round < 60; ++round) {
        {
            Writer writer("W", begin, 0);
            for (int left = acknowledgements(random); left > 0; --left) {
                told.take(writer.next());
            }
            // Somewhere within the call that is running now.
            for (int left = turns(random); left > 0; --left) {
                std::this_thread::yield();
            }
            writer.kill();
            for (std::string line = writer.next(); !line.empty(); line = writer.next()) {
                told.take(line);
            }
            EXPECT_EQ(writer.wait(), -1);
            told.endRound();
        }
        if (std::filesystem::exists(camera.parameters())) {
            expectParameters(told);
        } else {
            EXPECT_TRUE(told.parameters.empty());
        }
        expectEvents(told);
        if (HasFailure()) {
            FAIL() << "in round " << round;
        }
        begin = told.highest + 1;
    }
    EXPECT_GT(told.events.size(), 100U);
}

TEST_F(Crash, TwoProcessesThatWriteAtTheSameTimeLoseNothingOfEachOther) {
    constexpr unsigned long kLast = 40;
    Writer first("A", 1, kLast);
    Writer second("B", 1, kLast);
    for (std::string line = first.next(); !line.empty(); line = first.next()) {
        EXPECT_FALSE(line.starts_with("FAILED")) << line;
    }
    for (std::string line = second.next(); !line.empty(); line = second.next()) {
        EXPECT_FALSE(line.starts_with("FAILED")) << line;
    }
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    std::vector<hostcam::ParameterFile::Problem> problems;
    const hostcam::ParameterFile file(readFile(camera.parameters()), problems);
    EXPECT_EQ(problems.size(), 0U);
    for (const char* prefix : {"A", "B"}) {
        for (unsigned long number = kLast - 4; number <= kLast; ++number) {
            const std::string name =
                "root.Zerith_markers." + std::string(prefix) + std::to_string(number % 5);
            ASSERT_NE(file.find(name), nullptr) << name;
            EXPECT_EQ(*file.find(name), std::to_string(number)) << name;
        }
    }
    const std::vector<std::string> lines = readLines(camera.journal());
    EXPECT_EQ(lines.size(), 2 * (kLast + 1));
    for (const std::string& line : lines) {
        EXPECT_TRUE(testing_support::JsonText(line).isObject()) << line;
    }
}

} // namespace
