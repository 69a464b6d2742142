#include "reference/reference_layers.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

static_assert(FLT_EVAL_METHOD == 0, "a float operation must round to float");

static float narrow(double x) {
    return static_cast<float>(x);
}

static double wide(float x) {
    return static_cast<double>(x);
}

std::vector<float> referenceFilterSums(const ReferenceFilters& c, ReferenceBank kind,
                                       const float* pixels, const float* bank) {
    std::vector<float> sums;
    for (int n = 0; n < c.images; ++n) {
        for (int f = 0; f < c.filters; ++f) {
            for (int m = 0; m < c.modules(); ++m) {
                const int top = m / c.outW() * c.stride - c.padding;
                const int left = m % c.outW() * c.stride - c.padding;
                const int index = kind == ReferenceBank::Shared ? f : f * c.modules() + m;
                const float* element = bank + index * c.filterElements();
                float sum = 0;
                for (int plane = 0; plane < c.channels; ++plane) {
                    for (int y = top; y < top + c.k; ++y) {
                        for (int x = left; x < left + c.k; ++x) {
                            const bool isInside = 0 <= y && y < c.height && 0 <= x && x < c.width;
                            const int row = (n * c.channels + plane) * c.height + y;
                            const float pixel = isInside ? pixels[row * c.width + x] : 0.0F;
                            const float product = pixel * *element++;
                            sum = sum + product;
                        }
                    }
                }
                sums.push_back(sum);
            }
        }
    }
    return sums;
}

// The cell of one window: every pixel of the plane is asked whether it lies inside.
static float pooledWindow(ReferencePool kind, const PoolGeometry& g, const float* plane,
                          std::int64_t side, std::int64_t y0, std::int64_t x0) {
    float cell = kind == ReferencePool::Max ? -2.0e38F : 0.0F;
    for (std::int64_t y = 0; y < side; ++y) {
        for (std::int64_t x = 0; x < side; ++x) {
            if (y < y0 || y >= y0 + g.sizeX || x < x0 || x >= x0 + g.sizeX) {
                continue;
            }
            const float v = plane[y * side + x];
            if (kind == ReferencePool::Avg) {
                cell = cell + v;
            } else if (v > cell) {
                cell = v;
            }
        }
    }
    if (kind == ReferencePool::Max) {
        return cell;
    }
    const std::int64_t height = std::min(side, y0 + g.sizeX) - std::max(y0, std::int64_t{0});
    const std::int64_t width = std::min(side, x0 + g.sizeX) - std::max(x0, std::int64_t{0});
    // As a product of floats it cannot overflow; what is divided by one beyond 2^24 is 0.
    return cell / (static_cast<float>(height) * static_cast<float>(width));
}

std::vector<float> referencePool(ReferencePool kind, const PoolGeometry& g, const Matrix& images) {
    const int pixels = images.numCols / g.channels;
    int side = 0;
    while ((side + 1) * (side + 1) <= pixels) {
        ++side;
    }
    std::vector<float> result;
    for (int n = 0; n < images.numRows; ++n) {
        for (int plane = 0; plane < g.channels; ++plane) {
            for (int q = 0; q < g.outputsX * g.outputsX; ++q) {
                const std::int64_t y0 = std::int64_t{q / g.outputsX} * g.stride + g.start;
                const std::int64_t x0 = std::int64_t{q % g.outputsX} * g.stride + g.start;
                const float* first = images.data + n * images.numCols + plane * pixels;
                result.push_back(pooledWindow(kind, g, first, side, y0, x0));
            }
        }
    }
    return result;
}

void referenceNorm(const CrossMapNorm& norm, const Matrix& images, Matrix& target) {
    const int cols = images.numCols;
    const int pixels = cols / norm.channels;
    const float alpha = norm.scale / static_cast<float>(norm.sizeX);
    for (int r = 0; r < images.numRows; ++r) {
        const float* src = images.data + r * cols;
        float* dst = target.data + r * cols;
        for (int j = 0; j < cols; ++j) {
            const int first = j / pixels - norm.sizeX / 2;
            dst[j] = 0.0F;
            for (int k = first; k < first + norm.sizeX; ++k) {
                if (k >= 0 && k < norm.channels) {
                    const float v = src[k * pixels + j % pixels];
                    const float product = v * v;
                    dst[j] = product + dst[j];
                }
            }
        }
    }
    for (int i = 0; i < images.numElements; ++i) {
        const float product = alpha * target.data[i];
        const float d = product + 1.0F;
        const float e = narrow(std::pow(wide(d), -wide(norm.pow)));
        target.data[i] = e * images.data[i];
    }
}

std::vector<float> referenceNorm(const CrossMapNorm& norm, const Matrix& images) {
    Matrix target(images.numRows, images.numCols);
    referenceNorm(norm, images, target);
    return {target.data, target.data + target.numElements};
}

std::vector<float> referenceSoftmax(const std::vector<std::vector<float>>& rows,
                                    ReferenceShare share) {
    std::vector<float> result;
    for (std::vector<float> row : rows) {
        float greatest = std::numeric_limits<float>::lowest();
        for (const float x : row) {
            greatest = x > greatest ? x : greatest;
        }
        float sum = 0;
        for (float& x : row) {
            const float shifted = x - greatest;
            x = narrow(std::exp(wide(shifted)));
            sum = x + sum;
        }
        const float reciprocal = 1.0F / sum;
        for (const float x : row) {
            result.push_back(share == ReferenceShare::Quotient ? x / sum : x * reciprocal);
        }
    }
    return result;
}

std::vector<float> referenceProduct(const float* x, const float* w, int rows, int inner, int cols) {
    std::vector<float> result;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < cols; ++c) {
            float sum = 0;
            for (int i = 0; i < inner; ++i) {
                const float product = x[r * inner + i] * w[i * cols + c];
                sum = sum + product;
            }
            result.push_back(sum);
        }
    }
    return result;
}
