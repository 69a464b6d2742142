#include "library/windows/image_file.h"

#include <cstring>
#include <stdexcept>

#include "support/read_file.h"

namespace {

// Offsets in the headers of a 64-bit image, from its signature on.
constexpr std::size_t kSectionCount = 6;
constexpr std::size_t kOptionalSize = 20;
constexpr std::size_t kOptional = 24;
constexpr std::size_t kDirectories = kOptional + 112;
constexpr std::uint32_t kMagicOf64Bit = 0x20B;
constexpr std::size_t kExportDirectory = 0;
constexpr std::size_t kImportDirectory = 1;
constexpr std::size_t kSectionSize = 40;
constexpr std::size_t kImportSize = 20;

}  // namespace

ImageFile::ImageFile(const std::string& path) : bytes(readFile(path)) {
    if (bytes.size() < 64 || !bytes.starts_with("MZ")) {
        throw std::runtime_error(path + " is no image");
    }
    header = wordAt(0x3C);
    if (wordAt(header) != 0x4550 || shortAt(header + kOptional) != kMagicOf64Bit) {
        throw std::runtime_error(path + " is no 64-bit image");
    }
}

Exports ImageFile::exports() const {
    const std::size_t at = directory(kExportDirectory);
    Exports result;
    result.dllName = textAt(offsetOf(wordAt(at + 12)));
    result.firstOrdinal = wordAt(at + 16);
    const std::uint32_t count = wordAt(at + 20);
    result.nameCount = wordAt(at + 24);
    const std::size_t table = offsetOf(wordAt(at + 28));
    for (std::uint32_t i = 0; i < count; ++i) {
        result.addresses.push_back(wordAt(table + 4 * i));
    }
    return result;
}

std::vector<std::string> ImageFile::importedLibraries() const {
    std::vector<std::string> names;
    for (std::size_t at = directory(kImportDirectory); wordAt(at + 12) != 0; at += kImportSize) {
        names.push_back(textAt(offsetOf(wordAt(at + 12))));
    }
    return names;
}

std::vector<std::string> ImageFile::importsFrom(const std::string& library) const {
    std::vector<std::string> imports;
    std::size_t at = offsetOf(wordAt(importOf(library)));
    for (; wordAt(at) != 0 || wordAt(at + 4) != 0; at += 8) {
        const bool isNumber = (wordAt(at + 4) & 0x80000000U) != 0;
        imports.push_back(isNumber ? "#" + std::to_string(shortAt(at))
                                   : textAt(offsetOf(wordAt(at)) + 2));
    }
    return imports;
}

std::size_t ImageFile::importOf(const std::string& library) const {
    for (std::size_t at = directory(kImportDirectory); wordAt(at + 12) != 0; at += kImportSize) {
        if (textAt(offsetOf(wordAt(at + 12))) == library) {
            return at;
        }
    }
    throw std::runtime_error("nothing is imported from " + library);
}

std::uint32_t ImageFile::wordAt(std::size_t offset) const {
    std::uint32_t value = 0;
    if (offset + sizeof value > bytes.size()) {
        throw std::runtime_error("an image ends too early");
    }
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::uint32_t ImageFile::shortAt(std::size_t offset) const {
    return wordAt(offset) & 0xFFFF;
}

std::string ImageFile::textAt(std::size_t offset) const {
    return bytes.c_str() + offset;
}

std::size_t ImageFile::directory(std::size_t number) const {
    return offsetOf(wordAt(header + kDirectories + 8 * number));
}

// An address holds in memory; the section that it falls into says where in the file that is.
std::size_t ImageFile::offsetOf(std::uint32_t address) const {
    const std::size_t sections = header + kOptional + shortAt(header + kOptionalSize);
    for (std::size_t i = 0; i < shortAt(header + kSectionCount); ++i) {
        const std::size_t at = sections + kSectionSize * i;
        const std::uint32_t start = wordAt(at + 12);
        if (address >= start && address < start + wordAt(at + 16)) {
            return wordAt(at + 20) + (address - start);
        }
    }
    throw std::runtime_error("an address lies in no section");
}
