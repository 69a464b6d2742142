#!/usr/bin/env bash
# Lets the library work without a pause: two contexts on two threads extract and compare. Every
# template must have the bits of the first one of its face, and the memory must stay as it is after
# the first minute. Prints figures every minute and a verdict; exit status 1 where it fails.
#
#   scripts/soak.sh [MINUTES]    without a number: 15
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

minutes=${1:-15}
if [ $# -gt 1 ] || ! [[ $minutes =~ ^[1-9][0-9]{0,5}$ ]]; then
    echo "Usage: scripts/soak.sh [MINUTES]" >&2
    exit 2
fi
scripts/install-dependencies.sh
results=$PWD/build/soak
mkdir -p "$results/tmp"
cmake --preset release --log-level=WARNING >"$results/configure.log"
cmake --build --preset release --target ZOMU zomu_soak zomu-model -- --quiet >"$results/build.log"

# The library finds its model below the temporary directory.
export TMPDIR=$results/tmp
model="$TMPDIR/~zvplugintmp~"
if ! build/release/tools/zomu-model check "$model" >"$results/model.log" 2>&1; then
    build/release/tools/zomu-model make "$model" --seed 1 --force >"$results/model.log"
fi
exec build/release/tests/hardening/zomu_soak build/release/src/libZOMU.so "$((60 * minutes))"
