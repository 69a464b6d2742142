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

// The same with everything derived from it, within the bounds that the kernels rely on.
struct FilterShape {
    std::int32_t channels, height;  // of an image, at least 1
    std::int32_t width;             // at least 0
    std::int32_t padding;           // negative: crops the image by as many rows and columns
    std::int32_t stride;            // at least 1
    std::int32_t k;                 // side of a filter, at least 0
    std::int32_t filterPixels;      // k * k
    std::int32_t outH, outW;        // modules down and across, at least 1
    std::int32_t modules;           // outH * outW
};

// The shape for an image row of `imageCols` elements and a filter of `filterCols`. Divisions
// truncate: elements after the last whole filter or the last whole image are ignored.
//
// Sums and products are computed in 64 bits, which keeps the checks themselves from overflowing.
// Throws UnusableLayer if a divisor is not positive, a filter is not square, or the number of
// modules is not the number of filter positions.
FilterShape filterShape(const FilterGeometry& geometry, std::int32_t imageCols,
                        std::int32_t filterCols);

#endif
