#include <cstddef>

#include "layers/layer_kinds.h"
#include "layers/local_layer.h"

namespace {

class ConvLayer : public LocalLayer {
  public:
    using LocalLayer::LocalLayer;

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const FilterGeometry geometry = geometryOf(inputIndex);
        const Matrix& images = *inputs[static_cast<std::size_t>(inputIndex)];
        const Matrix& bank = usableWeights(inputIndex);
        requireFit(geometry, images, bank.numCols, bank.numRows, targetScale);
        const Matrix& bias = usableBiases(bank.numRows, geometry.modulesY * geometry.modulesX);
        convForward(images, bank, bias, *getActs(), geometry, targetScale, 1.0F);
    }
};

}  // namespace

std::unique_ptr<Layer> createConvLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<ConvLayer>(net, name);
}
