#!/usr/bin/env bash
# Tests of ./run and ./test themselves. Each prints "ok NAME", "not ok NAME" or "skip NAME: REASON".
#
# commands_test.sh [WORD]: only the cases whose name holds WORD.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
only=${1:-}
failures=0
run_pid="" # a ./run that a case has started in the background
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work # the states that ./run makes go with it

# case_of NAME FUNCTION: the function runs in a folder of its own and fails at its first failing command.
case_of() {
    local name=$1 folder status
    [[ $name == *"$only"* ]] || return 0
    folder=$(mktemp -d "$work/case.XXXXXX")
    (
        cd "$folder"
        # A case that fails must not leave its run behind.
        trap end_run EXIT
        set -e
        "$2"
    ) >"$folder.log" 2>&1
    status=$?
    case $status in
    0) echo "ok $name" ;;
    77) echo "skip $name: $(tail -n 1 "$folder.log")" ;;
    *)
        sed 's/^/    /' "$folder.log"
        echo "not ok $name"
        failures=$((failures + 1))
        ;;
    esac
}

end_run() {
    [ -n "$run_pid" ] || return 0
    kill -TERM "$run_pid" 2>/dev/null && wait "$run_pid"
    return 0
}

skip() { # REASON
    echo "$*"
    exit 77
}

# expect STATUS COMMAND...: runs the command; its output is in `out`, its errors are in `err`.
expect() {
    local wanted=$1 status=0
    shift
    # What should end by itself may not do so.
    timeout --foreground 300 "$@" >out 2>err </dev/null || status=$?
    [ "$status" = "$wanted" ] && return 0
    echo "status $status, not $wanted, of: $*"
    cat out err
    return 1
}

has() { # FILE TEXT
    grep -qF -- "$2" "$1" && return 0
    echo "$1 does not hold \"$2\":"
    cat "$1"
    return 1
}

has_not() { # FILE TEXT
    if grep -qF -- "$2" "$1"; then
        echo "$1 holds \"$2\":"
        cat "$1"
        return 1
    fi
}

until_in() { # FILE TEXT: waits, at most a minute
    local try
    for ((try = 0; try < 600; ++try)); do
        grep -qsF -- "$2" "$1" && return 0
        sleep 0.1
    done
    has "$1" "$2"
}

value_of() { # PARAMETER, in ./state
    sed -n "s/^root\.Zerith_markers\.$1=//p" state/parameters.conf
}

# stand_in NAME: a command of that name that comes first in PATH. Its text is read from standard input.
stand_in() {
    mkdir -p bin
    { echo '#!/bin/bash' && cat; } >"bin/$1"
    chmod +x "bin/$1"
    [[ $PATH == "$PWD/bin:"* ]] || export PATH="$PWD/bin:$PATH"
}

# shellcheck disable=SC2034 # the cases use it
run=$root/run

# A port that nobody has, so that no server of this machine is in the way of ./run's.
until [ -n "${ZERITH_PORT:-}" ]; do
    ZERITH_PORT=$((20000 + RANDOM % 10000))
    ! (exec 3<>"/dev/tcp/127.0.0.1/$ZERITH_PORT") 2>/dev/null || ZERITH_PORT=""
done
export ZERITH_PORT


# test_data FILE: sets `data` to one of the test pictures and videos that may lie beside the tree.
test_data() {
    data=$root/../shared/testdata/$1
    [ -e "$data" ] || skip "the test pictures are not there"
}

for file in "$root"/tests/commands/*_cases.sh; do
    # shellcheck disable=SC1090 # each defines its cases and calls case_of for them
    source "$file"
done
[ "$failures" = 0 ]
