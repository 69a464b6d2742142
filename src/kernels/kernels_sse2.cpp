// The kernels with SSE2, which every x86-64 processor has. Without a fused multiply-add, networks run
// as layers.
#include "kernels/instruction_sets.h"
#include "kernels/projection_kernel.h"

const Kernels kSse2Kernels = {"SSE2", nullptr, nullptr, projectGroup};
