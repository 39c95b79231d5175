#pragma once

// What the application has logged through g_Logger, which the test program defines.

#include <string>
#include <vector>

#include "core/Logger.h"

namespace testing_support {

/// Forgets what was logged so far.
inline void forgetLog() {
    g_Logger.clear();
}

/// Everything that was logged since, in order, as "level|message", for example "error|f: broken".
inline std::vector<std::string> logLines() {
    g_Logger.flush();
    std::vector<std::string> lines;
    for (const std::string& line : g_Logger.getLogLines()) {
        // The file's form is date|application|level|message.
        const std::size_t application = line.find('|') + 1;
        lines.push_back(line.substr(line.find('|', application) + 1));
    }
    return lines;
}

} // namespace testing_support
