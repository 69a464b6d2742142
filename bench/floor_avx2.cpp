#include "floor_kernel.h"

const Floor kAvx2Floor = {"AVX2", multiplyAddAtPeak, readAll};
