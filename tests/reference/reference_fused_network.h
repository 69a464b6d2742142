// One of the 25 networks once more, with the library's own order of every sum: plain loops in which
// each term is one std::fma, in the order of the rows of the weight file.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_FUSED_NETWORK_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_FUSED_NETWORK_H

#include <vector>

#include "reference/reference_network.h"

// The 160 outputs for one image: channels x side x side floats.
std::vector<float> runFusedNetwork(const ReferenceNetwork& network, const float* image);

#endif
