#include "layers/local_layer.h"

#include <cstddef>
#include <stdexcept>

#include "description/parameters.h"

namespace {

std::int32_t entry(const std::vector<std::int32_t>& list, std::int32_t index) {
    if (static_cast<std::size_t>(index) >= list.size()) {
        throw std::out_of_range("invalid vector<T> subscript");
    }
    return list[static_cast<std::size_t>(index)];
}

}  // namespace

LocalLayer::LocalLayer(ConvNet& owner, const std::string& sectionName)
    : WeightLayer(owner, sectionName, true) {
    padding = getIntList(name, "padding");
    stride = getIntList(name, "stride");
    channels = getIntList(name, "channels");
    filterSize = getIntList(name, "filterSize");
    getInt(name, "filters", filters);
    filterPixels = getIntList(name, "filterPixels");
    imgSize = getIntList(name, "imgSize");
    imgPixels = getIntList(name, "imgPixels");
    getInt(name, "modulesX", modulesX);
    modules = modulesX * modulesX;
}

FilterGeometry LocalLayer::geometryOf(std::int32_t inputIndex) const {
    FilterGeometry geometry;
    geometry.channels = entry(channels, inputIndex);
    geometry.stride = entry(stride, inputIndex);
    geometry.padding = entry(padding, inputIndex);
    geometry.height = entry(imgSize, inputIndex);
    geometry.modulesY = modulesX;
    geometry.modulesX = modulesX;
    return geometry;
}
