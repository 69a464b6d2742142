// Floats of 16 bits (IEEE 754 binary16) as plain integers, the same on every processor.
#ifndef ZOMU_TOOLS_MODEL_HALF_FLOAT_H
#define ZOMU_TOOLS_MODEL_HALF_FLOAT_H

#include <cstdint>

// The nearest half, ties to even. Above 65504 it is infinite; NaN stays NaN.
std::uint16_t toHalf(float value);

// Exact.
float fromHalf(std::uint16_t half);

#endif
