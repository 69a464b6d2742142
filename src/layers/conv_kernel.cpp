#include "layers/conv_kernel.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "matrix/blas.h"

namespace {

// The positions [begin, end) at which a filter element lies inside the image along one axis: the i
// below `count` with 0 <= first + i * stride < length. Solved for i, that is from ceil(-first /
// stride) to floor((length - 1 - first) / stride). In 64 bits, since padding and stride may be any
// numbers.
struct InnerPositions {
    std::int64_t begin, end;
};

InnerPositions innerPositions(std::int64_t first, std::int64_t stride, std::int64_t length,
                              std::int64_t count) {
    const std::int64_t begin = first < 0 ? std::min((-first + stride - 1) / stride, count) : 0;
    const std::int64_t end = first < length ? (length - 1 - first) / stride + 1 : 0;
    return {begin, std::clamp(end, begin, count)};
}

// Copies rows that are `step` floats apart to dense storage. A call of memcpy would cost as much as
// copying one of these short rows; blocks of constant size become plain loads and stores. The last
// block ends where its row ends and may overlap the one before it.
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

// The case of every embedded network. Without padding and with stride 1, every position lies inside
// the image, and the pixels that one filter element covers in an image row are contiguous.
void unfoldInside(const float* image, const FilterShape& shape, float* P) {
    const std::ptrdiff_t width = shape.width;
    for (std::int32_t c = 0; c < shape.channels; ++c, image += shape.height * width) {
        for (std::int32_t ky = 0; ky < shape.k; ++ky) {
            for (std::int32_t kx = 0; kx < shape.k; ++kx) {
                P = copyRows(image + ky * width + kx, width, shape.outH, shape.outW, P);
            }
        }
    }
}

// For one filter element, the rows of positions outside the image form one block of zeros above the
// other rows and one below.
void unfoldClipped(const float* image, const FilterShape& shape, float* P) {
    const std::int64_t stride = shape.stride;
    const std::int64_t padding = shape.padding;
    const std::int32_t outW = shape.outW;
    const std::ptrdiff_t width = shape.width;
    const std::ptrdiff_t planeSize = shape.height * width;
    for (std::int32_t r = 0; r < shape.channels * shape.filterPixels; ++r) {
        // Row r of P belongs to element (channel, ky, kx) of a filter, kx running fastest.
        const std::int64_t firstX = r % shape.k - padding;
        const std::int64_t firstY = (r / shape.k) % shape.k - padding;
        const float* plane = image + r / shape.k / shape.k * planeSize;
        const InnerPositions rows = innerPositions(firstY, stride, shape.height, shape.outH);
        const InnerPositions columns = innerPositions(firstX, stride, shape.width, outW);

        P = std::fill_n(P, rows.begin * outW, 0.0F);
        for (std::int64_t oy = rows.begin; oy < rows.end; ++oy, P += outW) {
            const float* row = plane + (firstY + oy * stride) * width;
            std::fill_n(P, outW, 0.0F);
            for (std::int64_t ox = columns.begin; ox < columns.end; ++ox) {
                P[ox] = row[firstX + ox * stride];
            }
        }
        P = std::fill_n(P, (shape.outH - rows.end) * outW, 0.0F);
    }
}

}  // namespace

void unfoldPatches(const float* image, const FilterShape& shape, float* P) {
    if (shape.padding == 0 && shape.stride == 1) {
        unfoldInside(image, shape, P);
    } else {
        unfoldClipped(image, shape, P);
    }
}

void convForward(const Matrix& images, const Matrix& filters, const Matrix& biases, Matrix& target,
                 const FilterShape& shape, float targetScale, float outputScale) {
    const std::int32_t F = filters.numRows;
    if (targetScale == 0.0F) {
        target.resize(images.numRows, F * shape.modules);
    }
    const Matrix P(shape.channels * shape.filterPixels, shape.modules);
    for (std::int32_t n = 0; n < images.numRows; ++n) {
        const std::ptrdiff_t row = n;
        unfoldPatches(images.data + row * images.numCols, shape, P.data);
        Matrix T = Matrix::view(target.data + row * target.numCols, F, shape.modules);
        multiply(outputScale, filters, P, targetScale, T.data, shape.modules);
        if (targetScale == 0.0F) {
            T.addVector(biases, 1.0F, T);
        }
    }
}
