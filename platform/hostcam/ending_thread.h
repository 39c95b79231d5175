#pragma once

// A thread that nobody waits for longer than agreed. What it works on must belong to it (captured
// by its body), as it may go on after its owner has left it behind.

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "platform/hostcam/signals_blocked.h"

namespace hostcam {

/// One owner, one thread at a time, but for the body.
class EndingThread {
  public:
    EndingThread() = default;
    ~EndingThread() { leave(std::chrono::milliseconds(0)); }
    EndingThread(const EndingThread&) = delete;
    EndingThread& operator=(const EndingThread&) = delete;

    /// Starts the thread, with signals kept off it.
    /// @param body must not throw
    /// @throws std::system_error when the system has no more threads
    void start(std::function<void()> body) {
        auto ended = std::make_shared<std::promise<void>>();
        m_ended = ended->get_future();
        const SignalsBlocked blocked;
        m_thread = std::thread([body = std::move(body), ended = std::move(ended)]() mutable {
            body();
            body = nullptr; // what it holds goes away before the end is told
            ended->set_value();
        });
    }

    /// Waits for the thread's end, which its owner has brought about.
    /// @return false: it has not ended in time and is left to itself
    bool leave(std::chrono::milliseconds patience) {
        if (!m_thread.joinable()) {
            return true;
        }
        if (m_ended.wait_for(patience) == std::future_status::ready) {
            m_thread.join();
            return true;
        }
        m_thread.detach();
        return false;
    }

  private:
    std::future<void> m_ended;
    std::thread m_thread;
};

} // namespace hostcam
