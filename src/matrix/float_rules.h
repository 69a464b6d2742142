// What every file with fixed float arithmetic relies on, asserted where it is compiled.
#ifndef ZOMU_MATRIX_FLOAT_RULES_H
#define ZOMU_MATRIX_FLOAT_RULES_H

#include <cfloat>
#include <cmath>
#include <limits>

#if defined(__FAST_MATH__)
#error "fast-math changes results: build without it"
#endif
static_assert(FLT_EVAL_METHOD == 0, "float expressions must be evaluated in float");
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "floats must be IEEE 754");

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
