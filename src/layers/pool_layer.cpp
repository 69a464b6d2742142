#include "layers/layer_kinds.h"

#include "description/parameters.h"
#include "layers/pool_kernel.h"

namespace {

// Looks at its first input only; a second one makes it compute the same once more.
class PoolLayer : public Layer {
  public:
    PoolLayer(ConvNet& owner, const std::string& sectionName) : Layer(owner, sectionName) {
        getInt(name, "channels", geometry.channels);
        getInt(name, "sizeX", geometry.sizeX);
        getInt(name, "start", geometry.start);
        getInt(name, "stride", geometry.stride);
        getInt(name, "outputsX", geometry.outputsX);
        getString(currentSection(name), "pool", pool);
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
std::unique_ptr<Layer> create(ConvNet& net, const std::string& name) {
    return std::make_unique<SomePoolLayer>(net, name);
}

}  // namespace

const LayerKind kPoolKinds[kPoolKindCount] = {
    {"max", create<MaxPoolLayer>},
    {"avg", create<AvgPoolLayer>},
};

std::unique_ptr<Layer> createPoolLayer(ConvNet& net, const std::string& name) {
    std::string keyword;
    getString(currentSection(name), "pool", keyword);
    for (const LayerKind& kind : kPoolKinds) {
        if (keyword == kind.keyword) {
            return kind.create(net, name);
        }
    }
    throw std::string("Unknown pooling layer type " + keyword);
}
