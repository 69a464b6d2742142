// zomu_model.hpp: digests, the files of a model, where they are, and what is said where they are not.
// model_maker_test.cpp has the fingerprints of whole models.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "model/model_files.h"
#include "model/model_tables.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"
#include "zomu_model.hpp"

namespace fs = std::filesystem;

// As sha256sum prints them; the input comes in pieces.
TEST(Sha256, isTheDigestThatEverybodyKnows) {
    EXPECT_EQ(ZomuModel::hexadecimal(ZomuSha256().finish()),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    ZomuSha256 hash;
    for (const char c : std::string("abc")) {
        hash.update(&c, 1);
    }
    EXPECT_EQ(ZomuModel::hexadecimal(hash.finish()),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

// Lengths around those at which a block is full, and at which the length needs another one; whole and in
// pieces. `for n in $(seq 0 200); do head -c $n /dev/zero; done | sha256sum` printed the digest.
TEST(Sha256, takesItsInputInAnyPieces) {
    const std::string zeros(200, '\0');
    ZomuSha256 all;
    for (std::size_t size = 0; size <= zeros.size(); ++size) {
        all.update(zeros.data(), size);
        ZomuSha256 whole;
        whole.update(zeros.data(), size);
        ZomuSha256 pieces;
        for (std::size_t at = 0; at < size; at += 7) {
            pieces.update(&zeros[at], std::min<std::size_t>(7, size - at));
        }
        EXPECT_EQ(whole.finish(), pieces.finish()) << size;
    }
    EXPECT_EQ(ZomuModel::hexadecimal(all.finish()),
              "c0a919c38e528fb6894058488ceae3700241833a7911acc2ab05bf8401452568");
}

TEST(ModelFingerprint, hasTheFilesThatTheLibraryReads) {
    const std::vector<ZomuModel::File> files = ZomuModel::files();
    const std::vector<ModelFile> expected = listModelFiles();
    ASSERT_EQ(files.size(), expected.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        EXPECT_EQ(files[i].name, expected[i].name);
        EXPECT_EQ(files[i].bytes, static_cast<std::uint64_t>(byteCount(expected[i])));
    }
}

TEST(ModelFingerprint, looksWhereTheLibraryLooks) {
    findModelDirectory();
    EXPECT_EQ(ZomuModel::folder() / "", fs::path(modelDir));
}

TEST(ModelFingerprint, namesTheFileThatIsNotAsItShouldBe) {
    const TemporaryFolder folder;
    const auto reason = [&] { return reasonOf([&] { ZomuModel::fingerprint(folder.path()); }); };
    const fs::path first = folder.path() / "0-1-0";
    EXPECT_EQ(reason(), first.string() + ": cannot be opened");
    for (const std::uintmax_t size : {36303U, 36305U}) {
        std::ofstream{first};
        fs::resize_file(first, size);
        EXPECT_EQ(reason(), first.string() + ": does not have the 36304 bytes of its kind");
    }
    fs::remove(first);
    fs::create_directory(first);
    EXPECT_EQ(reason(), first.string() + ": cannot be opened");
    EXPECT_NE(reasonOf([&] { ZomuModel::fingerprint(folder.path() / "absent"); }), "");
}
