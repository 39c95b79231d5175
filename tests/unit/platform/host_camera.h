#pragma once

// A host camera for one test: a state folder and a configuration of its own, no faults, and the
// warnings that the camera gives, kept instead of printed.

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include <glib.h>

#include "platform/hostcam/config.h"
#include "platform/hostcam/faults.h"
#include "platform/hostcam/misuse.h"
#include "tests/support/temp_dir.h"

namespace testing_support {

/// An error argument that frees what it receives.
class ErrorSlot {
  public:
    ErrorSlot() = default;
    ~ErrorSlot() { g_clear_error(&m_error); }
    ErrorSlot(const ErrorSlot&) = delete;
    ErrorSlot& operator=(const ErrorSlot&) = delete;

    /// For a call; what an earlier call left is dropped.
    [[nodiscard]] GError** out() {
        g_clear_error(&m_error);
        return &m_error;
    }
    [[nodiscard]] bool isSet() const { return m_error != nullptr; }
    /// -1 when there is none.
    [[nodiscard]] int code() const { return m_error == nullptr ? -1 : m_error->code; }
    [[nodiscard]] GQuark domain() const { return m_error == nullptr ? 0 : m_error->domain; }
    [[nodiscard]] std::string text() const { return m_error == nullptr ? "" : m_error->message; }

  private:
    GError* m_error = nullptr;
};

class HostCamera {
  public:
    /// @param configuration further lines of the key file, which begin with a group
    explicit HostCamera(const std::string& configuration = "") {
        m_handler = g_log_set_handler("hostcam", G_LOG_LEVEL_WARNING, keep, this);
        configure(configuration);
    }
    ~HostCamera() {
        hostcam::clearFaults();
        hostcam::clearMisuses();
        unsetenv("HOSTCAM_CONFIG"); // NOLINT(concurrency-mt-unsafe): tests set up one after another
        hostcam::resetConfig();
        g_log_remove_handler("hostcam", m_handler);
    }
    HostCamera(const HostCamera&) = delete;
    HostCamera& operator=(const HostCamera&) = delete;

    /// Starts the camera with another configuration and the same state folder. The web endpoint is
    /// off unless the configuration sets its port.
    void configure(const std::string& configuration) {
        writeFile(m_dir / "camera.conf",
                  "[http]\nport=0\n[state]\ndirectory=" + state().string() + "\n" + configuration);
        // NOLINTNEXTLINE(concurrency-mt-unsafe): tests set up one after another
        setenv("HOSTCAM_CONFIG", (m_dir / "camera.conf").c_str(), 1);
        hostcam::resetConfig();
    }

    /// Starts the camera again as it is, as after a restart of the process.
    void restart() { hostcam::resetConfig(); }

    [[nodiscard]] std::filesystem::path state() const { return m_dir / "state"; }
    [[nodiscard]] std::filesystem::path parameters() const { return state() / "parameters.conf"; }
    [[nodiscard]] std::filesystem::path journal() const { return state() / "events.jsonl"; }
    [[nodiscard]] std::filesystem::path configuration() const { return m_dir / "camera.conf"; }

    /// The warnings since the start or the last call.
    [[nodiscard]] std::vector<std::string> takeWarnings() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_warnings, {});
    }

  private:
    static void keep(const gchar* /*domain*/, GLogLevelFlags /*level*/, const gchar* text,
                     gpointer self) {
        auto* const camera = static_cast<HostCamera*>(self);
        const std::lock_guard lock(camera->m_mutex);
        camera->m_warnings.emplace_back(text);
    }

    TempDir m_dir;
    guint m_handler = 0;
    std::mutex m_mutex;
    std::vector<std::string> m_warnings; // guarded by m_mutex
};

/// Lets the default main context make the calls that wait.
inline void runMainContext() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

} // namespace testing_support
