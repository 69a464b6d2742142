#include "floor_kernel.h"

const Floor kNeonFloor = {"NEON", multiplyAddAtPeak, readAll};
