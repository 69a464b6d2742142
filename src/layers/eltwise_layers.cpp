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
            // Matrices with the same storage order are added as they are stored, others element by
            // element.
            requireUsable(input.trans == outputs->trans
                              ? input.numElements >= outputs->numElements
                              : holdsElements(input, outputs->numRows, outputs->numCols));
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
        // If b is the output it is resized first, and loses its elements if their number changes.
        requireUsable(outputs == &b ? b.numElements == a.numElements
                                    : holdsElements(b, a.numRows, a.numCols));
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
