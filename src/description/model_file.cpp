#include "description/model_file.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

bool openModelFile(std::ifstream& stream, const std::string& path) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(path, ignored)) {
        stream.open(path, std::ios::binary);
        if (stream.is_open()) {
            return true;
        }
    }
    reportUnopenedFile(path.c_str());
    return false;
}

void reportUnopenedFile(const char* path) {
    std::printf("load %s failed\n", path);
    std::fflush(stdout);
}
