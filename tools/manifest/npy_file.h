// Arrays as files of the format .npy, which NumPy maps into memory.
#ifndef ZOMU_TOOLS_MANIFEST_NPY_FILE_H
#define ZOMU_TOOLS_MANIFEST_NPY_FILE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "files/file_writer.h"

enum class NpyType { uint8, float32 };

// Grows row by row; the header gets the number of rows at the end. Throws std::runtime_error like
// FileWriter.
class NpyFile {
  public:
    // A row has the shape `rowShape`; an empty one makes rows single values.
    NpyFile(const std::filesystem::path& path, NpyType type, const std::vector<int>& rowShape);

    // `rows` rows of the shape, one after another.
    void append(const void* values, std::size_t rows);

    // Puts the file in place. Without it, there is none.
    void close();

    std::size_t rowBytes() const { return bytesOfRow; }

  private:
    void writeHeader();

    NpyType type;
    std::vector<int> shape;
    std::size_t bytesOfRow;
    std::uint64_t count = 0;
    FileWriter writer;
};

#endif
