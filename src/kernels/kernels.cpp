#include "kernels/kernels.h"

#include <array>

#include "kernels/instruction_sets.h"

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace {

#if defined(ZOMU_X86)

// What the processor has and the system keeps for a thread.
struct Processor {
    bool hasAvx2 = false;  // with fused multiply-add
    bool hasAvx512 = false;

#if defined(_MSC_VER)
    Processor() {
        int words[4];
        __cpuid(words, 1);
        const bool hasFma = (words[2] & (1 << 12)) != 0;
        const bool tellsWhatIsKept = (words[2] & (1 << 27)) != 0;
        const unsigned long long kept = tellsWhatIsKept ? _xgetbv(0) : 0;
        __cpuidex(words, 7, 0);
        hasAvx2 = hasFma && (kept & 0x06) == 0x06 && (words[1] & (1 << 5)) != 0;
        hasAvx512 = (kept & 0xE6) == 0xE6 && (words[1] & (1 << 16)) != 0;
    }
#else
    Processor() {
        __builtin_cpu_init();
        hasAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
        hasAvx512 = __builtin_cpu_supports("avx512f");
    }
#endif
};

struct Runnable {
    Runnable() {
        const Processor processor;
        if (processor.hasAvx512) {
            kernels[count++] = &kAvx512Kernels;
        }
        if (processor.hasAvx2) {
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
