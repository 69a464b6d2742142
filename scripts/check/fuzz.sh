# Builds the fuzz targets with Clang and runs them, from the stored inputs and what earlier runs found.
#
#   scripts/check.sh fuzz [--seconds N | --full] [TARGET...]
#
#   --seconds N   N seconds for each target; default: 60
#   --full        the full number of runs: 20 million over the texts, 2 million over the patch stage,
#                 50,000 whole extractions, 1 million pictures and 200,000 model files; takes hours
#
# Runs as many targets at a time as there are processors. Prints a line for each target; exit status 1 if
# any of them crashed. New finds go to build/fuzz/finds, inputs that crash to build/fuzz/crashes, and the
# output of each target to build/fuzz/logs.

# Target, the maximal length of an input in bytes, and the runs of --full.
targets=(
    "numbers 48 15000000"
    "lists 48 2500000"
    "description 256 1500000"
    "landmark_file 1024 1000000"
    "patches 700 2000000"
    "extraction 1024 50000"
    "model_files 512 200000"
    "picture_file 2048 1000000"
)

seconds=60
chosen=()
while [ $# -gt 0 ]; do
    case $1 in
    --seconds)
        seconds=${2:-}
        [[ $seconds =~ ^[1-9][0-9]*$ ]] || wrong_usage
        shift
        ;;
    --full) seconds= ;;
    -*) wrong_usage ;;
    *)
        printf '%s\n' "${targets[@]}" | grep -q "^$1 " || wrong_usage
        chosen+=("$1")
        ;;
    esac
    shift
done

needs tests clang
build=build/fuzz
build fuzz fuzz_targets
mkdir -p $build/logs

# fuzz TARGET MAX_LENGTH LIMIT
fuzz() {
    local target=$1 log=$build/logs/$1.txt start status=0
    local folders=("$build/finds/$target" "$build/corpus/$target")
    mkdir -p "${folders[0]}" "$build/crashes/$target"
    python3 -B tests/fuzz/corpus.py unpack "$target" "${folders[1]}"
    start=$SECONDS
    # One thread for the networks. Standard output has the library's lines about missing files. An input
    # takes milliseconds; the limit of 300 s is for machines that are busy with other work.
    OMP_NUM_THREADS=1 "$build/tests/fuzz/fuzz_$target" "$3" -max_len="$2" -timeout=300 \
        -report_slow_units=300 -rss_limit_mb=4096 -print_final_stats=1 \
        -artifact_prefix="$build/crashes/$target/" \
        "${folders[@]}" >/dev/null 2>"$log" || status=$?

    local runs edges all
    runs=$(sed -n 's/^stat::number_of_executed_units: //p' "$log")
    edges=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -1)
    all=$(sed -n 's/.*PC tables (\([0-9]*\) PCs).*/\1/p' "$log")
    printf '%-14s %9d runs %6d s   %5d of %5d edges   %s\n' "$target" "${runs:-0}" \
        $((SECONDS - start)) "${edges:-0}" "${all:-0}" "$([ $status = 0 ] && echo 0 || echo 1) crashes"
    if [ $status != 0 ]; then
        sed -n '/ERROR\|wrong result\|runtime error\|Test unit written/p' "$log" >&2
    fi
    return $status
}

crashed=0
running=0
await() {
    wait -n || crashed=1
    running=$((running - 1))
}
for line in "${targets[@]}"; do
    read -r target length runs <<<"$line"
    if [ ${#chosen[@]} -gt 0 ] && [[ " ${chosen[*]} " != *" $target "* ]]; then
        continue
    fi
    limit=-runs=$runs
    [ -z "$seconds" ] || limit=-max_total_time=$seconds
    [ $running -lt "$(nproc)" ] || await
    fuzz "$target" "$length" "$limit" &
    running=$((running + 1))
done
while [ $running -gt 0 ]; do await; done
[ $crashed -eq 0 ]
