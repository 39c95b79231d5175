#!/usr/bin/env bash
# Makes the package for cameras (64-bit Arm) and prints where it is. Installs what is missing first.
set -euo pipefail

# shellcheck disable=SC2034 # lib.sh reads it
me="tools/make-package.sh"
# shellcheck source=tools/lib.sh
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib.sh"

[ $# = 0 ] || usage_error "it takes no arguments"
trap 'stop_step; exit 1' INT TERM HUP
install_packages build run arm
configure aarch64 -DZM_TESTS=OFF
build aarch64 eap || fail "the package could not be made (reason above)"
ls "$(build_folder aarch64)"/package/*.eap
