# shellcheck shell=bash
# How ./test runs cases and counts them. It is sourced after tools/lib.sh. Every case leaves one line in
# the file that `results` names: passed, failed or skipped, the stage, and the case's name.

readonly logs=${root:?tools/lib.sh comes first}/build/test-logs
readonly results=$logs/results
stage="" # the one that runs

record() { # passed|failed|skipped NAME
    printf '%s\t%s\t%s\n' "$1" "$stage" "$2" >>"$results"
}

count() { # KIND [STAGE]
    awk -F '\t' -v kind="$1" -v stage="${2:-}" '$1 == kind && (stage == "" || $2 == stage)' "$results" | wc -l
}

counts() { # [STAGE]
    printf '%s passed, %s failed, %s skipped' "$(count passed "${1:-}")" "$(count failed "${1:-}")" \
        "$(count skipped "${1:-}")"
}

# check NAME COMMAND...: one case, whose output only matters when it fails.
check() {
    local name=$1 log=$logs/$stage-${1//[^a-zA-Z0-9]/-}.log
    shift
    if "$@" >"$log" 2>&1; then
        record passed "$name"
    else
        record failed "$name"
        say "FAILED: $name (whole output in $log)"
        tail -n 60 "$log"
    fi
}

# cases_of FILE: the cases of a GoogleTest result file, KIND and NAME a line. A skipped case's name is
# followed by the reason.
cases_of() {
    awk '
        function attribute(name, text) {
            if (!match(text, " " name "=\"[^\"]*\"")) return ""
            return substr(text, RSTART + length(name) + 3, RLENGTH - length(name) - 4)
        }
        function finish() {
            if (label != "") print kind "\t" label
            label = ""
        }
        /<testcase / {
            finish()
            label = attribute("classname", $0) "." attribute("name", $0)
            kind = attribute("result", $0) == "completed" ? "passed" : "skipped"
        }
        /<failure/ && label != "" { kind = "failed" }
        /<skipped/ && label != "" && kind == "skipped" {
            reason = attribute("message", $0)
            sub(/^[^&]*:[0-9]+&#x0A;/, "", reason)
            sub(/&#x0A;.*/, "", reason)
            if (reason != "") label = label ": " reason
        }
        /<\/testsuites>/ { finish() }' "$1"
}

# Of a log of GoogleTest programs what belongs to failures: the output of each failed case and whatever
# stands outside of cases, at most 200 lines.
failures_in() {
    awk '
        /^([0-9]+: )?\[ RUN / { held = $0 "\n"; holding = 1; next }
        /^([0-9]+: )?\[       OK / || /^([0-9]+: )?\[  SKIPPED / { held = ""; holding = 0; next }
        /^([0-9]+: )?\[  FAILED / { printf "%s", held; held = ""; holding = 0; print; next }
        /^([0-9]+: )?\[(-----|=====|  PASSED)/ || /Passed/ || /^ *Start +[0-9]+:/ || /^$/ { next }
        # A program that was not built: one line of CTest says so, the places it has looked in do not.
        /^(Could not find executable|Looked in the following places|Unable to find executable)/ { next }
        /^[^ ]*\/[^ ]*$/ && !holding { next }
        holding { held = held $0 "\n"; next }
        { print }
        END { printf "%s", held }' "$1" | head -n 200
}

# count_programs BUILD CTEST-ARGUMENT...: runs the test programs that CTest chooses by the arguments and
# counts their cases. A program that leaves no result file is one case.
count_programs() {
    local build=$1 log=$logs/$stage.log name kind label programs broken xml any_failed
    shift
    programs=$(ctest --test-dir "$build" -N "$@" | sed -n 's/^ *Test *#[0-9]*: //p')
    if [ -z "$programs" ]; then
        record failed "there is no test program"
        say "FAILED: $build has no test program for $stage"
        return 0
    fi
    for name in $programs; do rm -f "$build/test-results/$name.xml"; done
    rm -f "$build/Testing/Temporary/LastTestsFailed.log"
    patiently ctest --test-dir "$build" -j "$(nproc)" --output-on-failure "$@" >"$log" 2>&1 || true
    broken=$(sed 's/^[0-9]*://' "$build/Testing/Temporary/LastTestsFailed.log" 2>/dev/null) || true
    for name in $programs; do
        xml=$build/test-results/$name.xml
        any_failed=false
        if [ -e "$xml" ]; then
            while IFS=$'\t' read -r kind label; do
                record "$kind" "$label"
                [ "$kind" != failed ] || any_failed=true
            done < <(cases_of "$xml")
        fi
        if grep -qxF -- "$name" <<<"$broken"; then
            # It crashed, hung, leaked, or failed without saying in which case.
            $any_failed || record failed "$name"
        elif ! [ -e "$xml" ]; then
            record passed "$name"
        fi
    done
    [ "$(count failed "$stage")" = 0 ] || { say "Whole output in $log:" && failures_in "$log"; }
}

# count_junit NAME COMMAND...: runs tests that leave their results as JUnit's XML in the file that JUNIT_FILE
# names, and counts their cases. Without results the run as a whole has failed.
count_junit() {
    local name=$1 log=$logs/$stage.log status=0 kind label
    shift
    export JUNIT_FILE=$logs/$stage.xml
    rm -f "$JUNIT_FILE"
    patiently "$@" >"$log" 2>&1 || status=$?
    while IFS=$'\t' read -r kind label; do
        record "$kind" "$label"
    done < <("$root/tools/junit-cases.py" "$JUNIT_FILE" 2>>"$log")
    if [ "$status" != 0 ] && [ "$(count failed "$stage")" = 0 ]; then record failed "$name ended with status $status"; fi
    [ "$(count failed "$stage")" = 0 ] || { say "Whole output in $log:" && tail -n 100 "$log"; }
}

# run_script SCRIPT ARGUMENT...: a test script that prints "ok NAME", "not ok NAME" or "skip NAME: REASON" for each
# of its cases, and whatever explains a failure before that line.
run_script() {
    local log line status=0
    log=$logs/$stage-$(basename "$1").log
    patiently "$root/$1" "${@:2}" >"$log" 2>&1 || status=$?
    while IFS= read -r line; do
        case $line in
        "ok "*) record passed "${line#ok }" ;;
        "not ok "*) record failed "${line#not ok }" ;;
        "skip "*) record skipped "${line#skip }" ;;
        esac
    done <"$log"
    if [ "$status" != 0 ] && [ "$(count failed "$stage")" = 0 ]; then
        record failed "$1 ended with status $status"
    fi
    [ "$(count failed "$stage")" = 0 ] || { say "Whole output in $log:" && grep -v -e '^ok ' -e '^skip ' "$log" | tail -n 100; }
}
