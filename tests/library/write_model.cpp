// Writes the model folder that the tests of this folder share, as a step of the build.
//
//   zomu_write_model TEMPORARY_DIRECTORY
#include <cstdio>
#include <exception>
#include <filesystem>

#include "support/model_folder.h"
#include "support/random.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: zomu_write_model TEMPORARY_DIRECTORY\n", stderr);
        return 2;
    }
    try {
        const std::string folder = std::string(argv[1]) + "/~zvplugintmp~/";
        std::filesystem::create_directories(folder);
        Random random(20);
        writeNetworks(folder, random);
        writeProjection(folder, random);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zomu_write_model: %s\n", failure.what());
        return 1;
    }
    return 0;
}
