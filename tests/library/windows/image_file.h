// What a program or library for Windows says of itself in its headers: exports and imports.
#ifndef ZOMU_TESTS_LIBRARY_WINDOWS_IMAGE_FILE_H
#define ZOMU_TESTS_LIBRARY_WINDOWS_IMAGE_FILE_H

#include <cstdint>
#include <string>
#include <vector>

struct Exports {
    std::string dllName;
    std::uint32_t firstOrdinal = 0;
    std::vector<std::uint32_t> addresses;  // of the ordinals from the first on; 0: not exported
    std::uint32_t nameCount = 0;
};

class ImageFile {
  public:
    // Throws where `path` is no 64-bit image.
    explicit ImageFile(const std::string& path);

    Exports exports() const;
    std::vector<std::string> importedLibraries() const;

    // What is imported from one library: names, or numbers behind a #.
    std::vector<std::string> importsFrom(const std::string& library) const;

  private:
    std::uint32_t wordAt(std::size_t offset) const;  // four bytes, little-endian
    std::uint32_t shortAt(std::size_t offset) const;
    std::string textAt(std::size_t offset) const;
    std::size_t importOf(const std::string& library) const;  // offset of its descriptor
    std::size_t directory(std::size_t number) const;         // offset of its contents
    std::size_t offsetOf(std::uint32_t address) const;

    std::string bytes;
    std::size_t header = 0;  // offset of the signature
};

#endif
