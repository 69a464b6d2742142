# Builds for 64-bit ARM with Debian's cross compiler, and runs the tests under QEMU.
#
#   scripts/check.sh aarch64             builds the library and the tests, and runs the tests: among them the
#                                        golden one, for which two templates have the bits of every processor
#   scripts/check.sh aarch64 --cached    the golden test and those of kernels, networks and threads, if all
#                                        libraries are in the cache; else says so and ends
#
# Builds in build/aarch64. The first run on a machine fetches Debian's packages for ARM into a cache folder.
# The last line has the numbers of tests.
mode=${1:-}
if [ $# -gt 1 ] || ! [[ $mode =~ ^(|--cached)$ ]]; then
    wrong_usage
fi

left_out() {
    echo "Left out: the tests for 64-bit ARM. scripts/check.sh aarch64 fetches the libraries that they need."
    exit 0
}
if [ "$mode" = --cached ] && [ -z "$(ls -d "${XDG_CACHE_HOME:-$HOME/.cache}"/zomu/aarch64-* 2>/dev/null)" ]; then
    left_out
fi
needs tests aarch64
status=0
if [ "$mode" = --cached ]; then
    ZOMU_AARCH64_ROOT=$(scripts/lib/aarch64-libraries.sh --cached) || status=$?
else
    ZOMU_AARCH64_ROOT=$(scripts/lib/aarch64-libraries.sh) || status=$?
fi
[ "$status" -ne 3 ] || left_out
[ "$status" -eq 0 ] || exit "$status"
export ZOMU_AARCH64_ROOT
unset OPENBLAS_CORETYPE # if it is set, it names a processor of this machine's kind

home=$PWD/build/aarch64
selection=()
if [ "$mode" = --cached ]; then
    selection=(--tests-regex '^(zomu_(tests|team_tests)\.|GoldenTemplate)')
    export GTEST_FILTER='GoldenTemplate.*:NetworkKernel.*:NetworkPlan.*:Projection.*:Team.*:Matrix*:Extraction.*'
    build aarch64 zomu_tests zomu_team_tests zomu_golden_tests ZOMU
else
    build aarch64
fi
ls -l "$(readlink -f "$home/src/libZOMU.so")"

# A test that hangs is ended.
status=0
ctest --preset aarch64 "${selection[@]}" --verbose --parallel "$(nproc)" --timeout 1200 >"$home/ctest.log" 2>&1 || status=$?
read -r passed failed < <(count_tests "$home/ctest.log")
[ "$status" -eq 0 ] || cat "$home/ctest.log"
echo "$passed passed, $failed failed"
exit "$status"
