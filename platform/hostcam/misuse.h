#pragma once

// What the host camera says when something is wrong that no caller is told of: a line of the
// parameter file that is not understood, and calls that break the platform's rules (two parameter
// calls at a time, a handle that was freed). It goes to GLib's log, domain "hostcam", and so to
// standard error.
//
// All functions may be called from any thread.

#include <string>
#include <vector>

namespace hostcam {

/// Says something at warning level.
void warn(const std::string& text);

/// Says something at warning level, unless it is what was said like this last. For trouble that
/// comes back with every call: an application that does not pass on an error's text leaves a person
/// in the dark otherwise.
void warnUnlessRepeated(const std::string& text);

/// Says that the application has broken a rule of the platform, and remembers it.
void reportMisuse(const std::string& text);

/// Every misuse since the start or the last clearMisuses(), in order. A test asserts that it is
/// empty.
[[nodiscard]] std::vector<std::string> misuses();

/// Forgets them.
void clearMisuses();

} // namespace hostcam
