// Matrices as plain rows of floats, and the plainest loops over them: what the arithmetic of Matrix
// and of the BLAS is compared with. No operation of Matrix is called here, and the place of an
// element in its storage is worked out anew.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_MATRIX_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_MATRIX_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "matrix/matrix.h"
#include "support/guarded_buffer.h"

struct RowsAndCols {
    std::int32_t rows;
    std::int32_t cols;
};

constexpr std::int32_t kOrders[] = {kRowMajor, kTransposed};

struct ReferenceMatrix {
    // draw() gives one element after the other, row by row.
    template <typename Draw>
    ReferenceMatrix(RowsAndCols shape, Draw draw)
        : rows(shape.rows),
          cols(shape.cols),
          elements(static_cast<std::size_t>(rows),
                   std::vector<float>(static_cast<std::size_t>(cols))) {
        for (std::vector<float>& row : elements) {
            for (float& element : row) {
                element = draw();
            }
        }
    }

    std::int32_t rows;
    std::int32_t cols;
    std::vector<std::vector<float>> elements;  // element (i, j) is elements[i][j]
};

inline std::size_t referencePlace(const ReferenceMatrix& matrix, std::int32_t trans, std::size_t i,
                                  std::size_t j) {
    return trans == kRowMajor ? i * static_cast<std::size_t>(matrix.cols) + j
                              : j * static_cast<std::size_t>(matrix.rows) + i;
}

// What the storage of that order holds.
inline std::vector<float> referenceStorage(const ReferenceMatrix& source, std::int32_t trans) {
    std::vector<float> storage(static_cast<std::size_t>(source.rows * source.cols));
    for (std::size_t i = 0; i < source.elements.size(); ++i) {
        for (std::size_t j = 0; j < source.elements[i].size(); ++j) {
            storage[referencePlace(source, trans, i, j)] = source.elements[i][j];
        }
    }
    return storage;
}

// A matrix in storage with guards on both sides.
class GuardedMatrix {
  public:
    GuardedMatrix(const ReferenceMatrix& source, std::int32_t trans)
        : buffer(static_cast<std::size_t>(source.rows * source.cols)),
          matrix(Matrix::view(buffer.data(), source.rows, source.cols)) {
        matrix.trans = trans;
        std::ranges::copy(referenceStorage(source, trans), buffer.data());
    }

    testing::AssertionResult guardsIntact() const { return buffer.guardsIntact(); }

  private:
    GuardedBuffer<float> buffer;

  public:
    Matrix matrix;
};

// fn(element of a, element of b). A row vector for b, which has one row, meets every row; a column
// vector every column.
template <typename Function>
ReferenceMatrix onPairs(const ReferenceMatrix& a, const ReferenceMatrix& b, Function fn) {
    ReferenceMatrix result = a;
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        for (std::size_t j = 0; j < a.elements[i].size(); ++j) {
            const float other = b.elements[b.rows == 1 ? 0 : i][b.cols == 1 ? 0 : j];
            result.elements[i][j] = fn(a.elements[i][j], other);
        }
    }
    return result;
}

// One row: each column folded from the top with fn(element, value so far).
template <typename Function>
ReferenceMatrix foldedColumns(const ReferenceMatrix& a, Function fn, float initial) {
    ReferenceMatrix result({1, a.cols}, [initial] { return initial; });
    for (const std::vector<float>& row : a.elements) {
        for (std::size_t j = 0; j < row.size(); ++j) {
            result.elements[0][j] = fn(row[j], result.elements[0][j]);
        }
    }
    return result;
}

// One column: each row folded from the left.
template <typename Function>
ReferenceMatrix foldedRows(const ReferenceMatrix& a, Function fn, float initial) {
    ReferenceMatrix result({a.rows, 1}, [initial] { return initial; });
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        for (const float element : a.elements[i]) {
            result.elements[i][0] = fn(element, result.elements[i][0]);
        }
    }
    return result;
}

// alpha * a * b + beta * c, row by row; the rows of c stand `step` floats apart.
inline std::vector<float> referenceProduct(float alpha, const ReferenceMatrix& a,
                                           const ReferenceMatrix& b, float beta,
                                           std::vector<float> c, std::int32_t step) {
    const auto cols = static_cast<std::size_t>(b.cols);
    for (std::size_t i = 0; i < a.elements.size(); ++i) {
        std::vector<float> sums(cols);
        for (std::size_t k = 0; k < a.elements[i].size(); ++k) {
            for (std::size_t j = 0; j < cols; ++j) {
                sums[j] += a.elements[i][k] * b.elements[k][j];
            }
        }
        for (std::size_t j = 0; j < cols; ++j) {
            float& element = c[i * static_cast<std::size_t>(step) + j];
            element = alpha * sums[j] + (beta == 0 ? 0 : beta * element);
        }
    }
    return c;
}

// alpha * x + y, where the elements of y stand `step` floats apart.
inline std::vector<float> referenceAddScaled(float alpha, const std::vector<float>& x,
                                             std::vector<float> y, std::int32_t step) {
    for (std::size_t i = 0; i < x.size(); ++i) {
        y[i * static_cast<std::size_t>(step)] += alpha * x[i];
    }
    return y;
}

// alpha * x, where the elements of x stand `step` floats apart.
inline std::vector<float> referenceScaled(float alpha, std::vector<float> x, std::int32_t step) {
    for (std::size_t i = 0; i < x.size(); i += static_cast<std::size_t>(step)) {
        x[i] *= alpha;
    }
    return x;
}

#endif
