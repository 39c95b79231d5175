#pragma once

// The log under test: defines nothing but g_Logger (in logged_lines.cpp) and reads it back.

#include <string>
#include <vector>

namespace video_test {

/// Everything logged since the last forgetLog(), oldest first, as "level: message".
[[nodiscard]] std::vector<std::string> loggedLines();

/// Those of loggedLines() at error level.
[[nodiscard]] std::vector<std::string> loggedErrors();

/// Empties the log.
void forgetLog();

} // namespace video_test
