#include "layers/norm_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "matrix/float_rules.h"

namespace {

// dst[j] = the sum of squares over the window of j. Every step goes through dst[j]: the order of
// reads and writes is the same if dst and src are one array.
void sumSquares(const float* src, float* dst, std::int32_t n, std::int32_t pixels,
                const CrossMapNorm& norm) {
    for (std::int32_t j = 0; j < n; ++j) {
        const std::int32_t p = j % pixels;
        const std::int32_t first = j / pixels - norm.sizeX / 2;
        // Planes first to first + sizeX - 1, as far as they exist.
        const std::int32_t lo = std::max(first, 0);
        const std::int32_t hi = std::min(norm.channels, first + norm.sizeX);
        dst[j] = 0.0F;
        for (std::int32_t k = lo; k < hi; ++k) {
            const float v = src[static_cast<std::ptrdiff_t>(k) * pixels + p];
            dst[j] = v * v + dst[j];
        }
    }
}

}  // namespace

void crossMapNormForward(const Matrix& images, Matrix& target, const CrossMapNorm& norm) {
    const std::int32_t n = images.numCols;
    const std::int32_t pixels = n / norm.channels;
    target.resize(images.numRows, n);
    const float alpha = norm.scale / static_cast<float>(norm.sizeX);
    for (std::int32_t r = 0; r < images.numRows; ++r) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(r) * n;
        sumSquares(images.data + row, target.data + row, n, pixels, norm);
    }
    // A negative exponent takes the place of the division.
    const auto exponent = static_cast<double>(-norm.pow);
    for (std::int32_t i = 0; i < target.numElements; ++i) {
        float d = alpha * target.data[i];
        d = d + 1.0F;
        const auto e = static_cast<float>(std::pow(static_cast<double>(d), exponent));
        target.data[i] = e * images.data[i];
    }
}
