// The kernels with NEON, which every 64-bit ARM processor has.
#include "kernels/convolution_kernel.h"
#include "kernels/full_connection_kernel.h"
#include "kernels/instruction_sets.h"
#include "kernels/projection_kernel.h"

const Kernels kNeonKernels = {"NEON", runConvolutions, runFullConnection, projectGroup};
