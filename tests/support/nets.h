// Networks from descriptions of a test's own.
#ifndef ZOMU_TESTS_SUPPORT_NETS_H
#define ZOMU_TESTS_SUPPORT_NETS_H

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "description/parameters.h"
#include "network/conv_net.h"
#include "support/matrices.h"

inline std::unique_ptr<ConvNet> buildNet(const std::string& text, const std::string& folder = "") {
    return std::make_unique<ConvNet>(text.c_str(), folder);
}

inline Layer* layerNamed(ConvNet& net, const std::string& name) {
    for (const auto& layer : net.layers) {
        if (layer->name == name) {
            return layer.get();
        }
    }
    return nullptr;
}

// What a layer without a section is built from; `name` has to outlive it.
inline LayerSource bareLayer(const std::string& name) {
    static const std::string noFolder;
    static const LayerList noLayers;
    return {name, nullptr, noFolder, noLayers};
}

// Watches a network run: put in front of every layer's `next`, it is told first when a layer is
// done.
class FiringProbe : public Layer {
  public:
    FiringProbe(Layer& watched, std::vector<std::string>& firedLayers)
        : Layer(bareLayer(watched.name)), fired(firedLayers) {
        watched.next.insert(watched.next.begin(), this);
    }

    void computeActs(std::int32_t, float) override {}
    void inputReady() override { fired.push_back(name); }

  private:
    std::vector<std::string>& fired;
};

// Probes on all layers of a network; `fired` then lists their names in the order of firing.
class FiringOrder {
  public:
    explicit FiringOrder(ConvNet& net) {
        for (const auto& layer : net.layers) {
            probes.push_back(std::make_unique<FiringProbe>(*layer, fired));
        }
    }

    std::vector<std::string> fired;

  private:
    std::vector<std::unique_ptr<FiringProbe>> probes;
};

#endif
