// Says what is wrong with a model folder.
#ifndef ZOMU_TOOLS_MODEL_MODEL_CHECK_H
#define ZOMU_TOOLS_MODEL_MODEL_CHECK_H

#include <filesystem>
#include <string>
#include <vector>

#include "model/model_files.h"

// Everything that is wrong with one file, as a text without a line end, or the empty text: missing,
// too short or too long, text instead of data, a header with other sizes, values that are not
// finite.
std::string faultsOf(const std::filesystem::path& path, const ModelFile& file);

// A line "<name>: <faults>" for each file of the folder that has any, in the order of
// listModelFiles. Other files are ignored. Throws std::runtime_error where there is no such
// folder.
std::vector<std::string> checkModelFolder(const std::filesystem::path& folder);

#endif
