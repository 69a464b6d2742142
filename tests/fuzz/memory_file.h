// A file without a disk: bytes in memory that code under test opens by a path.
#ifndef ZOMU_TESTS_FUZZ_MEMORY_FILE_H
#define ZOMU_TESTS_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include "fuzz/fuzz_target.h"

constexpr char kMemoryFileFolder[] = "/proc/self/fd/";

class MemoryFile {
  public:
    MemoryFile() : descriptor(memfd_create("fuzz", MFD_CLOEXEC)) { REQUIRE(descriptor >= 0); }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // Replaces the contents.
    void hold(const void* bytes, std::size_t size) const {
        REQUIRE(ftruncate(descriptor, 0) == 0);
        REQUIRE(pwrite(descriptor, bytes, size, 0) == static_cast<ssize_t>(size));
    }

    // In kMemoryFileFolder.
    std::string name() const { return std::to_string(descriptor); }
    std::string path() const { return kMemoryFileFolder + name(); }

  private:
    int descriptor;
};

#endif
