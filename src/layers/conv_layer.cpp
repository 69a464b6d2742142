#include <cstddef>

#include "layers/conv_kernel.h"
#include "layers/layer_registry.h"
#include "layers/local_layer.h"
#include "layers/unusable_layer.h"

namespace {

class ConvLayer : public LocalLayer {
  public:
    using LocalLayer::LocalLayer;

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const FilterGeometry geometry = geometryOf(inputIndex);
        const Matrix& images = *inputs[static_cast<std::size_t>(inputIndex)];
        const Matrix& bank = usableWeights(inputIndex);
        const FilterShape shape = filterShape(geometry, images.numCols, bank.numCols);
        // The product uses whole rows of weights; with a remainder it would read past the end of
        // the patch matrix.
        requireUsable(bank.numCols % shape.channels == 0);
        requireRoom(shape, images, bank.numRows, targetScale);
        // Only a first share is biased.
        const Matrix& bias =
            targetScale == 0.0F ? usableBiases(bank.numRows, shape.modules) : *biases->matrix;
        convForward(images, bank, bias, *getActs(), shape, targetScale, 1.0F);
    }
};

}  // namespace

std::unique_ptr<Layer> createConvLayer(const LayerSource& source) {
    return std::make_unique<ConvLayer>(source);
}
