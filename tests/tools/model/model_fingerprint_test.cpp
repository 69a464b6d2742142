// Digests, and what is said where there is none. model_maker_test.cpp has the fingerprints of whole
// models.
#include "model/model_fingerprint.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

// As sha256sum prints them; the input comes in pieces.
TEST(Sha256, isTheDigestThatEverybodyKnows) {
    EXPECT_EQ(hexadecimal(Sha256().finish()),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    Sha256 hash;
    for (const char c : std::string("abc")) {
        hash.update(&c, 1);
    }
    EXPECT_EQ(hexadecimal(hash.finish()),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(ModelFingerprint, namesTheFileThatIsNotAsItShouldBe) {
    const TemporaryFolder folder;
    const auto reason = [&] { return reasonOf([&] { modelFingerprint(folder.path()); }); };
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
    EXPECT_NE(reasonOf([&] { modelFingerprint(folder.path() / "absent"); }), "");
}
