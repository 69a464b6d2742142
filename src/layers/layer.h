// What all layers have in common: how they are wired, wait for their inputs, and own or share
// outputs.
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
    const DescriptionSection* section;  // null where the text has none of that name
    const std::string& weightFolder;    // a separator at its end
    const LayerList& earlier;           // the layers in front of it; itself it is not yet in there
};

// The family. A class without a keyword is abstract. docs/layers.md has a row for each keyword:
// formula, shapes, keys, oddities.
//
//  Layer
//   DataLayer                   data     hands on an entry of the list handed to the network
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
// Rows of a matrix are images (a crop and its mirrored twin), columns planes x height x width.
//
// Only one thread may run a network at a time. Between runs a layer keeps its output, and pointers to
// its last inputs, which may dangle by then.
class Layer {
  public:
    // Reads the keys `type` and `actsTarget`.
    explicit Layer(const LayerSource& source);
    virtual ~Layer() = default;
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    // Adds what one input contributes to the output. With a targetScale of exactly 0 it is the first
    // to do so, and gives the output its shape, its values and the biases; otherwise its values are
    // added.
    virtual void computeActs(std::int32_t inputIndex, float targetScale) = 0;

    // Computes the output from these inputs, then tells each layer of `next`. The input whose matrix
    // is the output, if there is one, comes first: the others are added to it.
    virtual void fprop(const MatrixList& given);

    // Each layer of `prev` calls this once it is done, and the last call runs fprop. So a network
    // runs as one depth-first walk along `next`.
    virtual void inputReady();

    // Makes the layer wait for its inputs again. Without it a second run changes nothing.
    virtual void reset();

    virtual Matrix* getActs();

    std::vector<Layer*> prev;    // in the order of the key `inputs`
    std::vector<Layer*> next;    // in the order of the network's layers
    std::int32_t received = 0;   // how many of `prev` have finished in this run
    std::int32_t backCount = 0;  // cleared by reset, read by nothing
    MatrixList inputs;
    Matrix* outputs = nullptr;  // `ownOutputs`, or the shared matrix of input `actsTarget`
    // The input whose matrix is the output. Negative: a matrix of its own.
    std::int32_t actsTarget = -1;
    std::string name;
    std::string type;

  protected:
    void runNext();  // tells each layer of `next` that this one is done

  private:
    std::unique_ptr<Matrix> ownOutputs;
};

#endif
