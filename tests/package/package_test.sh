#!/usr/bin/env bash
# package_test.sh [PRESET]: makes the camera package of a build tree and checks it. Each check prints "ok NAME"
# or "not ok NAME".
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
preset=${1:-release}
build=$root/build/$preset
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

subject="package of $preset"
# shellcheck source=tests/support/verdict.sh
source "$root/tests/support/verdict.sh"

check() { # PACKAGE
    "$root/tests/package/check_package.py" "$1" "$root" "$("$root/tools/opencv/ensure-opencv.sh" --where)"
}

# broken NAME COMMAND...: the checks notice a package whose files, in the folder where the command runs, it
# has changed.
broken() {
    local name=$1 folder=$work/broken
    shift
    rm -rf "$folder" "$work/again"
    mkdir "$folder" "$work/again"
    tar -C "$folder" -xf "$eap"
    (cd "$folder" && "$@")
    cp "$build"/package/*.spdx.json "$build/package/zerith_markers.debug" "$work/again"
    (cd "$folder" && find . -mindepth 1 -printf '%P\n' | LC_ALL=C sort) |
        tar -C "$folder" --no-recursion --mtime=@0 --owner=0 --group=0 --numeric-owner -czf "$work/again/${eap##*/}" -T -
    check "$work/again/${eap##*/}" >"$work/checked"
    # The bill of materials knows every change; another check must have noticed it too.
    grep '^not ok' "$work/checked" | grep -qv 'bill of materials'
    verdict $? "the checks notice $name"
}

ninja -C "$build" --quiet eap >"$work/log" 2>&1 || cat "$work/log"
eap=$(echo "$build"/package/*.eap)
[ -e "$eap" ]
verdict $? "it is made"

check "$eap" || failures=$((failures + 1))

cp "$eap" "$work/first.eap"
rm "$eap"
ninja -C "$build" --quiet eap >"$work/log" 2>&1 || cat "$work/log"
cmp "$work/first.eap" "$eap"
verdict $? "made again it has the same bytes"

# ./run installs what the component holds, and so does the package.
DESTDIR="" cmake --install "$build" --component package --prefix "$work/files" >/dev/null
(cd "$work/files" && find . -mindepth 1 -printf '%P\n' | LC_ALL=C sort) >"$work/installed"
tar -tf "$eap" | sed 's,/$,,' >"$work/packed"
diff "$work/installed" "$work/packed"
verdict $? "its files are those that ./run installs"

change() { sed -i "$1" "$2"; }
broken "a missing licence" rm LICENSE
broken "another version in package.conf" change 's/MINORVERSION="0"/MINORVERSION="1"/' package.conf
broken "a lost parameter" change '/MarkersSeconds/d' param.conf
broken "another socket" change 's/_fcgi.socket/.socket/' manifest.json
broken "a file that others may write" chmod 666 package.conf
broken "a page that asks elsewhere" change 's,<head>,<head><script src="https://example.com/a.js"></script>,' html/index.html
broken "a program that is none" cp LICENSE zerith_markers
broken "a path of the building machine" sh -c "echo '$root/core' >>LICENSE"
broken "a file that does not belong there" touch notes.txt
[ "$failures" = 0 ]
