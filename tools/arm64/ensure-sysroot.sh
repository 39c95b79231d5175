#!/usr/bin/env bash
# ensure-sysroot.sh: prints a folder of Debian's arm64 libraries, making it first if needed.
#
# What it holds: the libraries that tools/packages.txt lists for builds, with all that they depend on. It is
# made without root and without a word to this machine's apt and dpkg: with package lists and a status file
# of its own, which say that the machine is an arm64 one with nothing installed. Signatures are verified.
# It lies beside OpenCV's build in the cache (ZERITH_CACHE), and is put there whole or not at all.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
cache=$("$root/tools/opencv/ensure-opencv.sh" --where)

fail() {
    echo "ensure-sysroot: $*" >&2
    exit 1
}

# Libraries only: compilers and tools are this machine's.
mapfile -t packages < <(
    printf '%s\n' libc6-dev libstdc++-12-dev
    awk '$2 ~ /-dev$/ && ($1 == "build" || $1 == "test") { print $2 }' "$root/tools/packages.txt"
)
key=$({ cat "${BASH_SOURCE[0]}" && printf '%s\n' "${packages[@]}"; } | sha256sum | cut -c1-16)
sysroot=$cache/arm64-sysroot-$key
if [ -d "$sysroot" ]; then
    echo "$sysroot"
    exit 0
fi

mkdir -p "$cache" 2>/dev/null || true
[ -w "$cache" ] || fail "cannot write $cache: set ZERITH_CACHE to a folder that you own"
exec 9>"$cache/arm64-sysroot.lock"
flock 9
if ! [ -d "$sysroot" ]; then
    echo "Fetching Debian's arm64 libraries once for this machine (cache: $sysroot)" >&2
    rm -rf "$cache"/arm64-sysroot-work.*
    work=$(mktemp -d "$cache/arm64-sysroot-work.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    made=$work/root
    mkdir -p "$work"/{lists,cache/archives}/partial "$made/usr"/{bin,sbin,lib,include,share}
    : >"$work/status"
    for folder in bin sbin lib; do ln -s "usr/$folder" "$made/$folder"; done
    apt=(
        -o APT::Architecture=arm64 -o APT::Architectures::=arm64
        -o Dir::State::Lists="$work/lists" -o Dir::Cache="$work/cache"
        -o Dir::State::status="$work/status" -o Dir::State::extended_states="$work/extended"
        -o Dir::Etc::preferences=/dev/null -o Dir::Etc::preferencesparts=/dev/null
        -o APT::Install-Recommends=false -o APT::Sandbox::User= -o Acquire::Languages=none
        -o Acquire::Retries=3 -o Debug::NoLocking=true
    )
    apt-get "${apt[@]}" -qq update >&2 || fail "the package lists for arm64 cannot be read: check the network"
    apt-get "${apt[@]}" -qq -y --download-only install "${packages[@]}" >"$work/log" 2>&1 || {
        tail -n 10 "$work/log" >&2
        fail "the arm64 libraries cannot be fetched (apt's words above): check the network"
    }
    for package in "$work"/cache/archives/*.deb; do
        dpkg-deb --fsys-tarfile "$package" |
            tar -C "$made" --keep-directory-symlink -xf - \
                --exclude=./usr/share/doc --exclude=./usr/share/man --exclude=./usr/share/locale
    done
    # What points to / means the folder.
    find "$made" -type l -lname '/*' -printf '%p\t%l\n' | while IFS=$'\t' read -r link target; do
        ln -snf "$(realpath -m --relative-to="$(dirname "$link")" "$made$target")" "$link"
    done
    mv "$made" "$sysroot"
    # Those of earlier lists of packages, which nobody has wanted for a week.
    find "$cache" -maxdepth 1 -name 'arm64-sysroot-*' -type d ! -path "$sysroot" -mtime +7 -exec rm -rf {} +
fi
echo "$sysroot"
