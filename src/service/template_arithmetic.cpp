#include "service/template_arithmetic.h"

#include <algorithm>

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

// Rows do not depend on each other: several advance side by side, so that the additions of one do
// not wait for those of another, while the sum of each row keeps its order. Where a product and its
// sum stand does not matter, since addition gives the same bits either way round.
constexpr int kRowsAtOnce = 10;
static_assert(kProjectionCount % kRowsAtOnce == 0);

void projectRows(const float (*rows)[kFeatureCount], const float* features, float* sums) {
    float p[kRowsAtOnce] = {};
    for (int n = 0; n < kFeatureCount; ++n) {
        for (int r = 0; r < kRowsAtOnce; ++r) {
            p[r] = p[r] + rows[r][n] * features[n];
        }
    }
    std::copy_n(p, kRowsAtOnce, sums);
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
    for (int first = 0; first < kProjectionCount; first += kRowsAtOnce) {
        float pa[kRowsAtOnce];
        float pb[kRowsAtOnce];
        projectRows(&projectionA[first], features, pa);
        projectRows(&projectionB[first], features, pb);
        for (int r = 0; r < kRowsAtOnce; ++r) {
            templateOut.projection[first + r] = pb[r];
            sumA = sumA + pa[r] * pa[r];
            sumB = sumB + pb[r] * pb[r];
        }
    }
    templateOut.quadraticTerm = sumA;
    templateOut.projectionNorm = narrowSqrt(sumB);
}
