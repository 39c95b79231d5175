# shellcheck shell=bash
# shellcheck disable=SC2154 # root and run: commands_test.sh sets them
# What the command lines of ./run and ./test refuse and tell. commands_test.sh sources it.

help_names_each_option() {
    local option
    expect 0 "$run" --help
    for option in --source --set --factory --state --config --duration --port --address --login --no-build --build-only --cache --help; do
        has out " $option"
    done
    expect 0 "$root/test" --help
    for option in --all --stage --list; do has out " $option"; done
}

help_names_every_parameter() {
    expect 0 "$run" --help
    for name in DetectionOverlaysOn SelectedDetectionOverlay IsRequirePresent DisplayNonAOI EulaAccepted \
        SelectedDictionary Detection{1,2,3}{0,1,2,3}{x,y} MarkersSeconds Markers{0,1,2,3}{x,y}; do
        has out "$name"
    done
}

unknown_option_is_a_usage_error() {
    expect 2 "$run" --nonsense
    has err "unknown option --nonsense"
    expect 2 "$run" video.mp4
    has err "unknown option video.mp4"
    expect 2 "$root/test" --nonsense
    has err "unknown option --nonsense"
}

missing_value_is_a_usage_error() {
    local option
    for option in --source --set --state --config --duration --port --address --login; do
        expect 2 "$run" "$option"
        has err "$option takes a value"
    done
    for option in --source --state --config; do expect 2 "$run" "$option="; done
    expect 2 "$root/test" --stage
}

unknown_parameter_is_a_usage_error_that_names_the_known_ones() {
    expect 2 "$run" --set Foo=1
    has err "Foo"
    has err "EulaAccepted"
    has err "Markers3y"
    expect 2 "$run" --set EulaAccepted
    has err "NAME=VALUE"
    expect 2 "$run" --set $'SelectedDictionary=a\nb'
    has err "one line"
}

duration_is_a_number_above_zero() {
    local value
    for value in 0 0.0 -1 abc 1e3 1. ""; do
        [ -z "$value" ] || expect 2 "$run" --duration "$value"
        [ -z "$value" ] || has err "a number of seconds above 0"
    done
}

missing_source_is_a_usage_error_that_names_it() {
    expect 2 "$run" --source nowhere.png
    has err "there is no $PWD/nowhere.png"
    expect 2 "$run" --source "file://$PWD/no%20where.png"
    has err "there is no $PWD/no where.png"
    expect 2 "$run" --source ftp://127.0.0.1/video.mp4
    has err "ftp://127.0.0.1/video.mp4"
}

missing_configuration_is_a_usage_error_that_names_it() {
    expect 2 "$run" --config nowhere.conf
    has err "there is no file nowhere.conf"
    expect 2 "$run" --config .
}

cache_is_printed_and_can_be_moved() {
    ZERITH_CACHE=$PWD/elsewhere expect 0 "$run" --cache
    has out "$PWD/elsewhere"
    ZERITH_CACHE=relative expect 0 "$run" --cache
    has out "$PWD/relative"
    [ ! -e elsewhere ]
    env -u ZERITH_CACHE XDG_CACHE_HOME="$PWD/xdg" "$run" --cache >out
    has out "$PWD/xdg/zerith-markers"
}

stages_are_listed() {
    local stage
    expect 0 "$root/test" --list
    for stage in build unit integration style threads commands asan tsan; do has out "$stage "; done
}

unknown_stage_is_a_usage_error_that_names_the_known_ones() {
    expect 2 "$root/test" --stage nonsense
    has err "nonsense"
    has err "integration"
    expect 2 "$root/test" --all --stage unit
}

case_of "run and test: help names each option" help_names_each_option
case_of "run: help names every parameter" help_names_every_parameter
case_of "run and test: an unknown option is a usage error" unknown_option_is_a_usage_error
case_of "run and test: a missing value is a usage error" missing_value_is_a_usage_error
case_of "run: an unknown parameter is a usage error that names the known ones" \
    unknown_parameter_is_a_usage_error_that_names_the_known_ones
case_of "run: a duration is a number above zero" duration_is_a_number_above_zero
case_of "run: a missing source is a usage error that names it" missing_source_is_a_usage_error_that_names_it
case_of "run: a missing configuration is a usage error that names it" \
    missing_configuration_is_a_usage_error_that_names_it
case_of "run: the cache is printed and can be moved" cache_is_printed_and_can_be_moved
case_of "test: the stages are listed" stages_are_listed
case_of "test: an unknown stage is a usage error that names the known ones" \
    unknown_stage_is_a_usage_error_that_names_the_known_ones
