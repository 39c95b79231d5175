#pragma once

// The rules about when a parameter function may be called: one at a time in the whole process, and
// none from a change callback. On a camera, breaking the first corrupts an answer and breaking the
// second hangs. Here, calls at the same time wait for each other, so that nothing is corrupted, and
// each is remembered as a misuse, so that a test can assert that there was none; a call from a
// callback fails.

#include <mutex>

#include <glib.h>

namespace hostcam {

/// One call of a parameter function, from its beginning to its end.
class ParameterCall {
  public:
    /// @param name the C function's name, for the report
    explicit ParameterCall(const char* name);
    ~ParameterCall();
    ParameterCall(const ParameterCall&) = delete;
    ParameterCall& operator=(const ParameterCall&) = delete;

    /// Whether the call comes from within a change callback and must fail.
    [[nodiscard]] bool isInCallback() const { return m_inCallback; }

  private:
    bool m_inCallback;
    std::unique_lock<std::mutex> m_lock;
};

/// Says that this thread is in a change callback for as long as the object lives.
class InParameterCallback {
  public:
    InParameterCallback();
    ~InParameterCallback();
    InParameterCallback(const InParameterCallback&) = delete;
    InParameterCallback& operator=(const InParameterCallback&) = delete;
};

} // namespace hostcam
