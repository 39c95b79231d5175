#!/usr/bin/env bash
# ensure-uriparser.sh: prints the folder of a static uriparser for arm64, which Debian does not have, building
# it from Debian's source first if needed (seconds). It lies in the cache beside the arm64 libraries.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=$("$here/../opencv/ensure-opencv.sh" --where)
suite=${URIPARSER_SUITE:-trixie}

fail() {
    echo "ensure-uriparser: $*" >&2
    exit 1
}

key=$({ cat "${BASH_SOURCE[0]}" "$here/../fetch-source.sh" && echo "$suite" && aarch64-linux-gnu-g++ --version; } |
    sha256sum | cut -c1-16)
prefix=$cache/arm64-uriparser-$key
if ! [ -d "$prefix" ]; then
    ZM_ARM64_SYSROOT=$("$here/ensure-sysroot.sh")
    export ZM_ARM64_SYSROOT
    [ -w "$cache" ] || fail "cannot write $cache: set ZERITH_CACHE to a folder that you own"
    exec 9>"$cache/arm64-uriparser.lock"
    flock 9
    work=$(mktemp -d "$cache/arm64-uriparser-work.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    source=$("$here/../fetch-source.sh" "$work" uriparser "$suite") || fail "uriparser's source could not be fetched (reason above)"
    if ! [ -d "$prefix" ] && ! {
        cmake -S "$source" -B "$work/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$here/toolchain.cmake" \
            -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$work/installed" -DCMAKE_INSTALL_LIBDIR=lib \
            "-DCMAKE_C_FLAGS=-ffunction-sections -fdata-sections -ffile-prefix-map=$source=uriparser" \
            -DCMAKE_POSITION_INDEPENDENT_CODE=ON -DBUILD_SHARED_LIBS=OFF -DURIPARSER_BUILD_TESTS=OFF \
            -DURIPARSER_BUILD_DOCS=OFF -DURIPARSER_BUILD_TOOLS=OFF -DURIPARSER_BUILD_WCHAR_T=OFF &&
            ninja -C "$work/build" install && mv "$work/installed" "$prefix"
    } >"$work/log" 2>&1; then
        tail -n 30 "$work/log" >&2
        fail "uriparser could not be built (log above)"
    fi
fi
echo "$prefix"
