#include "matrix/blas.h"

#include <cblas.h>
#if defined(ZOMU_SGEMM_ONEDNN)
#include <dnnl.h>
#endif
#include <omp.h>

#include <cmath>
#include <cstddef>

#include "matrix/blas_memory.h"
#include "matrix/matrix.h"

static_assert(CblasNoTrans == kRowMajor && CblasTrans == kTransposed);

namespace {

// A BLAS built without OpenMP runs its own threads, with one setting for the whole process.
#if defined(ZOMU_BLAS_OWN_THREADS)
class OneThread {
  public:
    OneThread() { [[maybe_unused]] static const bool set = (openblas_set_num_threads(1), true); }
};
#else
// In a team of one, the BLAS expects as many threads as OpenMP's default team size, and their
// shares of the work wait for each other. If OpenMP then grants fewer (a thread limit, or a dynamic
// team on a busy machine), they wait forever. Setting the size to 1 prevents that and affects the
// calling task only.
class OneThread {
  public:
    OneThread() : former(omp_get_max_threads()) { omp_set_num_threads(1); }
    ~OneThread() { omp_set_num_threads(former); }
    OneThread(const OneThread&) = delete;
    OneThread& operator=(const OneThread&) = delete;

  private:
    int former;
};
#endif

// The length of a stored row.
std::int32_t leadingDimension(const Matrix& m) {
    return m.trans == kRowMajor ? m.numCols : m.numRows;
}

}  // namespace

void multiply(float alpha, const Matrix& a, const Matrix& b, float beta, float* c,
              std::int32_t cStep) {
    const OneThread only;
#if defined(ZOMU_SGEMM_ONEDNN)
    dnnl_sgemm(a.trans == kRowMajor ? 'N' : 'T', b.trans == kRowMajor ? 'N' : 'T', a.numRows,
               b.numCols, a.numCols, alpha, a.data, leadingDimension(a), b.data,
               leadingDimension(b), beta, c, cStep);
#else
    const BlasMemory memory;
    cblas_sgemm(CblasRowMajor, static_cast<CBLAS_TRANSPOSE>(a.trans),
                static_cast<CBLAS_TRANSPOSE>(b.trans), a.numRows, b.numCols, a.numCols, alpha,
                a.data, leadingDimension(a), b.data, leadingDimension(b), beta, c, cStep);
#endif
}

void addScaled(std::int32_t n, float alpha, const float* x, float* y, std::int32_t yStep) {
    const OneThread only;
    cblas_saxpy(n, alpha, x, 1, y, yStep);
}

void scaleInPlace(std::int32_t n, float alpha, float* x, std::int32_t xStep) {
    // For these the BLAS would store zeros without reading x.
    if (alpha == 0.0F || std::isnan(alpha)) {
        for (std::int32_t i = 0; i < n; ++i) {
            x[static_cast<std::ptrdiff_t>(i) * xStep] *= alpha;
        }
        return;
    }
    const OneThread only;
    cblas_sscal(n, alpha, x, xStep);
}
