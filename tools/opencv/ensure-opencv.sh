#!/usr/bin/env bash
# ensure-opencv.sh [--where | [--arm64] [--stock]]: prints the folder for CMake's OpenCV_DIR, building OpenCV
# first if needed.
#
# Order: $OpenCV_DIR when it is set; an OpenCV >= 4.7 that the system has; the cached build; a new build
# (about 4 minutes on 2 cores), which is put into the cache whole or not at all. What is built here finds markers
# with our accelerator (accelerate-opencv.sh), and so says cv::getBuildInformation().
#   --where   print the cache folder and stop
#   --arm64   one for the camera's processor: from the cache, or cross-built
#   --stock   the same build without the accelerator, always from the cache or built, to compare with
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

processor=$(uname -m) compiler=c++ ar=ar cross=() accelerated=true
while [ $# -gt 0 ]; do
    case $1 in
    --arm64)
        processor=aarch64 compiler=aarch64-linux-gnu-g++ ar=aarch64-linux-gnu-ar
        ZM_ARM64_SYSROOT=$("$here/../arm64/ensure-sysroot.sh")
        export ZM_ARM64_SYSROOT
        cross=("-DCMAKE_TOOLCHAIN_FILE=$here/../arm64/toolchain.cmake")
        ;;
    --stock) accelerated=false ;;
    *) fail "unknown option $1" ;;
    esac
    shift
done
# This machine's, of which nobody knows whether they are stock.
own_build=false
if [ ${#cross[@]} != 0 ] || ! $accelerated; then own_build=true; fi

if [ -n "${OpenCV_DIR:-}" ] && ! $own_build; then
    version_at_least_4_7 "$OpenCV_DIR" ||
        fail "OpenCV_DIR=$OpenCV_DIR holds no OpenCV 4.7 or newer: unset it or correct it"
    echo "$OpenCV_DIR"
    exit 0
fi
for dir in /usr/local/lib/cmake/opencv4 /usr/lib/*/cmake/opencv4; do
    if ! $own_build && version_at_least_4_7 "$dir"; then
        echo "$dir"
        exit 0
    fi
done

# The key holds what the archives depend on: how they are fetched and configured, the compiler and the
# processor's kind; that of the accelerated one also the accelerator, so that a change of that compiles little.
if ! command -v "$compiler" >/dev/null; then
    [ "$compiler" = c++ ] || fail "there is no C++ compiler for arm64: install the package g++-aarch64-linux-gnu"
    fail "there is no C++ compiler: install the package g++"
fi
key=$({ cat "$here/fetch-opencv.sh" "$here/../fetch-source.sh" "$here/configure-opencv.sh" && "$compiler" --version | head -n 1 &&
    echo "$processor"; } |
    sha256sum | cut -c1-16)
accelerator=$(cat "$here/accelerate-opencv.sh" "$here"/accelerator/*.h | sha256sum | cut -c1-8)
stock=$cache/opencv-$key
prefix=$stock
! $accelerated || prefix=$stock-accelerated-$accelerator
folder=lib/cmake/opencv4
if version_at_least_4_7 "$prefix/$folder"; then
    echo "$prefix/$folder"
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

# --- building -------------------------------------------------------------------------------------
# Everything below happens in a folder of its own and is moved to its place in one step.

step() { # WORDS COMMAND...: runs a command whose output only matters when it fails
    local words=$1
    shift
    "$@" >>"$work/log" 2>&1 || {
        tail -n 30 "$work/log" >&2
        fail "OpenCV could not be $words (log above)"
    }
}

configure() {
    step configured "$here/configure-opencv.sh" "$source" "$work/build" "$stock" "$processor" "${cross[@]}"
}

put_into_cache() { # FOLDER PREFIX
    rm -rf "$2"
    mv "$1" "$2"
}

# The install paths are part of OpenCV's own CMake files, so it is configured with its final place and
# installed through DESTDIR.
build_stock() {
    step built ninja -C "$work/build"
    DESTDIR=$work/root step installed cmake --install "$work/build" --component dev
    # It names libraries by their places; those of the arm64 folder may move. zlib is not known to be on a
    # camera.
    [ ${#cross[@]} = 0 ] ||
        sed -i "s#$ZM_ARM64_SYSROOT#\${CMAKE_SYSROOT}#g; s#libz\.so#libz.a#g" "$work/root$stock/$folder"/*.cmake
    put_into_cache "$work/root$stock" "$stock"
}

# compile MODULE SOURCE: compiles one file again and puts it into the archive of the copy.
compile() {
    local object=modules/$1/CMakeFiles/opencv_$1.dir/src/$2.o
    mkdir -p "$work/build/$(dirname "$object")"
    (cd "$work/build" && sh -c "$(ninja -t commands -s "$object")") &&
        "$ar" r "$work/accelerated/lib/libopencv_$1.a" "$work/build/$object"
}

# A copy of the stock one in which two files are others: the detector, and what it tells of its build.
build_accelerated() {
    step accelerated "$here/accelerate-opencv.sh" "$source"
    configure
    printf '%s\n' '"OpenCV, as Zerith Markers builds it, with accelerated marker detection\n"' \
        >"$work/build/modules/core/version_string.inc"
    cp -R "$stock" "$work/accelerated"
    step accelerated compile objdetect aruco/aruco_detector.cpp
    step accelerated compile core system.cpp
    # For our own CMake files.
    echo "set(ZM_OPENCV_STOCK_DIR \"$stock/$folder\")" >"$work/accelerated/$folder/zerith-accelerator.cmake"
    put_into_cache "$work/accelerated" "$prefix"
}

if ! version_at_least_4_7 "$prefix/$folder"; then
    # Under the lock a build folder is nobody's: an interrupted build left it.
    rm -rf "$cache"/opencv-build.*
    work=$(mktemp -d "$cache/opencv-build.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    # The caller's compiler flags are not part of the key.
    unset CFLAGS CXXFLAGS CPPFLAGS LDFLAGS
    time="a minute"
    version_at_least_4_7 "$stock/$folder" || time="4 minutes on 2 cores"
    echo "Building OpenCV for $processor once for this machine, about $time (cache: $prefix)" >&2
    source=$("$here/fetch-opencv.sh" "$work") || fail "OpenCV's source could not be fetched (reason above)"
    if ! version_at_least_4_7 "$stock/$folder"; then
        configure
        build_stock
    fi
    if $accelerated; then build_accelerated; fi
fi
echo "$prefix/$folder"
