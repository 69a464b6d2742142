// One network: the layers of one description, wired.
#ifndef ZOMU_DESCRIPTION_CONV_NET_H
#define ZOMU_DESCRIPTION_CONV_NET_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "layers/layer.h"

struct ConvNet {
    // Builds the network that `text` describes, with weights from `folder` (a separator at its
    // end). `netIndex`, 0 to 24, says which slot of g_descriptions holds the parsed text meanwhile.
    //
    // Only one build at a time: slot, index and folder are process-wide. Nothing reads them once
    // the build has returned. A description that cannot be built prints "Error creating ConvNet: "
    // and the reason, and ends the process with exit status 1.
    ConvNet(std::int32_t netIndex, const char* text, const std::string& folder);

    std::vector<std::unique_ptr<Layer>> layers;  // in the order of the description
    std::vector<Layer*> dataLayers;              // the data layers among them
};

// Runs a network over the list of input matrices, of which each data layer takes its own, and
// returns the output of the last layer: null for a network of no layers. Touches nothing but the
// network.
Matrix* runNet(ConvNet& net, const MatrixList& patches);

#endif
