// Keeps a model from taking the place of something else.
#ifndef ZOMU_TOOLS_MODEL_OCCUPIED_FOLDER_H
#define ZOMU_TOOLS_MODEL_OCCUPIED_FOLDER_H

#include <filesystem>

// Throws std::runtime_error where `folder` is anything but absent, an empty folder or, with
// `replace`, a folder that holds files of a model and nothing else.
void refuseOccupied(const std::filesystem::path& folder, bool replace);

#endif
