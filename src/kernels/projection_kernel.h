// The projection: each row's sum runs over the columns in order, product and sum rounded on their
// own. The rows of a group advance side by side, one to a lane.
#ifndef ZOMU_KERNELS_PROJECTION_KERNEL_H
#define ZOMU_KERNELS_PROJECTION_KERNEL_H

#include <cstddef>

#include "kernels/kernels.h"
#include "kernels/lanes.h"

namespace {

constexpr int kGroupVectors = kGroupRows / kLanes;

// A group is read once, from memory. Some lines ahead is more than the hardware fetches by itself.
constexpr int kColumnsAhead = 24;

template <int kVectorCount>
ZOMU_INLINE void projectSome(const float (*group)[kGroupRows], int columns, const float* vectors,
                             std::ptrdiff_t step, float (*sums)[kGroupRows]) {
    Lanes sum[kSize<kVectorCount>][kSize<kGroupVectors>];
    ZOMU_UNROLL
    for (int i = 0; i < kVectorCount; ++i) {
        ZOMU_UNROLL
        for (int v = 0; v < kGroupVectors; ++v) {
            sum[i][v] = load(&sums[i][v * kLanes]);
        }
    }
    for (int n = 0; n < columns; ++n) {
        prefetch(group[n + kColumnsAhead]);
        prefetch(group[n + kColumnsAhead] + kGroupRows / 2);
        ZOMU_UNROLL
        for (int i = 0; i < kVectorCount; ++i) {
            const Lanes value = broadcast(vectors[i * step + n]);
            ZOMU_UNROLL
            for (int v = 0; v < kGroupVectors; ++v) {
                sum[i][v] = add(sum[i][v], multiply(load(&group[n][v * kLanes]), value));
            }
        }
    }
    ZOMU_UNROLL
    for (int i = 0; i < kVectorCount; ++i) {
        ZOMU_UNROLL
        for (int v = 0; v < kGroupVectors; ++v) {
            store(&sums[i][v * kLanes], sum[i][v]);
        }
    }
}

void projectGroup(const float (*group)[kGroupRows], int columns, const float* vectors,
                  std::ptrdiff_t step, int count, float (*sums)[kGroupRows]) {
    // As many at once as half of the registers hold sums for.
    constexpr int kAtOnce = kRegisters / 2 / kGroupVectors;
    int i = 0;
    for (; i + kAtOnce <= count; i += kAtOnce) {
        projectSome<kAtOnce>(group, columns, vectors + i * step, step, sums + i);
    }
    for (; i < count; ++i) {
        projectSome<1>(group, columns, vectors + i * step, step, sums + i);
    }
}

}  // namespace

#endif
