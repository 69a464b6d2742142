#!/usr/bin/env bash
# Demonstrates the library: builds it, unpacks the demonstration model, scores the sample face against
# changed copies of itself and against people who do not exist, and these against each other. All of its
# files are in build/demo/; a second run is quick.
#
#   scripts/demo.sh [--model DIR]    with the model folder DIR instead of the demonstration model
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

scripts/install-dependencies.sh demo

demo=$PWD/build/demo
temporary=$demo/tmp
if [ ${#temporary} -gt 200 ]; then
    echo "The path of this folder is too long for the demo: $PWD" >&2
    exit 1
fi
mkdir -p "$temporary"

# A build folder of its own, with every option that matters: it does not conflict with any other build.
echo "Building the library and the tools in build/demo/build ..."
build=build/demo/build
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZOMU_BUILD_TOOLS=ON -DZOMU_BUILD_TESTS=OFF \
    -DZOMU_BUILD_BENCH=OFF --log-level=WARNING >"$demo/configure.log"
targets=(compare_faces ZOMUpictures zomu-inspect zomu-model zomu-scores zomu-variants)
if [ -t 1 ]; then
    cmake --build "$build" --target "${targets[@]}"
else
    # One line for every tenth of the steps, and all messages of the compiler.
    shown=0
    cmake --build "$build" --target "${targets[@]}" | while IFS= read -r line; do
        if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]]; then
            tenth=$((10 * BASH_REMATCH[1] / BASH_REMATCH[2]))
            if [ $tenth -gt $shown ]; then
                echo "  step ${BASH_REMATCH[1]} of ${BASH_REMATCH[2]}"
                shown=$tenth
            fi
        elif [[ $line != *'no work to do'* ]]; then
            printf '%s\n' "$line"
        fi
    done
fi
tools=$build/tools
compare=$build/examples/compare_faces

# From here on the temporary files of every program are in build/, including the library's model.
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

portrait=(examples/data/portrait.png examples/data/portrait.csv)
changed=$demo/pictures
echo "Changing the sample portrait, and drawing what the library sees of it ..."
"$tools/zomu-variants" "${portrait[@]}" "$changed"
"$tools/zomu-inspect" "${portrait[@]}" "$demo/sheets"
echo "Scoring it ..."

# row NAME PICTURE LANDMARKS REMARK: prints one row of the table.
row() {
    local value
    value=$("$compare" "${portrait[@]}" "$2" "$3")
    printf '  %-15s %8.4f   %s\n' "$1" "$value" "$4"
}

printf '\nScores against examples/data/portrait.png\n\n'
printf '  %-15s %8s   %s\n' picture score remark
printf '  %-15s %8s   %s\n' --------------- -------- ---------------------------------
row portrait.png "${portrait[@]}" "the same file"
row turned.png "$changed/turned.png" "$changed/turned.csv" "turned by 15 degrees"
row larger.png "$changed/larger.png" "$changed/larger.csv" "1.6 times as large"
row smaller.png "$changed/smaller.png" "$changed/smaller.csv" "0.7 times as large"
row compressed.jpg "$changed/compressed.jpg" "$changed/compressed.csv" "JPEG of quality 40"
row noisy.png "$changed/noisy.png" "$changed/noisy.csv" "with noise"
row darker.png "$changed/darker.png" "$changed/darker.csv" "40 % darker"
row mirrored.png "$changed/mirrored.png" "$changed/mirrored.csv" "left and right swapped"
other=examples/data/people/photos/90006/00
row 90006/00.jpg "$other.jpg" "$other.csv" "another face, drawn by a program"

# People who were not used in training, and the portrait before them.
printf '\nScoring all pairs of the portrait and 48 pictures of 12 rendered people ...\n'
{
    echo person,photo,landmarks
    echo portrait,../../examples/data/portrait.png,../../examples/data/portrait.csv
    sed '1d; s|photos/|../../examples/data/people/photos/|g' examples/data/people/manifest.csv
} >"$demo/faces.csv"
"$tools/zomu-scores" --csv "$demo/faces.csv" "$demo/scores" >"$demo/scores.log"

printf '\nThe portrait against these people: the three highest scores\n\n'
awk -F , '$1 == "portrait" {
    count = split($4, parts, "/")
    printf "  %8.4f   %s/%s\n", $5, parts[count - 1], parts[count]
}' "$demo/scores/scores.csv" | sort --reverse --numeric-sort | sed 3q

printf '\nAll pairs of these people: how many score what\n\n'
awk -F , '
    NR > 1 && $1 != "portrait" {
        kind = $1 == $3
        tenth = int(10 * $5 + 100) - 100 # rounded down, also below 0
        ++pairs[kind, tenth]
        ++all[kind]
        low = tenth < low ? tenth : low
        high = tenth > high ? tenth : high
    }
    function bar(kind, tenth,    marks, text) {
        text = sprintf("%5d", pairs[kind, tenth])
        marks = int(25 * pairs[kind, tenth] / all[kind] + 0.5) # one for 4 %
        text = marks > 0 ? text " " : text
        while (marks-- > 0) {
            text = text "#"
        }
        return text
    }
    END {
        printf "  %-12s   %-25s   %s\n", "score", "same person", "different people"
        printf "  %s   %s   %s\n", "------------", "-------------------------", "-------------------------"
        for (tenth = low; tenth <= high; ++tenth) {
            printf "  %4.1f to %4.1f   %-25s   %s\n", tenth / 10, (tenth + 1) / 10,
                bar(1, tenth), bar(0, tenth)
        }
    }' "$demo/scores/scores.csv"

# verify FIRST SECOND: the first line of what the command says. Its exit status 2 means that it cannot judge.
verify() {
    local answer status=0
    answer=$(ZOMU_LIBRARY=$build/src/libZOMU.so PYTHONPATH=python /usr/bin/python3 -B -m zomu verify "$1" "$2") || status=$?
    [ $status -le 1 ] || return $status
    printf '  %s %s\n    %s\n' "$1" "${2#"$PWD"/}" "${answer%%$'\n'*}"
}
if [ -z "$own_model" ]; then
    people=examples/data/people/photos
    printf '\nFrom two photographs to an answer, with faces found by a program: zomu verify\n\n'
    verify "${portrait[0]}" "$changed/turned.png"
    verify $people/90009/01.jpg $people/90009/03.jpg
    verify $people/90009/03.jpg $people/90007/03.jpg
fi

if [ -n "$own_model" ]; then
    printf '\nThe scores are those of your model: %s\n' "$own_model"
else
    # The score that one in 1,000 pairs of different rendered people reaches, as measured with this model.
    limit=$(awk -F '[:,]' '/"threshold at 0.1 % false matches"/ { printf "%.4f", $2 }' \
        models/rendered-people.json)
    cat <<TEXT

One in 1,000 pairs of different rendered people scores $limit or more, as measured on 1,000 other people.
The model was trained on drawn heads and has never seen a photograph. It tells rendered people apart. It
cannot identify real people, and says nothing about how well another model would do.
TEXT
fi
cat <<TEXT

What the library saw:   build/demo/sheets/landmarks.png
                        build/demo/sheets/patches.png
The pictures it scored: build/demo/pictures
                        examples/data/people
All scores:             build/demo/scores/scores.csv
TEXT
