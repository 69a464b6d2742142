#include "template/template_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "file_bytes.h"

static_assert(std::endian::native == std::endian::little, "templates are written as they lie");

namespace {

constexpr std::array<char, 8> kMark = {'Z', 'O', 'M', 'U', 'T', 'P', 'L', '1'};
constexpr std::size_t kFileBytes = kMark.size() + sizeof(Sha256Digest) + sizeof(FaceTemplate);

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw std::runtime_error(path + ": " + reason);
}

}  // namespace

bool isFinite(const FaceTemplate& face) {
    return std::all_of(std::begin(face.projection), std::end(face.projection),
                       [](float value) { return std::isfinite(value); }) &&
           std::isfinite(face.quadraticTerm) && std::isfinite(face.projectionNorm);
}

StoredTemplate loadTemplate(const std::string& path) {
    FileBytes file;
    Problem problem;
    if (!readFile(path.c_str(), kFileBytes, &file, &problem)) {
        refuse(path, problem.text);
    }
    StoredTemplate stored{};
    const bool fits =
        file.size == kFileBytes && std::memcmp(file.data, kMark.data(), kMark.size()) == 0;
    if (fits) {
        const std::uint8_t* bytes = file.data + kMark.size();
        std::memcpy(stored.model.data(), bytes, sizeof stored.model);
        std::memcpy(&stored.face, bytes + sizeof stored.model, sizeof stored.face);
    }
    freeFileBytes(&file);
    if (!fits) {
        refuse(path, "is no template file");
    }
    if (!isFinite(stored.face)) {
        refuse(path, "holds values that are not finite");
    }
    return stored;
}

void saveTemplate(const std::string& path, const StoredTemplate& stored) {
    std::array<std::uint8_t, kFileBytes> bytes{};
    std::memcpy(bytes.data(), kMark.data(), kMark.size());
    std::memcpy(bytes.data() + kMark.size(), stored.model.data(), sizeof stored.model);
    std::memcpy(bytes.data() + kMark.size() + sizeof stored.model, &stored.face,
                sizeof stored.face);
    Problem problem;
    if (!writeFile(path.c_str(), bytes.data(), bytes.size(), &problem)) {
        refuse(path, problem.text);
    }
}
