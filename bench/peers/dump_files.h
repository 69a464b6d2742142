// The files with which another implementation can start an extraction at any stage.
#ifndef ZOMU_BENCH_PEERS_DUMP_FILES_H
#define ZOMU_BENCH_PEERS_DUMP_FILES_H

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>

#include "sheets/face_picture.h"

// An output file. Closing it is part of writing it: that is when a full disk shows. Both throw
// std::runtime_error.
class OutputFile {
  public:
    explicit OutputFile(const std::filesystem::path& file);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    std::FILE* get() { return stream; }
    void close();

  private:
    std::string path;
    std::FILE* stream;
};

void writeBytes(const std::filesystem::path& path, const void* bytes, std::size_t count);

// "patch-01.f32" from "patch" and 1.
std::string numbered(const char* stem, int number);

// What a peer needs to cut the same patches with its own tools.
void writeAlignment(const std::filesystem::path& path, const FacePicture& face);

#endif
