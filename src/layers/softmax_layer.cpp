#include <limits>

#include "layers/layer_registry.h"
#include "layers/unusable_layer.h"

namespace {

// y = exp(x - maximum of the row) / sum of the row. A matrix of one row is an exception: its
// maximum and its sum are single elements, which count as row vectors, so only element 0 is shifted
// and divided.
class SoftmaxLayer : public Layer {
  public:
    using Layer::Layer;

    void computeActs(std::int32_t, float) override {
        const Matrix& X = *inputs[0];
        requireUsable(X.numRows != 1 || X.numCols > 0);  // a single row has an element 0
        Matrix maxima(X.numRows, 1);
        X.aggregate(1, maxima, maximum, std::numeric_limits<float>::lowest());
        X.addVector(maxima, -1.0F, *outputs);
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
