# shellcheck shell=bash
# What ./run and ./test share: messages, packages, OpenCV, configuring and building. It is sourced; the
# caller sets `me` (its name in messages) before.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
: "${me:?the script that sources this sets me}"

# Also where the environment is empty, as at some services.
export PATH HOME=${HOME:-~}

# --- messages -------------------------------------------------------------------------------------

say() { printf '%s\n' "$*"; }

# One clear sentence, then status 1.
fail() {
    printf '%s: %s\n' "$me" "$*" >&2
    exit 1
}

# One clear sentence, then status 2: the command line is wrong.
usage_error() {
    printf '%s: %s (%s --help tells more)\n' "$me" "$*" "./$me" >&2
    exit 2
}

# Microseconds of the clock; $EPOCHREALTIME has the locale's decimal sign.
now_us() { printf '%s' "${EPOCHREALTIME//[^0-9]/}"; }

# --- long steps -----------------------------------------------------------------------------------

step_pid=""

# Runs a long command so that a signal to this script is not held back until the command has ended: a
# shell runs its traps only between commands. The command leads a process group of its own, which
# stop_step ends as a whole.
patiently() {
    local status=0
    setsid "$@" &
    step_pid=$!
    wait "$step_pid" || status=$?
    step_pid=""
    return "$status"
}

# For a trap: ends the step that patiently has started, with all that it has started.
stop_step() {
    [ -z "$step_pid" ] || kill -TERM -- "-$step_pid" 2>/dev/null || true
}

# --- root -----------------------------------------------------------------------------------------

# need_root PURPOSE: ends this script where it cannot become root. PURPOSE completes "... needs root".
need_root() {
    [ "$(id -u)" != 0 ] || return 0
    if ! command -v sudo >/dev/null || ! { sudo -n true 2>/dev/null || { [ -t 0 ] && sudo -v; }; }; then
        fail "$1 needs root: run this as root, or as a user whom sudo lets become root"
    fi
}

# as_root COMMAND...: after need_root.
as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# --- packages -------------------------------------------------------------------------------------

# Prints the packages of the groups that are not installed. Asks dpkg's own records only, and PATH for
# those that a command stands for.
missing_packages() {
    local wanted="" group name command
    while read -r group name command; do
        [[ " $* " == *" $group "* ]] || continue
        [ -n "$command" ] && command -v "$command" >/dev/null || wanted+=" $name"
    done < <(grep '^[a-z]' "$root/tools/packages.txt")
    [ -n "$wanted" ] || return 0
    # shellcheck disable=SC2086 # one word a package
    { dpkg-query -W -f '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null || true; } |
        awk -v wanted="$wanted" '$1 == "installed" { have[$2] = 1 }
             END { n = split(wanted, name); for (i = 1; i <= n; ++i) if (!(name[i] in have)) print name[i] }'
}

# install_packages GROUP...: installs what is missing, and does nothing else where nothing is.
install_packages() {
    local missing log
    command -v dpkg-query >/dev/null || fail "this is no Debian: it needs Debian 12 or newer, for its packages"
    missing=$(missing_packages "$@" | tr '\n' ' ')
    missing=${missing% }
    [ -n "$missing" ] || return 0
    say "Installing Debian packages: $missing"
    need_root "Installing Debian packages"
    log=$(mktemp)
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300)
    # An index that cannot be refreshed may still serve: only a failed installation counts.
    as_root "${apt[@]}" update >"$log" 2>&1 </dev/null || true
    # shellcheck disable=SC2086 # one word a package
    if ! as_root "${apt[@]}" install --no-install-recommends $missing >>"$log" 2>&1 </dev/null; then
        grep -E '^(E|W|Err):' "$log" | tail -n 10 >&2 || true
        fail "these Debian packages could not be installed: $missing. Check the network and apt's sources, or install them yourself (apt's words: $log)"
    fi
    rm -f "$log"
}

# --- configuring and building ---------------------------------------------------------------------

build_folder() { printf '%s' "$root/build/$1"; } # PRESET

# configure PRESET CMAKE-ARGUMENT...: configures where it was not done so before. CMake files that have
# changed since are Ninja's business. The preset aarch64 needs the packages of the group arm.
configure() {
    local preset=$1 build opencv launcher=() wanted fresh=() target=() uriparser
    shift
    build=$(build_folder "$preset")
    mkdir -p "$build" 2>/dev/null || true
    if ! [ -w "$build" ] || { [ -e "$build/build.ninja" ] && ! [ -w "$build/build.ninja" ]; }; then
        fail "cannot write $build: run this as the owner of $root, or make that folder yours with chown"
    fi
    if [ "$preset" = aarch64 ]; then
        ZM_ARM64_SYSROOT=$("$root/tools/arm64/ensure-sysroot.sh") || fail "there are no arm64 libraries (reason above)"
        export ZM_ARM64_SYSROOT
        uriparser=$("$root/tools/arm64/ensure-uriparser.sh") || fail "there is no uriparser for arm64 (reason above)"
        # Not the shared one that stands with the arm64 libraries.
        set -- "-Duriparser_DIR=$(echo "$uriparser"/lib/cmake/uriparser-*)" "$@"
        target=(--arm64)
    fi
    opencv=$(mktemp)
    if ! patiently "$root/tools/opencv/ensure-opencv.sh" "${target[@]}" >"$opencv"; then
        rm -f "$opencv"
        fail "there is no OpenCV 4.7 or newer (reason above)"
    fi
    OpenCV_DIR=$(cat "$opencv")
    rm -f "$opencv"
    if command -v ccache >/dev/null; then
        launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
        # What one clone has compiled serves the next: paths inside the tree do not count.
        export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
    fi
    wanted="$root|$OpenCV_DIR|${launcher[*]}|$*"
    if [ -f "$build/build.ninja" ] && [ "$(cat "$build/configured-by" 2>/dev/null)" = "$wanted" ]; then
        return 0
    fi
    # A build folder of a tree that has been moved or copied cannot be used on.
    if [ -f "$build/CMakeCache.txt" ] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$build/CMakeCache.txt"; then
        fresh=(--fresh)
    fi
    say "Configuring ($preset)"
    if ! patiently cmake -S "$root" --preset "$preset" "${fresh[@]}" "-DOpenCV_DIR=$OpenCV_DIR" \
        "${launcher[@]}" "$@" >"$build/configure.log" 2>&1; then
        tail -n 40 "$build/configure.log" >&2
        fail "the tree could not be configured (log above, whole in $build/configure.log)"
    fi
    printf '%s' "$wanted" >"$build/configured-by"
}

# build PRESET NINJA-ARGUMENT...: what is out of date. On a terminal Ninja shows its progress; elsewhere
# only what compilers say. Its status is the result.
build() {
    local preset=$1 quiet=()
    shift
    [ -t 1 ] || quiet=(--quiet)
    patiently ninja -C "$(build_folder "$preset")" "${quiet[@]}" "$@"
}
