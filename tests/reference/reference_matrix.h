// Matrices as plain rows of floats, and the plainest loops over them: what the arithmetic of Matrix
// is compared with. No operation of Matrix is called here, and the place of an element in its
// storage is worked out anew.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_MATRIX_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_MATRIX_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "matrix/matrix.h"
#include "support/bits.h"
#include "support/random.h"

struct RowsAndCols {
    std::int32_t rows;
    std::int32_t cols;
};

constexpr RowsAndCols kTestShapes[] = {{0, 0}, {0, 5}, {5, 0}, {1, 1},  {1, 7},
                                       {6, 1}, {3, 5}, {4, 4}, {17, 33}};
constexpr std::int32_t kOrders[] = {kRowMajor, kTransposed};

struct ReferenceMatrix {
    ReferenceMatrix(std::int32_t rowCount, std::int32_t colCount)
        : rows(rowCount),
          cols(colCount),
          elements(static_cast<std::size_t>(rowCount),
                   std::vector<float>(static_cast<std::size_t>(colCount))) {}

    std::int32_t rows;
    std::int32_t cols;
    std::vector<std::vector<float>> elements;  // element (i, j) is elements[i][j]
};

// draw() gives one element after the other, row by row.
template <typename Draw>
ReferenceMatrix drawnMatrix(RowsAndCols shape, Draw draw) {
    ReferenceMatrix result(shape.rows, shape.cols);
    for (std::vector<float>& row : result.elements) {
        for (float& element : row) {
            element = draw();
        }
    }
    return result;
}

// Products and sums of a few of these are exact.
inline ReferenceMatrix smallIntegers(RowsAndCols shape, Random& random) {
    return drawnMatrix(shape, [&] { return static_cast<float>(random.between(-8, 8)); });
}

inline ReferenceMatrix uniformFloats(RowsAndCols shape, Random& random, float low, float high) {
    return drawnMatrix(shape, [&] { return random.uniform(low, high); });
}

inline std::size_t referencePlace(const Matrix& matrix, std::size_t i, std::size_t j) {
    return matrix.trans == kRowMajor ? i * static_cast<std::size_t>(matrix.numCols) + j
                                     : j * static_cast<std::size_t>(matrix.numRows) + i;
}

inline Matrix storedAs(const ReferenceMatrix& source, std::int32_t trans) {
    Matrix result(source.rows, source.cols);
    result.trans = trans;
    for (std::size_t i = 0; i < source.elements.size(); ++i) {
        for (std::size_t j = 0; j < source.elements[i].size(); ++j) {
            result.data[referencePlace(result, i, j)] = source.elements[i][j];
        }
    }
    return result;
}

// A target of the right shape that holds nothing of use: NaN all over.
inline Matrix unwrittenMatrix(RowsAndCols shape, std::int32_t trans) {
    const auto nan = [] { return std::numeric_limits<float>::quiet_NaN(); };
    return storedAs(drawnMatrix(shape, nan), trans);
}

// The same shape, and the same bits at every logical place.
inline testing::AssertionResult sameElements(const ReferenceMatrix& expected,
                                             const Matrix& actual) {
    if (actual.numRows != expected.rows || actual.numCols != expected.cols ||
        actual.numElements != expected.rows * expected.cols) {
        return testing::AssertionFailure()
               << "expected " << expected.rows << " x " << expected.cols << ", actual "
               << actual.numRows << " x " << actual.numCols << " of " << actual.numElements;
    }
    for (std::size_t i = 0; i < expected.elements.size(); ++i) {
        for (std::size_t j = 0; j < expected.elements[i].size(); ++j) {
            const auto same =
                sameFloat(expected.elements[i][j], actual.data[referencePlace(actual, i, j)]);
            if (!same) {
                return testing::AssertionFailure()
                       << "element (" << i << ", " << j << "): " << same.message();
            }
        }
    }
    return testing::AssertionSuccess();
}

// fn(element)
template <typename Function>
ReferenceMatrix onElements(const ReferenceMatrix& a, Function fn) {
    ReferenceMatrix result(a.rows, a.cols);
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        for (std::size_t j = 0; j < a.elements[i].size(); ++j) {
            result.elements[i][j] = fn(a.elements[i][j]);
        }
    }
    return result;
}

// fn(element of a, element of b)
template <typename Function>
ReferenceMatrix onPairs(const ReferenceMatrix& a, const ReferenceMatrix& b, Function fn) {
    ReferenceMatrix result(a.rows, a.cols);
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        for (std::size_t j = 0; j < a.elements[i].size(); ++j) {
            result.elements[i][j] = fn(a.elements[i][j], b.elements[i][j]);
        }
    }
    return result;
}

// fn(element, what the vector holds for it): its column's value from a row vector, which has one
// row, else its row's value.
template <typename Function>
ReferenceMatrix onVector(const ReferenceMatrix& a, const ReferenceMatrix& vec, Function fn) {
    ReferenceMatrix result(a.rows, a.cols);
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        for (std::size_t j = 0; j < a.elements[i].size(); ++j) {
            const float value = vec.rows == 1 ? vec.elements[0][j] : vec.elements[i][0];
            result.elements[i][j] = fn(a.elements[i][j], value);
        }
    }
    return result;
}

// One row: each column folded from the top with fn(element, value so far).
template <typename Function>
ReferenceMatrix foldedColumns(const ReferenceMatrix& a, Function fn, float initial) {
    ReferenceMatrix result(1, a.cols);
    for (std::size_t j = 0; j < result.elements[0].size(); ++j) {
        result.elements[0][j] = initial;
        for (const std::vector<float>& row : a.elements) {
            result.elements[0][j] = fn(row[j], result.elements[0][j]);
        }
    }
    return result;
}

// One column: each row folded from the left.
template <typename Function>
ReferenceMatrix foldedRows(const ReferenceMatrix& a, Function fn, float initial) {
    ReferenceMatrix result(a.rows, 1);
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        result.elements[i][0] = initial;
        for (const float element : a.elements[i]) {
            result.elements[i][0] = fn(element, result.elements[i][0]);
        }
    }
    return result;
}

#endif
