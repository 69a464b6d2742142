// The keywords that select layers, and the functions behind them.
#ifndef ZOMU_LAYERS_LAYER_KINDS_H
#define ZOMU_LAYERS_LAYER_KINDS_H

#include <memory>
#include <string>

#include "layers/layer.h"

// Builds the layer of section `name`, with its settings from the description being built. The layer
// is not yet in the network's list.
using LayerCreator = std::unique_ptr<Layer> (*)(ConvNet& net, const std::string& name);

struct LayerKind {
    const char* keyword;
    LayerCreator create;
};

// The values of the key `type`, in the order in which they are compared.
constexpr int kLayerKindCount = 12;
extern const LayerKind kLayerKinds[kLayerKindCount];

// The values of the key `pool` in a section of type pool.
constexpr int kPoolKindCount = 2;
extern const LayerKind kPoolKinds[kPoolKindCount];

std::unique_ptr<Layer> createFCLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createConvLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createLocalUnsharedLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createResponseNormLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createCrossMapResponseNormLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createContrastNormLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createSoftmaxLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createEltwiseSumLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createEltwiseMaxLayer(ConvNet& net, const std::string& name);
std::unique_ptr<Layer> createDataLayer(ConvNet& net, const std::string& name);

// Throws the plain text "Unknown pooling layer type <pool>" where `pool` is none of kPoolKinds.
std::unique_ptr<Layer> createPoolLayer(ConvNet& net, const std::string& name);

// Throws the plain text "Unknown neuron type: <neuron>" where `neuron` is none of kNeuronKinds.
std::unique_ptr<Layer> createNeuronLayer(ConvNet& net, const std::string& name);

#endif
