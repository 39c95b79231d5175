#!/usr/bin/env bash
# check-threads.sh BUILD: what only clang checks, over the application and the host camera: that guarded
# data is reached under its lock, and that no global has a constructor or an exit-time destructor.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
build=$(cd "$1" && pwd -P)

# These hold the process-wide objects, whose construction and destruction is their business.
globals_allowed=(core/app_main.cpp outputs/overlay_manager.cpp)
export globals_allowed_words="${globals_allowed[*]}"
export root build

compile() { # FILE COMMAND
    local file=${1#"$root"/} words warnings=(-Wno-everything -Wthread-safety)
    # The command's own words without the compiler and what it writes.
    read -r -a words <<<"$2"
    while [ ${#words[@]} -gt 0 ] && [[ ${words[0]} != -* ]]; do words=("${words[@]:1}"); done
    case " $globals_allowed_words " in
    *" $file "*) ;;
    *) warnings+=(-Wglobal-constructors -Wexit-time-destructors) ;;
    esac
    cd "$build"
    clang++ "${words[@]}" -fsyntax-only "${warnings[@]}" -Werror
}
export -f compile

# shellcheck disable=SC2016 # the inner shell's
jq -r --arg root "$root" '.[] | select(.file | test("^" + $root +
        "/(core|video|analysis|settings|outputs|platform)/.*\\.cpp$")) | .file, .command' \
    "$build/compile_commands.json" |
    xargs -r -d '\n' -n 2 -P "$(nproc)" bash -c 'compile "$1" "$2"' compile
