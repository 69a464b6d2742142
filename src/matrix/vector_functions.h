// Element-wise functions over dense arrays of n floats, element count first.
//
// `y` may be the same array as an input. A count of 0 does nothing. Elements are independent of
// each other: results do not depend on n or on alignment. vsInv, vsDiv, vsMul and vsSqr round once;
// vsLn, vsExp and vsTanh are the 64-bit functions of the standard library narrowed to 32 bits, and
// stay within 1 ULP of them. Special values follow IEEE 754. Any thread may call these at any time
// on its own data.
#ifndef ZOMU_MATRIX_VECTOR_FUNCTIONS_H
#define ZOMU_MATRIX_VECTOR_FUNCTIONS_H

#include <cstdint>

void vsInv(std::int32_t n, const float* a, float* y);                  // 1 / a
void vsDiv(std::int32_t n, const float* a, const float* b, float* y);  // a / b
void vsLn(std::int32_t n, const float* a, float* y);                   // natural logarithm
void vsMul(std::int32_t n, const float* a, const float* b, float* y);  // a * b
void vsExp(std::int32_t n, const float* a, float* y);                  // e to the a
void vsTanh(std::int32_t n, const float* a, float* y);                 // hyperbolic tangent
void vsSqr(std::int32_t n, const float* a, float* y);                  // a * a

#endif
