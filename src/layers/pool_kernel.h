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
    std::int32_t outputsX = 0;  // windows per side; a negative number has as many as its square
};

// Both throw UnusableLayer, before they touch anything, where there are no planes, where the target
// has no element count, and where it is the images themselves and smaller than they are.

// target = the greatest value of each window: images.numRows x (channels * outputsX * outputsX). A
// NaN is never taken. A window with nothing above -2.0e38 in it gives -2.0e38.
void maxPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool);

// target = the mean of each window, of the same shape: the sum in float, row by row, divided by the
// number of values that the clipped window holds. A window that lies outside the plane in one
// direction gives 0 / 0 (NaN) or 0 / negative (-0.0).
void avgPoolForward(const Matrix& images, Matrix& target, const PoolGeometry& pool);

#endif
