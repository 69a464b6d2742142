// The convolution: unfold an image into a matrix of patches, multiply, add the biases.
#ifndef ZOMU_LAYERS_CONV_KERNEL_H
#define ZOMU_LAYERS_CONV_KERNEL_H

#include "layers/filter_shape.h"
#include "matrix/matrix.h"

// Gathers every filter position of one image (planes x height x width) into one column of P, which
// has channels x k x k rows, in the order of a filter's elements, and outH x outW columns. Every
// element is written; positions outside the image give 0.
void unfoldPatches(const float* image, const FilterShape& shape, float* P);

// For each image n (one row), filter f (one row) and module m:
//
//   target(n, f, m) = outputScale * (filter f on module m) + targetScale * target(n, f, m)
//
// and for a targetScale of exactly 0, which also gives `target` its shape, the biases on top: one
// for each filter, as a rounding of its own. The order of the sums is the BLAS's. A filter has
// exactly channels x k x k elements; a kept `target` holds its rows.
void convForward(const Matrix& images, const Matrix& filters, const Matrix& biases, Matrix& target,
                 const FilterShape& shape, float targetScale, float outputScale);

#endif
