#include "layers/conv_kernel.h"

#include <cmath>
#include <cstddef>

#include "matrix/blas.h"

FilterShape filterShape(const FilterGeometry& geometry, std::int32_t imageCols,
                        std::int32_t filterCols) {
    FilterShape shape{};
    shape.modules = geometry.modulesY * geometry.modulesX;
    shape.width = imageCols / geometry.channels / geometry.height;
    shape.filterPixels = filterCols / geometry.channels;
    shape.k = static_cast<std::int32_t>(std::sqrt(static_cast<double>(shape.filterPixels)));
    shape.outH = (geometry.height + 2 * geometry.padding - shape.k) / geometry.stride + 1;
    shape.outW = (shape.width + 2 * geometry.padding - shape.k) / geometry.stride + 1;
    return shape;
}

void unfoldPatches(const float* image, const FilterGeometry& geometry, const FilterShape& shape,
                   float* P) {
    const std::int32_t k = shape.k;
    for (std::int32_t r = 0; r < geometry.channels * k * k; ++r) {
        const std::int32_t dx = r % k;
        const std::int32_t dy = (r / k) % k;
        const std::int32_t plane = r / k / k;
        const float* source =
            image + static_cast<std::ptrdiff_t>(plane) * geometry.height * shape.width;
        for (std::int32_t oy = 0; oy < shape.outH; ++oy) {
            const std::int32_t y = oy * geometry.stride - geometry.padding + dy;
            const bool isRowInside = y >= 0 && y < geometry.height;
            for (std::int32_t ox = 0; ox < shape.outW; ++ox) {
                const std::int32_t x = ox * geometry.stride - geometry.padding + dx;
                const bool isInside = isRowInside && x >= 0 && x < shape.width;
                *P++ = isInside ? source[static_cast<std::ptrdiff_t>(y) * shape.width + x] : 0.0F;
            }
        }
    }
}

void convForward(const Matrix& images, const Matrix& filters, const Matrix& biases, Matrix& target,
                 const FilterGeometry& geometry, float targetScale, float outputScale) {
    const FilterShape shape = filterShape(geometry, images.numCols, filters.numCols);
    const std::int32_t F = filters.numRows;
    if (targetScale == 0.0F) {
        target.resize(images.numRows, F * shape.modules);
    }
    const Matrix P(geometry.channels * shape.filterPixels, shape.modules);
    for (std::int32_t n = 0; n < images.numRows; ++n) {
        const std::ptrdiff_t row = n;
        unfoldPatches(images.data + row * images.numCols, geometry, shape, P.data);
        Matrix T = Matrix::view(target.data + row * target.numCols, F, shape.modules);
        multiply(outputScale, filters, P, targetScale, T.data);
        if (targetScale == 0.0F) {
            T.addVector(biases, 1.0F, T);
        }
    }
}
