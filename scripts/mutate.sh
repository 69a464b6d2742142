#!/usr/bin/env bash
# Checks the tests: changes one comparison, operator or constant of src/ at a time and counts how many
# of these changes some test notices. Takes about an hour on two cores. Options: --help
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

scripts/install-dependencies.sh
exec python3 scripts/mutation.py "$@"
