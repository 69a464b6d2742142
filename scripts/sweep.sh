#!/usr/bin/env bash
# Runs the sweeps of tests/hardening/ in full, where an ordinary test run takes samples: an allocation
# that fails at every request of every call, every fault of every model file, files that change while
# they are read, and 300 creates. Prints a line with figures for each; some ten minutes.
#
#   scripts/sweep.sh [FILTER]    a filter of GoogleTest, such as 'ModelFaults.*'
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

if [ $# -gt 1 ]; then
    echo "Usage: scripts/sweep.sh [FILTER]" >&2
    exit 2
fi
scripts/install-dependencies.sh
mkdir -p build
log=build/sweep.log
cmake --preset release --log-level=WARNING >"$log"
cmake --build --preset release --target zomu_allocation_tests zomu_endurance_tests zomu_fault_tests \
    -- --quiet >>"$log"

# Passive: a team that waits for its last thread leaves the processor to others.
export ZOMU_SWEEP=full OMP_WAIT_POLICY=passive
for program in zomu_allocation_tests zomu_fault_tests zomu_endurance_tests; do
    "build/release/tests/hardening/$program" --gtest_brief=1 --gtest_filter="${1:-*}"
done
