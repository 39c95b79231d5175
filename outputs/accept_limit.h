#pragma once

// A time limit for FCGX_Accept_r(), which has none: the library reads a request's parameters before
// it says which connection they come from, so a peer that sends half of them and stays would hold
// up the web service for ever. A signal of the web thread's own ends such a read; the library then
// gives that connection up and takes the next.
//
// The limit begins when a connection waits, so that a service that nobody asks is left alone.

#include <csignal>
#include <ctime>

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

/// Belongs to the thread that creates it: only there it may be used and destroyed.
class AcceptLimit {
  public:
    /// @param patience how long an accept may take from the moment at which a connection waits;
    /// once it has passed, each further connection that the same accept takes has up to as long
    explicit AcceptLimit(time_t seconds) : m_seconds(seconds) {
        // Only there to end a wait: without a handler the signal would end the process. It stays.
        struct sigaction interrupt {};
        interrupt.sa_handler = [](int) {};
        sigemptyset(&interrupt.sa_mask);
        interrupt.sa_flags = 0; // not SA_RESTART: the wait is to end
        sigset_t mine;
        sigemptyset(&mine);
        sigaddset(&mine, signalNumber());
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = signalNumber();
        event._sigev_un._tid = gettid();
        m_hasTimer = sigaction(signalNumber(), &interrupt, nullptr) == 0 &&
                     pthread_sigmask(SIG_UNBLOCK, &mine, nullptr) == 0 &&
                     timer_create(CLOCK_MONOTONIC, &event, &m_timer) == 0;
    }
    ~AcceptLimit() {
        if (m_hasTimer) {
            timer_delete(m_timer);
        }
    }
    AcceptLimit(const AcceptLimit&) = delete;
    AcceptLimit& operator=(const AcceptLimit&) = delete;

    /// Waits until somebody connects to a listening socket, it is shut down, or a signal comes,
    /// which the library is to see; not at all for a descriptor that is no listening socket.
    static void waitForConnection(int sock) {
        int isListening = 0;
        socklen_t size = sizeof isListening;
        if (getsockopt(sock, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &size) != 0 ||
            isListening == 0) {
            return;
        }
        pollfd waiting{sock, POLLIN, 0};
        poll(&waiting, 1, -1);
    }

    /// The limit holds while one of these lives.
    class Running {
      public:
        explicit Running(const AcceptLimit& limit) : m_limit(limit) {
            m_limit.setTimer(m_limit.m_seconds);
        }
        ~Running() { m_limit.setTimer(0); }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

      private:
        const AcceptLimit& m_limit;
    };

  private:
    /// A signal that nothing else uses: the C library keeps the real-time ones that it needs below.
    static int signalNumber() { return SIGRTMIN + 7; }

    void setTimer(time_t seconds) const {
        if (m_hasTimer) {
            const itimerspec time{{seconds, 0}, {seconds, 0}};
            timer_settime(m_timer, 0, &time, nullptr);
        }
    }

    time_t m_seconds;
    timer_t m_timer{};
    bool m_hasTimer = false;
};
