#pragma once

// Where SIGTERM may be handled. The handler ends the main loop or the process, and for that needs
// locks: the allocator's, GLib's, the log's. It must therefore never interrupt code that holds one
// of them. So the main thread keeps the signal blocked, and with it every thread that it creates; a
// signal that comes meanwhile waits. It is let in at the two kinds of places below, where the main
// thread holds no lock.

#include <cerrno>
#include <csignal>
#include <cstddef>

#include <poll.h>
#include <pthread.h>

#include <glib.h>

/// SIGTERM, as a set of signals.
[[nodiscard]] inline sigset_t terminationSignal() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    return set;
}

/// Lets SIGTERM wait on this thread, and on those it creates, for as long as the object lives.
class TerminationBlock {
  public:
    TerminationBlock() {
        const sigset_t termination = terminationSignal();
        pthread_sigmask(SIG_BLOCK, &termination, &m_before);
    }
    ~TerminationBlock() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    TerminationBlock(const TerminationBlock&) = delete;
    TerminationBlock& operator=(const TerminationBlock&) = delete;

  private:
    sigset_t m_before{};
};

/// Has a SIGTERM that waits handled here and now. The caller has it blocked and holds no lock.
inline void allowTermination() {
    const sigset_t termination = terminationSignal();
    pthread_sigmask(SIG_UNBLOCK, &termination, nullptr);
    pthread_sigmask(SIG_BLOCK, &termination, nullptr);
}

// GPollFD is made to be handed to poll().
static_assert(sizeof(GPollFD) == sizeof(pollfd) && offsetof(GPollFD, fd) == offsetof(pollfd, fd) &&
              offsetof(GPollFD, events) == offsetof(pollfd, events) &&
              offsetof(GPollFD, revents) == offsetof(pollfd, revents));

/// Waits like poll(), with SIGTERM let in: how a main context's thread waits, which then holds none
/// of the context's locks.
/// @param timeoutMilliseconds negative: for ever
/// @return how many descriptors are ready: none when a signal ended the wait; -1 after a failure
inline gint pollOpenForTermination(GPollFD* descriptors, guint count, gint timeoutMilliseconds) {
    // ppoll() does not let a signal in when a descriptor is ready at once, which may be always.
    allowTermination();
    sigset_t open;
    pthread_sigmask(SIG_BLOCK, nullptr, &open);
    sigdelset(&open, SIGTERM);
    timespec timeout{};
    timeout.tv_sec = timeoutMilliseconds / 1000;
    timeout.tv_nsec = timeoutMilliseconds % 1000 * 1'000'000L;
    const int ready = ppoll(reinterpret_cast<pollfd*>(descriptors), count,
                            timeoutMilliseconds < 0 ? nullptr : &timeout, &open);
    return ready < 0 && errno == EINTR ? 0 : ready;
}
