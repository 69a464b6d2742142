#include "manifest/npy_file.h"

#include <bit>
#include <string>

static_assert(std::endian::native == std::endian::little, "values are written as they are");

namespace {

// Room for the longest header of the arrays here, so that the number of rows can change in place.
constexpr std::size_t kHeaderBytes = 128;

}  // namespace

NpyFile::NpyFile(const std::filesystem::path& file, NpyType valueType,
                 const std::vector<int>& rowShape)
    : type(valueType),
      shape(rowShape),
      bytesOfRow(valueType == NpyType::float32 ? sizeof(float) : 1),
      writer(file) {
    for (const int size : shape) {
        bytesOfRow *= static_cast<std::size_t>(size);
    }
    writeHeader();
}

// Magic, version 1.0, length, a Python literal filled up with blanks to a line end.
void NpyFile::writeHeader() {
    std::string text = "{'descr': '";
    text += type == NpyType::float32 ? "<f4" : "|u1";
    text += "', 'fortran_order': False, 'shape': (" + std::to_string(count) + ",";
    for (const int size : shape) {
        text += ' ';
        text += std::to_string(size);
        text += ',';
    }
    text += "), }";
    constexpr std::size_t kPrefix = 10;
    text.resize(kHeaderBytes - kPrefix - 1, ' ');
    text += '\n';
    const std::string prefix = {
        '\x93', 'N', 'U', 'M', 'P', 'Y', '\x01', '\x00', static_cast<char>(text.size()), '\x00'};
    writer.write(prefix + text);
}

void NpyFile::append(const void* values, std::size_t rows) {
    writer.write(values, bytesOfRow * rows);
    count += rows;
}

void NpyFile::close() {
    writer.rewind();
    writeHeader();
    writer.finish();
}
