#!/usr/bin/env bash
# fetch-source.sh WORKDIR PACKAGE SUITE: prints the path of the unpacked source tree of a Debian package
# below WORKDIR.
#
# The tarball comes through an apt state of its own: nothing below /etc/apt, /var/lib/apt or
# /var/cache/apt is touched, and the archive is the one this machine's apt uses. Trust runs from
# Debian's archive keyring over the signed release file and the source index to the tarball's hash.
# The .dsc file is left aside: not every mirror serves it, and further tarballs that it may name are not
# needed.
#
# Environment: SOURCE_MIRROR (the machine's archive), SOURCE_KEYRING.
set -euo pipefail

work=${1:?usage: fetch-source.sh WORKDIR PACKAGE SUITE}
package=${2:?the package}
suite=${3:?the suite}
keyring=${SOURCE_KEYRING:-/usr/share/keyrings/debian-archive-keyring.gpg}

fail() {
    echo "fetch-source: $*" >&2
    exit 1
}

# The base address of the Debian main archive that apt is configured with; the security archive
# does not carry the suite's source packages.
archive_of_this_machine() {
    # shellcheck disable=SC2016 # $(REPO_URI) is apt's, not the shell's
    apt-get indextargets --no-release-info --format '$(REPO_URI)' 'Created-By: Packages' |
        grep -v -e -security -e /security | sort -u |
        awk '/\/debian\/?$/ { print; found = 1; exit } !other { other = $0 }
             END { if (!found && other) print other }'
}

[ -r "$keyring" ] || fail "$keyring is missing: install the package debian-archive-keyring"
archive=${SOURCE_MIRROR:-$(archive_of_this_machine || true)}
[ -n "$archive" ] || fail "apt has no Debian archive configured: set SOURCE_MIRROR to one"

mkdir -p "$work/apt/lists/partial" "$work/apt/cache/archives/partial"
work=$(cd "$work" && pwd)
echo "deb-src [signed-by=$keyring] $archive $suite main" >"$work/apt/sources.list"
apt=(
    -o Dir::Etc::sourcelist="$work/apt/sources.list" -o Dir::Etc::sourceparts=-
    -o Dir::Etc::preferences=/dev/null -o Dir::Etc::preferencesparts=/dev/null
    -o Dir::State::Lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache"
    -o Acquire::AllowInsecureRepositories=false -o Acquire::AllowWeakRepositories=false
    -o Acquire::Languages=none -o Acquire::Retries=3 -o APT::Sandbox::User=
    -o APT::Update::Error-Mode=any
)
apt-get "${apt[@]}" -qq update >&2 ||
    fail "the source index of Debian $suite cannot be read: check the network and that" \
        "debian-archive-keyring is up to date, or set SOURCE_MIRROR"

# One line a file: 'ADDRESS' NAME SIZE SHA256:HEX, the newest version of the suite first.
line=$(apt-get "${apt[@]}" -qq source --only-source --print-uris "$package" 2>/dev/null |
    grep -E "^'[^']*/${package}_[^/]*\.orig\.tar\.[a-z0-9]+' " | head -n 1) || true
read -r address name _ hash <<<"$line"
case ${hash:-} in
SHA256:*) ;;
*) fail "Debian $suite offers no source of $package with a SHA256 hash" ;;
esac

verified() { [ -f "$work/$name" ] && echo "${hash#*:}  $work/$name" | sha256sum -c --status; }
if ! verified; then
    /usr/lib/apt/apt-helper "${apt[@]}" -q download-file "${address//\'/}" "$work/$name" "$hash" >&2 ||
        fail "$name cannot be downloaded: check the network, or set SOURCE_MIRROR"
fi
verified || fail "$work/$name does not have the hash that the archive states: delete it and try again"

rm -rf "$work/src"
mkdir "$work/src"
tar -C "$work/src" --strip-components=1 -xf "$work/$name"
echo "$work/src"
