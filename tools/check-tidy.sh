#!/usr/bin/env bash
# check-tidy.sh BUILD: clang-tidy over every source file of the tree that BUILD compiles.
#
# A file that was clean is not looked at again until it, a header of the tree that it includes, its
# compiler command or .clang-tidy changes: a stamp in the cache (ZERITH_CACHE) says so, to every clone on
# this machine. Prints what clang-tidy says.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
build=$(cd "$1" && pwd -P)
stamps=$("$root/tools/opencv/ensure-opencv.sh" --where)/clang-tidy
mkdir -p "$stamps"
# Those of texts that nobody has had for a month.
find "$stamps" -type f -mtime +30 -delete
export root build stamps

# One line a source file: its path and the hash of all that decides about it.
fingerprints() {
    local base file output command deps
    base=$({ clang-tidy --version && cat "$root/.clang-tidy"; } | sha256sum)
    deps=$(mktemp)
    # Object file and header of the tree, one pair a line, from the compiler's own records.
    ninja -C "$build" -t deps | awk -v root="$root/" '
        /^[^ ].*: #deps/ { object = substr($0, 1, index($0, ": #deps") - 1); next }
        index($0, "    " root) == 1 && !index($0, root "build/") { print object "\t" substr($0, 5) }' >"$deps"
    jq -r '.[] | [.file, .output, .command] | @tsv' "$build/compile_commands.json" |
        while IFS=$'\t' read -r file output command; do
            # The tests are left to the compiler's warnings: they would take twice the time of all else.
            case $file in "$root"/tests/*) continue ;; "$root"/*.cpp) ;; *) continue ;; esac
            printf '%s\t' "$file"
            {
                # Where the clone lies makes no difference.
                echo "$base ${command//"$root"/} ${file#"$root"}"
                awk -F '\t' -v object="$output" '$1 == object { print $2 }' "$deps" | sort -u | xargs -r cat --
                cat "$file"
            } | sha256sum | cut -c1-40
        done
    rm -f "$deps"
}

look_at() { # FILE HASH
    local said
    if [ -e "$stamps/$2" ]; then
        touch "$stamps/$2" # still wanted
        return
    fi
    if said=$(clang-tidy --quiet -p "$build" "$1" 2>/dev/null); then
        touch "$stamps/$2"
    else
        printf '%s\n' "$said"
        return 1
    fi
}
export -f look_at

# shellcheck disable=SC2016 # the inner shell's
fingerprints | tr '\t' '\n' | xargs -r -d '\n' -n 2 -P "$(nproc)" bash -c 'look_at "$1" "$2"' look_at
