# shellcheck shell=bash
# shellcheck disable=SC2154,SC2031 # root and run: commands_test.sh sets them
# The shell libraries below tools/ on their own. commands_test.sh sources it.

# The shell library, with a host camera that offers what the arguments say.
with_camera() { # RESOLUTIONS ASPECT-RATIO ROTATION
    source "$root/tools/parameters.sh"
    camera=([resolutions]=$1 [aspect-ratio]=$2 [rotation]=$3 [viewer]=640x360)
}

demonstration_leaves_what_was_asked_for() {
    with_camera 1920x1080,1280x720 16:9 90
    parameter_change=([MarkersSeconds]=9)
    demonstration
    [ "${parameter_change[MarkersSeconds]}" = 9 ]
    [ "${parameter_change[EulaAccepted]}" = true ]
    [ "${parameter_change[SelectedDetectionOverlay]}" = 640x360 ]
}

demonstration_takes_the_middle_of_the_picture() {
    local corners
    with_camera 1920x1080,1280x720 16:9 90
    demonstration
    corners=$(for corner in 0 1 2 3; do
        printf '%s,%s ' "${parameter_change[Detection1${corner}x]}" "${parameter_change[Detection1${corner}y]}"
    done)
    [ "$corners" = "270,480 810,480 810,1440 270,1440 " ]
}

size_is() { # WIDTH HEIGHT RESOLUTIONS ASPECT-RATIO ROTATION
    local wanted="$1 $2" found
    found=$(with_camera "$3" "$4" "$5" && analysis_size)
    [ "$found" = "$wanted" ] && return 0
    echo "$3 $4 $5 gives $found, not $wanted"
    return 1
}

analysis_size_is_the_largest_of_the_sensors_class() {
    size_is 1920 1080 1280x720,1920x1080,640x360 16:9 0
    size_is 1920 1080 1920x1080 16:9 180
    size_is 1080 1920 1920x1080 16:9 90
    size_is 1080 1920 1920x1080 16:9 270
    size_is 640 480 1920x1080,640x480,320x240 4:3 0
    size_is 1280 1024 640x480,1280x1024 4:3 0
    size_is 720 720 1920x1080,720x720 1:1 0
    size_is 0 0 1920x1080 21:9 0
}

# What a file of events or of log lines is shown as, once it was read in two pieces.
shown() { # FILE HANDLER
    local fd size
    size=$(wc -c <"$1")
    : >growing
    exec {fd}<growing
    head -c $((size / 2)) "$1" >>growing
    follow_lines "$fd" file "$2"
    tail -c +$((size / 2 + 1)) "$1" >>growing
    follow_lines "$fd" file "$2"
    exec {fd}<&-
    show_repetitions
}

events_are_told_in_words() {
    say() { printf '%s\n' "$*"; }
    source "$root/tools/follow.sh"
    local topic=tnsaxis:CameraApplicationPlatform/ZerithMarkersApplication/
    event() { # SECOND NAME REST
        echo "{\"time\":\"2026-01-31T12:00:0$1.250+01:00\",\"topic\":\"$topic$2\",$3}"
    }
    {
        event 0 ZerithMarkersAlert '"stateful":true,"declared":true,"data":{"active":false}'
        event 1 ZerithMarkersData '"stateful":false,"data":{"payload":"3,7"}'
        event 2 ZerithMarkersAlert '"stateful":true,"data":{"active":true}'
        event 3 ZerithMarkersAlert '"stateful":true,"data":{"active":false}'
        event 4 ZerithMarkersData '"stateful":false,"data":{"payload":""}'
        echo '{"something":"else"}'
    } >journal
    shown journal show_event >told
    cat >wanted <<'TEXT'
12:00:00.250  event declared: ZerithMarkersAlert
12:00:01.250  markers inside area 1: 3,7
12:00:02.250  ALERT starts
12:00:03.250  alert stops
12:00:04.250  no marker inside area 1
  event {"something":"else"}
TEXT
    diff wanted told
}

log_lines_are_told_once() {
    say() { printf '%s\n' "$*"; }
    source "$root/tools/follow.sh"
    cat >log <<'TEXT'
2026-01-31 12:00:00|zerith_markers|warning|STARTING zerith_markers
2026-01-31 12:00:00|zerith_markers|info|main: something
2026-01-31 12:00:01|zerith_markers|error|detect_markers: unable to getFrame
2026-01-31 12:00:02|zerith_markers|error|detect_markers: unable to getFrame
2026-01-31 12:00:03|zerith_markers|error|detect_markers: unable to getFrame
2026-01-31 12:00:04|zerith_markers|warning|sendEventStarted: Starting event Zerith Markers Alert
2026-01-31 12:00:05|zerith_markers|warning|init: odd | but told
2026-01-31 12:00:06|zerith_markers|warning|STOPPING zerith_markers
2026-01-31 12:00:06|zerith_markers|warning|
TEXT
    shown log show_log_line >told
    cat >wanted <<'TEXT'
12:00:01      error: detect_markers: unable to getFrame
              (the same 2 times more)
12:00:05      warning: init: odd | but told
TEXT
    diff wanted told
}

web_server_takes_names_where_they_are_known() {
    config() { "$root/tools/lighttpd-config.sh" --html . --socket ./s --camera 127.0.0.1:9 --port 1 "$@" >made; }
    config
    has made '["host"] !~ "^(|(localhost|127\.0\.0\.1|'
    config --address 0.0.0.0
    has_not made '["host"]'
    config --address 0.0.0.0 --names 'cam.example,10.0.0.1'
    has made '|cam\.example|10\.0\.0\.1)(:[0-9]+)?)$"'
    # What is no name cannot end the pattern or the text that it is in.
    config --names 'a)(b|.*'
    has made '|a\)\(b\|\.\*)'
    expect 2 "$root/tools/lighttpd-config.sh" --names 'a"b'
}

control_characters_do_not_reach_the_terminal() {
    say() { printf '%s\n' "$*"; }
    source "$root/tools/follow.sh"
    printf '2026-01-31 12:00:01|zerith_markers|error|title \e]0;x\a clear \e[2J back\b\r\x7f \xc3\xa4 \xff\n' >log
    shown log show_log_line >told
    printf '12:00:01      error: title ?]0;x? clear ?[2J back??? \xc3\xa4 \xff\n' >wanted
    diff wanted told
    printf '{"odd":"\e[2J"}\n' >journal
    shown journal show_event >told
    printf '  event {"odd":"?[2J"}\n' >wanted
    diff wanted told
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
Could not find executable /there/tracker_test
Looked in the following places:
there/Release/tracker_test
Unable to find executable: /there/tracker_test
11/27 Test #12: tracker_test ...............***Not Run   0.00 sec
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
    has shown "***Not Run"
    has_not shown /there/
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
    SOURCE_MIRROR=http://127.0.0.1:1/debian ZERITH_CACHE=$PWD/cache \
        expect 1 "$root/tools/opencv/ensure-opencv.sh"
    has err "check the network"
    has err "OpenCV's source could not be fetched"
    [ "$(ls cache)" = opencv.lock ]
}

case_of "tools: the demonstration leaves what was asked for" demonstration_leaves_what_was_asked_for
case_of "tools: the demonstration's area is the middle of the picture" \
    demonstration_takes_the_middle_of_the_picture
case_of "tools: the analysis size is the largest of the sensor's class" \
    analysis_size_is_the_largest_of_the_sensors_class
case_of "tools: events are told in words" events_are_told_in_words
case_of "tools: repeated log lines are told once" log_lines_are_told_once
case_of "tools: the web server takes the names that it is told, and on a loopback address no others" web_server_takes_names_where_they_are_known
case_of "follow: control characters of others do not reach the terminal" control_characters_do_not_reach_the_terminal
case_of "tools: test results are counted case by case" test_results_are_counted_case_by_case
case_of "tools: failing output is shown without what passed" failing_output_is_shown_without_what_passed
case_of "opencv: a folder that holds none is told" opencv_folder_that_holds_none_is_told
case_of "opencv: a cache that cannot be written is told" unwritable_cache_is_told
case_of "opencv: a missing network is told, and leaves no half build" opencv_without_network_is_told
