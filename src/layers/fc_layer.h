// The fully connected layer.
#ifndef ZOMU_LAYERS_FC_LAYER_H
#define ZOMU_LAYERS_FC_LAYER_H

#include <memory>
#include <string>

#include "layers/layer.h"

std::unique_ptr<Layer> createFCLayer(ConvNet& net, const std::string& name);

#endif
