#include "template/template_arithmetic.h"

#include <algorithm>
#include <cstddef>

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

// Faces whose sums are on the stack at a time.
constexpr int kFacesAtOnce = 16;

// Columns that are multiplied with all faces before the next ones: they stay in the first cache.
constexpr int kColumnsAtOnce = 200;
static_assert(kFeatureCount % kColumnsAtOnce == 0);

void projectGroup(const Kernels& kernels, const float (*group)[kGroupRows], const float* features,
                  int count, ProjectedRows* results, int part) {
    float sums[kFacesAtOnce][kGroupRows] = {};
    const int columns = count == 1 ? kFeatureCount : kColumnsAtOnce;
    for (int n = 0; n < kFeatureCount; n += columns) {
        kernels.projectGroup(group + n, columns, features + n, kFeatureCount, count, sums);
    }
    for (int i = 0; i < count; ++i) {
        std::copy_n(sums[i], kGroupRows, results[i].sums[part]);
    }
}

// The few rows that remain, without vectors.
void projectRest(const float (*rest)[ProjectionTable::kRestRows], const float* features,
                 float* sums) {
    float sum[ProjectionTable::kRestRows] = {};
    for (int n = 0; n < kFeatureCount; ++n) {
        for (int row = 0; row < ProjectionTable::kRestRows; ++row) {
            const float product = rest[n][row] * features[n];
            sum[row] = sum[row] + product;
        }
    }
    std::copy_n(sum, ProjectionTable::kRestRows, sums);
}

}  // namespace

void storeNetworkOutput(const float* out, float* destination) {
    storeUnitLength(out, destination);
    storeUnitLength(out + kOutputUnits, destination + kOutputUnits);
}

void subtractFeatureMean(const float* featureMean, float* features) {
    for (int n = 0; n < kFeatureCount; ++n) {
        features[n] = features[n] - featureMean[n];
    }
}

// Each row's sum takes its products in column order, rounded one at a time, whatever advances beside
// it.
void projectPart(const Kernels& kernels, const ProjectionTable& table, int part,
                 const float* features, int count, ProjectedRows* results) {
    for (int first = 0; first < count; first += kFacesAtOnce) {
        const float* some = features + std::ptrdiff_t{first} * kFeatureCount;
        const int number = std::min(kFacesAtOnce, count - first);
        if (part < ProjectionTable::kGroups) {
            projectGroup(kernels, table.groups[part], some, number, results + first, part);
            continue;
        }
        for (int i = 0; i < number; ++i) {
            projectRest(table.rest, some + std::ptrdiff_t{i} * kFeatureCount,
                        results[first + i].sums[part]);
        }
    }
}

void finishTemplate(const ProjectedRows& rows, FaceTemplate& templateOut) {
    const float* a = rows.sums[0];
    const float* b = a + kProjectionCount;
    float sumA = 0.0F;
    float sumB = 0.0F;
    for (int r = 0; r < kProjectionCount; ++r) {
        templateOut.projection[r] = b[r];
        sumA = sumA + a[r] * a[r];
        sumB = sumB + b[r] * b[r];
    }
    templateOut.quadraticTerm = sumA;
    templateOut.projectionNorm = narrowSqrt(sumB);
}

void projectFeatures(const Kernels& kernels, const ModelTables& tables, const float* features,
                     FaceTemplate& templateOut) {
    ProjectedRows rows;
    for (int part = 0; part < kProjectionParts; ++part) {
        projectPart(kernels, tables.projection, part, features, 1, &rows);
    }
    finishTemplate(rows, templateOut);
}
