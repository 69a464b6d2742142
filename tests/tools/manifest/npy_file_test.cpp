// Arrays in files: the header to the byte, and the values behind it.
#include "manifest/npy_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/read_file.h"
#include "support/temporary_folder.h"

static std::string headerOfFile(const std::string& literal) {
    std::string text = literal;
    text.resize(117, ' ');
    return std::string("\x93NUMPY\x01\x00\x76\x00", 10) + text + "\n";
}

class NpyFileTest : public testing::Test {
  protected:
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.npy";
};

TEST_F(NpyFileTest, bytesStandBehindAHeaderWithTheirShape) {
    NpyFile file(path, NpyType::uint8, {2, 3});
    EXPECT_EQ(file.rowBytes(), 6U);
    file.append("abcdefghijkl", 2);
    file.append("mnopqr", 1);
    file.close();
    EXPECT_EQ(readFile(path),
              headerOfFile("{'descr': '|u1', 'fortran_order': False, 'shape': (3, 2, 3,), }") +
                  "abcdefghijklmnopqr");
}

TEST_F(NpyFileTest, rowsMayBeSingleFloats) {
    NpyFile file(path, NpyType::float32, {});
    const std::vector<float> values = {1.0F, -2.0F};
    file.append(values.data(), values.size());
    file.close();
    EXPECT_EQ(readFile(path),
              headerOfFile("{'descr': '<f4', 'fortran_order': False, 'shape': (2,), }") +
                  std::string("\0\0\x80\x3f\0\0\0\xc0", 8));
}

TEST_F(NpyFileTest, aFileThatIsNotClosedIsNotThereAndAMissingFolderIsRefused) {
    { NpyFile(path, NpyType::uint8, {1}).append("x", 1); }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    EXPECT_THROW(NpyFile(folder.path() / "no" / "a.npy", NpyType::uint8, {1}), std::runtime_error);
}
