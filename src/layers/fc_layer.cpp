#include "layers/layer_kinds.h"

#include <cstddef>

#include "layers/weight_layer.h"
#include "matrix/blas.h"

namespace {

// With two inputs, in this order and with these roundings: Y = X0 W0; Y = Y + b; Y = X1 W1 + Y. A
// weight matrix has one row for each value of its input and one column for each output.
class FCLayer : public WeightLayer {
  public:
    FCLayer(ConvNet& owner, const std::string& sectionName)
        : WeightLayer(owner, sectionName, false) {}

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const Matrix& X = *inputs[static_cast<std::size_t>(inputIndex)];
        const Matrix& W = usableWeights(inputIndex);
        requireUsable(W.numRows == X.numCols);
        if (targetScale == 0.0F) {
            const Matrix& b = usableBiases(X.numRows, W.numCols);
            outputs->resize(X.numRows, W.numCols);
            multiply(1.0F, X, W, targetScale, outputs->data);
            outputs->addVector(b, 1.0F, *outputs);
        } else {
            requireUsable(outputs->numRows == X.numRows && outputs->numCols == W.numCols);
            multiply(1.0F, X, W, targetScale, outputs->data);
        }
    }
};

}  // namespace

std::unique_ptr<Layer> createFCLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<FCLayer>(net, name);
}
