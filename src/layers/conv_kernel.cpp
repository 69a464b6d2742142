#include "layers/conv_kernel.h"

#include <algorithm>
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

namespace {

// The columns ox, from `begin` to before `end`, whose pixel first + ox * stride lies in a row of
// `width` pixels.
struct InnerColumns {
    std::int32_t begin, end;
};

InnerColumns innerColumns(std::int32_t first, std::int32_t stride, std::int32_t width,
                          std::int32_t outW) {
    const std::int32_t begin = first < 0 ? (-first + stride - 1) / stride : 0;
    const std::int32_t end = first < width ? (width - 1 - first) / stride + 1 : 0;
    return {std::min(begin, outW), std::clamp(end, std::min(begin, outW), outW)};
}

}  // namespace

// For one filter element and one row of positions, the pixels inside the image stand side by side
// (with stride 1), so that they are copied as a block.
void unfoldPatches(const float* image, const FilterGeometry& geometry, const FilterShape& shape,
                   float* P) {
    const std::int32_t k = shape.k;
    const std::int32_t stride = geometry.stride;
    for (std::int32_t plane = 0; plane < geometry.channels; ++plane) {
        const float* source =
            image + static_cast<std::ptrdiff_t>(plane) * geometry.height * shape.width;
        for (std::int32_t dy = 0; dy < k; ++dy) {
            for (std::int32_t dx = 0; dx < k; ++dx) {
                const std::int32_t first = dx - geometry.padding;
                const InnerColumns inner = innerColumns(first, stride, shape.width, shape.outW);
                for (std::int32_t oy = 0; oy < shape.outH; ++oy, P += shape.outW) {
                    const std::int32_t y = oy * stride - geometry.padding + dy;
                    if (y < 0 || y >= geometry.height) {
                        std::fill_n(P, shape.outW, 0.0F);
                        continue;
                    }
                    const float* row = source + static_cast<std::ptrdiff_t>(y) * shape.width;
                    std::fill_n(P, inner.begin, 0.0F);
                    if (inner.begin == inner.end) {
                        // Nothing of the row is under the filter element.
                    } else if (stride == 1) {
                        std::copy_n(row + (first + inner.begin), inner.end - inner.begin,
                                    P + inner.begin);
                    } else {
                        for (std::int32_t ox = inner.begin; ox < inner.end; ++ox) {
                            P[ox] = row[first + ox * stride];
                        }
                    }
                    std::fill_n(P + inner.end, shape.outW - inner.end, 0.0F);
                }
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
