# shellcheck shell=bash
# How a test script tells of its checks, as tools/counting.sh reads it. It is sourced; the caller sets `subject`.

failures=0

verdict() { # STATUS NAME
    if [ "$1" = 0 ]; then
        echo "ok ${subject:?the script that sources this sets it}: $2"
    else
        echo "not ok $subject: $2"
        failures=$((failures + 1))
    fi
}
