// The keywords that select layers, and the functions that create them.
#ifndef ZOMU_LAYERS_LAYER_REGISTRY_H
#define ZOMU_LAYERS_LAYER_REGISTRY_H

#include <memory>

#include "layers/layer.h"

using LayerCreator = std::unique_ptr<Layer> (*)(const LayerSource& source);

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

std::unique_ptr<Layer> createFCLayer(const LayerSource& source);
std::unique_ptr<Layer> createConvLayer(const LayerSource& source);
std::unique_ptr<Layer> createLocalUnsharedLayer(const LayerSource& source);
std::unique_ptr<Layer> createResponseNormLayer(const LayerSource& source);
std::unique_ptr<Layer> createCrossMapResponseNormLayer(const LayerSource& source);
std::unique_ptr<Layer> createContrastNormLayer(const LayerSource& source);
std::unique_ptr<Layer> createSoftmaxLayer(const LayerSource& source);
std::unique_ptr<Layer> createEltwiseSumLayer(const LayerSource& source);
std::unique_ptr<Layer> createEltwiseMaxLayer(const LayerSource& source);
std::unique_ptr<Layer> createDataLayer(const LayerSource& source);

// Throws the BuildError "Unknown pooling layer type <pool>" if `pool` is none of kPoolKinds.
std::unique_ptr<Layer> createPoolLayer(const LayerSource& source);

// Throws the BuildError "Unknown neuron type: <neuron>" if `neuron` is none of kNeuronKinds.
std::unique_ptr<Layer> createNeuronLayer(const LayerSource& source);

#endif
