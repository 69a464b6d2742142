#include "layers/weight_layer.h"

#include <cstddef>
#include <limits>
#include <utility>

#include "description/parameters.h"
#include "layers/build_error.h"
#include "layers/unusable_layer.h"
#include "model/weight_files.h"

namespace {

std::unique_ptr<Weights> bind(LoadedMatrix loaded) {
    auto weights = std::make_unique<Weights>();
    weights->matrix = std::move(loaded.matrix);
    weights->fileRows = std::move(loaded.fileRows);
    weights->isComplete = loaded.isComplete;
    return weights;
}

}  // namespace

WeightLayer::WeightLayer(const LayerSource& source, bool transposed) : Layer(source) {
    const std::vector<std::string> weightNames = getStringList(source.section, "weights");
    std::string biasName;
    getString(source.section, "biases", biasName);
    std::vector<LoadedMatrix> loaded = loadWeightList(source.weightFolder, weightNames, transposed);
    LoadedMatrix bias = loadBias(source.weightFolder, biasName);
    const auto layerIndices = getIntList(source.section, "weightSourceLayerIndices");
    const auto matrixIndices = getIntList(source.section, "weightSourceMatrixIndices");
    // Shared weights replace the loaded ones, whose files are read in any case.
    bindShared(source.earlier, layerIndices, matrixIndices);
    if (layerIndices.empty()) {
        for (LoadedMatrix& matrix : loaded) {
            weights.push_back(bind(std::move(matrix)));
        }
    }
    biases = bind(std::move(bias));
}

void WeightLayer::bindShared(const LayerList& earlier,
                             const std::vector<std::int32_t>& layerIndices,
                             const std::vector<std::int32_t>& matrixIndices) {
    for (std::size_t i = 0; i < layerIndices.size(); ++i) {
        // Negative indices become huge, as does a missing matrix index: both are refused below.
        const WeightLayer* layer = sharingLayer(earlier, static_cast<std::size_t>(layerIndices[i]));
        const auto m = i < matrixIndices.size() ? static_cast<std::size_t>(matrixIndices[i])
                                                : std::numeric_limits<std::size_t>::max();
        if (layer == nullptr || m >= layer->weights.size()) {
            throw BuildError{"No weights to share with layer " + name};
        }
        const Weights* source = layer->weights[m].get();
        weights.push_back(std::make_unique<Weights>(
            Weights{source->matrix, nullptr, source, source->isComplete}));
    }
}

// The index after the last of the earlier layers is that of this one.
const WeightLayer* WeightLayer::sharingLayer(const LayerList& earlier, std::size_t index) const {
    if (index == earlier.size()) {
        return this;
    }
    return index < earlier.size() ? dynamic_cast<WeightLayer*>(earlier[index].get()) : nullptr;
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
    // As addVector broadcasts them: one row over columns, anything else over rows.
    requireUsable(biases->isComplete && matrix.numElements <= (matrix.numRows == 1 ? cols : rows));
    return matrix;
}
