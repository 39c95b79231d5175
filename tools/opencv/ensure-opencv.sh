#!/usr/bin/env bash
# ensure-opencv.sh [--where]: prints the folder for CMake's OpenCV_DIR, building OpenCV first if needed.
#
# Order: $OpenCV_DIR when it is set; an OpenCV >= 4.7 that the system has; the cached build; a new build
# (about 4 minutes on 2 cores), which is put into the cache whole or not at all.
#   --where   print the cache folder of this machine and stop
# Environment: OpenCV_DIR, ZERITH_CACHE (the cache folder; default $XDG_CACHE_HOME/zerith-markers).
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${ZERITH_CACHE:-${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/zerith-markers}
# The key holds what the archives depend on: how they are fetched and configured, and the compiler.
key=$({ cat "$here/fetch-opencv.sh" "$here/configure-opencv.sh" && c++ --version | head -n 1 && uname -m; } |
    sha256sum | cut -c1-16)
prefix=$cache/opencv-$key

if [ "${1:-}" = --where ]; then
    echo "$cache"
    exit 0
fi

version_at_least_4_7() { # a folder that holds OpenCVConfig-version.cmake
    local file=$1/OpenCVConfig-version.cmake version
    [ -r "$file" ] || return 1
    version=$(sed -n 's/^set(OpenCV_VERSION \([0-9.]*\)).*/\1/p' "$file")
    [ "$(printf '%s\n' 4.7 "$version" | sort -V | head -n 1)" = 4.7 ] && [ "${version%%.*}" = 4 ]
}

if [ -n "${OpenCV_DIR:-}" ]; then
    version_at_least_4_7 "$OpenCV_DIR" ||
        { echo "ensure-opencv: OpenCV_DIR=$OpenCV_DIR holds no OpenCV 4.7 or newer: unset it or correct it" >&2; exit 1; }
    echo "$OpenCV_DIR"
    exit 0
fi
for dir in /usr/local/lib/cmake/opencv4 /usr/lib/*/cmake/opencv4; do
    if version_at_least_4_7 "$dir"; then
        echo "$dir"
        exit 0
    fi
done

installed=$prefix/lib/cmake/opencv4
if version_at_least_4_7 "$installed"; then
    echo "$installed"
    exit 0
fi

mkdir -p "$cache" || { echo "ensure-opencv: cannot write $cache: set ZERITH_CACHE to a folder that you own" >&2; exit 1; }
# Two builds at once would work in the same folder: the second waits and finds the first one's result.
exec 9>"$cache/opencv.lock"
flock 9
if ! version_at_least_4_7 "$installed"; then
    echo "Building OpenCV once for this machine, about 4 minutes on 2 cores (cache: $prefix)" >&2
    work=$(mktemp -d "$cache/opencv-build.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    source=$("$here/fetch-opencv.sh" "$work")
    # The install paths are part of OpenCV's own CMake files, so it is configured with its final
    # place, installed through DESTDIR, and moved there in one step.
    "$here/configure-opencv.sh" "$source" "$work/build" "$prefix" >"$work/log" 2>&1 ||
        { tail -n 30 "$work/log" >&2; echo "ensure-opencv: OpenCV could not be configured (log above)" >&2; exit 1; }
    ninja -C "$work/build" >>"$work/log" 2>&1 ||
        { tail -n 30 "$work/log" >&2; echo "ensure-opencv: OpenCV could not be built (log above)" >&2; exit 1; }
    DESTDIR="$work/root" cmake --install "$work/build" --component dev >>"$work/log" 2>&1
    rm -rf "$prefix"
    mv "$work/root$prefix" "$prefix"
fi
echo "$installed"
