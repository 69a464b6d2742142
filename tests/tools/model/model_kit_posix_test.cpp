// Models where the disk is full, and symbolic links in place of their folders and files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "model/model_check.h"
#include "model/staged_folder.h"
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

TEST(StagedFolder, followsALinkToTheFolderBehindIt) {
    const TemporaryFolder parent;
    fs::create_directory(parent.path() / "real");
    fs::create_directory_symlink(parent.path() / "real", parent.path() / "link");
    StagedFolder staged(parent.path() / "link");
    std::ofstream(staged.path() / "a") << "1";
    staged.commit();
    EXPECT_TRUE(fs::is_symlink(parent.path() / "link"));
    EXPECT_EQ(fs::file_size(parent.path() / "real" / "a"), 1U);
}

TEST(ModelLinks, linkToNowhereIsAMissingFile) {
    const TemporaryFolder folder;
    const fs::path path = folder.path() / "file";
    fs::create_symlink(folder.path() / "nowhere", path);
    EXPECT_EQ(faultsOf(path, {"w", ModelFileKind::weights, 1, "fc", 2, 3}), "missing");
}
