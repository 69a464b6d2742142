// How a forward pass refuses to run.
#ifndef ZOMU_LAYERS_UNUSABLE_LAYER_H
#define ZOMU_LAYERS_UNUSABLE_LAYER_H

#include <cstdint>

#include "matrix/matrix.h"

// Thrown by a layer whose settings, weights and inputs do not fit each other: it would divide by
// zero, or touch memory outside its matrices or that nothing has written. It is thrown before the
// layer touches anything. The network has no output then; nothing else is affected.
struct UnusableLayer {};

inline void requireUsable(bool condition) {
    if (!condition) {
        throw UnusableLayer();
    }
}

// True where `rows` runs of `cols` elements, each beginning where a row of `matrix` begins, lie
// inside its storage. They may be shorter than its rows, or fewer.
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
