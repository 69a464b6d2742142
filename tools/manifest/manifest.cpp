#include "manifest/manifest.h"

#include <memory>
#include <stdexcept>
#include <string_view>

#include "file_bytes.h"
#include "files/file_writer.h"
#include "manifest/csv.h"

namespace fs = std::filesystem;

namespace {

constexpr char kHeader[] = "person,photo,landmarks";
constexpr std::size_t kFields = 3;

// A line for each of some million photographs.
constexpr std::size_t kLargestManifest = std::size_t{1} << 28;

bool isComplete(const std::vector<std::string>& fields) {
    return fields.size() == kFields && !fields[0].empty() && !fields[1].empty() &&
           !fields[2].empty();
}

// Throws what is wrong, without the path.
std::vector<ManifestRow> parseManifest(std::string_view text, const fs::path& folder) {
    std::vector<ManifestRow> rows;
    CsvReader reader(text);
    std::vector<std::string> fields;
    const auto fail = [&reader](const std::string& problem) {
        throw std::runtime_error("line " + std::to_string(reader.line()) + ": " + problem);
    };
    if (reader.next(fields) && csvLine(fields) != std::string(kHeader) + '\n') {
        fail(std::string("expected the header ") + kHeader);
    }
    while (reader.next(fields)) {
        if (!isComplete(fields)) {
            fail(std::string("expected ") + kHeader);
        }
        rows.push_back({fields[0], folder / fields[1], folder / fields[2]});
    }
    if (rows.empty()) {
        throw std::runtime_error("no photographs");
    }
    return rows;
}

}  // namespace

std::vector<ManifestRow> readManifest(const fs::path& path) {
    FileBytes bytes = {};
    const std::unique_ptr<FileBytes, void (*)(FileBytes*)> release(&bytes, freeFileBytes);
    Problem problem;
    if (!readFile(path.string().c_str(), kLargestManifest, &bytes, &problem)) {
        throw std::runtime_error(path.string() + ": " + problem.text);
    }
    try {
        return parseManifest({reinterpret_cast<const char*>(bytes.data), bytes.size},
                             path.parent_path());
    } catch (const std::runtime_error& fault) {
        throw std::runtime_error(path.string() + ": " + fault.what());
    }
}

void writeManifest(const fs::path& path, const std::vector<ManifestRow>& rows) {
    FileWriter writer(path);
    writer.write(std::string(kHeader) + '\n');
    for (const ManifestRow& row : rows) {
        writer.write(csvLine({row.person, row.photo.string(), row.landmarks.string()}));
    }
    writer.finish();
}
