// A network of the embedded shape, prepared for the direct kernels.
#ifndef ZOMU_NETWORK_NETWORK_PLAN_H
#define ZOMU_NETWORK_NETWORK_PLAN_H

#include <cstdint>
#include <memory>

#include "description/description_reader.h"
#include "kernels/kernels.h"
#include "layers/layer.h"
#include "matrix/matrix.h"

struct NetworkPlan {
    NetworkWeights weights;  // points into `filters` and into the layers' matrices
    std::int32_t patch = 0;  // which entry of the patches the network reads

    std::unique_ptr<Matrix> filters[kConvolutions];  // as their files have them
};

// The plan of the network that `layers`, built from `text` and its `description`, compute. Null if it has
// another shape than the 25 embedded networks: another text, apart from its patch and the names of its
// files, or weights of other sizes, or too short. Such a network runs as layers. A plan takes over the
// `fileRows` of the convolutions; the layers own the larger weights and must outlive it.
std::unique_ptr<NetworkPlan> planNetwork(const char* text, const NetDescription& description,
                                         const LayerList& layers);

#endif
