#include "model/model_fingerprint.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "model/model_files.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

namespace {

void putByte(const fs::path& path, std::streamoff offset, char value) {
    std::fstream stream(path, std::ios::binary | std::ios::in | std::ios::out);
    stream.seekp(offset);
    stream.put(value);
}

// Files of the right sizes, all zero.
class ModelFingerprint : public testing::Test {
  protected:
    ModelFingerprint() {
        for (const ModelFile& file : listModelFiles()) {
            std::ofstream(folder.path() / file.name, std::ios::binary);
            fs::resize_file(folder.path() / file.name,
                            static_cast<std::uintmax_t>(byteCount(file)));
        }
    }

    std::string print() const { return hexadecimal(modelFingerprint(folder.path())); }

    TemporaryFolder folder;
};

}  // namespace

TEST_F(ModelFingerprint, isTheDigestOfAllFilesInTheirOrder) {
    Sha256 hash;
    char mark = 0;
    for (const ModelFile& file : listModelFiles()) {
        std::vector<char> bytes(static_cast<std::size_t>(byteCount(file)));
        bytes[0] = ++mark;
        putByte(folder.path() / file.name, 0, mark);
        hash.update(bytes.data(), bytes.size());
    }
    EXPECT_EQ(print(), hexadecimal(hash.finish()));
}

TEST_F(ModelFingerprint, changesWithEachFileOfTheModelAndNoOther) {
    std::string before = print();
    std::ofstream(folder.path() / "notes.txt") << "seed 1";
    EXPECT_EQ(print(), before);
    for (const char* name : {"0-1-0", "6-1", "1-1-1", "5-25-3"}) {
        putByte(folder.path() / name, 30, 1);
        const std::string after = print();
        EXPECT_NE(after, before) << name;
        before = after;
    }
}

TEST_F(ModelFingerprint, namesTheFileThatIsNotAsItShouldBe) {
    const auto reason = [this] { return reasonOf([this] { print(); }); };
    const fs::path file = folder.path() / "5-25-3";
    for (const std::uintmax_t size : {647U, 649U}) {
        fs::resize_file(file, size);
        EXPECT_EQ(reason(), file.string() + ": does not have the 648 bytes of its kind");
    }
    fs::remove(file);
    EXPECT_EQ(reason(), file.string() + ": cannot be opened");
    fs::create_directory(file);
    EXPECT_EQ(reason(), file.string() + ": cannot be opened");
    EXPECT_NE(reasonOf([this] { modelFingerprint(folder.path() / "absent"); }), "");
}
