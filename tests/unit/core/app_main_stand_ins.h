#pragma once

// What stands between the start-up module and the system in its tests: the web service's library,
// the creation of its thread, the machine's memory, and the installation of the analysis timer.

#include <functional>

#include <glib.h>

namespace testing_support {

/// How the web service's library behaves.
enum class WebLibrary {
    Works,       ///< waits for requests until its socket is shut down
    CannotBegin, ///< its initialisation fails
    Hangs,       ///< waits for ever, as a request does whose peer says no more
    EndsAtOnce,  ///< the first wait for a request fails
};
void setWebLibrary(WebLibrary behaviour);

/// Whether the web service has come so far as to wait for a request.
[[nodiscard]] bool webServiceWaits();

/// Has the creation of the web-service thread fail, and of no other.
void failToCreateTheWebThread(bool fail);

/// The machine's memory as the system tells it, in units of `unit` bytes; or a failure to tell.
void setMemory(unsigned long total, unsigned long free, unsigned unit);
void failToTellTheMemory();
void tellTheRealMemory();

/// Has a function called right after a GLib timer was installed; an empty one: no longer.
void onTimerInstalled(std::function<void()> function);

/// What the C library was last told of the memory that it keeps, in bytes; 0: nothing yet.
struct KeptMemory {
    int largestBlock = 0; ///< M_MMAP_THRESHOLD
    int atTheEnd = 0;     ///< M_TRIM_THRESHOLD
};
[[nodiscard]] KeptMemory keptMemory();
void forgetKeptMemory();

/// The arguments of the timer installed last.
struct TimerCall {
    guint interval = 0; ///< milliseconds
    GSourceFunc function = nullptr;
    gpointer data = nullptr;
};
[[nodiscard]] TimerCall lastTimer();

} // namespace testing_support
