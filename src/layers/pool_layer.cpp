#include "description/parameters.h"
#include "layers/build_error.h"
#include "layers/layer_registry.h"
#include "layers/pool_kernel.h"

namespace {

// Reads its first input only; a second one makes it compute the same result again.
class PoolLayer : public Layer {
  public:
    explicit PoolLayer(const LayerSource& source) : Layer(source) {
        getInt(source.section, "channels", geometry.channels);
        getInt(source.section, "sizeX", geometry.sizeX);
        getInt(source.section, "start", geometry.start);
        getInt(source.section, "stride", geometry.stride);
        getInt(source.section, "outputsX", geometry.outputsX);
        getString(source.section, "pool", pool);
    }

    PoolGeometry geometry;
    std::string pool;
};

class MaxPoolLayer : public PoolLayer {
  public:
    using PoolLayer::PoolLayer;

    void computeActs(std::int32_t, float) override {
        maxPoolForward(*inputs[0], *outputs, geometry);
    }
};

class AvgPoolLayer : public PoolLayer {
  public:
    using PoolLayer::PoolLayer;

    void computeActs(std::int32_t, float) override {
        avgPoolForward(*inputs[0], *outputs, geometry);
    }
};

template <class SomePoolLayer>
std::unique_ptr<Layer> create(const LayerSource& source) {
    return std::make_unique<SomePoolLayer>(source);
}

}  // namespace

const LayerKind kPoolKinds[kPoolKindCount] = {
    {"max", create<MaxPoolLayer>},
    {"avg", create<AvgPoolLayer>},
};

std::unique_ptr<Layer> createPoolLayer(const LayerSource& source) {
    std::string keyword;
    getString(source.section, "pool", keyword);
    for (const LayerKind& kind : kPoolKinds) {
        if (keyword == kind.keyword) {
            return kind.create(source);
        }
    }
    throw BuildError{"Unknown pooling layer type " + keyword};
}
