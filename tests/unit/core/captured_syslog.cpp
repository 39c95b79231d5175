#include "tests/unit/core/captured_syslog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include <syslog.h>

namespace {

// Made at the first use and never destroyed: static objects log while they come and go.
std::mutex& mutex() {
    static auto* const instance = new std::mutex;
    return *instance;
}

std::vector<std::string>& lines() {
    static auto* const instance = new std::vector<std::string>;
    return *instance;
}

std::function<void(const std::string&)>& listener() {
    static auto* const instance = new std::function<void(const std::string&)>;
    return *instance;
}

void add(const std::string& line) {
    {
        const std::lock_guard lock(mutex());
        lines().push_back(line);
    }
    if (listener()) {
        listener()(line);
    }
}

std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

} // namespace

// The C library's functions, for the whole program.
extern "C" {

void openlog(const char* ident, int option, int facility) {
    add(std::string("open|") + ident + "|" + std::to_string(option) + "|" +
        std::to_string(facility));
}

__attribute__((format(printf, 2, 3))) void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    add(std::to_string(priority) + "|" + formatted(format, arguments));
    va_end(arguments);
}

// What syslog() is called in a program that is compiled with checks of its formats.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the library's name
void __syslog_chk(int priority, int flag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    add(std::to_string(priority) + "|" + formatted(format, arguments));
    va_end(arguments);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

void closelog() {
    add("close");
}

} // extern "C"

namespace testing_support {

std::vector<std::string> syslogLines() {
    const std::lock_guard lock(mutex());
    return lines();
}

void forgetSyslog() {
    const std::lock_guard lock(mutex());
    lines().clear();
}

void onSyslogLine(std::function<void(const std::string&)> function) {
    listener() = std::move(function);
}

} // namespace testing_support
