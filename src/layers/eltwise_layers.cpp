#include <cstddef>
#include <vector>

#include "description/parameters.h"
#include "layers/layer_registry.h"
#include "layers/list_entry.h"
#include "layers/unusable_layer.h"

namespace {

class EltwiseSumLayer : public Layer {
  public:
    explicit EltwiseSumLayer(const LayerSource& source)
        : Layer(source), coeffs(getFloatList(source.section)) {}

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const float coeff = listEntry(coeffs, inputIndex);
        const Matrix& input = *inputs[static_cast<std::size_t>(inputIndex)];
        if (targetScale == 0.0F) {
            input.scale(coeff, *outputs);
        } else {
            // The sum reads an input element for each output element.
            requireUsable(input.numElements >= outputs->numElements);
            outputs->add(input, coeff, *outputs);
        }
    }

    std::vector<float> coeffs;  // one for each input
};

// Starts at the second input, which is compared with the first; a single input leaves the output
// unchanged.
class EltwiseMaxLayer : public Layer {
  public:
    using Layer::Layer;

    void computeActs(std::int32_t inputIndex, float) override {
        if (inputIndex == 1) {
            greaterOf(*inputs[1], *inputs[0]);
        } else if (inputIndex > 1) {
            greaterOf(*outputs, *inputs[static_cast<std::size_t>(inputIndex)]);
        }
    }

  private:
    void greaterOf(const Matrix& a, const Matrix& b) {
        requireUsable(holdsRows(b, a.numRows, a.numCols));
        // If the output shares this input's matrix, resizing it would lose the input.
        requireUsable(outputs != &b || outputs->numElements == a.numElements);
        a.eltwiseMax(b, *outputs);
    }
};

}  // namespace

std::unique_ptr<Layer> createEltwiseSumLayer(const LayerSource& source) {
    return std::make_unique<EltwiseSumLayer>(source);
}

std::unique_ptr<Layer> createEltwiseMaxLayer(const LayerSource& source) {
    return std::make_unique<EltwiseMaxLayer>(source);
}
