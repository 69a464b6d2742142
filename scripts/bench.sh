#!/usr/bin/env bash
# Measures the library: every kernel, layer and stage and the whole, each beside what it is compared
# with. Prints the table of what is promised; the results stay in build/bench. A machine that does
# nothing else gives the best figures.
#
#   scripts/bench.sh                  all of it, some minutes
#   scripts/bench.sh --instructions   counts instructions instead, which noise cannot touch, and
#                                     compares them with the stored figures
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

if [ $# -gt 1 ] || { [ $# -eq 1 ] && [ "$1" != --instructions ]; }; then
    echo "Usage: scripts/bench.sh [--instructions]" >&2
    exit 2
fi
scripts/install-dependencies.sh
results=$PWD/build/bench
mkdir -p "$results/tmp"
cmake --preset release --log-level=WARNING -DZOMU_BUILD_BENCH=ON >"$results/configure.log"
cmake --build --preset release --target zomu_bench zomu_one_extraction zomu-model -- --quiet >"$results/build.log"

# The library finds its model below the temporary directory.
export TMPDIR=$results/tmp
model="$TMPDIR/~zvplugintmp~"
if ! build/release/tools/zomu-model check "$model" >"$results/model.log" 2>&1; then
    build/release/tools/zomu-model make "$model" --seed 1 --force >"$results/model.log"
fi

if [ $# -eq 1 ]; then
    exec python3 bench/instructions.py build/release/bench/zomu_one_extraction
fi
# Repetitions of different benchmarks take turns, so that a slow moment does not fall on one alone.
build/release/bench/zomu_bench --benchmark_repetitions=9 --benchmark_min_time=0.05 \
    --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
    --benchmark_out="$results/results.json" --benchmark_out_format=json >"$results/bench.log"
peers=()
if [ -e build/bench-peers/peers.json ]; then
    peers=(build/bench-peers/peers.json)
fi
python3 bench/report.py "$results/results.json" "${peers[@]}"
