#include "platform/hostcam/pace.h"

#include <algorithm>
#include <cmath>
#include <system_error>

#include <sys/timerfd.h>

namespace hostcam {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::nanoseconds;

/// Keeps roundings of rates like 29.97 from skipping a frame.
constexpr double kRateGrain = 1e-6;

nanoseconds frameTime(std::uint64_t number, double rate) {
    return nanoseconds(std::llround(static_cast<double>(number) * 1e9 / rate));
}

void setTimer(int descriptor, const itimerspec& when) {
    // Cannot fail with a descriptor of ours and times from 0 up.
    timerfd_settime(descriptor, TFD_TIMER_ABSTIME, &when, nullptr);
}

} // namespace

std::uint64_t frameAfter(std::uint64_t number, double share) {
    if (share >= 1.0) {
        return number + 1;
    }
    const double count = std::floor(static_cast<double>(number) * share + kRateGrain);
    const double next = std::ceil((count + 1.0) / share - kRateGrain);
    return std::max(number + 1, static_cast<std::uint64_t>(next));
}

FrameAlarm::FrameAlarm() : m_timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {
    if (!m_timer) {
        throw std::system_error(errno, std::generic_category(),
                                "no descriptor for a frame's alarm");
    }
}

Pace::Pace(double framesPerSecond) : m_rate(framesPerSecond), m_start(Clock::now()) {}

Pace::Pace(double framesPerSecond, std::uint64_t manualNumber)
    : m_rate(framesPerSecond), m_start(Clock::now() - frameTime(manualNumber, framesPerSecond)),
      m_manual(true), m_number(manualNumber) {}

Pace::Clock::time_point Pace::dueLocked(std::uint64_t number) const {
    return m_start + frameTime(number, m_rate);
}

std::uint64_t Pace::currentLocked() const {
    if (m_manual) {
        return m_number;
    }
    const Clock::time_point now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    auto number = static_cast<std::uint64_t>(std::max(0.0, seconds * m_rate));
    // The rounding of the product must not contradict dueLocked(), or a frame would come twice.
    while (number > 0 && dueLocked(number) > now) {
        --number;
    }
    while (dueLocked(number + 1) <= now) {
        ++number;
    }
    return number;
}

std::uint64_t Pace::current() const {
    const std::lock_guard lock(m_mutex);
    return currentLocked();
}

std::int64_t Pace::timeOf(std::uint64_t number) const {
    const std::lock_guard lock(m_mutex);
    return duration_cast<microseconds>(dueLocked(number).time_since_epoch()).count();
}

Pace::Wait Pace::waitFor(std::uint64_t number, Clock::time_point deadline,
                         const std::atomic<bool>& interrupted) const {
    std::unique_lock lock(m_mutex);
    while (true) {
        if (interrupted) {
            return Wait::Interrupted;
        }
        if (currentLocked() >= number) {
            return Wait::Due;
        }
        if (Clock::now() >= deadline) {
            return Wait::TimedOut;
        }
        m_changed.wait_until(lock, m_manual ? deadline : std::min(deadline, dueLocked(number)));
    }
}

void Pace::interrupt() const {
    // With the mutex held, nobody is between looking at the flag and beginning to wait.
    const std::lock_guard lock(m_mutex);
    m_changed.notify_all();
}

void Pace::programLocked(FrameAlarm& alarm) const {
    itimerspec when{};
    if (alarm.m_set && m_manual && m_number >= alarm.m_number) {
        when.it_value.tv_nsec = 1; // long ago: readable at once
    } else if (alarm.m_set && !m_manual) {
        const nanoseconds due = dueLocked(alarm.m_number).time_since_epoch();
        const auto seconds = duration_cast<std::chrono::seconds>(due);
        when.it_value.tv_sec = seconds.count();
        when.it_value.tv_nsec = std::max<long>(1, (due - seconds).count());
    }
    setTimer(alarm.m_timer.get(), when);
}

void Pace::setAlarm(const std::shared_ptr<FrameAlarm>& alarm, std::uint64_t number) {
    const std::lock_guard lock(m_mutex);
    alarm->m_number = number;
    alarm->m_set = true;
    std::erase_if(m_alarms, [&alarm](const std::weak_ptr<FrameAlarm>& known) {
        return known.expired() || known.lock() == alarm;
    });
    m_alarms.push_back(alarm);
    programLocked(*alarm);
}

void Pace::clearAlarm(FrameAlarm& alarm) const {
    const std::lock_guard lock(m_mutex);
    alarm.m_set = false;
    programLocked(alarm);
}

void Pace::changedLocked() {
    for (const std::weak_ptr<FrameAlarm>& known : m_alarms) {
        if (const std::shared_ptr<FrameAlarm> alarm = known.lock()) {
            programLocked(*alarm);
        }
    }
    m_changed.notify_all();
}

void Pace::setManual(bool manual) {
    const std::lock_guard lock(m_mutex);
    if (manual && !m_manual) {
        m_number = currentLocked();
    } else if (!manual && m_manual) {
        m_start = Clock::now() - frameTime(m_number, m_rate);
    }
    m_manual = manual;
    changedLocked();
}

bool Pace::manual() const {
    const std::lock_guard lock(m_mutex);
    return m_manual;
}

void Pace::advance(std::uint64_t frames) {
    const std::lock_guard lock(m_mutex);
    if (m_manual) {
        m_number += frames;
        changedLocked();
    }
}

} // namespace hostcam
