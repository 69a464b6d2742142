// A file's bytes as one string.
#ifndef ZOMU_TESTS_SUPPORT_READ_FILE_H
#define ZOMU_TESTS_SUPPORT_READ_FILE_H

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// Nothing for a file that cannot be read. In blocks: one iterator step for each byte of a model takes
// seconds where the tests are not optimised.
inline std::string readFile(const std::filesystem::path& path) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

#endif
