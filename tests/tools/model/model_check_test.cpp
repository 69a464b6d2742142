// Every kind of damage to a model file has its own words.
#include "model/model_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/model_file_writer.h"
#include "model/model_maker.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

static const ModelFile kWeights = {"w", ModelFileKind::weights, 1, "fc", 2, 3};
static const ModelFile kImage = {"m", ModelFileKind::meanImage, 1, "", 1, 5};
static const ModelFile kTable = {"t", ModelFileKind::projection, 0, "", 2, 2};

class ModelCheck : public testing::Test {
  protected:
    void write(const ModelFile& file) {
        writeModelFile(path, file,
                       std::vector<float>(static_cast<std::size_t>(floatCount(file)), 1.5F));
    }

    // Puts a value over the 4 bytes at `offset`.
    template <typename T>
    void overwrite(std::streamoff offset, T value) {
        static_assert(sizeof(T) == 4);
        std::fstream stream(path, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(offset);
        stream.write(reinterpret_cast<const char*>(&value), sizeof value);
    }

    TemporaryFolder folder;
    fs::path path = folder.path() / "file";
};

TEST_F(ModelCheck, goodFilesHaveNoFaults) {
    for (const ModelFile& file : {kWeights, kImage, kTable}) {
        write(file);
        EXPECT_EQ(faultsOf(path, file), "");
    }
}

TEST_F(ModelCheck, missingFile) {
    EXPECT_EQ(faultsOf(path, kWeights), "missing");
}

TEST_F(ModelCheck, folderInPlaceOfAFile) {
    fs::create_directory(path);
    EXPECT_EQ(faultsOf(path, kWeights), "not a file");
}

TEST_F(ModelCheck, shortFiles) {
    write(kWeights);
    fs::resize_file(path, 31);
    EXPECT_EQ(faultsOf(path, kWeights), "31 bytes, 1 too few");
    fs::resize_file(path, 7);
    EXPECT_EQ(faultsOf(path, kWeights), "7 bytes, 25 too few");
    fs::resize_file(path, 0);
    EXPECT_EQ(faultsOf(path, kWeights), "0 bytes, 32 too few");
}

TEST_F(ModelCheck, longFiles) {
    for (const ModelFile& file : {kWeights, kImage, kTable}) {
        write(file);
        const std::uintmax_t size = fs::file_size(path);
        fs::resize_file(path, size + 3);
        EXPECT_EQ(faultsOf(path, file), std::to_string(size + 3) + " bytes, 3 too many");
    }
}

TEST_F(ModelCheck, wrongShapes) {
    write(kWeights);
    overwrite<std::int32_t>(0, 3);
    overwrite<std::int32_t>(4, 2);
    EXPECT_EQ(faultsOf(path, kWeights), "shape 3 x 2, not 2 x 3");
    overwrite<std::int32_t>(0, -1);
    EXPECT_EQ(faultsOf(path, kWeights), "shape -1 x 2, not 2 x 3");
}

TEST_F(ModelCheck, wrongCounts) {
    write(kImage);
    overwrite<std::int32_t>(0, 6);
    EXPECT_EQ(faultsOf(path, kImage), "count 6, not 5");
}

TEST_F(ModelCheck, valuesThatAreNotFinite) {
    write(kTable);
    overwrite(12, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(faultsOf(path, kTable), "1 value is not finite, the first at index 3");
    overwrite(4, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(faultsOf(path, kTable), "2 values are not finite, the first at index 1");
    write(kWeights);
    overwrite(8, std::numeric_limits<float>::infinity());
    EXPECT_EQ(faultsOf(path, kWeights), "1 value is not finite, the first at index 0");
    overwrite(8, std::numeric_limits<float>::max());
    EXPECT_EQ(faultsOf(path, kWeights), "");
}

TEST_F(ModelCheck, textInPlaceOfData) {
    const auto writeText = [this](const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    };
    const std::string pointer =
        "version https://example.org/large-files/v1\noid sha256:0123\nsize 32\n";
    writeText(pointer);
    EXPECT_EQ(faultsOf(path, kWeights), std::to_string(pointer.size()) + " bytes, " +
                                            std::to_string(pointer.size() - 32) +
                                            " too many; a text pointer to a large file instead of "
                                            "the file itself");
    writeText("<html>404</html>\r\n");
    EXPECT_EQ(faultsOf(path, kWeights), "18 bytes, 14 too few; text instead of data");
    writeText("version");
    EXPECT_EQ(faultsOf(path, kWeights), "7 bytes, 25 too few; text instead of data");
}

TEST_F(ModelCheck, severalFaultsOfOneFileStandInOneLine) {
    write(kWeights);
    overwrite<std::int32_t>(4, 4);
    overwrite(8, std::numeric_limits<float>::quiet_NaN());
    fs::resize_file(path, 28);
    EXPECT_EQ(faultsOf(path, kWeights),
              "28 bytes, 4 too few; shape 2 x 4, not 2 x 3; "
              "1 value is not finite, the first at index 0");
}

TEST_F(ModelCheck, missingFolderIsNoListOfMissingFiles) {
    EXPECT_THROW(checkModelFolder(folder.path() / "absent"), std::runtime_error);
    write(kWeights);
    EXPECT_THROW(checkModelFolder(path), std::runtime_error);
}

TEST_F(ModelCheck, emptyFolderLacksEveryFile) {
    const std::vector<std::string> lines = checkModelFolder(folder.path());
    ASSERT_EQ(lines.size(), 303U);
    EXPECT_EQ(lines.front(), "0-1-0: missing");
    EXPECT_EQ(lines.back(), "5-25-3: missing");
}

TEST_F(ModelCheck, damageOfAWholeModelIsListedFileByFile) {
    ModelRequest request;
    request.folder = folder.path() / "model";
    request.weights = WeightKind::integer;
    makeModel(request, [](int, int, const std::string&) {});
    EXPECT_TRUE(checkModelFolder(request.folder).empty());

    std::ofstream(request.folder / "notes") << "other files do not matter";
    fs::remove(request.folder / "6-0");
    fs::resize_file(request.folder / "6-1", 8000);
    path = request.folder / "0-3-0";
    overwrite<std::int32_t>(0, 9075);
    path = request.folder / "5-25-3";
    overwrite(8 + 4 * 159, std::numeric_limits<float>::quiet_NaN());
    fs::remove(request.folder / "1-4-1");
    fs::copy_file(request.folder / "1-1-1", request.folder / "1-4-1");
    EXPECT_EQ(checkModelFolder(request.folder),
              (std::vector<std::string>{
                  "0-3-0: count 9075, not 6627",
                  "6-0: missing",
                  "6-1: 8000 bytes, 15992000 too few",
                  "1-4-1: 3080 bytes, 2048 too many; shape 48 x 16, not 16 x 16",
                  "5-25-3: 1 value is not finite, the first at index 159",
              }));
}
