#include "model/model_pack.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "files/file_writer.h"
#include "model/model_file_reader.h"
#include "model/model_file_writer.h"
#include "model/model_files.h"
#include "model/occupied_folder.h"
#include "model/packed_numbers.h"
#include "model/packed_tables.h"
#include "model/staged_folder.h"

namespace fs = std::filesystem;

namespace {

constexpr std::array<std::uint8_t, 8> kMagic = {'Z', 'O', 'M', 'U', 'P', 'A', 'C', 'K'};
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeadBytes = kMagic.size() + 12;

// Far above what any model needs; whatever else was named by mistake is not read into memory.
constexpr std::uintmax_t kLargestPack = 64 << 20;

constexpr char kTableA[] = "6-1";
constexpr char kTableB[] = "6-2";

bool isLargeMatrix(const ModelFile& file) {
    return file.kind == ModelFileKind::weights && file.layer == "fc";
}

std::uint32_t checksum(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint32_t>(
        crc32(crc32(0, nullptr, 0), bytes.data(), static_cast<uInt>(bytes.size())));
}

Bytes readWhole(const fs::path& path) {
    std::error_code problem;
    const std::uintmax_t size = fs::file_size(path, problem);
    std::ifstream stream(path, std::ios::binary);
    if (problem || !stream.is_open()) {
        throw std::runtime_error(path.string() + ": cannot be opened");
    }
    if (size > kLargestPack) {
        throw std::runtime_error(path.string() + ": is too large for a packed model");
    }
    Bytes bytes(static_cast<std::size_t>(size));
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream) {
        throw std::runtime_error(path.string() + ": cannot be read");
    }
    return bytes;
}

// The content behind a head that says so; `fail` names the file.
template <typename Fail>
std::span<const std::uint8_t> verifiedContent(const Bytes& bytes, Fail fail) {
    const std::size_t magicBytes = std::min(bytes.size(), kMagic.size());
    if (magicBytes == 0 ||
        !std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(magicBytes),
                    kMagic.begin())) {
        fail("is not a packed model");
    }
    if (bytes.size() < kHeadBytes) {
        fail("is truncated");
    }
    PackReader head(
        std::span<const std::uint8_t>(bytes).subspan(kMagic.size(), kHeadBytes - kMagic.size()));
    const std::uint32_t version = head.getUint32();
    const std::uint32_t length = head.getUint32();
    const std::uint32_t expected = head.getUint32();
    if (version != kVersion) {
        fail("has version " + std::to_string(version) + ", not " + std::to_string(kVersion));
    }
    const std::span<const std::uint8_t> content =
        std::span<const std::uint8_t>(bytes).subspan(kHeadBytes);
    if (content.size() < length) {
        fail("is truncated: " + std::to_string(content.size()) + " of " + std::to_string(length) +
             " bytes");
    }
    if (content.size() > length) {
        fail("has " + std::to_string(content.size() - length) + " bytes too many");
    }
    if (checksum(content) != expected) {
        fail("is altered: its checksum is not that of its content");
    }
    return content;
}

void putFile(PackWriter& writer, const fs::path& folder, const ModelFile& file) {
    const std::vector<float> values = readModelFile(folder, file);
    if (isLargeMatrix(file)) {
        writer.putColumns(values, static_cast<std::size_t>(file.cols));
    } else {
        writer.putHalves(values);
    }
}

std::vector<float> getFile(PackReader& reader, const ModelFile& file) {
    if (isLargeMatrix(file)) {
        return reader.getColumns(static_cast<std::size_t>(file.rows),
                                 static_cast<std::size_t>(file.cols));
    }
    return reader.getHalves(static_cast<std::size_t>(floatCount(file)));
}

}  // namespace

PackSummary packModel(const fs::path& folder, const fs::path& pack) {
    PackSummary summary;
    PackWriter writer;
    std::vector<float> tableA;
    for (const ModelFile& file : listModelFiles()) {
        if (file.name == kTableA) {
            tableA = readModelFile(folder, file);
        } else if (file.name == kTableB) {
            putTables(writer, tableA, readModelFile(folder, file));
        } else {
            putFile(writer, folder, file);
        }
        ++summary.files;
        summary.folderBytes += byteCount(file);
    }
    PackWriter numbers;
    numbers.putUint32(kVersion);
    numbers.putUint32(static_cast<std::uint32_t>(writer.bytes().size()));
    numbers.putUint32(checksum(writer.bytes()));
    Bytes head(kMagic.begin(), kMagic.end());
    head.insert(head.end(), numbers.bytes().begin(), numbers.bytes().end());
    FileWriter file(pack);
    file.write(head.data(), head.size());
    file.write(writer.bytes().data(), writer.bytes().size());
    file.finish();
    summary.packBytes = static_cast<std::int64_t>(head.size() + writer.bytes().size());
    return summary;
}

PackSummary unpackModel(const fs::path& pack, const fs::path& folder, bool replace,
                        const std::function<void()>& beforeFile) {
    const auto fail = [&](const std::string& problem) {
        throw std::runtime_error(pack.string() + ": " + problem);
    };
    refuseOccupied(folder, replace);
    const Bytes bytes = readWhole(pack);
    PackReader reader(verifiedContent(bytes, fail));
    PackSummary summary;
    summary.packBytes = static_cast<std::int64_t>(bytes.size());
    StagedFolder staged(folder, replace);
    std::vector<float> tableB;
    for (const ModelFile& file : listModelFiles()) {
        beforeFile();
        std::vector<float> values;
        // A content with a right checksum that does not fit was written by something else.
        try {
            if (file.name == kTableA) {
                TablePair tables = getTables(reader);
                values = std::move(tables.a);
                tableB = std::move(tables.b);
            } else if (file.name == kTableB) {
                values = std::exchange(tableB, {});
            } else {
                values = getFile(reader, file);
            }
        } catch (const std::runtime_error& problem) {
            fail(problem.what());
        }
        writeModelFile(staged.path() / file.name, file, values);
        ++summary.files;
        summary.folderBytes += byteCount(file);
    }
    if (!reader.atEnd()) {
        fail("holds more than a model");
    }
    staged.commit();
    return summary;
}
