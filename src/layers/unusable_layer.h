// How a forward pass refuses to run.
#ifndef ZOMU_LAYERS_UNUSABLE_LAYER_H
#define ZOMU_LAYERS_UNUSABLE_LAYER_H

#include <cstdint>

#include "matrix/matrix.h"

// Thrown by a layer whose settings, weights and inputs do not match: it would divide by zero,
// access memory outside its matrices, or read uninitialised elements. It is thrown before the layer
// touches anything. The network then has no output; nothing else is affected.
struct UnusableLayer {};

inline void requireUsable(bool condition) {
    if (!condition) {
        throw UnusableLayer();
    }
}

// True if `rows` runs of `cols` elements, each starting where a row of `matrix` starts, lie inside
// its storage. They may be shorter than its rows, or fewer.
inline bool holdsRows(const Matrix& matrix, std::int64_t rows, std::int64_t cols) {
    return rows <= 0 || cols <= 0 || (rows - 1) * matrix.numCols + cols <= matrix.numElements;
}

// True where the elements (0, 0) to (rows - 1, cols - 1), placed by the storage order of `matrix`,
// lie inside its storage.
inline bool holdsElements(const Matrix& matrix, std::int64_t rows, std::int64_t cols) {
    if (rows <= 0 || cols <= 0) {
        return true;
    }
    const std::int64_t last = matrix.trans == kTransposed ? (cols - 1) * matrix.numRows + rows - 1
                                                          : (rows - 1) * matrix.numCols + cols - 1;
    return last < matrix.numElements;
}

#endif
