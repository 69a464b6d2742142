#!/usr/bin/env bash
# Creates the demonstration model from nothing: renders people, trains on them, packs the model, and
# measures it on people it has never seen. Takes hours; if it was ended, another run continues there. All
# of its files are in build/training.
#
#   scripts/train.sh [--people N] [--photos N] [--epochs N] [--held-out N] [--jobs N]
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib/preamble.sh"
export LC_ALL=C

people=3000
photos=16
epochs=14
held_out=1000
jobs=$(nproc)
while [ $# -gt 0 ]; do
    case $1 in
    --people | --photos | --epochs | --held-out | --jobs)
        if [ $# -lt 2 ] || ! [[ $2 =~ ^[1-9][0-9]*$ ]]; then
            wrong_usage scripts/train.sh
        fi
        name=${1#--}
        printf -v "${name//-/_}" %s "$2"
        shift 2
        ;;
    *)
        wrong_usage scripts/train.sh
        ;;
    esac
done

home=$PWD/build/training
mkdir -p "$home"
needs demo training
build release zomu-model zomu-patches zomu-scores
tools=build/release/tools

# render NAME OPTIONS...: photographs in a folder of that name; its manifest is written last.
render() {
    local folder=$home/$1
    shift
    if [ ! -e "$folder/manifest.csv" ]; then
        echo "Drawing $(basename "$folder") ..."
        training/render_people "$folder" --jobs "$jobs" "$@"
    fi
}

# The people to measure with have numbers above those of all people to train on.
strangers=(--people "$held_out" --photos 8 --first 50000)
render people --people "$people" --photos "$photos" --jitter 0 3
render held-out "${strangers[@]}"
render held-out-jitter-3 "${strangers[@]}" --jitter 3 3

if [ ! -e "$home/model" ]; then
    echo "Training ..."
    training/train.py "$home/people/manifest.csv" "$home/model" --work "$home/work" \
        --epochs "$epochs" --jobs "$jobs"
fi
if [ ! -e "$home/unpacked" ]; then
    "$tools/zomu-model" pack "$home/model" "$home/rendered-people.pack"
    "$tools/zomu-model" unpack "$home/rendered-people.pack" "$home/unpacked"
fi

# measure NAME MODEL: error rates of a model on photographs of that name.
measure() {
    local out=$home/rates-$1-$2
    printf '\n%s, model %s\n' "$1" "$2"
    if [ ! -e "$out/rates.json" ]; then
        training/evaluate "$home/$1/manifest.csv" "$out" --model "$home/$2" --jobs "$jobs" \
            >"$out.log"
    fi
    cat "$out.log"
}
measure held-out model
measure held-out unpacked
measure held-out-jitter-3 model
measure held-out-jitter-3 unpacked
