#pragma once

// Keeps the program's signal handlers off the threads that the host camera starts: a thread
// inherits the mask of the one that starts it.

#include <pthread.h>
#include <signal.h>

namespace hostcam {

/// While it lives, the calling thread takes no signals that can wait (those for faults of the
/// program itself come through).
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP}) {
            sigdelset(&all, fault);
        }
        pthread_sigmask(SIG_BLOCK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t m_before{};
};

} // namespace hostcam
