// The files behind the keys `weights` and `biases` of a section: a 32-bit row count, a 32-bit
// column count, then the elements in row-major order, little-endian, without a header.
//
// Valid during the build of a network only: both loaders read the section of g_currentNet's
// description and look for files in g_weightFolder.
#ifndef ZOMU_DESCRIPTION_WEIGHT_FILES_H
#define ZOMU_DESCRIPTION_WEIGHT_FILES_H

#include <memory>
#include <string>
#include <vector>

#include "matrix/matrix.h"

// The folder, with a separator at its end, that the network under construction reads.
extern const char* g_weightFolder;

// A matrix as its file gave it. Where the file was shorter than its own sizes say, some elements
// have no value and `isComplete` is false; an empty matrix that was never read counts as complete.
struct LoadedMatrix {
    std::unique_ptr<Matrix> matrix;
    bool isComplete = true;
};

// One matrix for each file that `weights` names and that can be opened, in that order; the others
// print their line and leave no gap. `transposed` turns each file's rows into columns.
std::vector<LoadedMatrix> loadWeightList(const std::string& sectionName, bool transposed);

// The matrix of the one file that `biases` names, never transposed; an empty matrix, after the
// line, where it cannot be opened.
LoadedMatrix loadBias(const std::string& sectionName);

#endif
