#include "floor_kernel.h"

const Floor kAvx512Floor = {"AVX-512", multiplyAddAtPeak, readAll};
