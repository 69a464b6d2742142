// The kernels with AVX-512, which this file alone may use: see src/CMakeLists.txt.
#include "kernels/convolution_kernel.h"
#include "kernels/full_connection_kernel.h"
#include "kernels/instruction_sets.h"
#include "kernels/projection_kernel.h"

const Kernels kAvx512Kernels = {"AVX-512", runConvolutions, runFullConnection, projectGroup};
