# The golden test with both compilers, unoptimised and optimised, and with each kernel set of OpenBLAS.
#
#   scripts/check.sh golden [compilers | kernels]
case ${*:-all} in
all | compilers | kernels) part=${1:-all} ;;
*) wrong_usage ;;
esac
needs tests clang
passed=0
failed=0

# judge NAME COMMAND...
judge() {
    local name=$1 log=build/logs/golden-$1.log
    shift
    if "$@" >"$log" 2>&1; then
        passed=$((passed + 1))
        echo "passed: $name"
    else
        failed=$((failed + 1))
        cat "$log"
        echo "FAILED: $name"
    fi
}

if [ "$part" != kernels ]; then
    for compiler in gcc clang; do
        for level in O0 O3; do
            folder=build/golden/$compiler-$level
            quietly "build/logs/golden-$compiler-$level-build.log" cmake -S . -B "$folder" -G Ninja \
                -DCMAKE_C_COMPILER="$compiler" -DCMAKE_CXX_COMPILER="$([ "$compiler" = gcc ] && echo g++ || echo clang++)" \
                -DCMAKE_BUILD_TYPE=None -DCMAKE_C_FLAGS="-$level" -DCMAKE_CXX_FLAGS="-$level"
            quietly "build/logs/golden-$compiler-$level-build.log" \
                cmake --build "$folder" --parallel "$(nproc)" --target zomu_golden_tests
            judge "$compiler-$level" "$folder/tests/golden/zomu_golden_tests"
        done
    done
fi

# Only OpenBLAS selects instructions at run time: the same tests with each of its kernel sets that this
# processor supports.
if [ "$part" != compilers ]; then
    build dev zomu_tests zomu_golden_tests
    products="EveryKindNet.*:AnyNetwork.*:NetworkReference.*:ConvForward.*:FCLayerTest.*:ConvLayerTest.*"
    products+=":EltwiseSumLayer.*:EltwiseLayers.*:Blas.*:Matrix*:Extraction.*:ExactSums.*"
    for choice in Prescott:pni Nehalem:sse4_2 Sandybridge:avx Haswell:avx2 SkylakeX:avx512vl; do
        if grep -qw "${choice#*:}" /proc/cpuinfo; then
            export OPENBLAS_CORETYPE=${choice%:*}
            judge "$OPENBLAS_CORETYPE" build/dev/tests/golden/zomu_golden_tests
            judge "$OPENBLAS_CORETYPE-products" build/dev/tests/zomu_tests --gtest_brief=1 \
                --gtest_filter="$products"
        else
            echo "left out: ${choice%:*}, which this processor does not support"
        fi
    done
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
