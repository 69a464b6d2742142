// The packed model that comes with the tools.
#ifndef ZOMU_TOOLS_MODEL_INSTALLED_PACK_H
#define ZOMU_TOOLS_MODEL_INSTALLED_PACK_H

#include <filesystem>

// The demonstration model, found from the folder of the running program: where `cmake --install` puts it, and where
// the sources have it. Throws std::runtime_error if there is none.
std::filesystem::path installedPack();

#endif
