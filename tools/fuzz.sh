#!/usr/bin/env bash
# Feeds the fuzz targets of tests/fuzz with inputs that libFuzzer makes up, from the kept ones on.
set -euo pipefail

me="tools/fuzz.sh"
# shellcheck source=tools/lib.sh
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib.sh"

usage() {
    cat <<TEXT
Usage: tools/fuzz.sh [TARGET|all] [SECONDS]

Builds the targets and runs one, or all of them two at a time, for so many seconds each (default: 30).
It prints "ok TARGET: ..." or "not ok TARGET: ..." for each. Exit status: 0 without a finding, 1 with one.

  --list    print the targets and stop
  --counts  print how often each target was run by all calls so far, and stop
  --help    print this

What libFuzzer finds interesting is kept in build/fuzz/corpus/TARGET and used by the next call; an input that shows
a defect is left in build/fuzz/findings. ZM_FUZZ_BUILD names another build folder, which is taken as it is.
TEXT
}

readonly folder=$root/tests/fuzz
build=${ZM_FUZZ_BUILD:-$(build_folder fuzz)}
all_targets=()
for file in "$folder"/*_fuzz.cpp; do
    name=${file##*/}
    all_targets+=("${name%_fuzz.cpp}")
done

# Longer inputs show nothing more, except where several records or whole pictures are one.
longest() { # TARGET
    case $1 in
    web_requests | http_query) echo 5000 ;;
    settings | parameter_values) echo 2000 ;;
    camera_config) echo 1000 ;;
    log_entry) echo 100 ;;
    frame) echo 600 ;;
    size_texts) echo 40 ;;
    *) echo 400 ;;
    esac
}

# How often each target was run, over all calls.
print_counts() {
    awk -F '\t' '{ runs[$1] += $2; seconds[$1] += $3; all += $2 }
        END { for (target in runs) printf "%-18s %12d executions %8d s\n", target, runs[target], seconds[target] | "sort"
              close("sort"); printf "%-18s %12d executions\n", "all", all }' "$build/fuzz-executions" 2>/dev/null ||
        say "Nothing was run yet."
}

# run_target TARGET SECONDS: in a folder of its own in memory, which the target writes its files into.
run_target() {
    local what=$1 seconds=$2 work log status=0 runs dictionary=() inputs
    trap 'stop_step; rm -rf "$work"; exit 1' TERM
    log=$build/fuzz-logs/$what.log
    mkdir -p "$build/fuzz-logs" "$build/corpus/$what" "$build/findings"
    work=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")")
    inputs=("$build/corpus/$what" "$folder/corpus/$what")
    [ ! -d "$folder/findings/$what" ] || inputs+=("$folder/findings/$what")
    [ ! -e "$folder/dictionaries/$what.dict" ] || dictionary=("-dict=$folder/dictionaries/$what.dict")
    cd "$work"
    # Leaks are looked for at the end: whatever a log keeps back would be searched for after each input.
    # TZ: where a clock's zone is not named, every line of a log looks for it.
    patiently env TZ=UTC \
        ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1:malloc_context_size=3:quarantine_size_mb=32 UBSAN_OPTIONS=print_stacktrace=1 \
        "LSAN_OPTIONS=suppressions=$root/tests/support/lsan.supp:print_suppressions=0" \
        nice -n 19 "$build/fuzz/fuzz_$what" "-max_total_time=$seconds" "-max_len=$(longest "$what")" \
        -detect_leaks=0 -timeout=25 -rss_limit_mb=1500 -print_final_stats=1 "-artifact_prefix=$build/findings/$what-" \
        "${dictionary[@]}" "${inputs[@]}" >"$log" 2>&1 </dev/null || status=$?
    cd "$root"
    rm -rf "$work"
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    # One that was broken off has told how far it was.
    [ -n "$runs" ] || runs=$(sed -nE 's/^#([0-9]+)[ \t].*/\1/p' "$log" | tail -n 1)
    printf '%s\t%s\t%s\n' "$what" "${runs:-0}" "$seconds" >>"$build/fuzz-executions"
    if [ "$status" = 0 ] && [ "${runs:-0}" -gt 0 ]; then
        say "ok $what: $runs executions in $seconds s without a finding"
    elif [ "$status" = 42 ]; then
        say "skip $what: $(head -n 1 "$log")"
    else
        grep -vE '^#[0-9]+' "$log" | tail -n 40 | sed 's/^/    /'
        say "not ok $what: status $status after ${runs:-0} executions (whole output in $log)"
        return 1
    fi
}

main() {
    local what=all seconds=30 targets=() name failed=0 running=() pid
    case ${1:-} in
    --help | -h) usage && exit 0 ;;
    --list) printf '%s\n' "${all_targets[@]}" && exit 0 ;;
    --counts) print_counts && exit 0 ;;
    -*) usage_error "unknown option $1" ;;
    esac
    [ $# -le 2 ] || usage_error "it takes a target and a number of seconds"
    what=${1:-all} seconds=${2:-30}
    [[ $seconds =~ ^[1-9][0-9]{0,6}$ ]] || usage_error "$seconds: it takes a whole number of seconds"
    [[ $what = all || " ${all_targets[*]} " == *" $what "* ]] ||
        usage_error "$what: there is no such target. There are: ${all_targets[*]}"
    trap 'stop_step; [ ${#running[@]} = 0 ] || kill -TERM "${running[@]}" 2>/dev/null; wait; exit 1' INT TERM HUP
    if [ -z "${ZM_FUZZ_BUILD:-}" ]; then
        install_packages build test fuzz >&2
        configure fuzz >&2
        build fuzz fuzz_targets >&2
    fi
    [ "$what" = all ] && targets=("${all_targets[@]}") || targets=("$what")
    for name in "${targets[@]}"; do
        if [ ${#running[@]} -ge 2 ]; then
            wait -n -p pid "${running[@]}" || failed=1
            for i in "${!running[@]}"; do [ "${running[i]}" != "$pid" ] || unset "running[i]"; done
            running=("${running[@]}")
        fi
        run_target "$name" "$seconds" &
        running+=($!)
    done
    for pid in "${running[@]}"; do wait "$pid" || failed=1; done
    return "$failed"
}

main "$@"
