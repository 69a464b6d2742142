// What is said where there is no fingerprint. model_maker_test.cpp has the fingerprints of whole
// models.
#include "model/model_fingerprint.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

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
