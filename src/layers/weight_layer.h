// The base of all layers with trained parameters.
#ifndef ZOMU_LAYERS_WEIGHT_LAYER_H
#define ZOMU_LAYERS_WEIGHT_LAYER_H

#include <memory>
#include <string>
#include <vector>

#include "layers/layer.h"

// A layer's matrix of weights. Layers may share one: `source` then points to the weights that it
// was taken from, and is null where it was loaded. `fileRows` has loaded and transposed weights in the
// order of their file, until the network is built. `isComplete` is false if the file was too short.
struct Weights {
    std::shared_ptr<Matrix> matrix;
    std::unique_ptr<Matrix> fileRows;
    const Weights* source = nullptr;
    bool isComplete = true;
};

class WeightLayer : public Layer {
  public:
    // Loads and binds the files that the keys `weights` and `biases` name; `transposed` applies to
    // the weights. With the keys `weightSourceLayerIndices` and `weightSourceMatrixIndices`, the
    // weights are shared with earlier layers, or with this one, instead. Throws BuildError if those
    // select no weights.
    WeightLayer(const LayerSource& source, bool transposed);

    std::vector<std::unique_ptr<Weights>> weights;  // one for each input
    std::unique_ptr<Weights> biases;                // an empty matrix adds nothing

  protected:
    // Throw UnusableLayer if there is no complete matrix, or if adding the biases to `rows` x
    // `cols` values would write past them.
    const Matrix& usableWeights(std::int32_t inputIndex) const;
    const Matrix& usableBiases(std::int32_t rows, std::int32_t cols) const;

  private:
    void bindShared(const LayerList& earlier, const std::vector<std::int32_t>& layerIndices,
                    const std::vector<std::int32_t>& matrixIndices);
    const WeightLayer* sharingLayer(const LayerList& earlier, std::size_t index) const;
};

#endif
