// Files of the tools, which appear complete or not at all: new_file.h with exceptions.
#ifndef ZOMU_TOOLS_FILES_FILE_WRITER_H
#define ZOMU_TOOLS_FILES_FILE_WRITER_H

#include <cstddef>
#include <filesystem>
#include <string>

#include "new_file.h"

// Throws std::runtime_error, "<path>: <problem>", where the target is no place for a file or the system
// refuses.
class FileWriter {
  public:
    explicit FileWriter(const std::filesystem::path& target);
    ~FileWriter();
    FileWriter(FileWriter&& other) noexcept;
    FileWriter& operator=(FileWriter&&) = delete;

    void write(const void* data, std::size_t size);
    void write(const std::string& text) { write(text.data(), text.size()); }

    // The next write is to the beginning.
    void rewind();

    // Puts the file in place. Without it, what was written is removed.
    void finish();

  private:
    [[noreturn]] void fail(const Problem& problem) const;

    std::string path;
    NewFile file = {};
};

#endif
