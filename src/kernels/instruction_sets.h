// The kernels of each instruction set, as far as the library is built for a processor that may have
// it.
#ifndef ZOMU_KERNELS_INSTRUCTION_SETS_H
#define ZOMU_KERNELS_INSTRUCTION_SETS_H

#include "kernels/kernels.h"

extern const Kernels kAvx512Kernels;
extern const Kernels kAvx2Kernels;
extern const Kernels kSse2Kernels;
extern const Kernels kNeonKernels;

#endif
