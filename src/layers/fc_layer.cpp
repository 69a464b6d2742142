#include <cstddef>

#include "layers/layer_registry.h"
#include "layers/unusable_layer.h"
#include "layers/weight_layer.h"
#include "matrix/blas.h"

namespace {

// Two inputs take three steps, each rounded separately: Y = X0 W0, Y = Y + b, Y = X1 W1 + Y. A
// weight matrix has one row for each value of its input and one column for each output. Surplus
// rows are not read, and a later matrix with fewer columns adds to the first outputs only.
class FCLayer : public WeightLayer {
  public:
    explicit FCLayer(const LayerSource& source) : WeightLayer(source, false) {}

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const Matrix& X = *inputs[static_cast<std::size_t>(inputIndex)];
        const Matrix& W = usableWeights(inputIndex);
        requireUsable(X.numCols > 0 && X.numCols <= W.numRows);
        requireUsable(&X != outputs);  // a product cannot overwrite its own factor
        if (targetScale == 0.0F) {
            const Matrix& b = usableBiases(X.numRows, W.numCols);
            outputs->resize(X.numRows, W.numCols);
            multiply(1.0F, X, W, targetScale, outputs->data, outputs->numCols);
            outputs->addVector(b, 1.0F, *outputs);
        } else {
            requireUsable(X.numRows <= outputs->numRows && W.numCols <= outputs->numCols);
            multiply(1.0F, X, W, targetScale, outputs->data, outputs->numCols);
        }
    }
};

}  // namespace

std::unique_ptr<Layer> createFCLayer(const LayerSource& source) {
    return std::make_unique<FCLayer>(source);
}
