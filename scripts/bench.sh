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
# measure PROGRAM JSON [OPTION...]: repetitions of different benchmarks take turns, so that a slow
# moment does not fall on one alone.
measure() {
    "$1" --benchmark_repetitions=9 --benchmark_min_time=0.05 \
        --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
        --benchmark_out="$2" --benchmark_out_format=json "${@:3}"
}
measure build/release/bench/zomu_bench "$results/results.json" >"$results/bench.log"
options=()
# The other choice of the product, where its package (libdnnl-dev) is installed.
if echo '#include <dnnl.h>' | "${CC:-cc}" -E - >"$results/onednn.log" 2>&1; then
    cmake --preset release --log-level=WARNING -B build/release-onednn -DZOMU_SGEMM=onednn \
        -DZOMU_BUILD_BENCH=ON >"$results/configure.log"
    cmake --build build/release-onednn --target zomu_bench -- --quiet >"$results/build.log"
    measure build/release-onednn/bench/zomu_bench "$results/onednn.json" \
        --benchmark_filter='stage/networks|whole/1MP/ours' >"$results/onednn.log"
    options+=(--onednn "$results/onednn.json")
fi
if [ -e build/bench-peers/peers.json ]; then
    options+=(--peers build/bench-peers/peers.json)
fi
python3 bench/report.py "$results/results.json" "${options[@]}"
