// The fixed arithmetic between the networks' outputs and a template. One rounding per operation,
// sums strictly in index order: the same outputs give the same template, bit for bit.
#ifndef ZOMU_TEMPLATE_TEMPLATE_ARITHMETIC_H
#define ZOMU_TEMPLATE_TEMPLATE_ARITHMETIC_H

#include "matrix/matrix.h"
#include "model/model_tables.h"
#include "zomu.h"

constexpr int kOutputUnits = 160;                // values of a network for one crop
constexpr int kOutputValues = 2 * kOutputUnits;  // and for both crops of its patch

// Scales each of the two halves of a 2 x 160 network output to unit length and stores the 320
// values at `destination`. Reads 320 values, whatever `out.numElements` says. A half of zeros gives
// NaN.
void storeNetworkOutput(const Matrix& out, float* destination);

// features[n] -= featureMean[n] over all 8000.
void subtractFeatureMean(const float* featureMean, float* features);

// Applies both projection tables to the 8000 features; fills all 502 values.
void projectFeatures(const ModelTables& tables, const float* features, FaceTemplate& templateOut);

#endif
