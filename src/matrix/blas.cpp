#include "matrix/blas.h"

#include <cblas.h>

#include "matrix/matrix.h"

static_assert(CblasNoTrans == kRowMajor && CblasTrans == kTransposed);

namespace {

// The length of a stored row.
std::int32_t leadingDimension(const Matrix& m) {
    return m.trans == kRowMajor ? m.numCols : m.numRows;
}

}  // namespace

void multiply(float alpha, const Matrix& a, const Matrix& b, float beta, float* c) {
    cblas_sgemm(CblasRowMajor, static_cast<CBLAS_TRANSPOSE>(a.trans),
                static_cast<CBLAS_TRANSPOSE>(b.trans), a.numRows, b.numCols, a.numCols, alpha,
                a.data, leadingDimension(a), b.data, leadingDimension(b), beta, c, b.numCols);
}

void addScaled(std::int32_t n, float alpha, const float* x, float* y, std::int32_t yStep) {
    cblas_saxpy(n, alpha, x, 1, y, yStep);
}
