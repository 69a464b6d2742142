#!/usr/bin/env bash
# Measures the library: every kernel, layer and stage and the whole, with the kernels of each instruction
# set, each together with what it is compared with. Prints the table of performance targets; the results are
# in build/bench/results. Use an idle machine for the best figures. The table includes the latest run of
# scripts/check.sh bench peers.
#
#   scripts/bench.sh                  all of it, some minutes
#   scripts/bench.sh --document       the same, and writes the figures and the plot into docs/performance.md
#   scripts/bench.sh --instructions   counts instructions instead, which noise does not affect, and
#                                     compares them with the stored figures
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib/preamble.sh"

case $#${1:-} in
0 | 1--instructions | 1--document) ;;
*) wrong_usage scripts/bench.sh ;;
esac
needs gate
results=$PWD/build/bench/results
peers=build/bench-peers/peers.json
if [ "${1:-}" = --document ] && [ ! -e "$peers" ]; then
    fail "There is no run of the peers: use scripts/check.sh bench document"
fi
if [ "${1:-}" = --instructions ]; then
    # All of them, so that a change that breaks one does not wait for the next measurement.
    build bench zomu_bench zomu_one_extraction dump_stages zomu-model
    temporary_model build/bench/tools "$results/tmp"
    exec python3 bench/instructions.py build/bench/bench/zomu_one_extraction
fi
build bench zomu_bench zomu-model
temporary_model build/bench/tools "$results/tmp"

# Repetitions of different benchmarks take turns, so that a slow moment does not affect only one of them.
build/bench/bench/zomu_bench --benchmark_repetitions=9 --benchmark_min_time=0.05 \
    --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
    --benchmark_out="$results/results.json" --benchmark_out_format=json >"$results/bench.log"
options=()
if [ -e "$peers" ]; then
    options+=(--peers "$peers")
fi
if [ "${1:-}" = --document ]; then
    options+=(--document docs/performance.md)
fi
python3 bench/report.py "$results/results.json" "${options[@]}"
if [ "${1:-}" = --document ]; then
    /usr/bin/python3 bench/plot.py "$results/results.json" docs/images/performance.png "$peers"
fi
