# Builds for Windows with Debian's cross compiler, and runs the tests under Wine.
#
#   scripts/check.sh windows             builds ZOMU.dll, the tools and the tests, and runs the tests
#   scripts/check.sh windows --cached    the same if all libraries are in the cache; else says so and ends
#   scripts/check.sh windows --time      builds, and prints the time of one extraction, also for Linux
#
# Builds in build/windows, and the libraries that it needs in a cache folder. Only the first run on a
# machine has to build those, which takes some minutes. The last line has the numbers of tests.
mode=${1:-}
if [ $# -gt 1 ] || ! [[ $mode =~ ^(|--cached|--time)$ ]]; then
    wrong_usage
fi

left_out() {
    echo "Left out: the tests for Windows. scripts/check.sh windows builds the libraries that they need."
    exit 0
}
if [ "$mode" = --cached ] && [ -z "$(ls -d "${XDG_CACHE_HOME:-$HOME/.cache}"/zomu/openblas-* 2>/dev/null)" ]; then
    left_out
fi
needs tests windows
status=0
if [ "$mode" = --cached ]; then
    libraries=$(scripts/lib/windows-libraries.sh --cached) || status=$?
else
    libraries=$(scripts/lib/windows-libraries.sh) || status=$?
fi
[ "$status" -ne 3 ] || left_out
[ "$status" -eq 0 ] || exit "$status"
export ZOMU_WINDOWS_LIBRARIES=${libraries//$'\n'/;}

# Wine with a prefix of its own, without windows and messages, and with one server for all programs.
home=$PWD/build/windows
export WINEPREFIX=$home/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" DISPLAY=
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)
mkdir -p "$home"
trap '"$wineserver" --kill || true' EXIT
"$wineserver" --persistent || true # an earlier one may still run
"$wine" wineboot --init >"$home/wineboot.log" 2>&1

build windows -DZOMU_BUILD_BENCH=ON
ls -l "$home/bin/ZOMU.dll"

if [ "$mode" = --time ]; then
    build bench zomu_extraction_time zomu-model
    (temporary_model build/bench/tools "$home/time")
    # Both systems take turns, so that a slow moment does not affect only one of them. Wine does not pass
    # on TMP from its environment, but a program that it starts may set it.
    echo "Milliseconds of one extraction, the median of 100"
    for round in 1 2 3; do
        for threads in 1 2; do
            export OMP_NUM_THREADS=$threads
            linux=$(TMPDIR=$home/time build/bench/bench/zomu_extraction_time 100)
            windows=$("$wine" cmd /c "set TMP=$home/time&&$home/bin/zomu_extraction_time.exe 100" | tr -d '\r')
            echo "round $round, $threads thread(s): Linux $linux, Windows under Wine $windows"
        done
    done
    exit 0
fi

# A test that hangs is ended.
status=0
ctest --preset windows --verbose --parallel "$(nproc)" --timeout 900 >"$home/ctest.log" 2>&1 || status=$?
read -r passed failed < <(count_tests "$home/ctest.log")
if [ "$status" -ne 0 ]; then
    cat "$home/ctest.log"
fi
echo "$passed passed, $failed failed"
exit "$status"
