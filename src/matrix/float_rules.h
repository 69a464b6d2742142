// What every file with fixed float arithmetic relies on, asserted where it is compiled.
#ifndef ZOMU_MATRIX_FLOAT_RULES_H
#define ZOMU_MATRIX_FLOAT_RULES_H

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#if defined(__FAST_MATH__) || defined(_M_FP_FAST)
#error "fast-math changes results: build without it"
#endif
#if defined(_M_FP_CONTRACT)
#error "a fused multiply-add rounds once where the order says twice: build without /fp:contract"
#endif
// No compiler but Visual C++ tells a source whether it contracts, and none whether it leaves the
// arithmetic to the linker. So the build says that it has turned both off, where it turns them off;
// see cmake/ZomuTargets.cmake.
#if !defined(ZOMU_FLOATS_AS_WRITTEN)
#error \
    "build with -ffp-contract=off -fno-fast-math -fno-lto (Visual C++: /fp:precise, no /GL) and ZOMU_FLOATS_AS_WRITTEN"
#endif
#if defined(__clang__)
#pragma clang fp contract(off)
#endif
static_assert(FLT_EVAL_METHOD == 0, "float expressions must be evaluated in float");
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "floats must be IEEE 754");

// Cuts towards zero. What does not fit, NaN included, gives the lowest integer on every processor,
// as a plain cast does only on some. The cast sees a value in its range whatever the input is, so that a loop of
// these becomes vector instructions.
inline std::int32_t trunc32(float value) {
    constexpr float kLimit = 2147483648.0F;  // 2^31; -2^31 is in range, and NaN fails both tests
    const bool isInRange = (value >= -kLimit) & (value < kLimit);
    const auto result = static_cast<std::int32_t>(isInRange ? value : 0.0F);
    return isInRange ? result : std::numeric_limits<std::int32_t>::min();
}

// Functions of a float, taken in 64 bits and narrowed: two roundings.
inline float narrowSqrt(float x) {
    return static_cast<float>(std::sqrt(static_cast<double>(x)));
}
inline float narrowExp(float x) {
    return static_cast<float>(std::exp(static_cast<double>(x)));
}
inline float narrowLog(float x) {
    return static_cast<float>(std::log(static_cast<double>(x)));
}
inline float narrowTanh(float x) {
    return static_cast<float>(std::tanh(static_cast<double>(x)));
}

#endif
