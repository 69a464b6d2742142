#include "layers/conv_layer.h"

#include <cstddef>
#include <limits>

#include "layers/local_layer.h"

namespace {

class ConvLayer : public LocalLayer {
  public:
    using LocalLayer::LocalLayer;

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const FilterGeometry geometry = geometryOf(inputIndex);
        const Matrix& images = *inputs[static_cast<std::size_t>(inputIndex)];
        const Matrix& bank = usableWeights(inputIndex);
        Matrix& target = *getActs();
        requireFit(geometry, images, bank, target, targetScale);
        convForward(images, bank, *biases->matrix, target, geometry, targetScale, 1.0F);
    }

  private:
    // The kernel believes all sizes. These are the ones that keep it inside its matrices: filter
    // rows are whole square filters, there is a module for each position, and biases and former
    // output match.
    void requireFit(const FilterGeometry& geometry, const Matrix& images, const Matrix& bank,
                    const Matrix& target, float targetScale) const {
        requireUsable(geometry.channels > 0 && geometry.height > 0 && geometry.stride > 0);
        const FilterShape shape = filterShape(geometry, images.numCols, bank.numCols);
        requireUsable(bank.numCols == geometry.channels * shape.k * shape.k && shape.k > 0);
        requireUsable(shape.outH > 0 && shape.outW > 0 && shape.outH * shape.outW == shape.modules);
        requireUsable(static_cast<std::int64_t>(bank.numRows) * shape.modules <=
                      std::numeric_limits<std::int32_t>::max());
        usableBiases(bank.numRows, shape.modules);
        requireUsable(targetScale == 0.0F || (target.numRows == images.numRows &&
                                              target.numCols == bank.numRows * shape.modules));
    }
};

}  // namespace

std::unique_ptr<Layer> createConvLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<ConvLayer>(net, name);
}
