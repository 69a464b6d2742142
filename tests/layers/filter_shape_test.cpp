#include "layers/filter_shape.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "layers/unusable_layer.h"

namespace {

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();

struct UsableShape {
    const char* name;
    FilterGeometry geometry;  // channels, height, modulesY, modulesX, padding, stride
    std::int32_t imageCols, filterCols;
    std::int32_t width, k, outH, outW;
};

const UsableShape kUsable[] = {
    {"the first convolution of a network", {3, 55, 52, 52, 0, 1}, 9075, 48, 55, 4, 52, 52},
    {"an image that is not square", {2, 5, 3, 7, 0, 1}, 2 * 5 * 9, 18, 9, 3, 3, 7},
    {"padding and a stride that cuts", {1, 6, 4, 5, 1, 2}, 6 * 9, 4, 9, 2, 4, 5},
    {"elements behind the last image and filter", {2, 3, 2, 2, 0, 1}, 23, 9, 3, 2, 2, 2},
    {"a filter as large as the image", {1, 3, 1, 1, 0, 1}, 9, 9, 3, 3, 1, 1},
    {"a filter that overhangs by less than a stride", {1, 2, 1, 1, 0, 2}, 4, 9, 2, 3, 1, 1},
    {"a filter of no elements", {3, 1, 2, 3, 0, 1}, 6, 2, 2, 0, 2, 3},
    {"an image of no columns", {1, 1, 2, 1, 1, 2}, 0, 1, 0, 1, 2, 1},
    {"negative padding", {1, 7, 3, 3, -1, 1}, 49, 9, 7, 3, 3, 3},
    {"modules whose negative sides have the product", {1, 3, -2, -2, 0, 1}, 9, 4, 3, 2, 2, 2},
    {"2^31 - 1 modules", {1, 1, 1, kMost, 0, 1}, kMost, 1, kMost, 1, 1, kMost},
    {"the greatest stride", {1, 9, 1, 1, 0, kMost}, 81, 4, 9, 2, 1, 1},
    {"the greatest padding and stride", {1, 2, 3, 3, kMost, kMost}, 4, 1, 2, 1, 3, 3},
};

struct UnusableShape {
    const char* name;
    FilterGeometry geometry;
    std::int32_t imageCols, filterCols;
};

const UnusableShape kUnusable[] = {
    {"no channels", {0, 2, 2, 2, 0, 1}, 4, 1},
    {"negative channels", {-1, 2, 2, 2, 0, 1}, 4, 1},
    {"no height", {1, 0, 2, 2, 0, 1}, 4, 1},
    {"a negative height and modules in the padding", {1, -1, 3, 3, 2, 1}, 1, 1},
    {"no stride", {1, 2, 2, 2, 0, 0}, 4, 1},
    {"a negative stride and as many modules", {1, 1, 2, 2, 0, -1}, 1, 4},
    {"the least stride", {1, 2, 1, 1, 0, kLeast}, 4, 1},
    {"a filter that is not square", {1, 2, 2, 2, 0, 1}, 4, 2},
    {"a filter one below a square", {1, 3, 2, 2, 0, 1}, 9, 3},
    {"a module too many", {1, 2, 1, 5, 0, 1}, 4, 1},
    {"a module too few", {1, 2, 1, 3, 0, 1}, 4, 1},
    {"no modules", {1, 2, 0, 0, 0, 1}, 4, 1},
    {"room for -2 x -2 modules", {1, 1, 2, 2, 0, 1}, 1, 16},
    {"room for no module down", {1, 1, 0, 3, 0, 1}, 4, 4},
    {"room for no module across", {1, 4, 3, 0, 0, 1}, 4, 4},
    {"2^32 modules, as many as the padding makes", {1, 2, 65536, 65536, 32767, 1}, 4, 1},
    {"2^32 modules, which are 0 in 32 bits", {1, 2, 65536, 65536, 0, 1}, 4, 1},
    {"2^31 modules, as many as there are", {1, 45536, 65536, 32768, 10000, 1}, 45536 * 12768, 1},
    {"2^32 + 4 modules, which are 4 in 32 bits", {1, 2, 4, 1073741825, 0, 1}, 4, 1},
    {"the greatest padding", {1, 2, 2, 2, kMost, 1}, 4, 1},
    {"2^32 x 2^32 positions, which are 0 in 64 bits", {1, 2, 0, 0, kMost, 1}, 4, 1},
    {"the least padding", {1, 2, 2, 2, kLeast, 1}, 4, 1},
    {"padding that leaves nothing of the image", {1, 2, 2, 2, -1, 1}, 4, 1},
};

}  // namespace

TEST(FilterShape, followsFromGeometryAndColumns) {
    for (const UsableShape& usable : kUsable) {
        const FilterGeometry& g = usable.geometry;
        const FilterShape s = filterShape(g, usable.imageCols, usable.filterCols);
        EXPECT_EQ(
            (std::array{s.channels, s.height, s.padding, s.stride, s.width, s.k, s.outH, s.outW,
                        s.filterPixels, s.modules}),
            (std::array{g.channels, g.height, g.padding, g.stride, usable.width, usable.k,
                        usable.outH, usable.outW, usable.k * usable.k, usable.outH * usable.outW}))
            << usable.name;
    }
}

TEST(FilterShape, isRefusedWhereTheNumbersDoNotFitEachOther) {
    for (const UnusableShape& unusable : kUnusable) {
        EXPECT_THROW(filterShape(unusable.geometry, unusable.imageCols, unusable.filterCols),
                     UnusableLayer)
            << unusable.name;
    }
}
