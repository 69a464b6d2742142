#!/usr/bin/env bash
# Installs a build into a folder, builds a project against it by each road that hosts take, moves the
# folder, and does it again: nothing may know where it was.
#
#   install_test.sh BUILD_FOLDER TMPDIR    a temporary directory with a model, so that nothing is missing
set -euo pipefail
build=$1
project=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/use
work=$(mktemp -d)
export TMPDIR=$2
trap 'rm -rf "$work"' EXIT
# (2 (3 x 4 + 4 x 3) - (10 + 10)) / (5 x 5) + 1
expected='record
from C 2.1200
from C++ 2.1200
template refused: no image
length nan'

# use ROOT: the project's programs, by CMake and by pkg-config, against the installation in ROOT
use() {
    local root=$1 libraries output
    libraries=$(dirname "$(find "$root" -name libZOMU.so)")
    rm -rf "$work/by-cmake" "$work/by-pkg-config"
    cmake -S "$project" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$root" >"$work/log"
    cmake --build "$work/by-cmake" >>"$work/log"
    check "by CMake" "$("$work/by-cmake/use_zomu" && "$work/by-cmake/use_zomu_cpp" &&
        "$work/by-cmake/use_zomu_batch")"

    mkdir "$work/by-pkg-config"
    export PKG_CONFIG_PATH=$libraries/pkgconfig
    read -ra flags <<<"$(pkg-config --cflags --libs zomu)"
    cc -std=c11 "$project/use_zomu.c" -o "$work/by-pkg-config/c" "${flags[@]}"
    c++ -std=c++17 "$project/use_zomu.cpp" -o "$work/by-pkg-config/cpp" "${flags[@]}"
    read -ra flags <<<"$(pkg-config --cflags --libs zomu-batch)"
    cc -std=c11 "$project/use_zomu_batch.c" -o "$work/by-pkg-config/batch" "${flags[@]}"
    output=$(export LD_LIBRARY_PATH=$libraries &&
        "$work/by-pkg-config/c" && "$work/by-pkg-config/cpp" && "$work/by-pkg-config/batch")
    check "by pkg-config" "$output"
}

# check ROAD OUTPUT
check() {
    if [ "$2" != "$expected" ]; then
        printf '%s, the programs said:\n%s\ninstead of:\n%s\n' "$1" "$2" "$expected" >&2
        exit 1
    fi
}

cmake --install "$build" --prefix "$work/one" >/dev/null
use "$work/one"
mkdir "$work/elsewhere"
mv "$work/one" "$work/elsewhere/two"
use "$work/elsewhere/two"
if grep -r --fixed-strings --files-with-matches --exclude-dir=doc "$work/one" "$work/elsewhere"; then
    echo "These files know where they were installed." >&2
    exit 1
fi
