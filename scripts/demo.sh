#!/usr/bin/env bash
# Shows the library at work: builds it, makes a model, and scores the sample face against changed
# copies of itself and against a drawn face. All it leaves lies in build/; a second run is quick.
set -euo pipefail
export LC_ALL=C # numbers with a point, in every tool and in printf

if [ $# -gt 0 ]; then
    echo "Usage: scripts/demo.sh (it takes no arguments)" >&2
    exit 2
fi
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

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
    --target compare_faces zomu-inspect zomu-model zomu-variants -- "${quiet[@]}"
tools=build/release/tools
compare=build/release/examples/compare_faces

# From here on every program has its temporary files in build/, the library its model among them.
export TMPDIR=$temporary
model="$temporary/~zvplugintmp~"
if ! "$tools/zomu-model" check "$model" >"$demo/model.log" 2>&1; then
    echo "Making a model (this takes some seconds) ..."
    "$tools/zomu-model" make "$model" --seed 1 --force >"$demo/model.log"
fi

echo "Changing and drawing pictures ..."
portrait=(examples/data/portrait.png examples/data/portrait.csv)
"$tools/zomu-variants" "${portrait[@]}" "$demo/pictures"
"$tools/zomu-inspect" "${portrait[@]}" "$demo/sheets"
"$compare" --output "$demo/portrait.zt" "${portrait[@]}"

# score PICTURE LANDMARKS REMARK: prints one row of the table.
score() {
    local value
    value=$("$compare" "$demo/portrait.zt" "$1" "$2")
    printf '  %-15s %8.4f   %s\n' "$(basename "$1")" "$value" "$3"
}

pictures=$demo/pictures
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

cat <<TEXT

The model was made here from random numbers and is not trained. Its scores tell pictures apart, not
people: they show that the pipeline works, and say nothing about how well it would recognise anyone.

What the library saw:   $demo/sheets/landmarks.png
                        $demo/sheets/patches.png
The pictures it scored: $pictures
TEXT
