#include "layers/pool_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "layers/unusable_layer.h"
#include "matrix/float_rules.h"

namespace {

// What follows from the sizes, in 64 bits, which keeps the checks themselves from overflowing.
struct PoolShape {
    std::int32_t pixels;   // of a plane
    std::int32_t side;     // of a plane, assumed to be square
    std::int32_t windows;  // of a plane
    std::int32_t columns;  // of the target
};

PoolShape poolShape(const Matrix& images, const Matrix& target, const PoolGeometry& pool) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    requireUsable(pool.channels > 0);
    const std::int64_t windows = static_cast<std::int64_t>(pool.outputsX) * pool.outputsX;
    requireUsable(windows <= kMost);
    const std::int64_t columns = windows * pool.channels;
    requireUsable(columns <= kMost);
    const std::int32_t pixels = images.numCols / pool.channels;
    // A target that shares the images' matrix and shrinks is too small to be read as images.
    requireUsable(&target != &images ||
                  columns >= static_cast<std::int64_t>(pixels) * pool.channels);
    const auto side = static_cast<std::int32_t>(std::sqrt(static_cast<double>(pixels)));
    return {pixels, side, static_cast<std::int32_t>(windows), static_cast<std::int32_t>(columns)};
}

// A window clipped to its plane, ends exclusive. One outside the plane ends before it begins.
struct Window {
    std::int64_t ys, ye, xs, xe;
};

Window windowAt(const PoolGeometry& pool, std::int64_t side, std::int64_t oy, std::int64_t ox) {
    const std::int64_t y0 = oy * pool.stride + pool.start;
    const std::int64_t x0 = ox * pool.stride + pool.start;
    return {std::max<std::int64_t>(y0, 0), std::min(side, y0 + pool.sizeX),
            std::max<std::int64_t>(x0, 0), std::min(side, x0 + pool.sizeX)};
}

// The loop of both kernels. `fold(cell, v)` accumulates one value of the window, row by row, and
// `finish(cell, window)` turns the accumulated value into the result. A window's row and column are
// the quotient and the remainder by outputsX, whatever its sign: -1 gives one window, too.
template <typename Fold, typename Finish>
void poolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool, float initial,
                 Fold fold, Finish finish) {
    const PoolShape shape = poolShape(images, target, pool);
    target.resize(images.numRows, shape.columns);
    // All of it before anything is read: in place, this overwrites the input.
    std::fill_n(target.data, target.numElements, initial);

    float* result = target.data;
    for (std::int32_t n = 0; n < target.numRows; ++n) {
        const float* plane = images.data + static_cast<std::ptrdiff_t>(n) * images.numCols;
        for (std::int32_t c = 0; c < pool.channels; ++c, plane += shape.pixels) {
            for (std::int32_t q = 0; q < shape.windows; ++q) {
                const Window window =
                    windowAt(pool, shape.side, q / pool.outputsX, q % pool.outputsX);
                float cell = *result;
                for (std::int64_t y = window.ys; y < window.ye; ++y) {
                    for (std::int64_t x = window.xs; x < window.xe; ++x) {
                        cell = fold(cell, plane[y * shape.side + x]);
                    }
                }
                *result++ = finish(cell, window);
            }
        }
    }
}

constexpr float kMaxPoolStart = -2.0e38F;

float greater(float cell, float v) {
    return v > cell ? v : cell;
}

// The case of every embedded network: windows of 2 x 2 with stride 2, all inside the plane. The
// four comparisons of a window have the same order as in the general loop. Without clipping, the
// compiler vectorises the loop over a row of windows.
void maxPoolTiles(const Matrix& images, Matrix& target, const PoolGeometry& pool,
                  const PoolShape& shape) {
    float* __restrict result = target.data;
    for (std::int32_t n = 0; n < target.numRows; ++n) {
        const float* plane = images.data + static_cast<std::ptrdiff_t>(n) * images.numCols;
        for (std::int32_t c = 0; c < pool.channels; ++c, plane += shape.pixels) {
            for (std::int32_t oy = 0; oy < pool.outputsX; ++oy, result += pool.outputsX) {
                const float* __restrict upper =
                    plane + static_cast<std::ptrdiff_t>(2 * oy) * shape.side;
                const float* __restrict lower = upper + shape.side;
                for (std::int32_t ox = 0; ox < pool.outputsX; ++ox) {
                    float cell = greater(kMaxPoolStart, upper[2 * ox]);
                    cell = greater(cell, upper[2 * ox + 1]);
                    cell = greater(cell, lower[2 * ox]);
                    result[ox] = greater(cell, lower[2 * ox + 1]);
                }
            }
        }
    }
}

// The length of a window along one axis, as a factor of the divisor. A length beyond 32 bits is
// negative, the window is empty, and only the sign matters; clamping keeps the product in 64 bits.
std::int64_t extent(std::int64_t begin, std::int64_t end) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    return std::clamp(end - begin, -kMost, kMost);
}

}  // namespace

void maxPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool) {
    const PoolShape shape = poolShape(images, target, pool);
    // Such a target is smaller than the images. If it were the images, poolShape would have refused
    // it.
    if (pool.sizeX == 2 && pool.stride == 2 && pool.start == 0 && pool.outputsX > 0 &&
        2 * pool.outputsX <= shape.side) {
        target.resize(images.numRows, shape.columns);
        maxPoolTiles(images, target, pool, shape);
        return;
    }
    poolForward(images, target, pool, kMaxPoolStart, greater,
                [](float cell, const Window&) { return cell; });
}

void avgPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool) {
    poolForward(
        images, target, pool, 0.0F, [](float cell, float v) { return cell + v; },
        [](float cell, const Window& window) {
            const std::int64_t count = extent(window.ys, window.ye) * extent(window.xs, window.xe);
            return cell / static_cast<float>(count);
        });
}
