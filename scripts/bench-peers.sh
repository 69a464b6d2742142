#!/usr/bin/env bash
# Compares an extraction with what can be put together from other makers' parts: OpenCV cuts the
# patches, ONNX Runtime runs the networks, NumPy projects. Both sides work on the same face with the
# same model, and their numbers are compared before their times. Prints one table; everything it
# leaves lies in build/bench-peers. The first run fetches some 250 MB from Debian and npm. A machine
# that does nothing else gives the best figures.
#
#   scripts/bench-peers.sh [PICTURE LANDMARKS]    without a face: the sample portrait
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

if [ $# -ne 0 ] && [ $# -ne 2 ]; then
    echo "Usage: scripts/bench-peers.sh [PICTURE LANDMARKS]" >&2
    exit 2
fi
picture=${1:-examples/data/portrait.png}
landmarks=${2:-examples/data/portrait.csv}
rounds=3
runs=200
runtime=1.30.0 # of onnxruntime-node

results=$PWD/build/bench-peers
mkdir -p "$results/tmp"

# quietly LOG COMMAND...: shows the log only where the command fails.
quietly() {
    local log=$results/$1
    shift
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        echo "Failed: $*" >&2
        exit 1
    fi
}

scripts/install-dependencies.sh
missing=()
for package in python3-numpy python3-onnx python3-opencv; do
    if [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
        missing+=("$package")
    fi
done
# Any Node will do; some bring npm with them.
command -v node >/dev/null || missing+=(nodejs)
command -v npm >/dev/null || missing+=(npm)
if [ ${#missing[@]} -gt 0 ]; then
    as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    quietly apt-update.log "${as_root[@]}" apt-get update
    quietly apt-install.log "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install --yes --no-install-recommends "${missing[@]}"
fi
# The package brings its library for the CPU; its install script would only fetch others.
if ! grep -qs "\"version\": \"$runtime\"" "$results/node_modules/onnxruntime-node/package.json"; then
    echo "Installing: onnxruntime-node $runtime (into build/bench-peers)"
    quietly npm.log npm install --ignore-scripts --no-audit --no-fund --prefix "$results" \
        "onnxruntime-node@$runtime"
fi

echo "Building ..."
quietly configure.log cmake --preset release -DZOMU_BUILD_BENCH=ON
quietly build.log cmake --build --preset release --target dump_stages zomu-model

# The library finds its model below the temporary directory.
export TMPDIR=$results/tmp
model="$TMPDIR/~zvplugintmp~"
if ! build/release/tools/zomu-model check "$model" >"$results/model.log" 2>&1; then
    quietly model.log build/release/tools/zomu-model make "$model" --seed 1 --force
fi
quietly export.log tools/export_onnx.py "$model" "$results/onnx"

# Both sides take turns, so that a slow moment does not fall on one alone.
rm -rf "$results"/round-*
folders=()
for ((round = 1; round <= rounds; ++round)); do
    folder=$results/round-$round
    folders+=("$folder")
    for threads in 1 2; do
        printf '\nRound %d, %d thread(s)\n' "$round" "$threads"
        build/release/bench/peers/dump_stages "$picture" "$landmarks" "$folder" \
            --threads "$threads" --runs "$runs"
        node bench/peers/run_networks.mjs --modules "$results" --onnx "$results/onnx" \
            --dump "$folder" --threads "$threads" --runs "$runs"
        bench/peers/peer_path.py "$model" "$folder" --threads "$threads" --runs "$runs"
    done
done
node bench/peers/report.mjs "$results/peers.json" "${folders[@]}"
