// The layer that applies a neuron to its first input, in place.
#ifndef ZOMU_LAYERS_NEURON_LAYER_H
#define ZOMU_LAYERS_NEURON_LAYER_H

#include <memory>
#include <string>

#include "layers/layer.h"

std::unique_ptr<Layer> createNeuronLayer(ConvNet& net, const std::string& name);

#endif
