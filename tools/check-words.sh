#!/usr/bin/env bash
# check-words.sh: nothing in the tree may depend on one person's machine or on papers that are not in it.
#
# It looks for absolute paths of a work place, the host names of package registries (each machine has its
# own mirrors configured) and references to numbered parts of documents. What it finds it prints, with
# status 1. The patterns are written so that they do not match themselves.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

patterns=(
    '/[w]ork/|/[f]arm/|/home/[a-z]+/|/tmp/([t]eam|[s]tudio|[b]uild-)' # places of one machine
    '\b[a-z]+\.[d]ebian\.(org|net)|[r]egistry\.npm|[p]ypi\.org'        # hosts of registries
    '\b([P]art|[C]hapter|[S]ection) [1-9]\.[1-9]\b|\b[s]pec\.md\b'     # papers elsewhere
    '\bthe ([s]eed )?[s]pec(ification)?\b|\.\./[s]hared/[a-z]+\.md'
)
status=0
for pattern in "${patterns[@]}"; do
    if git grep -nIEi -e "$pattern" -- . ':!LICENSE'; then status=1; fi
done
exit "$status"
