#include "layers/filter_shape.h"

#include <cmath>
#include <limits>

#include "layers/unusable_layer.h"

FilterShape filterShape(const FilterGeometry& geometry, std::int32_t imageCols,
                        std::int32_t filterCols) {
    requireUsable(geometry.channels > 0 && geometry.height > 0 && geometry.stride > 0);
    FilterShape shape{};
    shape.channels = geometry.channels;
    shape.height = geometry.height;
    shape.width = imageCols / geometry.channels / geometry.height;
    shape.padding = geometry.padding;
    shape.stride = geometry.stride;
    shape.filterPixels = filterCols / geometry.channels;
    shape.k = static_cast<std::int32_t>(std::sqrt(static_cast<double>(shape.filterPixels)));
    // The root is truncated, so squaring it gives the pixels back only if the filter is square.
    requireUsable(static_cast<std::int64_t>(shape.k) * shape.k == shape.filterPixels);

    // A padded side of n + 2 padding pixels has room for (n + 2 padding - k) / stride + 1
    // positions.
    const std::int64_t margins = 2 * static_cast<std::int64_t>(geometry.padding) - shape.k;
    const std::int64_t outH = (shape.height + margins) / geometry.stride + 1;
    const std::int64_t outW = (shape.width + margins) / geometry.stride + 1;
    const std::int64_t modules = static_cast<std::int64_t>(geometry.modulesY) * geometry.modulesX;
    requireUsable(modules <= std::numeric_limits<std::int32_t>::max());
    // By division: with the greatest paddings the product of both does not fit into 64 bits.
    requireUsable(outH > 0 && outW > 0 && modules % outH == 0 && modules / outH == outW);
    shape.outH = static_cast<std::int32_t>(outH);
    shape.outW = static_cast<std::int32_t>(outW);
    shape.modules = static_cast<std::int32_t>(modules);
    return shape;
}
