// Filters that slide over an image and differ from position to position.
#ifndef ZOMU_LAYERS_LOCAL_KERNEL_H
#define ZOMU_LAYERS_LOCAL_KERNEL_H

#include "layers/filter_shape.h"
#include "matrix/matrix.h"

// For each image n (one row), filter f (one row that begins with modules x channels x k x k
// elements) and module m:
//
//   target(n, f, m) = filter f's weights for m, applied to module m
//
// summed strictly in the order of a filter's elements, each product and each sum rounded. The
// former values are overwritten whatever targetScale is. A targetScale of exactly 0 also gives
// `target` its shape, and adds one bias for each filter and module, filter by filter, with a
// separate rounding; empty biases add nothing. `biases` takes the shape filters x modules and keeps
// its elements. With any other targetScale, `target` must already have room for these rows.
void localForward(const Matrix& images, const Matrix& filters, Matrix& biases, Matrix& target,
                  const FilterShape& shape, float targetScale);

#endif
