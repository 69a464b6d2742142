// The base of all layers with trained parameters.
#ifndef ZOMU_LAYERS_WEIGHT_LAYER_H
#define ZOMU_LAYERS_WEIGHT_LAYER_H

#include <memory>
#include <string>
#include <vector>

#include "layers/layer.h"

// A matrix of weights as a layer holds it. Layers may share one; `source` then says from where this
// one has it, and is null for the first. `isComplete` is false where its file was too short.
struct Weights {
    std::shared_ptr<Matrix> matrix;
    const Weights* source = nullptr;
    bool isComplete = true;
};

class WeightLayer : public Layer {
  public:
    // Loads the files of the section's keys `weights` (each transposed, where asked for) and
    // `biases`, and binds them. With the keys `weightSourceLayerIndices` and
    // `weightSourceMatrixIndices` the weights are those of earlier layers, or of this one, instead.
    // Throws BuildError where those name no weights.
    WeightLayer(const LayerSource& source, bool transposed);

    std::vector<std::unique_ptr<Weights>> weights;  // one for each input
    std::unique_ptr<Weights> biases;                // an empty matrix adds nothing

  protected:
    // Throw UnusableLayer where there is no complete matrix, or where adding the biases to `rows`
    // x `cols` values would reach beyond them.
    const Matrix& usableWeights(std::int32_t inputIndex) const;
    const Matrix& usableBiases(std::int32_t rows, std::int32_t cols) const;

  private:
    void bindShared(const LayerList& earlier, const std::vector<std::int32_t>& layerIndices,
                    const std::vector<std::int32_t>& matrixIndices);
    const WeightLayer* sharingLayer(const LayerList& earlier, std::size_t index) const;
};

#endif
