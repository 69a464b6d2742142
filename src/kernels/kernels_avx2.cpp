// The kernels with AVX2 and FMA, which this file alone may use: see src/CMakeLists.txt.
#include "kernels/instruction_sets.h"
#include "kernels/network_kernel.h"
#include "kernels/projection_kernel.h"

const Kernels kAvx2Kernels = {"AVX2", runConvolutions, runFullConnection, projectGroup};
