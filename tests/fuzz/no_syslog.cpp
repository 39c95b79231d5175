// Nothing that a fuzzed program logs goes to the machine's log: millions of lines would.

#include <syslog.h>

// The C library's functions, for the whole program.
extern "C" {

void openlog(const char* /*ident*/, int /*option*/, int /*facility*/) {}

void syslog(int /*priority*/, const char* /*format*/, ...) {}

// What syslog() is called in a program that is compiled with checks of its formats.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the library's name
void __syslog_chk(int priority, int flag, const char* format, ...);
void __syslog_chk(int /*priority*/, int /*flag*/, const char* /*format*/, ...) {}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

void closelog() {}

} // extern "C"
