#!/usr/bin/env bash
# ensure-opencv.sh [--where | --arm64]: prints the folder for CMake's OpenCV_DIR, building OpenCV first if
# needed.
#
# Order: $OpenCV_DIR when it is set; an OpenCV >= 4.7 that the system has; the cached build; a new build
# (about 4 minutes on 2 cores), which is put into the cache whole or not at all.
#   --where   print the cache folder and stop
#   --arm64   one for the camera's processor: from the cache, or cross-built
# Environment: OpenCV_DIR, ZERITH_CACHE (the cache folder; default $XDG_CACHE_HOME/zerith-markers).
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
export PATH HOME=${HOME:-~} # also where the environment is empty
cache=$(realpath -m -- "${ZERITH_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/zerith-markers}")

fail() {
    echo "ensure-opencv: $*" >&2
    exit 1
}

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

processor=$(uname -m) compiler=c++ cross=()
if [ "${1:-}" = --arm64 ]; then
    processor=aarch64 compiler=aarch64-linux-gnu-g++
    ZM_ARM64_SYSROOT=$("$here/../arm64/ensure-sysroot.sh")
    export ZM_ARM64_SYSROOT
    cross=("-DCMAKE_TOOLCHAIN_FILE=$here/../arm64/toolchain.cmake")
    unset OpenCV_DIR # this machine's
fi

if [ -n "${OpenCV_DIR:-}" ]; then
    version_at_least_4_7 "$OpenCV_DIR" ||
        fail "OpenCV_DIR=$OpenCV_DIR holds no OpenCV 4.7 or newer: unset it or correct it"
    echo "$OpenCV_DIR"
    exit 0
fi
for dir in /usr/local/lib/cmake/opencv4 /usr/lib/*/cmake/opencv4; do
    if [ ${#cross[@]} = 0 ] && version_at_least_4_7 "$dir"; then
        echo "$dir"
        exit 0
    fi
done

# The key holds what the archives depend on: how they are fetched and configured, the compiler and the
# processor's kind.
if ! command -v "$compiler" >/dev/null; then
    [ "$compiler" = c++ ] || fail "there is no C++ compiler for arm64: install the package g++-aarch64-linux-gnu"
    fail "there is no C++ compiler: install the package g++"
fi
key=$({ cat "$here/fetch-opencv.sh" "$here/../fetch-source.sh" "$here/configure-opencv.sh" && "$compiler" --version | head -n 1 &&
    echo "$processor"; } |
    sha256sum | cut -c1-16)
prefix=$cache/opencv-$key
installed=$prefix/lib/cmake/opencv4
if version_at_least_4_7 "$installed"; then
    echo "$installed"
    exit 0
fi

mkdir -p "$cache" 2>/dev/null || true
if ! [ -d "$cache" ] || ! [ -w "$cache" ]; then
    fail "cannot write $cache: set ZERITH_CACHE to a folder that you own"
fi
# Two builds at once would work in the same folder: the second waits and finds the first one's result.
exec 9>"$cache/opencv.lock" || fail "cannot write $cache/opencv.lock: set ZERITH_CACHE to a folder that you own"
if ! flock -n 9; then
    echo "Waiting for another OpenCV build in $cache" >&2
    flock 9
fi
if ! version_at_least_4_7 "$installed"; then
    echo "Building OpenCV for $processor once for this machine, about 4 minutes on 2 cores (cache: $prefix)" >&2
    # Under the lock a build folder is nobody's: an interrupted build left it.
    rm -rf "$cache"/opencv-build.*
    work=$(mktemp -d "$cache/opencv-build.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    # The caller's compiler flags are not part of the key.
    unset CFLAGS CXXFLAGS CPPFLAGS LDFLAGS
    source=$("$here/fetch-opencv.sh" "$work") || fail "OpenCV's source could not be fetched (reason above)"
    # The install paths are part of OpenCV's own CMake files, so it is configured with its final
    # place, installed through DESTDIR, and moved there in one step.
    step() { # WORDS COMMAND...: runs a command whose output only matters when it fails
        local words=$1
        shift
        "$@" >>"$work/log" 2>&1 || {
            tail -n 30 "$work/log" >&2
            fail "OpenCV could not be $words (log above)"
        }
    }
    step configured "$here/configure-opencv.sh" "$source" "$work/build" "$prefix" "$processor" "${cross[@]}"
    step built ninja -C "$work/build"
    export DESTDIR=$work/root
    step installed cmake --install "$work/build" --component dev
    # It names libraries by their places; those of the arm64 folder may move. zlib is not known to be on a
    # camera.
    [ ${#cross[@]} = 0 ] ||
        sed -i "s#$ZM_ARM64_SYSROOT#\${CMAKE_SYSROOT}#g; s#libz\.so#libz.a#g" "$work/root$installed"/*.cmake
    rm -rf "$prefix"
    mv "$work/root$prefix" "$prefix"
fi
echo "$installed"
