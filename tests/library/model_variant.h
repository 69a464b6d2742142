// A model folder that differs from the shared one in a few files.
#ifndef ZOMU_TESTS_LIBRARY_MODEL_VARIANT_H
#define ZOMU_TESTS_LIBRARY_MODEL_VARIANT_H

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "library/host_run.h"
#include "support/environment.h"
#include "support/linked_file.h"
#include "support/model_folder.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

inline std::vector<std::string> tableNames() {
    std::vector<std::string> names = {"6-0", "6-1", "6-2"};
    for (int number = 1; number <= 25; ++number) {
        names.push_back("0-" + std::to_string(number) + "-0");
    }
    return names;
}

inline std::vector<std::string> weightNames() {
    std::vector<std::string> names;
    for (int number = 1; number <= 25; ++number) {
        for (const WeightFile& file : weightFilesOf(number)) {
            names.push_back(file.name(number));
        }
    }
    return names;
}

// Every file starts as a link into the shared model, of 57 MB. Files are changed through this class
// only, which puts a new file in place of the link: writing through a link would change all tests.
class ModelVariant {
  public:
    ModelVariant() {
        std::filesystem::create_directory(modelDir());
        for (const std::vector<std::string>& names : {tableNames(), weightNames()}) {
            for (const std::string& name : names) {
                linkFile(sharedModelDir() + name, pathOf(name));
            }
        }
    }

    std::string temporaryDirectory() const { return folder.path().string(); }
    std::string modelDir() const { return folder.prefix() + "~zvplugintmp~" + kFolderSeparator; }
    std::string pathOf(const std::string& name) const { return modelDir() + name; }

    void remove(const std::string& name) { std::filesystem::remove(pathOf(name)); }

    void removeAll(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            remove(name);
        }
    }

    void replaceByFolder(const std::string& name) {
        remove(name);
        std::filesystem::create_directory(pathOf(name));
    }

    void replaceByBytes(const std::string& name, const std::string& bytes) {
        remove(name);
        writeFile(pathOf(name), bytes.data(), bytes.size());
    }

    // Keeps the first bytes of the file, or puts zeros behind its end.
    void resize(const std::string& name, std::size_t size) {
        std::string bytes = readFile(sharedModelDir() + name);
        bytes.resize(size);
        replaceByBytes(name, bytes);
    }

    // Keeps the first bytes of the file and makes all others zero.
    void zeroFrom(const std::string& name, std::size_t size) {
        const std::size_t whole = std::filesystem::file_size(sharedModelDir() + name);
        resize(name, size);
        std::filesystem::resize_file(pathOf(name), whole);
    }

    // Another header in front of the same floats, as many of them as the header wants, then zeros.
    void reshape(const std::string& name, std::int32_t rows, std::int32_t cols) {
        const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
        relabel(name, rows, cols);
        std::filesystem::resize_file(pathOf(name), 8 + 4 * count);
    }

    // Another header in front of the same bytes.
    void relabel(const std::string& name, std::int32_t rows, std::int32_t cols) {
        std::string bytes = readFile(sharedModelDir() + name);
        std::memcpy(bytes.data(), &rows, sizeof rows);
        std::memcpy(bytes.data() + sizeof rows, &cols, sizeof cols);
        replaceByBytes(name, bytes);
    }

    // A host's run with this model.
    HostRun extract(int count = 1) const {
        return runHost(temporaryDirectory(), {"extract", std::to_string(count)});
    }

  private:
    TemporaryFolder folder;
};

#endif
