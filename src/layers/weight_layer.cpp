#include "layers/weight_layer.h"

#include <cstddef>
#include <limits>
#include <utility>

#include "description/conv_net.h"
#include "description/parameters.h"
#include "description/weight_files.h"

namespace {

std::unique_ptr<Weights> bind(LoadedMatrix loaded) {
    auto weights = std::make_unique<Weights>();
    weights->matrix = std::move(loaded.matrix);
    weights->isComplete = loaded.isComplete;
    return weights;
}

}  // namespace

WeightLayer::WeightLayer(ConvNet& owner, const std::string& sectionName, bool transposed)
    : Layer(owner, sectionName) {
    std::vector<LoadedMatrix> loaded = loadWeightList(name, transposed);
    LoadedMatrix bias = loadBias(name);
    const auto layerIndices = getIntList(name, "weightSourceLayerIndices");
    const auto matrixIndices = getIntList(name, "weightSourceMatrixIndices");
    bindShared(layerIndices, matrixIndices);
    if (layerIndices.empty()) {
        for (LoadedMatrix& matrix : loaded) {
            weights.push_back(bind(std::move(matrix)));
        }
    }
    biases = bind(std::move(bias));
}

void WeightLayer::bindShared(const std::vector<std::int32_t>& layerIndices,
                             const std::vector<std::int32_t>& matrixIndices) {
    for (std::size_t i = 0; i < layerIndices.size(); ++i) {
        const WeightLayer* layer = sharingLayer(static_cast<std::size_t>(layerIndices[i]));
        const auto m = i < matrixIndices.size() ? static_cast<std::size_t>(matrixIndices[i])
                                                : std::numeric_limits<std::size_t>::max();
        if (layer == nullptr || m >= layer->weights.size()) {
            throw std::string("No weights to share with layer " + name);
        }
        const Weights* source = layer->weights[m].get();
        weights.push_back(
            std::make_unique<Weights>(Weights{source->matrix, source, source->isComplete}));
    }
}

// This layer is not yet in the network's list, so that its own index is the length of that list.
const WeightLayer* WeightLayer::sharingLayer(std::size_t index) const {
    if (index == net->layers.size()) {
        return this;
    }
    return index < net->layers.size() ? dynamic_cast<WeightLayer*>(net->layers[index].get())
                                      : nullptr;
}

const Matrix& WeightLayer::usableWeights(std::int32_t inputIndex) const {
    const auto index = static_cast<std::size_t>(inputIndex);
    requireUsable(index < weights.size());
    const Weights& bound = *weights[index];
    requireUsable(bound.isComplete && bound.matrix->numRows > 0 && bound.matrix->numCols > 0);
    return *bound.matrix;
}

const Matrix& WeightLayer::usableBiases(std::int32_t rows, std::int32_t cols) const {
    const Matrix& matrix = *biases->matrix;
    requireUsable(biases->isComplete && matrix.numElements <= (matrix.numRows == 1 ? cols : rows));
    return matrix;
}
