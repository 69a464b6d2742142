#include "network/network_plan.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "description/parameters.h"
#include "layers/weight_layer.h"
#include "network/net_texts.h"

namespace {

// Where the layers with weights are in the embedded networks.
constexpr std::size_t kConvolutionLayers[kConvolutions] = {1, 4, 7, 10};
constexpr std::size_t kFullLayer = 12;

// Keys by which networks of one shape differ.
bool isFreeKey(const char* key) {
    return std::strcmp(key, "dataIdx") == 0 || std::strcmp(key, "weights") == 0 ||
           std::strcmp(key, "biases") == 0;
}

// An entry begins with its key and a NUL.
bool isSameEntry(const std::string& a, const std::string& b) {
    return a == b || (std::strcmp(a.c_str(), b.c_str()) == 0 && isFreeKey(a.c_str()));
}

bool isSameSection(const DescriptionSection& a, const DescriptionSection& b) {
    return a.name == b.name && std::equal(a.entries.begin(), a.entries.end(), b.entries.begin(),
                                          b.entries.end(), isSameEntry);
}

bool isEmbedded(const char* text) {
    return std::any_of(std::begin(netDescriptionTexts), std::end(netDescriptionTexts),
                       [&](const char* embedded) { return std::strcmp(text, embedded) == 0; });
}

bool hasShapeOf(const NetDescription& description, int embedded) {
    const NetDescription other = parseDescription(netDescriptionTexts[embedded]);
    return std::equal(description.sections.begin(), description.sections.end(),
                      other.sections.begin(), other.sections.end(), isSameSection);
}

bool hasSize(const Weights& bound, std::int32_t rows, std::int32_t cols) {
    const Matrix& matrix = *bound.matrix;
    return bound.isComplete && matrix.numRows == rows && matrix.numCols == cols &&
           matrix.trans == kRowMajor;
}

// The layer, if it has `count` matrices of weights.
WeightLayer* weightLayer(const LayerList& layers, std::size_t index, std::size_t count) {
    auto* layer = dynamic_cast<WeightLayer*>(layers[index].get());
    return layer != nullptr && layer->weights.size() == count ? layer : nullptr;
}

bool planConvolutions(const LayerList& layers, NetworkPlan& plan) {
    std::int32_t planes = plan.weights.channels;
    for (std::size_t i = 0; i < kConvolutions; ++i) {
        const std::int32_t terms = planes * kFilterSides[i] * kFilterSides[i];
        WeightLayer* layer = weightLayer(layers, kConvolutionLayers[i], 1);
        // The layers hold a row for each filter; the kernels read the rows of the file, one for each
        // term.
        if (layer == nullptr || layer->weights[0]->fileRows == nullptr ||
            !hasSize(*layer->weights[0], kFilters[i], terms) ||
            !hasSize(*layer->biases, kFilters[i], 1)) {
            return false;
        }
        plan.filters[i] = std::move(layer->weights[0]->fileRows);
        plan.weights.filters[i] = plan.filters[i]->data;
        plan.weights.biases[i] = layer->biases->matrix->data;
        planes = kFilters[i];
    }
    return true;
}

bool planFullConnection(const LayerList& layers, NetworkPlan& plan) {
    const NetworkSides sides(plan.weights.side);
    const WeightLayer* full = weightLayer(layers, kFullLayer, 2);
    if (full == nullptr || !hasSize(*full->weights[0], sides.lastValues(), kNetworkOutputs) ||
        !hasSize(*full->weights[1], sides.pooledValues(), kNetworkOutputs) ||
        !hasSize(*full->biases, 1, kNetworkOutputs)) {
        return false;
    }
    plan.weights.fromLast = full->weights[0]->matrix->data;
    plan.weights.fromPooled = full->weights[1]->matrix->data;
    plan.weights.outputBiases = full->biases->matrix->data;
    return true;
}

}  // namespace

std::unique_ptr<NetworkPlan> planNetwork(const char* text, const NetDescription& description,
                                         const LayerList& layers) {
    auto plan = std::make_unique<NetworkPlan>();
    const DescriptionSection* convolution = getSection(description, "conv1");
    getInt(getSection(description, "data"), "dataIdx", plan->patch);
    getInt(convolution, "imgSize", plan->weights.side);
    getInt(convolution, "channels", plan->weights.channels);
    // Embedded networks of each shape: large in colour, small in colour, small in grey.
    const int embedded = plan->weights.side == kLargeSide ? 0 : plan->weights.channels == 3 ? 2 : 3;
    // The comparison of texts is quick, that of descriptions is not.
    if (!isEmbedded(text) && !hasShapeOf(description, embedded)) {
        return nullptr;
    }
    if (!planConvolutions(layers, *plan) || !planFullConnection(layers, *plan)) {
        return nullptr;
    }
    return plan;
}
