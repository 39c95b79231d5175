#!/usr/bin/env bash
# make-eap.sh BUILD SOURCE NAME: packs the component "package" of a build tree. Writes into BUILD/package:
#   NAME.eap            the package, the same bytes for the same commit
#   NAME.spdx.json      what it was made of
#   NAME_LICENSE.txt    its licences
#   zerith_markers.debug   the symbols that were taken from the program
# Environment: CMAKE, STRIP, OBJCOPY (the tools of the build).
set -euo pipefail

build=$1 source=$2 name=$3
out=$build/package
work=$(mktemp -d "$out/pack.XXXXXX")
trap 'rm -rf "$work"' EXIT

commit=none created=1980-01-01T00:00:00Z
if git -C "$source" rev-parse --verify -q HEAD >/dev/null 2>&1; then
    commit=$(git -C "$source" rev-parse HEAD)
    created=$(TZ=UTC0 git -C "$source" log -1 --date=format-local:%Y-%m-%dT%H:%M:%SZ --format=%cd)
fi

DESTDIR='' "$CMAKE" --install "$build" --component package --prefix "$work/content" >/dev/null
program=$work/content/zerith_markers
"$OBJCOPY" --only-keep-debug "$program" "$out/zerith_markers.debug"
"$STRIP" --strip-all "$program"
(cd "$out" && "$OBJCOPY" --add-gnu-debuglink=zerith_markers.debug "$program")

find "$work/content" -type d -exec chmod 755 {} +
find "$work/content" -type f -exec chmod 644 {} +
chmod 755 "$program"

# Sorted, of one time and of nobody: the same content is the same package.
(cd "$work/content" && find . -mindepth 1 -printf '%P\n' | LC_ALL=C sort) >"$work/list"
tar -C "$work/content" --format=gnu --no-recursion --mtime="$created" --owner=0 --group=0 --numeric-owner \
    -cf - -T "$work/list" | gzip -9n >"$work/package"
mv "$work/package" "$out/$name.eap"
chmod 644 "$out/$name.eap"

sum=$(sha256sum <"$out/$name.eap")
sed -e "s/%COMMIT%/$commit/g; s/%CREATED%/$created/g; s/%SHA256%/${sum%% *}/g; s/%NAME%/$name/g" \
    "$out/sbom.spdx.json.in" >"$out/$name.spdx.json"
cp "$work/content/LICENSE" "$out/${name}_LICENSE.txt"
printf '%s\n' "$out/$name.eap: $(stat -c %s "$out/$name.eap") bytes"
