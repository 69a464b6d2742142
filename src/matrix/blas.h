// The CBLAS routines in use, each in the one form that is needed. With the build option
// ZOMU_SGEMM=onednn, oneDNN computes the product.
//
// Each may be called from several threads at once on separate data. It runs on the calling thread
// and starts no others.
#ifndef ZOMU_MATRIX_BLAS_H
#define ZOMU_MATRIX_BLAS_H

#include <cstdint>

class Matrix;

// c = alpha * a * b + beta * c, each operand addressed by its own `trans`. Only the first a.numCols
// rows of `b` are used. `c` is row-major with a.numRows rows and b.numCols columns, its rows cStep
// floats apart; with beta 0 its former contents do not matter, not even NaN. The BLAS determines
// the order of the sums.
void multiply(float alpha, const Matrix& a, const Matrix& b, float beta, float* c,
              std::int32_t cStep);

// y = alpha * x + y over n elements; x is dense, elements of y are yStep floats apart. The BLAS
// decides whether the product is rounded before the sum; with alpha 0 it may not read x.
void addScaled(std::int32_t n, float alpha, const float* x, float* y, std::int32_t yStep);

// x = alpha * x over n elements that are xStep floats apart.
void scaleInPlace(std::int32_t n, float alpha, float* x, std::int32_t xStep);

#endif
