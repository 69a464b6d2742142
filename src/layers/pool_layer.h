// Layers that shrink each plane of their input, one window at a time.
#ifndef ZOMU_LAYERS_POOL_LAYER_H
#define ZOMU_LAYERS_POOL_LAYER_H

#include <memory>
#include <string>

#include "layers/layer.h"

//  class          key `pool`  a window's value
//  MaxPoolLayer   max         the greatest
//
// The layer of the keyword under `pool` in that section. Throws the plain text "Unknown pooling
// layer type <keyword>" for any other.
std::unique_ptr<Layer> createPoolLayer(ConvNet& net, const std::string& name);

#endif
