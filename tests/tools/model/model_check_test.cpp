// Every kind of damage to a model file has its own words.
#include "model/model_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "model/model_file_writer.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

const ModelFile kWeights = {"w", ModelFileKind::weights, 1, "fc", 2, 3};
const ModelFile kImage = {"m", ModelFileKind::meanImage, 1, "", 1, 5};
const ModelFile kTable = {"t", ModelFileKind::projection, 0, "", 2, 2};

using Damage = std::function<void(const fs::path&)>;

void nothing(const fs::path&) {}

void folderInstead(const fs::path& path) {
    fs::remove(path);
    fs::create_directory(path);
}

Damage sized(std::uintmax_t size) {
    return [size](const fs::path& path) { fs::resize_file(path, size); };
}

Damage text(const std::string& content) {
    return [content](const fs::path& path) { std::ofstream(path, std::ios::binary) << content; };
}

// Puts a number over the 4 bytes at `offset`.
template <typename T>
Damage value(std::streamoff offset, T number) {
    static_assert(sizeof number == 4);
    return [=](const fs::path& path) {
        std::fstream stream(path, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(offset);
        stream.write(reinterpret_cast<const char*>(&number), sizeof number);
    };
}

Damage both(const Damage& first, const Damage& second) {
    return [=](const fs::path& path) {
        first(path);
        second(path);
    };
}

}  // namespace

TEST(ModelCheck, eachDamageHasItsWords) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::string pointer =
        "version https://example.org/large-files/v1\noid sha256:0123\nsize 32\n";
    const std::tuple<ModelFile, Damage, std::string> damages[] = {
        {kWeights, nothing, ""},
        {kImage, nothing, ""},
        {kTable, nothing, ""},
        {kWeights, value(8, std::numeric_limits<float>::max()), ""},
        {kWeights, [](const fs::path& path) { fs::remove(path); }, "missing"},
        {kWeights, folderInstead, "not a file"},
        {kWeights, sized(31), "31 bytes, 1 too few"},
        {kWeights, sized(7), "7 bytes, 25 too few"},
        {kWeights, sized(0), "0 bytes, 32 too few"},
        {kWeights, sized(35), "35 bytes, 3 too many"},
        {kImage, sized(27), "27 bytes, 3 too many"},
        {kTable, sized(19), "19 bytes, 3 too many"},
        {kWeights, value<std::int32_t>(0, 3), "shape 3 x 3, not 2 x 3"},
        {kWeights, value<std::int32_t>(4, 2), "shape 2 x 2, not 2 x 3"},
        {kWeights, value<std::int32_t>(0, -1), "shape -1 x 3, not 2 x 3"},
        {kImage, value<std::int32_t>(0, 6), "count 6, not 5"},
        {kTable, value(12, kNaN), "1 value is not finite, the first at index 3"},
        {kTable, both(value(12, kNaN), value(4, -kInfinity)),
         "2 values are not finite, the first at index 1"},
        {kWeights, value(8, kInfinity), "1 value is not finite, the first at index 0"},
        {kWeights, text(pointer),
         std::to_string(pointer.size()) + " bytes, " + std::to_string(pointer.size() - 32) +
             " too many; a text pointer to a large file instead of the file itself"},
        {kWeights, text("<html>404</html>\r\n"), "18 bytes, 14 too few; text instead of data"},
        {kWeights, text("version"), "7 bytes, 25 too few; text instead of data"},
        {kWeights, both(both(value<std::int32_t>(4, 4), value(8, kNaN)), sized(28)),
         "28 bytes, 4 too few; shape 2 x 4, not 2 x 3; "
         "1 value is not finite, the first at index 0"},
    };
    for (const auto& [file, damage, words] : damages) {
        const TemporaryFolder folder;
        const fs::path path = folder.path() / "file";
        std::ofstream(path) << std::string(100, 'x');  // longer than the file that replaces it
        writeModelFile(path, file,
                       std::vector<float>(static_cast<std::size_t>(floatCount(file)), 1.5F));
        damage(path);
        EXPECT_EQ(faultsOf(path, file), words);
    }
}

TEST(ModelCheck, aMissingFolderIsNotAListOfMissingFiles) {
    const TemporaryFolder folder;
    std::ofstream(folder.path() / "file") << "x";
    EXPECT_THROW(checkModelFolder(folder.path() / "file"), std::runtime_error);

    const std::vector<std::string> lines = checkModelFolder(folder.path());
    ASSERT_EQ(lines.size(), 303U);
    EXPECT_EQ(lines.front(), "0-1-0: missing");
    EXPECT_EQ(lines.back(), "5-25-3: missing");
}
