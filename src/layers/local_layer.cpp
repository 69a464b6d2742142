#include "layers/local_layer.h"

#include <limits>

#include "description/parameters.h"
#include "layers/list_entry.h"

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
    geometry.channels = listEntry(channels, inputIndex);
    geometry.stride = listEntry(stride, inputIndex);
    geometry.padding = listEntry(padding, inputIndex);
    geometry.height = listEntry(imgSize, inputIndex);
    geometry.modulesY = modulesX;
    geometry.modulesX = modulesX;
    return geometry;
}

void LocalLayer::requireFit(const FilterGeometry& geometry, const Matrix& images,
                            std::int32_t filterCols, std::int32_t filterRows,
                            float targetScale) const {
    requireUsable(geometry.channels > 0 && geometry.height > 0 && geometry.stride > 0);
    const FilterShape shape = filterShape(geometry, images.numCols, filterCols);
    requireUsable(filterCols == geometry.channels * shape.k * shape.k);
    requireUsable(shape.outH > 0 && shape.outW > 0 && shape.outH * shape.outW == shape.modules);
    requireUsable(static_cast<std::int64_t>(filterRows) * shape.modules <=
                  std::numeric_limits<std::int32_t>::max());
    requireUsable(targetScale == 0.0F || (outputs->numRows == images.numRows &&
                                          outputs->numCols == filterRows * shape.modules));
}
