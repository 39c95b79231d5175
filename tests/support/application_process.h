#pragma once

// The real program, run as a process of its own in a package folder of its own: with its
// configuration, its stored parameters, its log file and its event journal. Waiting is for a
// condition with a deadline, never for a time.

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/temp_dir.h"

namespace testing_support {

class ApplicationProcess {
  public:
    /// How a process ended.
    struct End {
        bool exited = false; ///< false: a signal ended it
        int status = 0;      ///< exit status, or the signal's number
    };

    /// Lays out the package folder: package.conf, localdata/ and the state folder. Nothing runs
    /// yet.
    /// @param program path of the program
    explicit ApplicationProcess(std::string program);
    /// Ends a process that still runs with SIGKILL.
    ~ApplicationProcess();
    ApplicationProcess(const ApplicationProcess&) = delete;
    ApplicationProcess& operator=(const ApplicationProcess&) = delete;

    /// Sets a key of the host camera's configuration for the next start.
    void configure(const std::string& group, const std::string& key, const std::string& value);

    /// Sets an environment variable for the next start.
    void setEnvironment(const std::string& name, const std::string& value);

    /// Stores an application parameter as an earlier run would have left it.
    void store(const std::string& name, const std::string& value);

    /// The settings of the demonstration by parameter: presence required, 3 seconds, dictionary
    /// 5x5, the middle half of a picture of the given size as area 1.
    [[nodiscard]] static std::map<std::string, std::string> demonstrationSettings(unsigned width,
                                                                                  unsigned height);

    /// Stores those settings.
    void storeDemonstrationSettings(unsigned width, unsigned height);

    /// Whether the next process begins with SIGTERM blocked, as a careful parent may leave it. A
    /// stop that comes before the program's own code runs is then kept for it instead of ending the
    /// process.
    void blockTerminationAtStart(bool block) { m_blockTermination = block; }

    /// Starts the program, in a package folder at the fixed path that is its own, so that programs
    /// of several tests, or an installed one, do not take the web service's socket from each other.
    /// Where the machine does not let a process have that, one program runs at a time: the call
    /// waits.
    void start();

    /// Sends a signal to the running process.
    void signal(int number) const;

    /// Waits for the process to end. Nothing when it still runs at the deadline.
    [[nodiscard]] std::optional<End> waitForEnd(std::chrono::milliseconds deadline);

    /// Asks a condition again and again until it holds, the process ends, or the deadline comes.
    [[nodiscard]] bool waitUntil(const std::function<bool()>& condition,
                                 std::chrono::milliseconds deadline);

    /// Waits until the program is through with its start-up: it then waits for events with SIGTERM
    /// open.
    [[nodiscard]] bool waitForMainLoop(std::chrono::milliseconds deadline);

    [[nodiscard]] bool running();

    /// The web service's socket, as other processes reach it.
    [[nodiscard]] std::filesystem::path socket() const;

    /// The log file as text.
    [[nodiscard]] std::string log() const;
    /// Whether the log file holds a text.
    [[nodiscard]] bool logHolds(const std::string& text) const;
    /// The event journal's lines.
    [[nodiscard]] std::vector<std::string> journal() const;
    /// The value of a stored application parameter; nothing when it is not stored.
    [[nodiscard]] std::optional<std::string> stored(const std::string& name) const;
    /// What the program wrote to its standard output and error.
    [[nodiscard]] std::string output() const;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] std::filesystem::path packageDir() const { return m_dir / "package"; }
    [[nodiscard]] std::filesystem::path stateDir() const { return m_dir / "state"; }

  private:
    void writeConfiguration() const;
    [[nodiscard]] bool isOpenForTermination() const;
    [[nodiscard]] std::optional<End> reap(int options);

    TempDir m_dir;
    std::string m_program;
    std::map<std::string, std::map<std::string, std::string>> m_configuration;
    std::map<std::string, std::string> m_environment;
    bool m_blockTermination = false;
    std::size_t m_journalLinesBefore = 0; ///< of earlier runs
    std::atomic<pid_t> m_pid{-1};         ///< read by clients in other threads while it ends
    std::optional<End> m_end;
    int m_turn = -1; ///< held while the program runs, where folders of their own are not to be had
};

} // namespace testing_support
