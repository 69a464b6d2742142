// Feeds every file of the folders on the command line to one fuzz target: what was found once is
// tested again with every compiler. A folder that is not there holds no files; no files at all are
// a failure.
//
//   replay_TARGET FOLDER...
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "support/read_file.h"

static std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(folder)) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// A copy of the exact size, so that a sanitizer sees the first byte too many.
static void feed(const std::filesystem::path& file) {
    const std::string text = readFile(file);
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

int main(int argc, char** argv) {
    try {
        int count = 0;
        for (int i = 1; i < argc; ++i) {
            for (const std::filesystem::path& file : filesBelow(argv[i])) {
                std::fprintf(stderr, "%s\n", file.c_str());
                feed(file);
                ++count;
            }
        }
        std::fprintf(stderr, "%d files replayed\n", count);
        return count > 0 ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "replay: %s\n", failure.what());
        return 1;
    }
}
