#pragma once

// One run of the driven program (run_control.h) on pictures of 320x180, second by second of the
// built-in scene, with the questions that a page asks.

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/faults/run_control.h"
#include "tests/support/application_process.h"

namespace testing_support {

class DrivenRun {
  public:
    /// Lays out a run with the demonstration's settings. Nothing runs yet.
    DrivenRun();
    ~DrivenRun();
    DrivenRun(const DrivenRun&) = delete;
    DrivenRun& operator=(const DrivenRun&) = delete;

    [[nodiscard]] ApplicationProcess& program() { return m_program; }
    [[nodiscard]] RunControl& control() { return *m_control; }

    /// Plans faults for the start, in the words of HOSTCAM_FAULTS.
    void planFaults(const std::string& faults);

    /// Starts the program and waits for its main loop. @return false when the program ended instead
    /// or did not get there in time
    [[nodiscard]] bool start();

    /// Lets so many ticks pass, each after the given time. @return false when that took too long
    /// or the program ended
    [[nodiscard]] bool tick(unsigned count, std::chrono::milliseconds stride);

    /// The program's own time since its main loop began, which is about that of the scene's story.
    [[nodiscard]] std::chrono::nanoseconds age() const;

    /// Waits until the main loop has nothing more to do. @return as tick()
    [[nodiscard]] bool settle();

    /// Replaces the planned faults. @return how often each of the calls was made before
    std::vector<unsigned> changeFaults(const std::string& faults,
                                       const std::vector<std::string>& counted = {});

    /// Has the program go on in real time.
    void release() { m_control->isReleased = true; }

    /// The whole answer; nothing when nobody serves.
    [[nodiscard]] std::optional<std::string> get(const std::string& action) const;
    [[nodiscard]] std::optional<std::string> post(const std::string& action,
                                                  const std::string& body) const;

    /// The demonstration's settings as a document, with another number of seconds.
    [[nodiscard]] static std::string settings(int seconds);

    /// The names and values of all parameters that settings() stores.
    [[nodiscard]] static std::map<std::string, std::string> storedSettings(int seconds);

    /// Asks the program to stop. @return how it ended; nothing when it had to be killed
    [[nodiscard]] std::optional<ApplicationProcess::End> stop();

    /// The alert's events in the journal after its first `from` lines, in their order.
    [[nodiscard]] std::vector<bool> alerts(std::size_t from = 0) const;

    /// No run may take longer for any of its steps.
    static constexpr std::chrono::seconds kPatience{20};

  private:
    TempDir m_dir;
    RunControl* m_control;
    ApplicationProcess m_program;
    std::chrono::steady_clock::time_point m_begin;
};

} // namespace testing_support
