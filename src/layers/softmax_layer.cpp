#include <limits>

#include "layers/layer_registry.h"
#include "layers/unusable_layer.h"

namespace {

// y = exp(x - greatest of the row) / sum over the row. A single row is no such case: the greatest
// value and the sum are one element then, which counts as a row vector, so that only element 0 is
// shifted and divided.
class SoftmaxLayer : public Layer {
  public:
    using Layer::Layer;

    void computeActs(std::int32_t, float) override {
        const Matrix& X = *inputs[0];
        requireUsable(X.numRows != 1 || X.numCols > 0);  // a single row has an element 0
        Matrix greatest(X.numRows, 1);
        X.aggregate(1, greatest, maximum, std::numeric_limits<float>::lowest());
        X.addVector(greatest, -1.0F, *outputs);
        outputs->apply(ElementFunction::Exp);
        Matrix sums(outputs->numRows, 1);
        outputs->aggregate(1, sums, addition, 0.0F);
        outputs->eltwiseDivideByVector(sums, *outputs);
    }
};

}  // namespace

std::unique_ptr<Layer> createSoftmaxLayer(const LayerSource& source) {
    return std::make_unique<SoftmaxLayer>(source);
}
