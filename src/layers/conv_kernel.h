// The convolution: unfold an image into a matrix of patches, multiply, add the biases.
#ifndef ZOMU_LAYERS_CONV_KERNEL_H
#define ZOMU_LAYERS_CONV_KERNEL_H

#include <cstdint>

#include "matrix/matrix.h"

struct FilterGeometry {
    std::int32_t channels = 0;
    std::int32_t height = 0;    // of an image; its width follows from the columns
    std::int32_t modulesY = 0;  // filter positions down and across
    std::int32_t modulesX = 0;
    std::int32_t padding = 0;  // rows and columns of zeros around the image
    std::int32_t stride = 0;
};

// What follows from a geometry, the columns of an image row and those of a filter row. Divisions
// cut.
struct FilterShape {
    std::int32_t modules;
    std::int32_t width;
    std::int32_t filterPixels;
    std::int32_t k;     // side of the square filter
    std::int32_t outH;  // filter positions that the image has room for
    std::int32_t outW;
};
FilterShape filterShape(const FilterGeometry& geometry, std::int32_t imageCols,
                        std::int32_t filterCols);

// Gathers every filter position of one image (planes x height x width) into one column of P, which
// has channels x k x k rows, in the order of a filter's elements, and outH x outW columns. Every
// element is written; positions outside the image give 0.
void unfoldPatches(const float* image, const FilterGeometry& geometry, const FilterShape& shape,
                   float* P);

// For each image n (one row), filter f (one row) and module m:
//
//   target(n, f, m) = outputScale * (filter f on module m) + targetScale * target(n, f, m)
//
// and for a targetScale of exactly 0, which also gives `target` its shape, the biases on top: one
// for each filter, as a rounding of its own. The order of the sums is the BLAS's.
void convForward(const Matrix& images, const Matrix& filters, const Matrix& biases, Matrix& target,
                 const FilterGeometry& geometry, float targetScale, float outputScale);

#endif
