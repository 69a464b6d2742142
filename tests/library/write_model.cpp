// Writes the model folder that the tests of this folder share, as a step of the build.
//
//   zomu_write_model TEMPORARY_DIRECTORY
#include <filesystem>

#include "support/model_folder.h"
#include "support/program.h"
#include "support/random.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        return wrongUsage("zomu_write_model TEMPORARY_DIRECTORY");
    }
    return runProgram("zomu_write_model", 1, [&] {
        const std::string folder = std::string(argv[1]) + "/~zvplugintmp~/";
        std::filesystem::create_directories(folder);
        Random random(20);
        writeNetworks(folder, random);
        writeProjection(folder, random);
        return 0;
    });
}
