#include "layers/pool_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "matrix/float_rules.h"

namespace {

// The side of a plane, which is taken to be square.
std::int32_t sideOf(std::int32_t pixels) {
    return static_cast<std::int32_t>(std::sqrt(static_cast<double>(pixels)));
}

// A window clipped to its plane, ends exclusive.
struct Window {
    std::int32_t ys, ye, xs, xe;
};

Window windowAt(const PoolGeometry& pool, std::int32_t side, std::int32_t oy, std::int32_t ox) {
    const std::int32_t y0 = oy * pool.stride + pool.start;
    const std::int32_t x0 = ox * pool.stride + pool.start;
    return {std::max(y0, 0), std::min(side, y0 + pool.sizeX), std::max(x0, 0),
            std::min(side, x0 + pool.sizeX)};
}

// The frame of both kernels. `fold(cell, v)` takes in one value of the window, row by row, and
// `finish(cell, window)` makes the result of what it left.
template <typename Fold, typename Finish>
void poolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool, float initial,
                 Fold fold, Finish finish) {
    const std::int32_t pixels = images.numCols / pool.channels;
    const std::int32_t side = sideOf(pixels);
    target.resize(images.numRows, pool.outputsX * pool.outputsX * pool.channels);
    // All of it before anything is read: a layer that shares its input's matrix has lost the input.
    std::fill_n(target.data, target.numElements, initial);

    float* result = target.data;
    for (std::int32_t n = 0; n < target.numRows; ++n) {
        const float* plane = images.data + static_cast<std::ptrdiff_t>(n) * images.numCols;
        for (std::int32_t c = 0; c < pool.channels; ++c, plane += pixels) {
            for (std::int32_t oy = 0; oy < pool.outputsX; ++oy) {
                for (std::int32_t ox = 0; ox < pool.outputsX; ++ox) {
                    const Window window = windowAt(pool, side, oy, ox);
                    float cell = *result;
                    for (std::int32_t y = window.ys; y < window.ye; ++y) {
                        for (std::int32_t x = window.xs; x < window.xe; ++x) {
                            cell = fold(cell, plane[static_cast<std::ptrdiff_t>(y) * side + x]);
                        }
                    }
                    *result++ = finish(cell, window);
                }
            }
        }
    }
}

constexpr float kMaxPoolStart = -2.0e38F;

float greater(float cell, float v) {
    return v > cell ? v : cell;
}

// Windows of 2 x 2 side by side, all inside the plane: what every embedded network has. The four
// comparisons of a window come in the same order as in the general form; without clipping the loop
// over a row of windows becomes vector instructions.
void maxPoolTiles(const Matrix& images, Matrix& target, const PoolGeometry& pool,
                  std::int32_t pixels, std::int32_t side) {
    float* __restrict result = target.data;
    for (std::int32_t n = 0; n < target.numRows; ++n) {
        const float* plane = images.data + static_cast<std::ptrdiff_t>(n) * images.numCols;
        for (std::int32_t c = 0; c < pool.channels; ++c, plane += pixels) {
            for (std::int32_t oy = 0; oy < pool.outputsX; ++oy, result += pool.outputsX) {
                const float* __restrict upper = plane + static_cast<std::ptrdiff_t>(2 * oy) * side;
                const float* __restrict lower = upper + side;
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

}  // namespace

void maxPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool) {
    const std::int32_t pixels = images.numCols / pool.channels;
    const std::int32_t side = sideOf(pixels);
    if (pool.sizeX == 2 && pool.stride == 2 && pool.start == 0 && 2 * pool.outputsX <= side &&
        &target != &images) {
        target.resize(images.numRows, pool.outputsX * pool.outputsX * pool.channels);
        maxPoolTiles(images, target, pool, pixels, side);
        return;
    }
    poolForward(images, target, pool, kMaxPoolStart, greater,
                [](float cell, const Window&) { return cell; });
}

void avgPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool) {
    poolForward(
        images, target, pool, 0.0F, [](float cell, float v) { return cell + v; },
        [](float cell, const Window& window) {
            const std::int32_t count = (window.ye - window.ys) * (window.xe - window.xs);
            return cell / static_cast<float>(count);
        });
}
