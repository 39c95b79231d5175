#!/usr/bin/env bash
# arm_test.sh: the program that is built for a camera's processor, under emulation. Each check prints "ok NAME"
# or "not ok NAME". The trees release and aarch64 are built before.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
native=$root/build/release arm=$root/build/aarch64
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sysroot=$("$root/tools/arm64/ensure-sysroot.sh") || exit
emulate=(qemu-aarch64-static -L "$sysroot")

subject="emulated Arm"
# shellcheck source=tests/support/verdict.sh
source "$root/tests/support/verdict.sh"

# The same pictures, read by both processors' programs.
"$native/tests/arm/detections" write "$work" &&
    (cd "$work" && mkdir localdata && "$native/tests/arm/detections" find "$work") >"$work/native" &&
    (cd "$work" && "${emulate[@]}" "$arm/tests/arm/detections" find "$work") >"$work/arm"
verdict $? "the detector runs"
[ "$(wc -l <"$work/native")" -ge 100 ] &&
    paste -d ' ' "$work/native" "$work/arm" | awk '
        NF != 20 || $1 != $11 || $2 != $12 { print "differs: " $0; bad = 1 }
        { for (i = 3; i <= 10; ++i) if ($i - $(i + 10) > 0.01 || $(i + 10) - $i > 0.01) { print "differs: " $0; bad = 1 } }
        END { exit bad }'
verdict $? "the same ids, and corners within a hundredth of a pixel, in $(wc -l <"$work/native") detections"

# Thirty seconds of the built-in scene. Emulation is slow, so the camera is small.
mkdir -p "$work/package/localdata" "$work/state"
cp "$arm/package/package.conf" "$work/package"
cat >"$work/hostcam.conf" <<CONFIG
[camera]
resolutions=640x360
framerate=10
[state]
directory=$work/state
[viewers]
streams=640x360
[http]
port=0
CONFIG
while read -r name value; do
    echo "root.Zerith_markers.$name=$value"
done >"$work/state/parameters.conf" <<SETTINGS
EulaAccepted true
IsRequirePresent true
MarkersSeconds 3
SelectedDictionary 5x5
DisplayNonAOI true
DetectionOverlaysOn true
SelectedDetectionOverlay 640x360
Detection10x 160
Detection10y 90
Detection11x 480
Detection11y 90
Detection12x 480
Detection12y 270
Detection13x 160
Detection13y 270
SETTINGS
(
    cd "$work/package" || exit
    HOSTCAM_CONFIG=$work/hostcam.conf exec "${emulate[@]}" -E LD_LIBRARY_PATH="$arm/platform/lib" "$arm/zerith_markers"
) >"$work/output" 2>&1 &
pid=$!
sleep 30
kill -TERM "$pid"
wait "$pid"
status=$?
[ "$status" = 0 ] || tail -n 20 "$work/output" "$work/package/localdata/MarkersLog.txt"
verdict "$status" "a run of 30 seconds ends with status 0"
awk '/ZerithMarkersAlert"/ && /"active":true/ { begun = 1 } /ZerithMarkersAlert"/ && /"active":false/ && begun { ended = 1 }
     END { exit !ended }' "$work/state/events.jsonl" || { cat "$work/state/events.jsonl"; false; }
verdict $? "its alert starts and stops"
[ "$failures" = 0 ]
