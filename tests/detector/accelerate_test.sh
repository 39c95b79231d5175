#!/usr/bin/env bash
# accelerate_test.sh: which source accelerate-opencv.sh changes, and which it refuses. Each check prints "ok NAME" or
# "not ok NAME".
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
subject="accelerate-opencv.sh"
# shellcheck source=tests/support/verdict.sh
source "$root/tests/support/verdict.sh"

folder=$work/modules/objdetect/src/aruco
file=$folder/aruco_detector.cpp

# A stand-in for the detector's source: the lines that count, and some that do not.
write_source() {
    rm -rf "$work/modules"
    mkdir -p "$folder"
    echo "# modules" >"$work/modules/objdetect/CMakeLists.txt"
    cat >"$file" <<'SOURCE'
#include "aruco_utils.hpp"
static void _threshold() {
static void _findMarkerContours(const Mat &in, int &candidates) {
    findContours(in, contours, 0, 1);
}
    lists contoursArrays((size_t) nScales);
            int currScale = 3;
            Mat thresh;
            _threshold(grey, thresh, currScale, constant);
            _findMarkerContours(thresh, candidatesArrays[i], contoursArrays[i],
                                rest);
SOURCE
}

accelerate() { "$root/tools/opencv/accelerate-opencv.sh" "$work" >"$work/said" 2>&1; }

# refused WORDS: whether it ends with status 1 and those words, and nothing is changed.
refused() {
    local status=0
    rm -rf "$work/before"
    cp -R "$work/modules" "$work/before"
    accelerate || status=$?
    if [ "$status" != 1 ] || ! grep -q "$1" "$work/said" || ! diff -r "$work/before" "$work/modules"; then
        echo "status $status"
        cat "$work/said"
        return 1
    fi
}

write_source
accelerate && head -n 1 "$file" | grep -q "This file was changed for Zerith Markers"
verdict $? "a changed file says so in its first line"
[ "$(grep -c zerith "$file")" -ge 5 ] && ! grep -qE ' findContours\(|Mat thresh|currScale' "$file"
verdict $? "the calls are ours"
for name in "$root"/tools/opencv/accelerator/*.h; do
    cmp "$name" "$folder/zerith/$(basename "$name")" || break
done
verdict $? "our files stand beside it"
refused "is changed already"
verdict $? "a source is not changed twice"

write_source
bad=0
lines=$(grep -c '' "$file")
for ((line = 1; line <= lines; ++line)); do
    write_source
    case $(sed -n "${line}p" "$file") in
    "static void _threshold"* | "}" | *" rest);") continue ;;
    esac
    sed -i "${line}d" "$file"
    refused "lines with .*, not one: this is not the version" || { sed -n "${line}p" "$file"; bad=1; }
    write_source
    sed -i "${line}p" "$file"
    refused "lines with .*, not one: this is not the version" || { sed -n "${line}p" "$file"; bad=1; }
done
verdict "$bad" "where one of the lines is missing or there twice, nothing is changed"

rm -rf "$work/modules"
mkdir "$work/modules"
refused "is no source tree of OpenCV"
verdict $? "another folder is refused"
[ "$failures" = 0 ]
