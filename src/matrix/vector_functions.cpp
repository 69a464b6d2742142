#include "matrix/vector_functions.h"

#include "matrix/float_rules.h"

void vsInv(std::int32_t n, const float* a, float* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        y[i] = 1.0F / a[i];
    }
}

void vsDiv(std::int32_t n, const float* a, const float* b, float* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        y[i] = a[i] / b[i];
    }
}

void vsLn(std::int32_t n, const float* a, float* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        y[i] = narrowLog(a[i]);
    }
}

void vsMul(std::int32_t n, const float* a, const float* b, float* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        y[i] = a[i] * b[i];
    }
}

void vsExp(std::int32_t n, const float* a, float* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        y[i] = narrowExp(a[i]);
    }
}

void vsTanh(std::int32_t n, const float* a, float* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        y[i] = narrowTanh(a[i]);
    }
}

void vsSqr(std::int32_t n, const float* a, float* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        y[i] = a[i] * a[i];
    }
}
