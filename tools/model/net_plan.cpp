#include "model/net_plan.h"

#include <algorithm>
#include <stdexcept>

#include "description/parameters.h"
#include "patches/patch_layout.h"

namespace {

// Reads the section of one layer; every problem names the layer.
class LayerReader {
  public:
    LayerReader(const LayerPlan& plan, const DescriptionSection* described)
        : layer(plan), section(described) {}

    [[noreturn]] void fail(const std::string& problem) const {
        throw std::runtime_error("layer " + layer.name + ": " + problem);
    }

    void require(bool holds, const std::string& problem) const {
        if (!holds) {
            fail(problem);
        }
    }

    std::int32_t number(const char* key) const {
        std::int32_t value = -1;
        getInt(section, key, value);
        require(value >= 0, std::string("no usable ") + key);
        return value;
    }

    // The one entry of a list that has an entry for each input.
    std::int32_t onlyNumber(const char* key) const {
        const std::vector<std::int32_t> list = getIntList(section, key);
        require(list.size() == 1 && list[0] >= 0, std::string("no usable ") + key);
        return list[0];
    }

    std::string text(const char* key) const {
        std::string value;
        getString(section, key, value);
        return value;
    }

    std::vector<std::string> list(const char* key) const { return getStringList(section, key); }

  private:
    const LayerPlan& layer;
    const DescriptionSection* section;
};

void planData(LayerPlan& layer, const LayerReader& section) {
    const std::int32_t patch = section.number("dataIdx");
    section.require(patch < kPatchCount, "dataIdx is not the index of a patch");
    layer.planes = kPatchLayout.isColour[patch] != 0 ? 3 : 1;
    layer.side = kPatchLayout.size[patch];
}

void planConvolution(LayerPlan& layer, const LayerReader& section, const LayerPlan& input) {
    const std::int32_t channels = section.onlyNumber("channels");
    section.require(channels == input.planes, "channels are not the planes of the input");
    section.require(section.onlyNumber("imgSize") == input.side,
                    "imgSize is not that of the input");
    layer.planes = section.number("filters");
    layer.side = section.number("modulesX");
    layer.filterPixels = section.onlyNumber("filterPixels");
    const std::vector<std::string> files = section.list("weights");
    section.require(files.size() == 1, "not one weight file for the one input");
    layer.weights = {{files[0], channels * layer.filterPixels, layer.planes}};
    layer.biases = {{section.text("biases"), layer.planes, 1}};
}

void planPool(LayerPlan& layer, const LayerReader& section, const LayerPlan& input) {
    section.require(section.text("pool") == "max", "a pool other than max");
    layer.planes = section.number("channels");
    section.require(layer.planes == input.planes, "channels are not the planes of the input");
    layer.side = section.number("outputsX");
}

void planFullyConnected(LayerPlan& layer, const LayerReader& section, const NetPlan& plan) {
    layer.planes = section.number("outputs");
    layer.side = 1;
    const std::vector<std::string> files = section.list("weights");
    section.require(files.size() == layer.inputs.size(), "not one weight file for each input");
    for (std::size_t k = 0; k < files.size(); ++k) {
        layer.weights.push_back({files[k], plan[layer.inputs[k]].elements(), layer.planes});
    }
    layer.biases = {{section.text("biases"), 1, layer.planes}};
}

LayerPlan planLayer(const std::string& name, const DescriptionSection* described,
                    const NetPlan& plan) {
    LayerPlan layer;
    layer.name = name;
    const LayerReader section(layer, described);
    layer.type = section.text("type");
    for (const std::string& input : section.list("inputs")) {
        const auto found = std::find_if(
            plan.begin(), plan.end(), [&](const LayerPlan& other) { return other.name == input; });
        section.require(found != plan.end(), "input " + input + " is not an earlier layer");
        layer.inputs.push_back(static_cast<std::size_t>(found - plan.begin()));
    }

    if (layer.type == "data") {
        section.require(layer.inputs.empty(), "a data layer with inputs");
        planData(layer, section);
        return layer;
    }
    if (layer.type == "fc") {
        planFullyConnected(layer, section, plan);
        return layer;
    }
    section.require(layer.inputs.size() == 1, "not exactly one input");
    const LayerPlan& input = plan[layer.inputs[0]];
    if (layer.type == "conv") {
        planConvolution(layer, section, input);
    } else if (layer.type == "pool") {
        planPool(layer, section, input);
    } else if (layer.type == "neuron") {
        section.require(section.text("neuron") == "relu", "a neuron other than relu");
        layer.planes = input.planes;
        layer.side = input.side;
    } else {
        section.fail("type " + layer.type + " is not known here");
    }
    return layer;
}

}  // namespace

NetPlan planNetwork(const char* text) {
    const NetDescription description = parseDescription(text);
    NetPlan plan;
    for (const std::string& name : getStringList(getSection(description, "Net"), "LayerNames")) {
        plan.push_back(planLayer(name, getSection(description, name), plan));
    }
    return plan;
}
