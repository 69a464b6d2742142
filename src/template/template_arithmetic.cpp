#include "template/template_arithmetic.h"

#include <algorithm>

#include "matrix/float_rules.h"

static_assert(kNetCount * kOutputValues == kFeatureCount);
static_assert(kProjectionCount == ZOMU_PROJECTION_SIZE);

namespace {

// Squares are rounded to 32 bits and summed in 64; the sum is narrowed before the square root.
float lengthOf(const float* values) {
    double sum = 0.0;
    for (int c = 0; c < kOutputUnits; ++c) {
        const float square = values[c] * values[c];
        sum = sum + static_cast<double>(square);
    }
    return narrowSqrt(static_cast<float>(sum));
}

// Each value is divided, in 64 bits: a product with the reciprocal would round differently.
void storeUnitLength(const float* values, float* destination) {
    const auto length = static_cast<double>(lengthOf(values));
    for (int c = 0; c < kOutputUnits; ++c) {
        destination[c] = static_cast<float>(static_cast<double>(values[c]) / length);
    }
}

// Rows are independent. Several advance together, which hides the latency of one row's additions
// behind those of the others, while each row's sum keeps its order. Tiles of 4 rows and 4 columns
// are multiplied row by row and added column by column, which the compiler can vectorise. The bits
// are those of one row after another: each product is rounded once, and a row's products are added
// to its sum one at a time, in column order. Addition is commutative, so it does not matter which
// operand the sum is.
constexpr int kTile = 4;
constexpr int kLine = 16;  // columns per step: the floats of one cache line
constexpr int kRowsAtOnce = 20;
static_assert(kRowsAtOnce % kTile == 0 && kLine % kTile == 0);
static_assert(kProjectionCount % kRowsAtOnce == 0 && kFeatureCount % kLine == 0);

// The tables are read once, from memory, in more streams than the hardware prefetcher follows: each
// cache line is prefetched some lines ahead.
constexpr int kAhead = 4 * kLine;

void prefetch([[maybe_unused]] const float* line) {
#if defined(__GNUC__)
    __builtin_prefetch(line);
#endif
}

void projectRows(const float (*rows)[kFeatureCount], const float* features, float* sums) {
    std::fill_n(sums, kRowsAtOnce, 0.0F);
    for (int line = 0; line < kFeatureCount; line += kLine) {
        const int ahead = std::min(line + kAhead, kFeatureCount - 1);
        for (int first = 0; first < kRowsAtOnce; first += kTile) {
            for (int r = 0; r < kTile; ++r) {
                prefetch(&rows[first + r][ahead]);
            }
            float p[kTile];
            std::copy_n(sums + first, kTile, p);
            for (int n = line; n < line + kLine; n += kTile) {
                float products[kTile][kTile];
                for (int r = 0; r < kTile; ++r) {
                    for (int k = 0; k < kTile; ++k) {
                        products[k][r] = rows[first + r][n + k] * features[n + k];
                    }
                }
                for (const auto& column : products) {
                    for (int r = 0; r < kTile; ++r) {
                        p[r] = p[r] + column[r];
                    }
                }
            }
            std::copy_n(p, kTile, sums + first);
        }
    }
}

}  // namespace

void storeNetworkOutput(const Matrix& out, float* destination) {
    storeUnitLength(out.data, destination);
    storeUnitLength(out.data + kOutputUnits, destination + kOutputUnits);
}

void subtractFeatureMean(const float* featureMean, float* features) {
    for (int n = 0; n < kFeatureCount; ++n) {
        features[n] = features[n] - featureMean[n];
    }
}

void projectFeatures(const ModelTables& tables, const float* features, FaceTemplate& templateOut) {
    float sumA = 0.0F;
    float sumB = 0.0F;
    for (int first = 0; first < kProjectionCount; first += kRowsAtOnce) {
        float pa[kRowsAtOnce];
        float pb[kRowsAtOnce];
        projectRows(&tables.projectionA[first], features, pa);
        projectRows(&tables.projectionB[first], features, pb);
        for (int r = 0; r < kRowsAtOnce; ++r) {
            templateOut.projection[first + r] = pb[r];
            sumA = sumA + pa[r] * pa[r];
            sumB = sumB + pb[r] * pb[r];
        }
    }
    templateOut.quadraticTerm = sumA;
    templateOut.projectionNorm = narrowSqrt(sumB);
}
