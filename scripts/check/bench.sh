# Times and instruction counts (scripts/bench.sh), and the comparison with other libraries.
#
#   scripts/check.sh bench [--instructions]             as scripts/bench.sh
#   scripts/check.sh bench peers [PICTURE LANDMARKS]    default: the sample portrait
#
# The peers: OpenCV cuts the patches, ONNX Runtime runs the networks, NumPy computes the projection. Both
# sides work on the same face with the same model, and their numbers are compared before their times. Prints
# one table; all of its files are in build/bench-peers. The first run downloads some 250 MB from Debian and
# npm. Use an idle machine for the best figures.
if [ "${1:-}" != peers ]; then
    exec scripts/bench.sh "$@"
fi
[ $# -eq 1 ] || [ $# -eq 3 ] || wrong_usage
picture=${2:-examples/data/portrait.png}
landmarks=${3:-examples/data/portrait.csv}
rounds=3
runs=200
runtime=1.30.0 # of onnxruntime-node

results=$PWD/build/bench-peers
mkdir -p "$results"

packages=(python3-numpy python3-onnx python3-opencv)
# Any Node will do; some bring npm with them.
command -v node >/dev/null || packages+=(nodejs)
command -v npm >/dev/null || packages+=(npm)
needs gate "${packages[@]}"
# The package contains its library for the CPU; its install script would only download others.
if ! grep -qs "\"version\": \"$runtime\"" "$results/node_modules/onnxruntime-node/package.json"; then
    echo "Installing: onnxruntime-node $runtime (into build/bench-peers)"
    quietly "$results/npm.log" npm install --ignore-scripts --no-audit --no-fund --prefix "$results" \
        "onnxruntime-node@$runtime"
fi

build bench dump_stages zomu-model
temporary_model build/bench/tools "$results/tmp"
model="$TMPDIR/~zvplugintmp~"
quietly "$results/export.log" tools/export_onnx.py "$model" "$results/onnx"

# Both sides take turns, so that a slow moment does not affect only one of them.
rm -rf "$results"/round-*
folders=()
for ((round = 1; round <= rounds; ++round)); do
    folder=$results/round-$round
    folders+=("$folder")
    for threads in 1 2; do
        printf '\nRound %d, %d thread(s)\n' "$round" "$threads"
        build/bench/bench/peers/dump_stages "$picture" "$landmarks" "$folder" \
            --threads "$threads" --runs "$runs"
        node bench/peers/run_networks.mjs --modules "$results" --onnx "$results/onnx" \
            --dump "$folder" --threads "$threads" --runs "$runs"
        bench/peers/peer_path.py "$model" "$folder" --threads "$threads" --runs "$runs"
    done
done
node bench/peers/report.mjs "$results/peers.json" "${folders[@]}"
