#pragma once

// The system log of the test program: what the program sends to syslog is kept here instead. A
// program that links captured_syslog.cpp has its own openlog(), syslog() and closelog().

#include <functional>
#include <string>
#include <vector>

namespace testing_support {

/// Everything sent since the last forgetSyslog(), in order, as "priority|text" (LOG_ERR is 3,
/// LOG_WARNING 4, LOG_INFO 6); openlog() as "open|identity|options|facility", closelog() as
/// "close".
[[nodiscard]] std::vector<std::string> syslogLines();

void forgetSyslog();

/// Has a function called with each line, in the thread that sends it and before syslog() returns;
/// an empty function: no longer. Set it while no other thread logs.
void onSyslogLine(std::function<void(const std::string&)> function);

} // namespace testing_support
