# Times and instruction counts (scripts/bench.sh), and the comparison with other libraries.
#
#   scripts/check.sh bench [--instructions]             as scripts/bench.sh
#   scripts/check.sh bench peers [PICTURE LANDMARKS]    default: the sample portrait
#   scripts/check.sh bench document                     runs both and writes their figures and the plot
#                                                       into docs/performance.md
#
# The peers: OpenCV cuts the patches, ONNX Runtime runs the networks, NumPy computes the projection. Both
# sides work on the same face with the same model, and their numbers are compared before their times. OpenCV
# and NumPy are those of Debian and the newest ones; the faster counts. Prints a table for each instruction
# set of ours; all files are in build/bench-peers. The first run downloads some 250 MB from Debian and PyPI.
# Use an idle machine for the best figures.
case ${1:-} in
peers) ;;
document)
    [ $# -eq 1 ] || wrong_usage
    needs python3-matplotlib
    scripts/check.sh bench peers
    # The table of the peers belongs to this run.
    scripts/bench.sh --document
    exit
    ;;
*) exec scripts/bench.sh "$@" ;;
esac
[ $# -eq 1 ] || [ $# -eq 3 ] || wrong_usage
picture=${2:-examples/data/portrait.png}
landmarks=${3:-examples/data/portrait.csv}
rounds=5
runs=100
newest=(onnxruntime==1.31.1 numpy==2.4.6 opencv-python-headless==5.0.0.93)

results=$PWD/build/bench-peers
mkdir -p "$results"

needs gate python3-numpy python3-onnx python3-opencv python3-venv
python=$results/python/bin/python
if [ "$("$python" -m pip freeze 2>/dev/null | grep -cxF "$(printf '%s\n' "${newest[@]}")")" -ne ${#newest[@]} ]; then
    echo "Installing: ${newest[*]} (into build/bench-peers)"
    quietly "$results/venv.log" /usr/bin/python3 -m venv "$results/python"
    quietly "$results/pip.log" "$python" -m pip install "${newest[@]}"
fi

build bench dump_stages zomu-model
temporary_model build/bench/tools "$results/tmp"
model="$TMPDIR/~zvplugintmp~"
quietly "$results/export.log" tools/export_onnx.py "$model" "$results/onnx"

# All sides take turns, so that a slow moment does not affect only one of them.
rm -rf "$results"/round-*
folders=()
for ((round = 1; round <= rounds; ++round)); do
    folder=$results/round-$round
    folders+=("$folder")
    for threads in 1 2; do
        printf '\nRound %d, %d thread(s)\n' "$round" "$threads"
        options=(--threads "$threads" --runs "$runs")
        build/bench/bench/peers/dump_stages "$picture" "$landmarks" "$folder" "${options[@]}"
        "$python" bench/peers/run_networks.py "$results/onnx" "$folder" "${options[@]}"
        "$python" bench/peers/peer_path.py "$model" "$folder" "${options[@]}" --name newest
        /usr/bin/python3 bench/peers/peer_path.py "$model" "$folder" "${options[@]}" --name debian
    done
done
/usr/bin/python3 bench/peers/peer_report.py "$results/peers.json" "${folders[@]}"
