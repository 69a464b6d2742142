// The model of the programs that compute with one.
#ifndef ZOMU_TOOLS_MODEL_REQUIRED_MODEL_H
#define ZOMU_TOOLS_MODEL_REQUIRED_MODEL_H

#include <filesystem>

// The folder in which the library looks for its model. Throws std::runtime_error where another user than root has
// put it into a directory to which everybody can write.
std::filesystem::path placeOfModel();

// That folder, where it holds all files of a model. Otherwise throws std::runtime_error, which says what to do:
// for programs that are to say one line, and not that of the library about each file.
std::filesystem::path requireModel();

#endif
