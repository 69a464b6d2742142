// The kernels with NEON, which every 64-bit ARM processor has.
#include "kernels/instruction_sets.h"
#include "kernels/network_kernel.h"
#include "kernels/projection_kernel.h"

const Kernels kNeonKernels = {"NEON", runConvolutions, runFullConnection, projectGroup};
