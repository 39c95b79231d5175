#!/usr/bin/env bash
# fetch-opencv.sh WORKDIR: prints the path of an unpacked OpenCV source tree below WORKDIR.
#
# Debian 12 carries OpenCV 4.6, and the application needs at least 4.7: the source is a newer suite's.
#
# Environment: OPENCV_SUITE (trixie), and what fetch-source.sh knows.
set -euo pipefail

work=${1:?usage: fetch-opencv.sh WORKDIR}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source=$("$here/../fetch-source.sh" "$work" opencv "${OPENCV_SUITE:-trixie}")
if ! grep -qE 'CV_VERSION_MAJOR +4' "$source/modules/core/include/opencv2/core/version.hpp"; then
    echo "fetch-opencv: $source is not OpenCV 4" >&2
    exit 1
fi
echo "$source"
