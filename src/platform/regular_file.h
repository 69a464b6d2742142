// Reads files that have an end and that nobody has to wait for.
#ifndef ZOMU_PLATFORM_REGULAR_FILE_H
#define ZOMU_PLATFORM_REGULAR_FILE_H

#include <streambuf>

// The bytes of a regular file, for a std::istream that reads them. A read that fails counts as the end.
class RegularFile : public std::streambuf {
  public:
    RegularFile() = default;
    ~RegularFile() override { close(); }
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    // False if there is no such file, it may not be read, or it is a folder, a named pipe or a device.
    // A link counts as what it leads to.
    bool open(const char* path);
    void close();

  protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* destination, std::streamsize count) override;

  private:
    // At least one byte, or 0 at the end.
    std::streamsize readSome(char* destination, std::streamsize most);

#if defined(_WIN32)
    void* handle = nullptr;
#else
    int descriptor = -1;
#endif
    char buffer[4096];  // for small reads
};

#endif
