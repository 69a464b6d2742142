// A folder of its own for one test, removed with everything in it at the end.
#ifndef ZOMU_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define ZOMU_TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

class TemporaryFolder {
  public:
    TemporaryFolder() : isBorrowed(borrow()) {
        if (!isBorrowed) {
            make();
        }
        g_inUse.push_back(folder.string());
    }

    ~TemporaryFolder() {
        g_inUse.erase(std::find(g_inUse.begin(), g_inUse.end(), folder.string()));
        std::error_code ignored;
        if (!isBorrowed) {
            std::filesystem::remove_all(folder, ignored);
        }
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }

    // With a separator at its end, the way the library names its folders.
    std::string prefix() const { return (folder / "").string(); }

    // A child that runs the same test once more (see forked.h) works in its parent's folders: this
    // environment variable names them, in the order in which they were made.
    static constexpr char kBorrowedVariable[] = "ZOMU_BORROWED_FOLDERS";
    static std::string foldersInUse() {
        std::string list;
        for (const std::string& folder : g_inUse) {
            list += folder + "|";
        }
        return list;
    }

  private:
    // Tries random names until one is free, so that tests may run beside each other.
    void make() {
        std::random_device device;
        for (int attempt = 0; attempt < 100; ++attempt) {
            const std::uint64_t number = (static_cast<std::uint64_t>(device()) << 32) | device();
            folder =
                std::filesystem::temp_directory_path() / ("zomu-test-" + std::to_string(number));
            if (std::filesystem::create_directory(folder)) {
                return;
            }
        }
        throw std::runtime_error("no free name for a temporary folder");
    }

    // False where no folder is left to borrow.
    bool borrow() {
        const char* list = std::getenv(kBorrowedVariable);
        static std::istringstream folders(list == nullptr ? "" : list);
        std::string name;
        const bool found = static_cast<bool>(std::getline(folders, name, '|'));
        folder = name;
        return found;
    }

    inline static std::vector<std::string> g_inUse;

    std::filesystem::path folder;
    bool isBorrowed;
};

#endif
