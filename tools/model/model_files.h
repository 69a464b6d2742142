// The files of a model folder: names, what each holds, its shape and its size in bytes.
//
// All are little-endian. Nothing but the header below precedes the floats, nothing follows them.
#ifndef ZOMU_TOOLS_MODEL_MODEL_FILES_H
#define ZOMU_TOOLS_MODEL_MODEL_FILES_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

//  kind          files            header                    floats
//  meanImage     0-1-0 to 0-25-0  int32 count               one row of a patch matrix
//  meanFeatures  6-0              none                      8000
//  projection    6-1, 6-2         none                      500 x 8000, row-major
//  weights       <stage>-<N>-<m>  int32 rows, int32 cols    rows x cols, row-major
//  biases        the same         the same                  a column (conv) or a row (fc)
enum class ModelFileKind { meanImage, meanFeatures, projection, weights, biases };

struct ModelFile {
    std::string name;
    ModelFileKind kind;
    int network;        // its number, 1 to 25; 0 for the tables that all share
    std::string layer;  // that reads it; empty for a table
    std::int32_t rows;
    std::int32_t cols;
};

// What the kind is called in print.
const char* nameOf(ModelFileKind kind);

// The integers that precede the floats.
std::vector<std::int32_t> headerOf(const ModelFile& file);

std::int64_t floatCount(const ModelFile& file);
std::int64_t byteCount(const ModelFile& file);

// All 303, in the order in which the library reads them: 25 mean images, the feature mean, the two
// projections, then the 11 files of each network in turn.
std::vector<ModelFile> listModelFiles();

const std::set<std::string>& modelFileNames();

#endif
