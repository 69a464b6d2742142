// Weight and bias files: a 32-bit row count, a 32-bit column count, then the elements in row-major
// order, little-endian, without a header.
#ifndef ZOMU_MODEL_WEIGHT_FILES_H
#define ZOMU_MODEL_WEIGHT_FILES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "matrix/matrix.h"

// More than any file of an embedded network has (192,000), less than memory would be short of.
constexpr std::int32_t kMostElements = 1 << 18;

// A matrix as its file gave it. If the file was shorter than its own sizes say, some elements are
// uninitialised and `isComplete` is false. If it has more than kMostElements, none of them is read, the
// matrix is empty and `isComplete` is false. An empty matrix that was never read counts as complete.
struct LoadedMatrix {
    std::unique_ptr<Matrix> matrix;
    bool isComplete = true;
};

// Both take the folder's path, which ends in a separator, and append the file's name. A file that
// cannot be opened is reported.

// One matrix for each file that can be opened, in the order of `names`; the others leave no gap.
// `transposed` turns each file's rows into columns.
std::vector<LoadedMatrix> loadWeightList(const std::string& folder,
                                         const std::vector<std::string>& names, bool transposed);

// The matrix of one file, never transposed; an empty matrix if it cannot be opened.
LoadedMatrix loadBias(const std::string& folder, const std::string& name);

#endif
