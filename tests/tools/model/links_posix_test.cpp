// Symbolic links in place of model folders and of their files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "model/model_check.h"
#include "model/staged_folder.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

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
