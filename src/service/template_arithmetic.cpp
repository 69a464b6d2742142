#include "service/template_arithmetic.h"

#include "matrix/float_rules.h"
#include "service/model_tables.h"

static_assert(kNetCount * kOutputValues == kFeatureCount);
static_assert(kProjectionCount == ZOMU_PROJECTION_SIZE);

namespace {

// Squares are rounded to 32 bits, their sum runs in 64, and the sum is narrowed before its root.
float lengthOf(const float* values) {
    double sum = 0.0;
    for (int c = 0; c < kOutputUnits; ++c) {
        const float square = values[c] * values[c];
        sum = sum + static_cast<double>(square);
    }
    return narrowSqrt(static_cast<float>(sum));
}

// A division for each value, in 64 bits: a product with the reciprocal would round differently.
void storeUnitLength(const float* values, float* destination) {
    const auto length = static_cast<double>(lengthOf(values));
    for (int c = 0; c < kOutputUnits; ++c) {
        destination[c] = static_cast<float>(static_cast<double>(values[c]) / length);
    }
}

}  // namespace

void storeNetworkOutput(const Matrix& out, float* destination) {
    storeUnitLength(out.data, destination);
    storeUnitLength(out.data + kOutputUnits, destination + kOutputUnits);
}

void subtractFeatureMean(float* features) {
    for (int n = 0; n < kFeatureCount; ++n) {
        features[n] = features[n] - featureMean[n];
    }
}

void projectFeatures(const float* features, FaceTemplate& templateOut) {
    float sumA = 0.0F;
    float sumB = 0.0F;
    for (int r = 0; r < kProjectionCount; ++r) {
        const float* rowA = projectionA[r];
        const float* rowB = projectionB[r];
        float pa = 0.0F;
        float pb = 0.0F;
        for (int n = 0; n < kFeatureCount; ++n) {
            pa = pa + rowA[n] * features[n];
            pb = rowB[n] * features[n] + pb;
        }
        templateOut.projection[r] = pb;
        sumA = sumA + pa * pa;
        sumB = sumB + pb * pb;
    }
    templateOut.quadraticTerm = sumA;
    templateOut.projectionNorm = narrowSqrt(sumB);
}
