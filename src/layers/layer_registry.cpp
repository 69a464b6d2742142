#include "layers/layer_registry.h"

const LayerKind kLayerKinds[kLayerKindCount] = {
    {"fc", createFCLayer},
    {"conv", createConvLayer},
    {"local", createLocalUnsharedLayer},
    {"pool", createPoolLayer},
    {"rnorm", createResponseNormLayer},
    {"cmrnorm", createCrossMapResponseNormLayer},
    {"cnorm", createContrastNormLayer},
    {"softmax", createSoftmaxLayer},
    {"eltsum", createEltwiseSumLayer},
    {"eltmax", createEltwiseMaxLayer},
    {"neuron", createNeuronLayer},
    {"data", createDataLayer},
};
