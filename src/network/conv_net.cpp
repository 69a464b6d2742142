#include "network/conv_net.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "description/parameters.h"
#include "layers/build_error.h"
#include "layers/layer_registry.h"
#include "layers/weight_layer.h"

namespace {

std::unique_ptr<Layer> createLayer(const std::string& type, const LayerSource& source) {
    for (const LayerKind& kind : kLayerKinds) {
        if (type == kind.keyword) {
            return kind.create(source);
        }
    }
    throw BuildError{"Unknown layer type " + type};
}

// The index of the first of `names` that equals `name`, or -1.
std::ptrdiff_t indexOfName(const std::vector<std::string>& names, const std::string& name) {
    const auto place = std::find(names.begin(), names.end(), name);
    return place == names.end() ? -1 : place - names.begin();
}

void build(ConvNet& net, const NetDescription& description, const std::string& folder) {
    const DescriptionSection* netSection = getSection(description, "Net");
    std::int32_t layerCount = 0;
    getInt(netSection, "LayerCount", layerCount);
    const std::vector<std::string> names = getStringList(netSection, "LayerNames");
    for (std::int32_t i = 0; i < layerCount; ++i) {
        if (static_cast<std::size_t>(i) >= names.size()) {
            throw BuildError{"LayerCount is above the number of LayerNames"};
        }
        const std::string& name = names[static_cast<std::size_t>(i)];
        const DescriptionSection* section = getSection(description, name);
        std::string type;
        getString(section, "type", type);
        // A layer joins the list after its construction: until then the list holds the layers
        // before it.
        std::unique_ptr<Layer> created = createLayer(type, {name, section, folder, net.layers});
        net.layers.push_back(std::move(created));
        Layer& layer = *net.layers.back();
        if (type == "data") {
            net.dataLayers.push_back(&layer);
        }
        for (const std::string& inputName : getStringList(section, "inputs")) {
            const std::ptrdiff_t index = indexOfName(names, inputName);
            // Inputs come earlier in the list, which rules out cycles.
            if (index < 0 || index >= i) {
                throw BuildError{
                    std::string("Unknown input ").append(inputName).append(" of layer ") + name};
            }
            layer.prev.push_back(net.layers[static_cast<std::size_t>(index)].get());
        }
    }
    // In list order: the description determines the order in which layers fire.
    for (const auto& layer : net.layers) {
        for (Layer* input : layer->prev) {
            input->next.push_back(layer.get());
        }
    }
}

// What no plan has taken over is not needed any more.
void dropFileRows(const LayerList& layers) {
    for (const auto& layer : layers) {
        if (auto* weightLayer = dynamic_cast<WeightLayer*>(layer.get())) {
            for (const auto& weights : weightLayer->weights) {
                weights->fileRows.reset();
            }
        }
    }
}

}  // namespace

ConvNet::ConvNet(const char* text, const std::string& folder) {
    try {
        const NetDescription description = parseDescription(text);
        build(*this, description, folder);
        plan = planNetwork(text, description, layers);
        dropFileRows(layers);
    } catch (const BuildError& error) {
        std::printf("Error creating ConvNet: %s\n", error.reason.c_str());
        std::fflush(stdout);
        std::exit(EXIT_FAILURE);
    }
}

Matrix* runNet(ConvNet& net, const MatrixList& patches) {
    for (const auto& layer : net.layers) {
        layer->reset();
    }
    for (Layer* layer : net.dataLayers) {
        layer->fprop(patches);
    }
    return net.layers.empty() ? nullptr : net.layers.back()->getActs();
}
