#!/usr/bin/env bash
# Builds ZOMU.dll, the tools and the tests for Windows with Debian's cross compiler, and runs the tests
# under Wine. What it builds lies in build/windows, the libraries it needs in a cache folder; only the
# first run on a machine has to make those, which takes some minutes. Ends with the numbers of tests.
#
#   scripts/windows.sh             builds and tests
#   scripts/windows.sh --cached    the same where all libraries are in the cache; else says so and ends
#   scripts/windows.sh --time      builds, and prints the time of one extraction beside Linux
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

mode=${1:-}
if [ $# -gt 1 ] || ! [[ $mode =~ ^(|--cached|--time)$ ]]; then
    echo "Usage: scripts/windows.sh [--cached | --time]" >&2
    exit 2
fi

packages=(
    g++-mingw-w64-x86-64-posix # the cross compiler whose threads are those of std::thread and OpenMP
    libz-mingw-w64-dev         # for libpng
    wine64
    dpkg-dev                   # unpacks source packages
    googletest                 # the sources behind libgtest-dev
)
scripts/install-dependencies.sh "${packages[@]}"
status=0
if [ "$mode" = --cached ]; then
    libraries=$(scripts/windows-libraries.sh --cached) || status=$?
else
    libraries=$(scripts/windows-libraries.sh) || status=$?
fi
if [ "$status" -eq 3 ]; then
    echo "Left out: the tests for Windows. scripts/windows.sh makes the libraries that they need."
    exit 0
fi
[ "$status" -eq 0 ] || exit "$status"
export ZOMU_WINDOWS_LIBRARIES=${libraries//$'\n'/;}

# Wine with a prefix of its own, without windows and words, and with one server for all programs.
build=$PWD/build/windows
export WINEPREFIX=$build/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" DISPLAY=
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)
mkdir -p "$build"
trap '"$wineserver" --kill || true' EXIT
"$wineserver" --persistent || true # an earlier one may still be there
"$wine" wineboot --init >"$build/wineboot.log" 2>&1

cmake --preset windows --log-level=WARNING -DZOMU_BUILD_BENCH=ON
cmake --build --preset windows --parallel 2
ls -l "$build/bin/ZOMU.dll"

if [ "$mode" = --time ]; then
    cmake --preset release --log-level=WARNING -DZOMU_BUILD_BENCH=ON
    cmake --build --preset release --parallel 2 --target zomu_extraction_time zomu-model
    mkdir -p "$build/time"
    model="$build/time/~zvplugintmp~"
    if ! build/release/tools/zomu-model check "$model" >/dev/null 2>&1; then
        build/release/tools/zomu-model make "$model" --seed 1 --force >/dev/null
    fi
    # Both systems take turns, so that a slow moment does not fall on one alone. Wine passes no TMP on
    # from outside; a program that it starts may get one.
    echo "Milliseconds of one extraction, the median of 100"
    for round in 1 2 3; do
        for threads in 1 2; do
            export OMP_NUM_THREADS=$threads
            linux=$(TMPDIR=$build/time build/release/bench/zomu_extraction_time 100)
            windows=$("$wine" cmd /c "set TMP=$build/time&&$build/bin/zomu_extraction_time.exe 100" | tr -d '\r')
            echo "round $round, $threads thread(s): Linux $linux, Windows under Wine $windows"
        done
    done
    exit 0
fi

# A test that hangs is ended. Programs of GoogleTest say how many of their tests passed and failed; one
# that says nothing of the kind, or fails without a failed test, is a test itself.
status=0
ctest --preset windows --verbose --parallel "$(nproc)" --timeout 900 >"$build/ctest.log" 2>&1 || status=$?
read -r passed failed < <(tr -d '\r' <"$build/ctest.log" | awk '
    /^[0-9]+: \[==========\] [0-9]+ tests? from .* ran\./ { ran[$1] = $3 }
    /^[0-9]+: \[  PASSED  \] [0-9]+ tests?\.$/ { good[$1] = $5 }
    /^[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+$/ { passed = $NF - $(NF - 5); failed = $(NF - 5) }
    END {
        for (program in ran) {
            bad = ran[program] - good[program]
            passed += good[program] - (bad == 0)
            failed += bad - (bad > 0)
        }
        print passed, failed
    }')
if [ "$status" -ne 0 ]; then
    cat "$build/ctest.log"
fi
echo "$passed passed, $failed failed"
exit "$status"
