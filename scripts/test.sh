#!/usr/bin/env bash
# Installs what tests need, builds, and runs the everyday tests. What takes long, or needs packages that
# only developers have, is left to scripts/check.sh.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib/preamble.sh"

[ $# -eq 0 ] || fail "scripts/test.sh takes no arguments; scripts/check.sh tests does."
needs tests
build dev
left=$(ctest --preset full --show-only | sed -n 's/^Total Tests: //p')
labels=$(ctest --preset full --print-labels | sed -n 's/^  //p' | grep -v '^full$' | paste -sd, - | sed 's/,/, /g')
echo "Left to 'scripts/check.sh full': $left tests, with the labels $labels"
run_tests dev
