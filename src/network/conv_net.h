// One network: the layers of one description, wired.
#ifndef ZOMU_NETWORK_CONV_NET_H
#define ZOMU_NETWORK_CONV_NET_H

#include <memory>
#include <string>
#include <vector>

#include "layers/layer.h"
#include "network/network_plan.h"

struct ConvNet {
    // Builds the network that the NUL-terminated `text` describes, with weights from `folder`,
    // which ends in a separator. Keeps a pointer to neither. Networks may be built on several
    // threads at once.
    //
    // If the description cannot be built, prints "Error creating ConvNet: " and the reason, and
    // ends the process with exit status 1.
    ConvNet(const char* text, const std::string& folder);

    LayerList layers;                // in the order of the description
    std::vector<Layer*> dataLayers;  // the data layers among them
    // How to run the network without its layers, or null if only they can.
    std::unique_ptr<NetworkPlan> plan;
};

// Runs the network by its layers: each data layer takes its matrix from `patches`. Returns the output of the last
// layer, or null if there are no layers. Touches nothing but the network.
Matrix* runNet(ConvNet& net, const MatrixList& patches);

#endif
