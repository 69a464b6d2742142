// The fixed arithmetic between the networks' outputs and a template. One rounding per operation,
// sums strictly in index order: the same outputs give the same template, bit for bit.
#ifndef ZOMU_TEMPLATE_TEMPLATE_ARITHMETIC_H
#define ZOMU_TEMPLATE_TEMPLATE_ARITHMETIC_H

#include "kernels/kernels.h"
#include "model/model_tables.h"
#include "zomu.h"

constexpr int kOutputUnits = 160;                // values of a network for one crop
constexpr int kOutputValues = 2 * kOutputUnits;  // and for both crops of its patch

// The groups of the table, of which the last is short.
constexpr int kProjectionParts = ProjectionTable::kGroups + 1;

// Scales each of the two halves of a 2 x 160 network output to unit length and stores the 320
// values at `destination`. A half of zeros gives NaN.
void storeNetworkOutput(const float* out, float* destination);

// features[n] -= featureMean[n] over all 8000.
void subtractFeatureMean(const float* featureMean, float* features);

// The results of a projection, before they become a template: those of each group's rows.
struct ProjectedRows {
    float sums[kProjectionParts][kGroupRows];
};

// The rows of one part (below kProjectionParts) for `count` faces, whose 8000 features follow each
// other. The table is read once for all of them.
void projectPart(const Kernels& kernels, const ProjectionTable& table, int part,
                 const float* features, int count, ProjectedRows* results);

// Fills all 502 values.
void finishTemplate(const ProjectedRows& rows, FaceTemplate& templateOut);

// Applies both projections to the 8000 features of one face; fills all 502 values.
void projectFeatures(const Kernels& kernels, const ModelTables& tables, const float* features,
                     FaceTemplate& templateOut);

#endif
