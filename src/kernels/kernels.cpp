#include "kernels/kernels.h"

#include <array>

#include "kernels/instruction_sets.h"

namespace {

#if defined(ZOMU_X86)

struct Runnable {
    Runnable() {
        __builtin_cpu_init();
        if (__builtin_cpu_supports("avx512f")) {
            kernels[count++] = &kAvx512Kernels;
        }
        if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
            kernels[count++] = &kAvx2Kernels;
        }
        kernels[count++] = &kSse2Kernels;
    }

    std::array<const Kernels*, 3> kernels = {};
    std::size_t count = 0;
};

#else

struct Runnable {
    std::array<const Kernels*, 1> kernels = {&kNeonKernels};
    std::size_t count = 1;
};

#endif

}  // namespace

std::span<const Kernels* const> runnableKernels() {
    static const Runnable runnable;
    return {runnable.kernels.data(), runnable.count};
}
