#pragma once

// The platform check: holds an implementation of the camera platform's four libraries against their
// contract, through nothing but their public headers, so that it runs against the host camera and
// on a camera alike. One line a check:
//
//     ok    events: a state is declared
//     FAIL  events: a state is declared
//           ax_event_handler_declare(...)  check_events.cpp:40
//     skip  overlays: an overlay is drawn (nobody watches a stream)
//
// Checks of what only the host camera promises are marked; they run when it is known to be one.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <glib.h>

namespace platform_check {

/// What is checked, and where.
struct Subject {
    std::string application = "zerith_markers"; ///< the name that the parameters belong to
    /// The host camera's state folder. None: a camera, of which only what the platform promises is
    /// checked.
    std::optional<std::filesystem::path> hostState;

    [[nodiscard]] bool isHost() const { return hostState.has_value(); }
};

/// Counts and prints the checks of one library.
class Report {
  public:
    /// @param library begins each line
    explicit Report(std::string library) : m_library(std::move(library)) {}

    /// One check. @return whether it holds, for checks that need it
    bool check(bool holds, const std::string& what, const char* condition, const char* file,
               int line);

    /// A check that cannot be made here.
    void skip(const std::string& what, const std::string& reason);

    [[nodiscard]] int checks() const { return m_checks; }
    [[nodiscard]] int failures() const { return m_failures; }
    [[nodiscard]] int skipped() const { return m_skipped; }

  private:
    std::string m_library;
    int m_checks = 0;
    int m_failures = 0;
    int m_skipped = 0;
};

/// An error argument that frees what it receives.
class Error {
  public:
    Error() = default;
    ~Error() { g_clear_error(&m_error); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;

    /// For a call; what an earlier call left is dropped.
    [[nodiscard]] GError** out() {
        g_clear_error(&m_error);
        return &m_error;
    }
    [[nodiscard]] bool isSet() const { return m_error != nullptr; }
    /// Whether the last call failed with this error.
    [[nodiscard]] bool is(GQuark domain, int code) const {
        return m_error != nullptr && m_error->domain == domain && m_error->code == code;
    }
    [[nodiscard]] bool isOf(GQuark domain) const {
        return m_error != nullptr && m_error->domain == domain;
    }
    [[nodiscard]] std::string domainName() const {
        return m_error == nullptr ? "" : g_quark_to_string(m_error->domain);
    }

  private:
    GError* m_error = nullptr;
};

/// Runs the default main context's loop until something has happened.
/// @return false when it has not within five seconds
bool runLoopUntil(const std::function<bool()>& happened);

void checkParameters(const Subject& subject, Report& report);
void checkEvents(const Subject& subject, Report& report);
void checkOverlays(const Subject& subject, Report& report);
void checkVideo(const Subject& subject, Report& report);

} // namespace platform_check

/// Needs `report` in scope.
#define PLATFORM_CHECK(what, condition)                                                            \
    report.check(static_cast<bool>(condition), what, #condition, __FILE__, __LINE__)
