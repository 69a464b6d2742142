// What all layers have in common: wiring, waiting for inputs, and owning or sharing an output.
#ifndef ZOMU_LAYERS_LAYER_H
#define ZOMU_LAYERS_LAYER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "description/description_reader.h"
#include "matrix/matrix.h"

class Layer;

using MatrixList = std::vector<Matrix*>;
using LayerList = std::vector<std::unique_ptr<Layer>>;

// What a layer is built from. It copies what it needs.
struct LayerSource {
    const std::string& name;            // of its section
    const DescriptionSection* section;  // null if the text has none with that name
    const std::string& weightFolder;    // ends in a separator
    const LayerList& earlier;           // the layers before it, not itself
};

// The family. A class without a keyword is abstract. docs/layers.md has a row for each keyword:
// formula, shapes, keys, special cases.
//
//  Layer
//   DataLayer                   data     passes on an entry of the network's input list
//   NeuronLayer                 neuron   an element-wise function, in place
//   PoolLayer
//    MaxPoolLayer               pool     the greatest of each window
//    AvgPoolLayer               pool     the mean of each window
//   WeightLayer                          trained parameters
//    FCLayer                    fc       a product with a weight matrix
//    LocalLayer                          filters that slide over an image
//     ConvLayer                 conv     one filter bank for all positions
//     LocalUnsharedLayer        local    a filter bank for each position
//   SoftmaxLayer                softmax  rows that sum to 1
//   EltwiseSumLayer             eltsum   weighted sum of the inputs
//   EltwiseMaxLayer             eltmax   greatest of the inputs
//   ResponseNormLayer           rnorm    computes nothing
//    CrossMapResponseNormLayer  cmrnorm  division by the energy of neighbouring planes
//    ContrastNormLayer          cnorm    computes nothing
//
// Each row of a matrix is an image (a crop or the mirrored crop) of planes x height x width.
//
// Only one thread may run a network at a time. Between runs a layer keeps its output, and pointers
// to its last inputs, which may dangle by then.
class Layer {
  public:
    // Reads the keys `type` and `actsTarget`.
    explicit Layer(const LayerSource& source);
    virtual ~Layer() = default;
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    // Adds the contribution of one input to the output. With a targetScale of exactly 0 it is the
    // first one: it sets the output's shape and values, biases included. Otherwise its values are
    // added to the output.
    virtual void computeActs(std::int32_t inputIndex, float targetScale) = 0;

    // Computes the output from these inputs, then notifies each layer of `next`. The input whose
    // matrix is the output, if any, comes first: the others are added to it.
    virtual void fprop(const MatrixList& given);

    // Each layer of `prev` calls this once it is done, and the last call runs fprop. So a network
    // runs as one depth-first walk along `next`.
    virtual void inputReady();

    // Makes the layer wait for its inputs again. Without it, a second run has no effect.
    virtual void reset();

    virtual Matrix* getActs();

    std::vector<Layer*> prev;    // in the order of the key `inputs`
    std::vector<Layer*> next;    // in the order of the network's layers
    std::int32_t received = 0;   // how many of `prev` are done in this run
    std::int32_t backCount = 0;  // cleared by reset, read by nothing
    MatrixList inputs;
    Matrix* outputs = nullptr;  // `ownOutputs`, or the shared matrix of input `actsTarget`
    // The input whose matrix is the output. Negative: the output has its own.
    std::int32_t actsTarget = -1;
    std::string name;
    std::string type;

  protected:
    void runNext();  // notifies each layer of `next`

  private:
    std::unique_ptr<Matrix> ownOutputs;
};

#endif
