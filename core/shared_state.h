#pragma once

// Race-free access to the plain variables that the main loop, the web-service thread and the
// SIGTERM handler share. The variables keep their plain types (an int stays an int); every access
// to one that another thread may touch goes through these two functions. Any thread.

#include <atomic>

/// Reads a variable that another thread may be writing.
template <typename T>
[[nodiscard]] inline T loadShared(T& variable) {
    return std::atomic_ref<T>(variable).load();
}

/// Writes a variable that another thread may be reading.
template <typename T>
inline void storeShared(T& variable, T value) {
    std::atomic_ref<T>(variable).store(value);
}
