#include "layers/local_layer.h"

#include "description/parameters.h"
#include "layers/list_entry.h"
#include "layers/unusable_layer.h"

LocalLayer::LocalLayer(const LayerSource& source) : WeightLayer(source, true) {
    padding = getIntList(source.section, "padding");
    stride = getIntList(source.section, "stride");
    channels = getIntList(source.section, "channels");
    filterSize = getIntList(source.section, "filterSize");
    getInt(source.section, "filters", filters);
    filterPixels = getIntList(source.section, "filterPixels");
    imgSize = getIntList(source.section, "imgSize");
    imgPixels = getIntList(source.section, "imgPixels");
    getInt(source.section, "modulesX", modulesX);
    // Unsigned: a product that does not fit wraps around, which is undefined for signed numbers.
    const auto side = static_cast<std::uint32_t>(modulesX);
    modules = static_cast<std::int32_t>(side * side);
}

FilterGeometry LocalLayer::geometryOf(std::int32_t inputIndex) const {
    FilterGeometry geometry;
    geometry.channels = listEntry(channels, inputIndex);
    geometry.stride = listEntry(stride, inputIndex);
    geometry.padding = listEntry(padding, inputIndex);
    geometry.height = listEntry(imgSize, inputIndex);
    geometry.modulesY = modulesX;
    geometry.modulesX = modulesX;
    return geometry;
}

void LocalLayer::requireRoom(const FilterShape& shape, const Matrix& images,
                             std::int32_t filterCount, float targetScale) const {
    const std::int64_t cols = static_cast<std::int64_t>(filterCount) * shape.modules;
    requireUsable(cols <= kMostOutputs);
    // A first share would lose its images if their matrix were resized as the output. A later one is
    // added to the output as it is.
    requireUsable(targetScale == 0.0F ? outputs != &images || cols == images.numCols
                                      : holdsRows(*outputs, images.numRows, cols));
}
