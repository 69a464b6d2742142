#include <cstddef>

#include "layers/layer_registry.h"
#include "layers/local_kernel.h"
#include "layers/local_layer.h"
#include "layers/unusable_layer.h"

namespace {

// A row of its weights holds a filter for each module, one after the other. Elements after the last
// of them are not read.
class LocalUnsharedLayer : public LocalLayer {
  public:
    using LocalLayer::LocalLayer;

    void computeActs(std::int32_t inputIndex, float targetScale) override {
        const FilterGeometry geometry = geometryOf(inputIndex);
        const Matrix& images = *inputs[static_cast<std::size_t>(inputIndex)];
        const Matrix& bank = usableWeights(inputIndex);
        const std::int64_t modulesAsked =
            static_cast<std::int64_t>(geometry.modulesY) * geometry.modulesX;
        requireUsable(modulesAsked > 0);
        const auto filterCols = static_cast<std::int32_t>(bank.numCols / modulesAsked);
        const FilterShape shape = filterShape(geometry, images.numCols, filterCols);
        requireRoom(shape, images, bank.numRows, targetScale);
        Matrix& bias = *biases->matrix;
        if (targetScale == 0.0F) {  // only a first share is biased
            requireUsable(biases->isComplete && (bias.numElements == 0 ||
                                                 bias.numElements / shape.modules >= bank.numRows));
        }
        localForward(images, bank, bias, *getActs(), shape, targetScale);
    }

    Matrix scratch;  // stays empty: the kernel allocates its own scratch
};

}  // namespace

std::unique_ptr<Layer> createLocalUnsharedLayer(const LayerSource& source) {
    return std::make_unique<LocalUnsharedLayer>(source);
}
