// Reads one file of a model folder that has been checked.
#ifndef ZOMU_TOOLS_MODEL_MODEL_FILE_READER_H
#define ZOMU_TOOLS_MODEL_MODEL_FILE_READER_H

#include <filesystem>
#include <vector>

#include "model/model_files.h"

// The floats after the header. Throws std::runtime_error "<name>: <faults>" where model_check.h
// finds any.
std::vector<float> readModelFile(const std::filesystem::path& folder, const ModelFile& file);

#endif
