#include <cstddef>

#include "layers/layer_kinds.h"
#include "layers/local_kernel.h"
#include "layers/local_layer.h"

namespace {

// A row of its weights holds a filter for each module, one behind the other.
class LocalUnsharedLayer : public LocalLayer {
  public:
    using LocalLayer::LocalLayer;

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const FilterGeometry geometry = geometryOf(inputIndex);
        const Matrix& images = *inputs[static_cast<std::size_t>(inputIndex)];
        const Matrix& bank = usableWeights(inputIndex);
        requireUsable(modules > 0 && bank.numCols % modules == 0);
        requireFit(geometry, images, bank.numCols / modules, bank.numRows, targetScale);
        Matrix& bias = *biases->matrix;
        requireUsable(biases->isComplete &&
                      (bias.numElements == 0 || bias.numElements >= bank.numRows * modules));
        localForward(images, bank, bias, *getActs(), geometry, targetScale);
    }

    Matrix scratch;  // stays empty: the kernel works in memory of its own call
};

}  // namespace

std::unique_ptr<Layer> createLocalUnsharedLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<LocalUnsharedLayer>(net, name);
}
