#include <cstddef>
#include <utility>
#include <vector>

#include "description/parameters.h"
#include "layers/layer_kinds.h"
#include "layers/list_entry.h"

namespace {

class EltwiseSumLayer : public Layer {
  public:
    EltwiseSumLayer(ConvNet& owner, const std::string& sectionName, std::vector<float> coefficients)
        : Layer(owner, sectionName), coeffs(std::move(coefficients)) {}

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const float coeff = listEntry(coeffs, inputIndex);
        const Matrix& input = *inputs[static_cast<std::size_t>(inputIndex)];
        if (targetScale == 0.0F) {
            input.scale(coeff, *outputs);
        } else {
            outputs->add(input, coeff, *outputs);
        }
    }

    std::vector<float> coeffs;  // one for each input
};

// Starts at the second input, which meets the first; with one input the output stays as it is.
class EltwiseMaxLayer : public Layer {
  public:
    using Layer::Layer;

    void computeActs(std::int32_t inputIndex, float) override {
        if (inputIndex == 1) {
            inputs[1]->eltwiseMax(*inputs[0], *outputs);
        } else if (inputIndex > 1) {
            outputs->eltwiseMax(*inputs[static_cast<std::size_t>(inputIndex)], *outputs);
        }
    }
};

}  // namespace

std::unique_ptr<Layer> createEltwiseSumLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<EltwiseSumLayer>(net, name, getFloatList(name));
}

std::unique_ptr<Layer> createEltwiseMaxLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<EltwiseMaxLayer>(net, name);
}
