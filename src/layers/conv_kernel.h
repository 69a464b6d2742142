// The convolution: unfold an image into a matrix of patches (im2col), multiply, add the biases.
#ifndef ZOMU_LAYERS_CONV_KERNEL_H
#define ZOMU_LAYERS_CONV_KERNEL_H

#include "layers/filter_shape.h"
#include "matrix/matrix.h"

// Gathers each filter position of one image (planes x height x width) into a column of P. P has
// channels x k x k rows, in the order of a filter's elements, and outH x outW columns. Every
// element is written; pixels outside the image are 0.
void unfoldPatches(const float* image, const FilterShape& shape, float* P);

// For each image n (one row), filter f (one row) and module m:
//
//   target(n, f, m) = outputScale * (filter f on module m) + targetScale * target(n, f, m)
//
// A targetScale of exactly 0 also gives `target` its shape, and then adds the biases, one for each
// filter, with a separate rounding. The BLAS determines the order of the sums. A filter has exactly
// channels x k x k elements. With any other targetScale, `target` must already have room for these
// rows.
void convForward(const Matrix& images, const Matrix& filters, const Matrix& biases, Matrix& target,
                 const FilterShape& shape, float targetScale, float outputScale);

#endif
