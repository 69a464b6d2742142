// The least that a processor could need: what the networks and the projection must compute and read,
// and nothing else. Once for each instruction set, by the name that its kernels have.
#ifndef ZOMU_BENCH_FLOOR_H
#define ZOMU_BENCH_FLOOR_H

#include <cstdint>

#include "kernels/kernels.h"

struct Floor {
    const char* name;

    // Computes that many fused multiply-adds, in more independent sums than a processor can work on
    // at a time. All of it stays in registers.
    void (*multiplyAdd)(std::int64_t count);

    // Adds up a range: a plain read.
    void (*read)(FloatRange range);
};

extern const Floor kAvx512Floor;
extern const Floor kAvx2Floor;
extern const Floor kNeonFloor;

#endif
