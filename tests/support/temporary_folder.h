// A folder of its own for one test, removed with everything in it at the end.
#ifndef ZOMU_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define ZOMU_TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

class TemporaryFolder {
  public:
    // Tries random names until one is free, so that tests may run beside each other.
    TemporaryFolder() {
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

    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }

    // With a separator at its end, the way the library names its folders.
    std::string prefix() const { return (folder / "").string(); }

  private:
    std::filesystem::path folder;
};

#endif
