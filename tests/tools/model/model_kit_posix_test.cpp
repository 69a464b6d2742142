// Models where the disk is full, and symbolic links in place of their files.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "model/model_check.h"
#include "support/made_model.h"
#include "support/small_files.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

TEST(ModelMaker, failedWriteLeavesNothing) {
    const TemporaryFolder parent;
    const SmallFiles full(100000);
    const std::string words = reasonOf([&] { makeModelIn(parent.path() / "model"); });
    EXPECT_TRUE(words.ends_with(std::string("5-1-1: ") + SmallFiles::kReason)) << words;
    EXPECT_TRUE(fs::is_empty(parent.path()));
}

TEST(ModelLinks, linkToNowhereIsAMissingFile) {
    const TemporaryFolder folder;
    const fs::path path = folder.path() / "file";
    fs::create_symlink(folder.path() / "nowhere", path);
    EXPECT_EQ(faultsOf(path, {"w", ModelFileKind::weights, 1, "fc", 2, 3}), "missing");
}
