# shellcheck shell=bash
# shellcheck disable=SC2154,SC2031 # root and run: commands_test.sh sets them
# The shell libraries below tools/ on their own. commands_test.sh sources it.

parameters_file_keeps_what_is_not_set() {
    (
        source "$root/tools/parameters.sh"
        printf '%s\n' root.Other.X=1 root.Zerith_markers.MarkersSeconds=5 root.zerith_markers.EulaAccepted=0 \
            root.Zerith_markers.SelectedDictionary=4x4 >file
        parameter_change=([EulaAccepted]=true [Detection10x]=12)
        store_parameters file
        load_parameters file
        [ "${parameter[MarkersSeconds]}" = 5 ]
        [ "${parameter[EulaAccepted]}" = true ]
        [ "${parameter[Detection10x]}" = 12 ]
        [ "${parameter[Detection10y]}" = 0 ]
        [ ${#parameter[@]} = 39 ]
    )
    has file root.Other.X=1
    has file root.Zerith_markers.SelectedDictionary=4x4
    [ "$(wc -l <file)" = 5 ]
    [ "$(ls)" = file ]
}

parameters_keep_blanks_equal_signs_and_backslashes() {
    (
        source "$root/tools/parameters.sh"
        # shellcheck disable=SC2016 # the dollar sign is meant
        local text=' a=b\c "d" $e '
        parameter_change=([SelectedDictionary]=$text)
        store_parameters file
        store_parameters file
        load_parameters file
        [ "${parameter[SelectedDictionary]}" = "$text" ]
    )
    [ "$(wc -l <file)" = 1 ]
}

demonstration_leaves_what_was_asked_for() {
    source "$root/tools/parameters.sh"
    parameter_change=([MarkersSeconds]=9)
    demonstration 1080 1920 640x360
    [ "${parameter_change[MarkersSeconds]}" = 9 ]
    [ "${parameter_change[SelectedDetectionOverlay]}" = 640x360 ]
    [ "${parameter_change[Detection10x]},${parameter_change[Detection10y]}" = 270,480 ]
    [ "${parameter_change[Detection12x]},${parameter_change[Detection12y]}" = 810,1440 ]
}

size_is() { # WIDTH HEIGHT KEY=VALUE...
    local wanted="$1 $2"
    shift 2
    { echo "[camera]" && printf '%s\n' "$@"; } >config
    [ "$(analysis_size config)" = "$wanted" ] && return 0
    echo "$* gives $(analysis_size config), not $wanted"
    return 1
}

analysis_size_is_the_largest_of_the_sensors_class() {
    source "$root/tools/hostcam-config.sh"
    size_is 1920 1080
    size_is 1920 1080 rotation=180
    size_is 1080 1920 rotation=90
    size_is 1080 1920 rotation=270
    size_is 640 480 aspect-ratio=4:3 resolutions=1920x1080,640x480,320x240
    size_is 1280 1024 aspect-ratio=4:3 "resolutions=640x480, 1280x1024"
    size_is 720 720 aspect-ratio=1:1 resolutions=1920x1080,720x720
    size_is 0 0 aspect-ratio=21:9
}

configuration_entries_hold_over_earlier_ones() {
    source "$root/tools/hostcam-config.sh"
    printf '%s\n' '[camera]' 'source=a' 'rotation = 90 ' '# source=b' '[state]' 'source=c' >config
    [ "$(config_value config camera source scene)" = a ]
    [ "$(config_value config camera rotation 0)" = 90 ]
    [ "$(config_value config camera product HostCam)" = HostCam ]
    config_entry camera source 'x y;\z' >>config
    [ "$(config_value config camera source scene)" = 'x y;\z' ]
}

test_results_are_counted_case_by_case() {
    cat >results.xml <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<testsuites tests="5" failures="1" disabled="1" errors="0" time="0.1" name="AllTests">
  <testsuite name="Tracker" tests="5" failures="1" disabled="1" skipped="1" errors="0" time="0.1">
    <testcase name="KeepsItsId" file="a.cpp" line="9" status="run" result="completed" time="0." classname="Tracker" />
    <testcase name="DropsIt" file="a.cpp" line="19" status="run" result="completed" time="0." classname="Tracker">
      <failure message="a.cpp:21&#x0A;Expected equality" type=""><![CDATA[a.cpp:21]]></failure>
      <failure message="a.cpp:22&#x0A;Expected equality" type=""><![CDATA[a.cpp:22]]></failure>
    </testcase>
    <testcase name="DISABLED_Slow" file="a.cpp" line="29" status="notrun" result="suppressed" time="0." classname="Tracker" />
    <testcase name="Photos" file="a.cpp" line="39" status="run" result="skipped" time="0." classname="Tracker">
      <skipped message="a.cpp:40&#x0A;no photos here" />
    </testcase>
    <testcase name="With/0" value_param="&quot;a&quot;" file="a.cpp" line="49" status="run" result="completed" time="0." classname="All/Tracker" />
  </testsuite>
</testsuites>
XML
    (
        # shellcheck disable=SC2034 # tools/lib.sh asks for it
        me="commands"
        source "$root/tools/lib.sh"
        source "$root/tools/counting.sh"
        cases_of results.xml
    ) >cases
    printf '%s\t%s\n' passed Tracker.KeepsItsId failed Tracker.DropsIt skipped Tracker.DISABLED_Slow \
        skipped "Tracker.Photos: no photos here" passed All/Tracker.With/0 >wanted
    diff wanted cases
}

failing_output_is_shown_without_what_passed() {
    cat >log <<'LOG'
[ RUN      ] Tracker.KeepsItsId
noise
[       OK ] Tracker.KeepsItsId (0 ms)
[ RUN      ] Tracker.DropsIt
a.cpp:21: Failure
[  FAILED  ] Tracker.DropsIt (0 ms)
Segmentation fault
LOG
    (
        # shellcheck disable=SC2034 # tools/lib.sh asks for it
        me="commands"
        source "$root/tools/lib.sh"
        source "$root/tools/counting.sh"
        failures_in log
    ) >shown
    has shown "a.cpp:21: Failure"
    has shown "Segmentation fault"
    has_not shown noise
}

opencv_folder_that_holds_none_is_told() {
    OpenCV_DIR=$PWD expect 1 "$root/tools/opencv/ensure-opencv.sh"
    has err "OpenCV_DIR=$PWD holds no OpenCV 4.7 or newer"
}

no_system_opencv() {
    local dir
    for dir in /usr/local/lib/cmake/opencv4 /usr/lib/*/cmake/opencv4; do
        [ ! -e "$dir" ] || skip "the system has an OpenCV"
    done
}

unwritable_cache_is_told() {
    no_system_opencv
    touch file
    ZERITH_CACHE=$PWD/file/cache expect 1 "$root/tools/opencv/ensure-opencv.sh"
    has err "cannot write $PWD/file/cache: set ZERITH_CACHE"
}

opencv_without_network_is_told() {
    no_system_opencv
    # Nothing listens on port 1.
    OPENCV_MIRROR=http://127.0.0.1:1/debian ZERITH_CACHE=$PWD/cache \
        expect 1 "$root/tools/opencv/ensure-opencv.sh"
    has err "check the network"
    has err "OpenCV's source could not be fetched"
    [ "$(ls cache)" = opencv.lock ]
}

case_of "tools: the parameters file keeps what is not set" parameters_file_keeps_what_is_not_set
case_of "tools: parameters keep blanks, equal signs and backslashes" \
    parameters_keep_blanks_equal_signs_and_backslashes
case_of "tools: the demonstration leaves what was asked for" demonstration_leaves_what_was_asked_for
case_of "tools: the analysis size is the largest of the sensor's class" \
    analysis_size_is_the_largest_of_the_sensors_class
case_of "tools: configuration entries hold over earlier ones" configuration_entries_hold_over_earlier_ones
case_of "tools: test results are counted case by case" test_results_are_counted_case_by_case
case_of "tools: failing output is shown without what passed" failing_output_is_shown_without_what_passed
case_of "opencv: a folder that holds none is told" opencv_folder_that_holds_none_is_told
case_of "opencv: a cache that cannot be written is told" unwritable_cache_is_told
case_of "opencv: a missing network is told, and leaves no half build" opencv_without_network_is_told
