#include "model/model_file.h"

#include <cstdio>

#include "platform/platform.h"

bool openModelFile(std::ifstream& stream, const std::string& path) {
    if (!isOpenableFolder(path.c_str())) {
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
