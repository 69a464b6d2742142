#!/usr/bin/env bash
# Measures the library: every kernel, layer and stage and the whole, each together with what it is compared
# with. Prints the table of performance targets; the results are in build/bench/results. Use an idle machine
# for the best figures.
#
#   scripts/bench.sh                  all of it, some minutes
#   scripts/bench.sh --instructions   counts instructions instead, which noise does not affect, and
#                                     compares them with the stored figures
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib/preamble.sh"

if [ $# -gt 1 ] || { [ $# -eq 1 ] && [ "$1" != --instructions ]; }; then
    wrong_usage scripts/bench.sh
fi
needs gate
results=$PWD/build/bench/results
if [ $# -eq 1 ]; then
    build bench zomu_one_extraction zomu-model
    temporary_model build/bench/tools "$results/tmp"
    exec python3 bench/instructions.py build/bench/bench/zomu_one_extraction
fi
build bench zomu_bench zomu-model
temporary_model build/bench/tools "$results/tmp"

# measure PROGRAM JSON [OPTION...]: repetitions of different benchmarks take turns, so that a slow
# moment does not affect only one of them.
measure() {
    "$1" --benchmark_repetitions=9 --benchmark_min_time=0.05 \
        --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
        --benchmark_out="$2" --benchmark_out_format=json "${@:3}"
}
measure build/bench/bench/zomu_bench "$results/results.json" >"$results/bench.log"
options=()
# The other library for the matrix products, if its package (libdnnl-dev) is installed.
if echo '#include <dnnl.h>' | "${CC:-cc}" -E - >"$results/onednn.log" 2>&1; then
    quietly "$results/configure.log" cmake --preset bench -B build/bench-onednn -DZOMU_SGEMM=onednn
    quietly "$results/build.log" cmake --build build/bench-onednn --target zomu_bench
    measure build/bench-onednn/bench/zomu_bench "$results/onednn.json" \
        --benchmark_filter='stage/networks|whole/1MP/ours' >"$results/onednn.log"
    options+=(--onednn "$results/onednn.json")
fi
if [ -e build/bench-peers/peers.json ]; then
    options+=(--peers build/bench-peers/peers.json)
fi
python3 bench/report.py "$results/results.json" "${options[@]}"
