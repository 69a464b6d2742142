// The kernels with AVX-512, which this file alone may use: see src/CMakeLists.txt.
#include "kernels/instruction_sets.h"
#include "kernels/network_kernel.h"
#include "kernels/projection_kernel.h"

const Kernels kAvx512Kernels = {"AVX-512", runConvolutions, runFullConnection, projectGroup};
