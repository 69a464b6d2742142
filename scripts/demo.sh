#!/usr/bin/env bash
# Shows the library at work: builds it, unpacks the demonstration model, scores the sample face against
# changed copies of itself and against other faces, and draws people who do not exist to score them
# against each other. All it leaves lies in build/; a second run is quick.
#
#   scripts/demo.sh [--model DIR]    with another model folder than the demonstration model
set -euo pipefail
export LC_ALL=C # numbers with a point, in every tool and in printf
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

own_model=
if [ $# -eq 2 ] && [ "$1" = --model ]; then
    own_model=$(readlink -f "$2")
    if [ ! -d "$own_model" ]; then
        echo "There is no folder $2" >&2
        exit 1
    fi
elif [ $# -gt 0 ]; then
    echo "Usage: scripts/demo.sh [--model DIR]" >&2
    exit 2
fi

scripts/install-dependencies.sh

demo=$PWD/build/demo
temporary=$demo/tmp
if [ ${#temporary} -gt 200 ]; then
    echo "The path of this folder is too long for the demo: $PWD" >&2
    exit 1
fi
mkdir -p "$temporary"

echo "Building ..."
cmake --preset release --log-level=WARNING >"$demo/configure.log"
quiet=(--quiet)
if [ -t 1 ]; then
    quiet=()
fi
cmake --build --preset release \
    --target compare_faces zomu-inspect zomu-model zomu-scores zomu-variants -- "${quiet[@]}"
tools=build/release/tools
compare=build/release/examples/compare_faces

# From here on every program has its temporary files in build/, the library its model among them.
export TMPDIR=$temporary
model="$temporary/~zvplugintmp~"
pack=models/rendered-people.pack
if [ -L "$model" ]; then
    rm "$model"
fi
if [ -n "$own_model" ]; then
    if [ "$own_model" != "$model" ]; then
        rm -rf "$model"
        ln -s "$own_model" "$model"
    fi
elif ! cmp -s "$pack" "$demo/unpacked.pack" || ! "$tools/zomu-model" check "$model" >"$demo/model.log" 2>&1; then
    echo "Unpacking the demonstration model ..."
    "$tools/zomu-model" unpack "$pack" "$model" --force >"$demo/model.log"
    cp "$pack" "$demo/unpacked.pack"
fi

echo "Changing and drawing pictures ..."
portrait=(examples/data/portrait.png examples/data/portrait.csv)
pictures=$demo/pictures
"$tools/zomu-variants" "${portrait[@]}" "$pictures"
"$tools/zomu-inspect" "${portrait[@]}" "$demo/sheets"
"$compare" --output "$demo/portrait.zt" "${portrait[@]}"
# People with numbers that no training of ours has seen.
training/render_people "$demo/people" --people 40 --photos 6 --first 90000 --jobs "$(nproc)"

# score PICTURE LANDMARKS REMARK: prints one row of the table.
score() {
    local value
    value=$("$compare" "$demo/portrait.zt" "$1" "$2")
    printf '  %-15s %8.4f   %s\n' "$(basename "$1")" "$value" "$3"
}

printf '\nScores against examples/data/portrait.png\n\n'
printf '  %-15s %8s   %s\n' picture score remark
printf '  %-15s %8s   %s\n' --------------- -------- ---------------------------------
score "${portrait[@]}" "the same file"
score "$pictures/turned.png" "$pictures/turned.csv" "turned by 15 degrees"
score "$pictures/larger.png" "$pictures/larger.csv" "1.6 times as large"
score "$pictures/smaller.png" "$pictures/smaller.csv" "0.7 times as large"
score "$pictures/compressed.jpg" "$pictures/compressed.csv" "JPEG of quality 40"
score "$pictures/noisy.png" "$pictures/noisy.csv" "with noise"
score "$pictures/darker.png" "$pictures/darker.csv" "40 % darker"
score "$pictures/mirrored.png" "$pictures/mirrored.csv" "left and right swapped"
score "$pictures/drawn.png" "$pictures/drawn.csv" "another face, drawn by a program"

# Which score one of 1,000 pairs of different rendered people reaches, as it was measured on the model.
limit=()
if [ -z "$own_model" ]; then
    threshold=$(/usr/bin/python3 -c 'import json, sys
print(format(json.load(sys.stdin)["threshold at 0.1 % false matches"], ".4f"))' <models/rendered-people.json)
    limit=(--threshold "$threshold")
    printf '\nOf 1,000 pairs of different rendered people one scores %s or more.\n' "$threshold"
fi

printf '\nThe portrait against 240 pictures of 40 rendered people: the three highest scores\n\n'
training/search "${portrait[@]}" "$demo/people/manifest.csv" --model "$model" --jobs "$(nproc)" \
    --top 3 "${limit[@]}" | sed 's/^/  /'

printf '\nAll pairs of these pictures\n\n'
training/evaluate "$demo/people/manifest.csv" "$demo/scores" --model "$model" --jobs "$(nproc)" |
    sed 's/^/  /'

if [ -n "$own_model" ]; then
    printf '\nThe scores are those of your model: %s\n' "$own_model"
else
    cat <<TEXT

The model was trained on drawn heads and has never seen a photograph. It tells rendered people apart; it
identifies no real person, and says nothing about how well another model would do.
TEXT
fi
cat <<TEXT

What the library saw:   $demo/sheets/landmarks.png
                        $demo/sheets/patches.png
The pictures it scored: $pictures
                        $demo/people/contact.png
How scores lie:         $demo/scores/histogram.png
TEXT
