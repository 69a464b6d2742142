// Geometries of sliding filters drawn at random, and matrices to go with them.
#ifndef ZOMU_TESTS_LAYERS_RANDOM_FILTERS_H
#define ZOMU_TESTS_LAYERS_RANDOM_FILTERS_H

#include <algorithm>
#include <vector>

#include "reference/reference_layers.h"
#include "support/nets.h"
#include "support/random.h"

// Half of them have no padding and a stride of 1, which has a path of its own in the library.
inline ReferenceFilters randomFilters(Random& random, int fewestFilters) {
    ReferenceFilters c;
    const bool isPlain = random.oneIn(2);
    c.images = random.between(0, 3);
    c.channels = random.between(1, 3);
    c.k = random.between(1, 4);
    c.padding = isPlain ? 0 : random.between(-2, 2);
    c.stride = isPlain ? 1 : random.between(1, 3);
    const int smallest = c.k + std::max(0, -2 * c.padding);
    c.height = random.between(smallest, smallest + 6);
    c.width = random.between(smallest, smallest + 6);
    c.filters = random.between(fewestFilters, 5);
    return c;
}

template <typename Make>
Matrix filled(std::int32_t rows, std::int32_t cols, Make make) {
    Matrix matrix(rows, cols);
    for (std::int32_t i = 0; i < matrix.numElements; ++i) {
        matrix.data[i] = make();
    }
    return matrix;
}

#endif
