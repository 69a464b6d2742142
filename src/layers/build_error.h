// How the build of a network fails.
#ifndef ZOMU_LAYERS_BUILD_ERROR_H
#define ZOMU_LAYERS_BUILD_ERROR_H

#include <string>

// Thrown anywhere in a build for a description that cannot be built. ConvNet's constructor prints
// the reason and ends the process.
struct BuildError {
    std::string reason;
};

#endif
