#pragma once

// Calls into the application that are made later, by the loop of the default main context, as the
// platform does with parameter changes and events.

#include <functional>
#include <memory>
#include <mutex>

namespace hostcam {

/// Stands between the library and one callback of the application. Once it is closed, the callback
/// is not running and will not run again, so what it refers to may go away.
class CallbackGate {
  public:
    /// Runs a call, unless the gate is closed. Exceptions pass through. *Main loop.*
    void pass(const std::function<void()>& call) {
        const std::lock_guard lock(m_running);
        if (m_open) {
            call();
        }
    }

    /// Closes the gate. Waits for a call that is running in another thread; from within the call
    /// itself it returns at once. *Any thread.*
    void close() {
        const std::lock_guard lock(m_running);
        m_open = false;
    }

  private:
    std::recursive_mutex m_running; ///< held while a call runs
    bool m_open = true;             ///< guarded by m_running
};

/// Has the default main context's loop make a call through a gate. Calls are made in the order in
/// which they were posted. *Any thread.*
void postToMainContext(std::shared_ptr<CallbackGate> gate, std::function<void()> call);

} // namespace hostcam
