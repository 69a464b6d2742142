#include "manifest/manifest.h"

#include <array>
#include <fstream>
#include <stdexcept>

#include "files/file_writer.h"

namespace fs = std::filesystem;

namespace {

constexpr char kHeader[] = "person,photo,landmarks";

// The line's three values, or nothing where it does not have three.
bool splitLine(const std::string& line, std::array<std::string, 3>& values) {
    const std::size_t first = line.find(',');
    const std::size_t second = first == std::string::npos ? first : line.find(',', first + 1);
    if (second == std::string::npos || line.find(',', second + 1) != std::string::npos ||
        line.find('"') != std::string::npos) {
        return false;
    }
    values = {line.substr(0, first), line.substr(first + 1, second - first - 1),
              line.substr(second + 1)};
    return !values[0].empty() && !values[1].empty() && !values[2].empty();
}

}  // namespace

std::vector<ManifestRow> readManifest(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (fs::is_directory(path) || !stream.is_open()) {
        throw std::runtime_error(path.string() + ": cannot be opened");
    }
    std::vector<ManifestRow> rows;
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        const auto fail = [&](const std::string& problem) {
            throw std::runtime_error(path.string() + ": line " + std::to_string(number) + ": " +
                                     problem);
        };
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (number == 1) {
            if (line != kHeader) {
                fail(std::string("expected the header ") + kHeader);
            }
            continue;
        }
        if (line.empty()) {
            continue;
        }
        std::array<std::string, 3> values;
        if (!splitLine(line, values)) {
            fail(std::string("expected ") + kHeader);
        }
        rows.push_back({values[0], path.parent_path() / values[1], path.parent_path() / values[2]});
    }
    if (stream.bad()) {
        throw std::runtime_error(path.string() + ": cannot be read");
    }
    if (rows.empty()) {
        throw std::runtime_error(path.string() + ": no photographs");
    }
    return rows;
}

void writeManifest(const fs::path& path, const std::vector<ManifestRow>& rows) {
    FileWriter writer(path);
    writer.write(std::string(kHeader) + '\n');
    for (const ManifestRow& row : rows) {
        writer.write(row.person + ',' + row.photo.string() + ',' + row.landmarks.string() + '\n');
    }
    writer.finish();
}
