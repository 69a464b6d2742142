#include "model/model_fingerprint.h"

#include <fstream>
#include <stdexcept>
#include <vector>

#include "model/model_files.h"

namespace fs = std::filesystem;

namespace {

// One byte more than expected is asked for, which tells a file that is too long.
std::vector<char> contentsOf(const fs::path& path, const ModelFile& file) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream.is_open() || fs::is_directory(path)) {
        throw std::runtime_error(path.string() + ": cannot be opened");
    }
    const auto size = static_cast<std::size_t>(byteCount(file));
    std::vector<char> bytes(size + 1);
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    if (bytes.size() != size) {
        throw std::runtime_error(path.string() + ": does not have the " + std::to_string(size) +
                                 " bytes of its kind");
    }
    return bytes;
}

}  // namespace

Sha256Digest modelFingerprint(const fs::path& folder) {
    if (!fs::is_directory(folder)) {
        throw std::runtime_error(folder.string() + ": no such folder");
    }
    Sha256 hash;
    for (const ModelFile& file : listModelFiles()) {
        const std::vector<char> bytes = contentsOf(folder / file.name, file);
        hash.update(bytes.data(), bytes.size());
    }
    return hash.finish();
}
