// The arithmetic behind the networks once more, in the plainest form. Nothing here is shared with
// the library: both are written from the definition, and tests demand the same bits.
//
// One rounding an operation; compile without contraction to fused multiply-adds.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_ARITHMETIC_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_ARITHMETIC_H

#include "zomu.h"

// `out` and `destination` hold 2 x 160 values each.
void referenceStoreNetworkOutput(const float* out, float* destination);

// Both arrays hold 8000 values.
void referenceSubtractFeatureMean(float* features, const float* mean);

// `tableA` and `tableB` hold 500 rows of 8000 values.
void referenceProjectFeatures(const float* features, const float* tableA, const float* tableB,
                              FaceTemplate& templateOut);

float referenceCompareTemplates(const FaceTemplate& a, const FaceTemplate& b);

#endif
