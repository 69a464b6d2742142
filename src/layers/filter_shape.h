// The geometry of square filters that slide over an image.
#ifndef ZOMU_LAYERS_FILTER_SHAPE_H
#define ZOMU_LAYERS_FILTER_SHAPE_H

#include <cstdint>

// As a description gives it for one input. A position of a filter is called a module.
struct FilterGeometry {
    std::int32_t channels = 0;  // planes of an image
    std::int32_t height = 0;    // of an image; its width follows from the columns
    std::int32_t modulesY = 0;  // modules down and across
    std::int32_t modulesX = 0;
    std::int32_t padding = 0;  // rows and columns of zeros around the image
    std::int32_t stride = 0;
};

// The same with all that follows from it, in the bounds that the kernels rely on.
struct FilterShape {
    std::int32_t channels, height;  // of an image, from 1
    std::int32_t width;             // from 0
    std::int32_t padding;           // negative: so many rows and columns of the image are left out
    std::int32_t stride;            // from 1
    std::int32_t k;                 // side of a filter, from 0
    std::int32_t filterPixels;      // k * k
    std::int32_t outH, outW;        // modules down and across, from 1
    std::int32_t modules;           // outH * outW
};

// The shape for an image row of `imageCols` elements and a filter of `filterCols`. Divisions cut,
// so that elements behind the last whole filter, or the last whole image, count for nothing.
//
// All sums and products are taken in 64 bits, so that no check can overflow before it checks.
// Throws UnusableLayer where a divisor is not positive, a filter is not square, or the image has
// not exactly one module for each position of the filter.
FilterShape filterShape(const FilterGeometry& geometry, std::int32_t imageCols,
                        std::int32_t filterCols);

#endif
