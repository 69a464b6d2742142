// How the build of a network fails.
#ifndef ZOMU_LAYERS_BUILD_ERROR_H
#define ZOMU_LAYERS_BUILD_ERROR_H

#include <string>

// Thrown at any point of a build whose description cannot be used. ConvNet's constructor prints the
// reason and ends the process.
struct BuildError {
    std::string reason;
};

#endif
