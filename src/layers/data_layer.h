// The layer that feeds a network: one entry of the list handed to it.
#ifndef ZOMU_LAYERS_DATA_LAYER_H
#define ZOMU_LAYERS_DATA_LAYER_H

#include <memory>
#include <string>

#include "layers/layer.h"

std::unique_ptr<Layer> createDataLayer(ConvNet& net, const std::string& name);

#endif
