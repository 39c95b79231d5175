#pragma once

// What the code under test has logged, for tests of one module. The test program defines g_Logger.

#include <string>
#include <vector>

#include "core/Logger.h"

namespace testing_support {

/// Forgets everything that was logged so far.
inline void forgetLog() {
    g_Logger.clear();
}

/// The messages of one level ("info", "warning" or "error") since forgetLog(), oldest first.
inline std::vector<std::string> logged(const std::string& level) {
    g_Logger.flush();
    std::vector<std::string> messages;
    for (const LogEntry& entry : g_Logger.getLogEntriesFromFile()) {
        if (entry._logLevel == level) {
            messages.push_back(entry._message);
        }
    }
    return messages;
}

} // namespace testing_support
