// A whole model in one file of a fifth of its size, for passing on.
#ifndef ZOMU_TOOLS_MODEL_MODEL_PACK_H
#define ZOMU_TOOLS_MODEL_MODEL_PACK_H

#include <cstdint>
#include <filesystem>
#include <functional>

// A pack is, little-endian:
//
//   8 bytes   "ZOMUPACK"
//   uint32    version, 1
//   uint32    bytes of the content
//   uint32    CRC-32 of the content
//   content   mean images, feature mean, tables, then the other files as model_files.h lists them
//
// packed_numbers.h and packed_tables.h say how numbers are stored: weights of fully connected
// layers as bytes with a factor for each column, tables as a basis with factors, all else as
// halves.

struct PackSummary {
    int files = 0;
    std::int64_t folderBytes = 0;
    std::int64_t packBytes = 0;
};

// Throws std::runtime_error where a file of the model is faulty, where the tables cannot be packed,
// and where the system refuses. `pack` appears complete or not at all; a former one is replaced.
PackSummary packModel(const std::filesystem::path& folder, const std::filesystem::path& pack);

// The folder appears with all of its files or not at all: the same bytes on every machine. Throws
// std::runtime_error where the pack is truncated, altered or of another kind, where something
// else already exists at the folder's place (see occupied_folder.h), and where the system refuses.
// `beforeFile` is called before each file, and may throw to stop the work.
PackSummary unpackModel(
    const std::filesystem::path& pack, const std::filesystem::path& folder, bool replace,
    const std::function<void()>& beforeFile = [] {});

#endif
