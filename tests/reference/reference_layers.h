// The layers once more, in the plainest loops: nothing unfolded, no BLAS, no window cut before it
// is walked. Every product and every sum is rounded to float, in the order that the library
// promises.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_LAYERS_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_LAYERS_H

#include <cstdint>
#include <vector>

#include "layers/filter_shape.h"
#include "layers/norm_kernel.h"
#include "layers/pool_kernel.h"
#include "matrix/matrix.h"

// Square filters that slide over images.
struct ReferenceFilters {
    int images = 0;
    int channels = 0;
    int height = 0;
    int width = 0;
    int filters = 0;
    int k = 0;  // side of a filter
    int padding = 0;
    int stride = 0;

    int outH() const { return (height + 2 * padding - k) / stride + 1; }
    int outW() const { return (width + 2 * padding - k) / stride + 1; }
    int modules() const { return outH() * outW(); }
    int filterElements() const { return channels * k * k; }
    int imageElements() const { return channels * height * width; }
    FilterGeometry geometry() const { return {channels, height, outH(), outW(), padding, stride}; }
};

// Whether all modules share a filter's elements, or each has elements of its own.
enum class ReferenceBank { Shared, PerModule };

// The sums without biases, image by image, filter by filter, module by module. `pixels` holds
// planes x height x width for each image; `bank` holds planes x k x k for each filter, or that many
// for each of its modules.
std::vector<float> referenceFilterSums(const ReferenceFilters& c, ReferenceBank kind,
                                       const float* pixels, const float* bank);

enum class ReferencePool { Max, Avg };

std::vector<float> referencePool(ReferencePool kind, const PoolGeometry& g, const Matrix& images);

// `target` is as large as the images and may be their matrix.
void referenceNorm(const CrossMapNorm& norm, const Matrix& images, Matrix& target);
std::vector<float> referenceNorm(const CrossMapNorm& norm, const Matrix& images);

// How a softmax makes shares of exponentials: by a product with the reciprocal of their sum, or by
// a division.
enum class ReferenceShare { Product, Quotient };

// The shares of each of several rows.
std::vector<float> referenceSoftmax(const std::vector<std::vector<float>>& rows,
                                    ReferenceShare share = ReferenceShare::Product);

// x (rows x inner) times w (inner x cols).
std::vector<float> referenceProduct(const float* x, const float* w, int rows, int inner, int cols);

#endif
