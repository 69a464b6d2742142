#!/usr/bin/env bash
# Studies the model that scripts/train.sh left in build/training: networks alone and together,
# components, harder photographs, and two networks trained from other seeds. Takes half an hour; if it was
# ended, another run continues there. Tables and plots: build/training/study.
#
#   scripts/study.sh [--jobs N]
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib/preamble.sh"
export LC_ALL=C

jobs=$(nproc)
if [ $# -eq 2 ] && [ "$1" = --jobs ] && [[ $2 =~ ^[1-9][0-9]*$ ]]; then
    jobs=$2
elif [ $# -gt 0 ]; then
    wrong_usage scripts/study.sh
fi
home=build/training
trained=$home/work
[ -d "$home/model" ] || fail "There is no $home/model: run scripts/train.sh first"
needs demo training

# render NAME OPTIONS...: harder or easier photographs of the first held-out people.
render() {
    local folder=$home/$1
    shift
    if [ ! -e "$folder/manifest.csv" ]; then
        training/render_people "$folder" --people 300 --photos 8 --first 50000 --jobs "$jobs" "$@"
    fi
}
render exact --jitter 0 0
render yaw --yaw 30
render occluded --occlusion 1

epochs=$(/usr/bin/python3 -c 'import json, sys; print(json.load(sys.stdin)["epochs"])' <"$trained/settings.json")
for seed in 2 3; do
    mkdir -p "$home/seed-$seed"
    ln -sfn "$PWD/$trained/patches" "$home/seed-$seed/patches" # the same photographs
    training/train.py "$home/people/manifest.csv" "$home/none" --work "$home/seed-$seed" \
        --epochs "$epochs" --seed "$seed" --only 3 20 --jobs "$jobs"
done

training/study.py "$trained" "$home/model" "$home/study" --jobs "$jobs" \
    --held-out "$home/held-out/manifest.csv" \
    --condition "exact landmarks" "$home/exact/manifest.csv" \
    --condition "jitter 3 %" "$home/held-out-jitter-3/manifest.csv" \
    --condition "yaw 30 degrees" "$home/yaw/manifest.csv" \
    --condition "all occluded" "$home/occluded/manifest.csv" \
    --other-seed "$home/seed-2" --other-seed "$home/seed-3"
