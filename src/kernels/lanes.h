// A vector of floats in one register, in the instruction set that the including file is compiled
// for. The kernels are written with these few operations once, and compiled for each set.
//
// Every lane computes what a scalar would: one rounding per operation, and a fused multiply-add
// with a single one. So the width of a vector changes no bit.
#ifndef ZOMU_KERNELS_LANES_H
#define ZOMU_KERNELS_LANES_H

#include <cstddef>

#include "matrix/float_rules.h"

#if defined(__AVX512F__) || defined(__AVX2__)
#include <immintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#elif defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

// The sums of a tile stay in registers only if the loops over them are unrolled and their functions
// inlined, which compilers do not do by themselves at every optimisation level.
#if defined(__clang__)
#define ZOMU_UNROLL _Pragma("clang loop unroll(full)")
#define ZOMU_INLINE [[gnu::always_inline]] inline
#elif defined(__GNUC__)
#define ZOMU_UNROLL _Pragma("GCC unroll 32")
#define ZOMU_INLINE [[gnu::always_inline]] inline
#else
#define ZOMU_UNROLL
#define ZOMU_INLINE __forceinline
#endif

// In an unnamed namespace, like everything in these headers: each instruction set has its own copy,
// and the linker must not pick one of them for all. For the same reason they call no inline function
// of a shared header.
namespace {

template <int kCount>
constexpr std::size_t kSize = static_cast<std::size_t>(kCount);

// load, store and broadcast need no alignment. `greater(v, cell)` is v if v > cell, else cell, in
// each lane: it drops a NaN in v and keeps one in cell.

#if defined(__AVX512F__)

using Lanes = __m512;
constexpr int kLanes = 16;
constexpr int kRegisters = 32;

ZOMU_INLINE Lanes load(const float* from) {
    return _mm512_loadu_ps(from);
}
ZOMU_INLINE void store(float* to, Lanes v) {
    _mm512_storeu_ps(to, v);
}
ZOMU_INLINE Lanes broadcast(float value) {
    return _mm512_set1_ps(value);
}
ZOMU_INLINE Lanes add(Lanes a, Lanes b) {
    return _mm512_add_ps(a, b);
}
ZOMU_INLINE Lanes multiply(Lanes a, Lanes b) {
    return _mm512_mul_ps(a, b);
}
ZOMU_INLINE Lanes multiplyAdd(Lanes a, Lanes b, Lanes sum) {
    return _mm512_fmadd_ps(a, b, sum);
}
ZOMU_INLINE Lanes greater(Lanes v, Lanes cell) {
    return _mm512_maskz_max_ps(0xFFFF, v, cell);  // all lanes; GCC 12 warns of _mm512_max_ps
}

#elif defined(__AVX2__)

using Lanes = __m256;
constexpr int kLanes = 8;
constexpr int kRegisters = 16;

ZOMU_INLINE Lanes load(const float* from) {
    return _mm256_loadu_ps(from);
}
ZOMU_INLINE void store(float* to, Lanes v) {
    _mm256_storeu_ps(to, v);
}
ZOMU_INLINE Lanes broadcast(float value) {
    return _mm256_set1_ps(value);
}
ZOMU_INLINE Lanes add(Lanes a, Lanes b) {
    return _mm256_add_ps(a, b);
}
ZOMU_INLINE Lanes multiply(Lanes a, Lanes b) {
    return _mm256_mul_ps(a, b);
}
ZOMU_INLINE Lanes multiplyAdd(Lanes a, Lanes b, Lanes sum) {
    return _mm256_fmadd_ps(a, b, sum);
}
ZOMU_INLINE Lanes greater(Lanes v, Lanes cell) {
    return _mm256_max_ps(v, cell);
}

#elif defined(__ARM_NEON)

using Lanes = float32x4_t;
constexpr int kLanes = 4;
constexpr int kRegisters = 32;

ZOMU_INLINE Lanes load(const float* from) {
    return vld1q_f32(from);
}
ZOMU_INLINE void store(float* to, Lanes v) {
    vst1q_f32(to, v);
}
ZOMU_INLINE Lanes broadcast(float value) {
    return vdupq_n_f32(value);
}
ZOMU_INLINE Lanes add(Lanes a, Lanes b) {
    return vaddq_f32(a, b);
}
ZOMU_INLINE Lanes multiply(Lanes a, Lanes b) {
    return vmulq_f32(a, b);
}
ZOMU_INLINE Lanes multiplyAdd(Lanes a, Lanes b, Lanes sum) {
    return vfmaq_f32(sum, a, b);
}
ZOMU_INLINE Lanes greater(Lanes v, Lanes cell) {
    return vbslq_f32(vcgtq_f32(v, cell), v, cell);  // vmaxq_f32 would keep a NaN in v
}

#else

using Lanes = __m128;  // SSE2, part of every x86-64 processor, has no fused multiply-add
constexpr int kLanes = 4;
constexpr int kRegisters = 16;

ZOMU_INLINE Lanes load(const float* from) {
    return _mm_loadu_ps(from);
}
ZOMU_INLINE void store(float* to, Lanes v) {
    _mm_storeu_ps(to, v);
}
ZOMU_INLINE Lanes broadcast(float value) {
    return _mm_set1_ps(value);
}
ZOMU_INLINE Lanes add(Lanes a, Lanes b) {
    return _mm_add_ps(a, b);
}
ZOMU_INLINE Lanes multiply(Lanes a, Lanes b) {
    return _mm_mul_ps(a, b);
}

#endif

ZOMU_INLINE void prefetch([[maybe_unused]] const float* line) {
#if defined(__GNUC__)
    __builtin_prefetch(line);
#endif
}

}  // namespace

#endif
