#include "description/conv_net.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "description/parameters.h"
#include "description/weight_files.h"
#include "layers/layer_kinds.h"

namespace {

// Appends the layer only after its constructor has returned: meanwhile the length of `layers` is
// the index of the layer under construction.
Layer& createLayer(ConvNet& net, const std::string& type, const std::string& name) {
    for (const LayerKind& kind : kLayerKinds) {
        if (type == kind.keyword) {
            std::unique_ptr<Layer> layer = kind.create(net, name);
            net.layers.push_back(std::move(layer));
            if (type == "data") {
                net.dataLayers.push_back(net.layers.back().get());
            }
            return *net.layers.back();
        }
    }
    throw std::string("Unknown layer type " + type);
}

int indexOfName(const std::vector<std::string>& names, const std::string& name) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// Names the folder for as long as a build lasts, however it ends: the text is the caller's.
class FolderOfBuild {
  public:
    explicit FolderOfBuild(const std::string& folder) { g_weightFolder = folder.c_str(); }
    ~FolderOfBuild() { g_weightFolder = ""; }
    FolderOfBuild(const FolderOfBuild&) = delete;
    FolderOfBuild& operator=(const FolderOfBuild&) = delete;
};

void build(ConvNet& net) {
    std::int32_t layerCount = 0;
    getInt("Net", "LayerCount", layerCount);
    const std::vector<std::string> names = getStringList("Net", "LayerNames");
    if (layerCount > static_cast<std::int32_t>(names.size())) {
        throw std::string("LayerCount is above the number of LayerNames");
    }
    for (int i = 0; i < layerCount; ++i) {
        const std::string& name = names[static_cast<std::size_t>(i)];
        std::string type;
        getString(currentSection(name), "type", type);
        Layer& layer = createLayer(net, type, name);
        for (const std::string& inputName : getStringList(name, "inputs")) {
            const int index = indexOfName(names, inputName);
            if (index < 0 || index >= i) {
                throw std::string("Unknown input ").append(inputName).append(" of layer ") + name;
            }
            layer.prev.push_back(net.layers[static_cast<std::size_t>(index)].get());
        }
    }
    // In list order, so that it is the description that decides in which order layers fire.
    for (const auto& layer : net.layers) {
        for (Layer* input : layer->prev) {
            input->next.push_back(layer.get());
        }
    }
}

}  // namespace

ConvNet::ConvNet(std::int32_t netIndex, const char* text, const std::string& folder) {
    try {
        g_currentNet = netIndex;
        const FolderOfBuild named(folder);
        parseDescription(g_descriptions[netIndex], text,
                         static_cast<std::uint32_t>(std::strlen(text)));
        build(*this);
    } catch (const std::string& reason) {
        std::printf("Error creating ConvNet: %s\n", reason.c_str());
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
