#include "tests/unit/video/logged_lines.h"

#include <algorithm>
#include <iterator>

#include "core/Logger.h"

Logger g_Logger("video-test", "./video_test_log.txt");

namespace video_test {

std::vector<std::string> loggedLines() {
    g_Logger.flush();
    std::vector<std::string> lines;
    for (const LogEntry& entry : g_Logger.getLogEntriesFromFile()) {
        lines.push_back(entry._logLevel + ": " + entry._message);
    }
    return lines;
}

std::vector<std::string> loggedErrors() {
    std::vector<std::string> errors;
    std::ranges::copy_if(loggedLines(), std::back_inserter(errors),
                         [](const std::string& line) { return line.starts_with("error: "); });
    return errors;
}

void forgetLog() {
    g_Logger.clear();
}

} // namespace video_test
