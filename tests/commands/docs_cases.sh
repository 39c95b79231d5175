# shellcheck shell=bash
# shellcheck disable=SC2154 # root: the file before sets it
# What docs/operations.md says, against what it is about. commands_test.sh sources it.

every_log_line_is_told() {
    "$root/tests/commands/log_texts.py"
}

# A program that crashes, treated as the package's is: its symbols kept beside it.
core_file_is_read_with_the_kept_symbols() {
    command -v gdb >/dev/null || skip "gdb is not installed"
    [ "$(cat /proc/sys/kernel/core_pattern)" = core ] || skip "core files of this machine go elsewhere"
    cat >crash.cpp <<'CPP'
#include <csignal>
namespace {
[[gnu::noinline]] int lookAtTheMarker(int id) {
    if (id == 23) {
        std::raise(SIGSEGV);
    }
    return id + 1;
}
} // namespace
int main(int count, char**) { return lookAtTheMarker(22 + count) + count; }
CPP
    g++ -std=c++20 -O2 -g -fPIE -pie -o program crash.cpp
    objcopy --only-keep-debug program program.debug
    strip --strip-all program
    objcopy --add-gnu-debuglink=program.debug program
    ulimit -c unlimited
    ./program || [ $? = 139 ]
    set -- core*
    [ -e "$1" ] || skip "this machine leaves no core file"
    [ "$(readelf -n program 2>/dev/null | grep 'Build ID')" = "$(readelf -n program.debug 2>/dev/null | grep 'Build ID')" ]
    gdb -batch -ex 'thread apply all backtrace' program "$1" >told 2>&1
    has told "lookAtTheMarker (id="
    has told "at crash.cpp:5"
    # Without the symbols nothing of it is told.
    rm program.debug
    gdb -batch -ex 'thread apply all backtrace' program "$1" >told 2>&1
    has_not told lookAtTheMarker
}

case_of "docs: every line that the application logs is told in docs/operations.md, and no other" every_log_line_is_told
case_of "docs: a core file is read with the symbols that the package's build keeps" core_file_is_read_with_the_kept_symbols
