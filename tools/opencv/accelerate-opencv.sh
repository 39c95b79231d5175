#!/usr/bin/env bash
# accelerate-opencv.sh SOURCE: puts our thresholding and contour search into the marker detector of an unpacked
# OpenCV source tree.
#
# Our files go beside the detector's source, of which single lines are changed so that it calls them. Each line
# has to be there exactly once: where one is not, this is another version of OpenCV, nothing is changed, and the
# status is 1. A changed file says so, as its licence asks.
set -euo pipefail

source=${1:?usage: accelerate-opencv.sh SOURCE}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$source/modules/objdetect/src/aruco
file=$folder/aruco_detector.cpp

fail() {
    echo "accelerate-opencv: $*" >&2
    exit 1
}

[ -r "$file" ] || fail "there is no $file: $source is no source tree of OpenCV 4.7 or newer"
! grep -q zerith "$file" || fail "$file is changed already"
changed=$(mktemp)
trap 'rm -f "$changed"' EXIT
cp "$file" "$changed"

# change WHAT PATTERN REPLACEMENT: changes the one line that has the pattern, a basic regular expression.
change() {
    local found
    found=$(grep -c -e "$2" "$changed") || true
    [ "$found" = 1 ] ||
        fail "$file has $found lines with $1, not one: this is not the version of OpenCV that is known here"
    sed -i "s#$2#$3#" "$changed"
}

change "the last header" '^\(\#include "aruco_utils.hpp"\)$' '\1\n\#include "zerith/marker_contours.h"'
change "the contour test's parameters" '_findMarkerContours(const Mat &in, ' '&zerith::BitPicture \&picture, '
change "the contour search" ' findContours(in, contours, .*);$' \
    ' zerith::findContours(picture, contours, minPerimeterPixels, maxPerimeterPixels);'
change "the lists of contours" 'contoursArrays((size_t) nScales);$' \
    '&\n    zerith::ThresholdedPictures pictures(grey, nScales, params.adaptiveThreshWinSizeMin,\n                                         params.adaptiveThreshWinSizeStep, params.adaptiveThreshConstant);'
change "the window's size" '^\( *\)int currScale = .*;$' \
    '\1const int scale = nScales - 1 - i; // the longest first'
change "the thresholded picture" '^ *Mat thresh;$' '            static_cast<void>(_threshold); // as done before'
change "the thresholding" '^ *_threshold(grey, thresh, .*);$' ''
change "the contour test" '_findMarkerContours(thresh, candidatesArrays\[i\], contoursArrays\[i\],' \
    '_findMarkerContours(grey, pictures[scale], candidatesArrays[scale], contoursArrays[scale],'

{
    echo "// This file was changed for Zerith Markers: it thresholds and searches contours with the files in zerith/."
    cat "$changed"
} >"$file"
cat >>"$source/modules/objdetect/CMakeLists.txt" <<'LINES'

# This file was changed for Zerith Markers: our part of the marker detector is C++20.
set_source_files_properties("${CMAKE_CURRENT_LIST_DIR}/src/aruco/aruco_detector.cpp"
    PROPERTIES COMPILE_OPTIONS -std=c++20)
LINES
mkdir -p "$folder/zerith"
cp "$here"/accelerator/*.h "$folder/zerith/"
