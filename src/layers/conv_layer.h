// The layer that slides one filter bank over all positions of an image.
#ifndef ZOMU_LAYERS_CONV_LAYER_H
#define ZOMU_LAYERS_CONV_LAYER_H

#include <memory>
#include <string>

#include "layers/layer.h"

std::unique_ptr<Layer> createConvLayer(ConvNet& net, const std::string& name);

#endif
