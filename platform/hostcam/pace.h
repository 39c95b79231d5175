#pragma once

// When the camera's frames come. A pace counts frames from 0 at a fixed rate of CLOCK_MONOTONIC;
// those who want frames wait for a number. A test makes it manual: then frames come when the test
// says so, and nothing depends on time.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/hostcam/descriptor.h"

namespace hostcam {

class Pace;

/// The next of the camera's frames that belongs to a slower stream: the one at which the stream's
/// own count goes up.
/// @param number the camera's frame after which it is looked for
/// @param share the stream's rate over the camera's; from 1 up every frame belongs to it
[[nodiscard]] std::uint64_t frameAfter(std::uint64_t number, double share);

/// A descriptor that poll() finds readable once a given frame is due.
class FrameAlarm {
  public:
    /// @throws std::system_error when the system has no more descriptors
    FrameAlarm();

    [[nodiscard]] int descriptor() const { return m_timer.get(); }

  private:
    friend class Pace;
    Descriptor m_timer;
    std::uint64_t m_number = 0; // guarded by the pace's mutex
    bool m_set = false;         // guarded by the pace's mutex
};

/// Any thread, but for the constructor and the destructor.
class Pace {
  public:
    using Clock = std::chrono::steady_clock;

    enum class Wait { Due, TimedOut, Interrupted };

    /// Starts counting at frame 0, now.
    /// @param framesPerSecond above 0
    explicit Pace(double framesPerSecond);

    /// Starts with a manual pace at a given frame.
    Pace(double framesPerSecond, std::uint64_t manualNumber);

    [[nodiscard]] double rate() const { return m_rate; }

    /// The newest frame that is due.
    [[nodiscard]] std::uint64_t current() const;

    /// When a frame is due, in microseconds of CLOCK_MONOTONIC; with a manual pace, when it would
    /// be.
    [[nodiscard]] std::int64_t timeOf(std::uint64_t number) const;

    /// Waits until a frame is due.
    /// @param interrupted looked at first and after every interrupt()
    Wait waitFor(std::uint64_t number, Clock::time_point deadline,
                 const std::atomic<bool>& interrupted) const;

    /// Has everyone who waits look at the flag given to waitFor().
    void interrupt() const;

    /// Has an alarm ring when a frame is due; it is quiet until then. The pace keeps no reference.
    void setAlarm(const std::shared_ptr<FrameAlarm>& alarm, std::uint64_t number);

    /// Keeps an alarm quiet.
    void clearAlarm(FrameAlarm& alarm) const;

    /// Whether frames come by hand. Turning it off lets time run on from the current frame.
    void setManual(bool manual);
    [[nodiscard]] bool manual() const;

    /// Makes the next frames due, with a manual pace; nothing otherwise.
    void advance(std::uint64_t frames);

  private:
    [[nodiscard]] std::uint64_t currentLocked() const;
    [[nodiscard]] Clock::time_point dueLocked(std::uint64_t number) const;
    void programLocked(FrameAlarm& alarm) const;
    void changedLocked();

    const double m_rate;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    Clock::time_point m_start;                       // of frame 0; guarded by m_mutex
    bool m_manual = false;                           // guarded by m_mutex
    std::uint64_t m_number = 0;                      // with a manual pace; guarded by m_mutex
    std::vector<std::weak_ptr<FrameAlarm>> m_alarms; // guarded by m_mutex
};

} // namespace hostcam
