// The CBLAS routines that the system calls, in the one form it needs of each. With the build option
// ZOMU_SGEMM=onednn the product is oneDNN's.
//
// Each may be called from several threads at once on data of their own, runs on the calling thread
// and starts no other.
#ifndef ZOMU_MATRIX_BLAS_H
#define ZOMU_MATRIX_BLAS_H

#include <cstdint>

class Matrix;

// c = alpha * a * b + beta * c, each operand addressed by its own `trans`. Of `b` the first
// a.numCols rows count. `c` is row-major, of a.numRows rows and b.numCols columns, its rows cStep
// floats apart; with beta 0 its former contents do not matter, NaN or not. The order of the sums is
// the BLAS's own.
void multiply(float alpha, const Matrix& a, const Matrix& b, float beta, float* c,
              std::int32_t cStep);

// y = alpha * x + y over n elements; x is dense, elements of y stand yStep floats apart. Whether
// the product is rounded before the sum is the BLAS's own; with alpha 0 it may leave x unread.
void addScaled(std::int32_t n, float alpha, const float* x, float* y, std::int32_t yStep);

// x = alpha * x over n elements that stand xStep floats apart.
void scaleInPlace(std::int32_t n, float alpha, float* x, std::int32_t xStep);

#endif
