#include "layers/local_kernel.h"

#include <cstddef>
#include <cstdint>

#include "layers/conv_kernel.h"
#include "matrix/blas.h"
#include "matrix/float_rules.h"

void localForward(const Matrix& images, const Matrix& filters, Matrix& biases, Matrix& target,
                  const FilterShape& shape, float targetScale) {
    const std::int32_t modules = shape.modules;
    const std::int32_t F = filters.numRows;
    const std::int32_t L = shape.channels * shape.filterPixels;
    if (targetScale == 0.0F) {
        target.resize(images.numRows, F * modules);
    }
    biases.numRows = F;
    biases.numCols = modules;

    const Matrix P(L, modules);
    Matrix Q;
    for (std::int32_t n = 0; n < images.numRows; ++n) {
        const std::ptrdiff_t row = n;
        unfoldPatches(images.data + row * images.numCols, shape, P.data);
        Matrix T = Matrix::view(target.data + row * target.numCols, F, modules);
        for (std::int32_t f = 0; f < F; ++f) {
            // Filters are stored module by module, P element by element: read as transposed, W
            // matches P.
            Matrix W = Matrix::view(filters.data + static_cast<std::ptrdiff_t>(f) * filters.numCols,
                                    L, modules);
            W.trans = kTransposed;
            P.eltwiseMult(W, Q);
            for (std::int32_t m = 0; m < modules; ++m) {
                float s = 0.0F;
                for (std::int32_t j = 0; j < L; ++j) {
                    s = s + Q.at(j, m);
                }
                T.at(f, m) = s;
            }
        }
        if (targetScale == 0.0F && biases.numElements > 0) {
            // Only biases in row-major order are stored as T is.
            if (biases.trans == kTransposed) {
                T.applyBinary(addition, biases, T);
            } else {
                addScaled(F * modules, 1.0F, biases.data, T.data, 1);
            }
        }
    }
}
