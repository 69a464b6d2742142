#include "files/file_writer.h"

#include <cstdio>
#include <stdexcept>
#include <utility>

FileWriter::FileWriter(const std::filesystem::path& target) : path(target.string()) {
    Problem problem;
    if (!beginNewFile(path.c_str(), &file, &problem)) {
        fail(problem);
    }
}

FileWriter::~FileWriter() {
    discardNewFile(&file);
}

FileWriter::FileWriter(FileWriter&& other) noexcept
    : path(std::move(other.path)), file(std::exchange(other.file, {})) {}

void FileWriter::write(const void* data, std::size_t size) {
    // No bytes may have no place.
    if (size > 0 && std::fwrite(data, 1, size, file.stream) != size) {
        Problem problem;
        failWriting(&problem);
        fail(problem);
    }
}

void FileWriter::rewind() {
    if (std::fseek(file.stream, 0, SEEK_SET) != 0) {
        Problem problem;
        failWriting(&problem);
        fail(problem);
    }
}

void FileWriter::finish() {
    Problem problem;
    if (!finishNewFile(&file, &problem)) {
        fail(problem);
    }
}

void FileWriter::fail(const Problem& problem) const {
    throw std::runtime_error(path + ": " + problem.text);
}
