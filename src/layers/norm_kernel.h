// Division by the energy of neighbouring planes.
#ifndef ZOMU_LAYERS_NORM_KERNEL_H
#define ZOMU_LAYERS_NORM_KERNEL_H

#include <cstdint>

#include "matrix/matrix.h"

struct CrossMapNorm {
    std::int32_t channels = 0;  // planes in a row of the input
    std::int32_t sizeX = 0;     // planes in a window; an even one has one more below than above
    float scale = 0.0F;
    float pow = 0.0F;
};

// For plane c and position p of each row:
//
//   target(c, p) = image(c, p) * (1 + scale / sizeX * sum of image(k, p)^2)^(-pow)
//
// over the sizeX planes k from c - sizeX / 2 (truncated) on, as far as they exist; the divisor is
// always sizeX. Each sum and product is rounded to float, and the power is computed in 64 bits.
// `target` holds the sums in between.
void crossMapNormForward(const Matrix& images, Matrix& target, const CrossMapNorm& norm);

#endif
