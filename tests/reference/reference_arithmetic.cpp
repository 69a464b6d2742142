#include "reference/reference_arithmetic.h"

#include <cfloat>
#include <cmath>
#include <cstddef>

static_assert(FLT_EVAL_METHOD == 0, "a float operation must round to float");

void referenceStoreNetworkOutput(const float* out, float* destination) {
    for (int row = 0; row < 2; ++row) {
        double sum = 0.0;
        for (int c = 0; c < 160; ++c) {
            // The square is a float; only the sum is kept wide.
            const float square = out[160 * row + c] * out[160 * row + c];
            sum = sum + static_cast<double>(square);
        }
        const float narrowSum = static_cast<float>(sum);
        const float norm = static_cast<float>(std::sqrt(static_cast<double>(narrowSum)));
        for (int c = 0; c < 160; ++c) {
            const double quotient =
                static_cast<double>(out[160 * row + c]) / static_cast<double>(norm);
            destination[160 * row + c] = static_cast<float>(quotient);
        }
    }
}

void referenceSubtractFeatureMean(float* features, const float* mean) {
    for (int n = 0; n < 8000; ++n) {
        features[n] = features[n] - mean[n];
    }
}

void referenceProjectFeatures(const float* features, const float* tableA, const float* tableB,
                              FaceTemplate& templateOut) {
    float sumA = 0.0F;
    float sumB = 0.0F;
    for (std::size_t r = 0; r < 500; ++r) {
        float pa = 0.0F;
        for (std::size_t n = 0; n < 8000; ++n) {
            const float product = tableA[8000 * r + n] * features[n];
            pa = pa + product;
        }
        float pb = 0.0F;
        for (std::size_t n = 0; n < 8000; ++n) {
            const float product = tableB[8000 * r + n] * features[n];
            pb = product + pb;
        }
        templateOut.projection[r] = pb;
        const float squareA = pa * pa;
        sumA = sumA + squareA;
        const float squareB = pb * pb;
        sumB = sumB + squareB;
    }
    templateOut.quadraticTerm = sumA;
    templateOut.projectionNorm = static_cast<float>(std::sqrt(static_cast<double>(sumB)));
}

float referenceCompareTemplates(const FaceTemplate& a, const FaceTemplate& b) {
    float dot = 0.0F;
    for (int i = 0; i < 500; ++i) {
        const float product = a.projection[i] * b.projection[i];
        dot = dot + product;
    }
    float t = dot * 2.0F;
    const float q = a.quadraticTerm + b.quadraticTerm;
    t = t - q;
    const float d = a.projectionNorm * b.projectionNorm;
    t = t / d;
    return t + 1.0F;
}
