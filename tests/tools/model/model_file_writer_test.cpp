// Bytes on disk, and what a full disk or a wrong path looks like.
#include "model/model_file_writer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

static std::string bytesOf(const std::vector<std::int32_t>& header,
                           const std::vector<float>& values) {
    std::string bytes(reinterpret_cast<const char*>(header.data()), 4 * header.size());
    bytes.append(reinterpret_cast<const char*>(values.data()), 4 * values.size());
    return bytes;
}

// Each file takes the place of the one before it, which may be longer.
TEST(ModelFileWriter, writesHeaderAndFloatsAndNothingElse) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.path() / "file";
    const std::vector<float> values = {1.0F, -2.5F, 0x1p-149F, 4.0F, 5.0F, 6.0F};
    writeModelFile(path, {"w", ModelFileKind::weights, 1, "fc", 2, 3}, values);
    EXPECT_EQ(readFile(path), bytesOf({2, 3}, values));
    writeModelFile(path, {"m", ModelFileKind::meanImage, 1, "", 1, 6}, values);
    EXPECT_EQ(readFile(path), bytesOf({6}, values));
    writeModelFile(path, {"p", ModelFileKind::projection, 0, "", 3, 2}, values);
    EXPECT_EQ(readFile(path), bytesOf({}, values));
}

TEST(ModelFileWriter, namesWhatItCannotWrite) {
    const TemporaryFolder folder;
    const std::string absent = folder.prefix() + "absent/file";
    const ModelFile one = {"b", ModelFileKind::biases, 1, "fc", 1, 1};
    const ModelFile two = {"b", ModelFileKind::biases, 1, "fc", 1, 2};
    EXPECT_EQ(reasonOf([&] { writeModelFile(folder.path() / "file", two, {1.0F}); }),
              "b: 1 values for a file of 2");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "file"));
    EXPECT_EQ(reasonOf([&] { writeModelFile(absent, one, {1.0F}); }),
              "cannot write " + absent + ": No such file or directory");
}
