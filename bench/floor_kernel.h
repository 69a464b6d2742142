// The floor in the vectors of one instruction set, for which the including file is compiled.
#ifndef ZOMU_BENCH_FLOOR_KERNEL_H
#define ZOMU_BENCH_FLOOR_KERNEL_H

#include <cstdint>

#include "floor.h"
#include "kernels/lanes.h"

namespace {

// Processors start up to two fused multiply-adds at a time and finish each after four or five.
constexpr int kSums = 12;

// The compiler must not know what is computed, nor that nobody reads it.
volatile float g_input = 0x1p-10F;
volatile float g_result;

ZOMU_INLINE void keep(const Lanes (&sums)[kSums]) {
    float values[kLanes];
    for (const Lanes& sum : sums) {
        store(values, sum);
        g_result = values[0];
    }
}

ZOMU_INLINE void setUp(Lanes (&sums)[kSums]) {
    ZOMU_UNROLL
    for (Lanes& sum : sums) {
        sum = broadcast(g_input);
    }
}

void multiplyAddAtPeak(std::int64_t count) {
    const Lanes a = broadcast(g_input);
    const Lanes b = broadcast(g_input);
    Lanes sums[kSums];
    setUp(sums);
    for (std::int64_t done = 0; done < count; done += std::int64_t{kSums} * kLanes) {
        ZOMU_UNROLL
        for (Lanes& sum : sums) {
            sum = multiplyAdd(a, b, sum);
        }
    }
    keep(sums);
}

void readAll(FloatRange range) {
    Lanes sums[kSums];
    setUp(sums);
    int i = 0;
    for (; i + kSums * kLanes <= range.count; i += kSums * kLanes) {
        ZOMU_UNROLL
        for (int k = 0; k < kSums; ++k) {
            sums[k] = add(sums[k], load(range.first + i + k * kLanes));
        }
    }
    for (; i + kLanes <= range.count; i += kLanes) {
        sums[0] = add(sums[0], load(range.first + i));
    }
    keep(sums);
}

}  // namespace

#endif
