// Pooling over square windows of square planes, clipped at the planes' edges.
#ifndef ZOMU_LAYERS_POOL_KERNEL_H
#define ZOMU_LAYERS_POOL_KERNEL_H

#include <cstdint>

#include "matrix/matrix.h"

struct PoolGeometry {
    std::int32_t channels = 0;  // planes in a row of the input
    std::int32_t sizeX = 0;     // side of the window
    std::int32_t start = 0;     // offset of the first window, may be negative
    std::int32_t stride = 0;    // step between windows, in both directions
    std::int32_t outputsX = 0;  // windows per side; if negative, as many in all as its square
};

// Both throw UnusableLayer, before they touch anything, if there are no planes, if the target's row
// is too long for 32 bits, or if the target shares the images' matrix and would shrink.

// target = the maximum of each window: images.numRows x (channels * outputsX * outputsX). NaN is
// ignored. A window without a value above -2.0e38 gives -2.0e38.
void maxPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool);

// target = the mean of each window, in the same shape: the sum in float, row by row, divided by the
// number of values in the clipped window. A window outside the plane in one direction gives 0 / 0
// (NaN) or 0 / negative (-0.0).
void avgPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool);

#endif
