#include "layers/conv_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

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

// The positions, from `begin` to before `end`, at which a filter element lies inside the image
// along one axis: those i of `count` for which first + i * stride is from 0 to before `length`.
struct InnerPositions {
    std::int32_t begin, end;
};

InnerPositions innerPositions(std::int32_t first, std::int32_t stride, std::int32_t length,
                              std::int32_t count) {
    const std::int32_t begin = first < 0 ? std::min((-first + stride - 1) / stride, count) : 0;
    const std::int32_t end = first < length ? (length - 1 - first) / stride + 1 : 0;
    return {begin, std::clamp(end, begin, count)};
}

// Rows of floats that follow each other with a step, copied so that they lie side by side. They are
// so short that a call for each would cost as much as the copying: blocks of constant size become
// plain loads and stores. The last block of a row ends where the row ends, and so may copy floats a
// second time.
float* copyRows(const float* source, std::ptrdiff_t step, std::int32_t rows, std::int32_t length,
                float* destination) {
    constexpr std::int32_t kBlock = 4;
    const std::int32_t last = length - kBlock;
    for (std::int32_t y = 0; y < rows; ++y, source += step, destination += length) {
        if (last < 0) {
            for (std::int32_t i = 0; i < length; ++i) {
                destination[i] = source[i];
            }
            continue;
        }
        for (std::int32_t i = 0; i < last; i += kBlock) {
            std::memcpy(destination + i, source + i, kBlock * sizeof(float));
        }
        std::memcpy(destination + last, source + last, kBlock * sizeof(float));
    }
    return destination;
}

// Without padding and with a stride of 1 every position lies inside the image, and what a filter
// element meets in one row of it stands side by side: what every embedded network has.
void unfoldInside(const float* image, const FilterGeometry& geometry, const FilterShape& shape,
                  float* P) {
    const std::ptrdiff_t width = shape.width;
    for (std::int32_t c = 0; c < geometry.channels; ++c, image += geometry.height * width) {
        for (std::int32_t ky = 0; ky < shape.k; ++ky) {
            for (std::int32_t kx = 0; kx < shape.k; ++kx) {
                P = copyRows(image + ky * width + kx, width, shape.outH, shape.outW, P);
            }
        }
    }
}

// For one filter element, the rows of positions that lie outside the image are one block of zeros
// above and one below the others.
void unfoldClipped(const float* image, const FilterGeometry& geometry, const FilterShape& shape,
                   float* P) {
    const std::int32_t stride = geometry.stride;
    const std::int32_t outW = shape.outW;
    const std::ptrdiff_t width = shape.width;
    const std::ptrdiff_t planeSize = geometry.height * width;
    for (std::int32_t r = 0; r < geometry.channels * shape.k * shape.k; ++r) {
        const std::int32_t firstX = r % shape.k - geometry.padding;
        const std::int32_t firstY = (r / shape.k) % shape.k - geometry.padding;
        const float* plane = image + r / shape.k / shape.k * planeSize;
        const InnerPositions rows = innerPositions(firstY, stride, geometry.height, shape.outH);
        const InnerPositions columns = innerPositions(firstX, stride, shape.width, outW);

        P = std::fill_n(P, static_cast<std::ptrdiff_t>(rows.begin) * outW, 0.0F);
        for (std::int32_t oy = rows.begin; oy < rows.end; ++oy, P += outW) {
            const float* row = plane + (firstY + oy * stride) * width;
            std::fill_n(P, outW, 0.0F);
            for (std::int32_t ox = columns.begin; ox < columns.end; ++ox) {
                P[ox] = row[firstX + ox * stride];
            }
        }
        P = std::fill_n(P, static_cast<std::ptrdiff_t>(shape.outH - rows.end) * outW, 0.0F);
    }
}

}  // namespace

void unfoldPatches(const float* image, const FilterGeometry& geometry, const FilterShape& shape,
                   float* P) {
    if (geometry.padding == 0 && geometry.stride == 1) {
        unfoldInside(image, geometry, shape, P);
    } else {
        unfoldClipped(image, geometry, shape, P);
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
