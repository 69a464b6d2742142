// What every file with bit-exact float arithmetic relies on, checked when it is compiled.
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
#error "a fused multiply-add rounds once instead of twice: build without /fp:contract"
#endif
// Only Visual C++ tells a source whether it contracts, and no compiler tells whether it leaves code
// generation to the linker. So the build, which turns both off, defines a macro that says so; see
// cmake/ZomuTargets.cmake.
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

// Truncates towards zero. Values out of range and NaN give the lowest integer on every processor; a
// plain cast does so only on some. The cast itself always gets a value in range, whatever the
// input, so a loop of these can be vectorised.
inline std::int32_t trunc32(float value) {
    constexpr float kLimit = 2147483648.0F;  // 2^31; -2^31 is in range, and NaN fails both tests
    const bool isInRange = (value >= -kLimit) & (value < kLimit);
    const auto result = static_cast<std::int32_t>(isInRange ? value : 0.0F);
    return isInRange ? result : std::numeric_limits<std::int32_t>::min();
}

// Functions of a float, computed in 64 bits and narrowed: two roundings.
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
