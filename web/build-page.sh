#!/usr/bin/env bash
# build-page.sh FOLDER VERSION: builds the web page into FOLDER. It fetches npm's packages first, when
# they are missing or the lock file has changed since. Without an error it says nothing.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")"

fail() {
    printf 'web page: %s\n' "$*" >&2
    exit 1
}

folder=${1:?the folder to build into}
export ZM_VERSION=${2:?the version}
command -v npm >/dev/null || fail "npm is missing: install Node 18 or newer with npm (Debian: apt-get install npm)"
major=$(node -p 'process.versions.node.split(".")[0]') || fail "node does not run"
[ "$major" -ge 18 ] || fail "Node $(node --version) is too old: it takes Node 18 or newer"

log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Two builds of one tree may meet here.
exec 9<.
flock 9
stamp=node_modules/.zm-packages
wanted=$(cat package.json package-lock.json | cksum)
if [ "$(cat "$stamp" 2>/dev/null)" != "$wanted" ]; then
    if ! npm ci --ignore-scripts --loglevel=error >"$log" 2>&1 </dev/null; then
        tail -n 20 "$log" >&2
        fail "npm could not fetch the packages of package-lock.json (npm's words above)"
    fi
    printf '%s' "$wanted" >"$stamp"
fi
if ! node_modules/.bin/vite build --logLevel warn --outDir "$folder" --emptyOutDir >"$log" 2>&1 </dev/null; then
    cat "$log" >&2
    fail "vite could not build the page (its words above)"
fi
node tools/check-page.mjs "$folder" || fail "the page that was built is not as it has to be (reason above)"
