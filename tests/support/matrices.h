// Small matrices from and to plain vectors, in the order of the storage.
#ifndef ZOMU_TESTS_SUPPORT_MATRICES_H
#define ZOMU_TESTS_SUPPORT_MATRICES_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "matrix/matrix.h"

inline Matrix matrixOf(std::int32_t rows, std::int32_t cols, const std::vector<float>& values,
                       std::int32_t trans = kRowMajor) {
    Matrix matrix(rows, cols);
    matrix.trans = trans;
    std::ranges::copy(values, matrix.data);
    return matrix;
}

inline Matrix rowOf(const std::vector<float>& values) {
    return matrixOf(1, static_cast<std::int32_t>(values.size()), values);
}

inline std::vector<float> valuesOf(const Matrix& matrix) {
    return {matrix.data, matrix.data + matrix.numElements};
}

#endif
