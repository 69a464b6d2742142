// Writes one file of a model folder.
#ifndef ZOMU_TOOLS_MODEL_MODEL_FILE_WRITER_H
#define ZOMU_TOOLS_MODEL_MODEL_FILE_WRITER_H

#include <filesystem>
#include <vector>

#include "model/model_files.h"

// Puts the header and the floats of `file` into `path`, see file_writer.h. Throws std::runtime_error
// with the path and the reason where that fails, and std::invalid_argument for a number of values
// other than the file's own.
void writeModelFile(const std::filesystem::path& path, const ModelFile& file,
                    const std::vector<float>& values);

#endif
