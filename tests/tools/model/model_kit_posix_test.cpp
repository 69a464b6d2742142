// Models where the disk is full, and symbolic links in place of their folders and files.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "model/model_check.h"
#include "model/model_file_writer.h"
#include "model/staged_folder.h"
#include "support/made_model.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

// No file may grow beyond 100 kB for a while, which stops the work like a full disk.
TEST(ModelMaker, failedWriteLeavesNothing) {
    const TemporaryFolder parent;
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {100000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string words = reasonOf([&] { makeModelIn(parent.path() / "model"); });
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, formerHandler);
    EXPECT_NE(words.find("cannot write"), std::string::npos) << words;
    EXPECT_NE(words.find("5-1-1: File too large"), std::string::npos) << words;
    EXPECT_TRUE(fs::is_empty(parent.path()));
}

// A small file fills the buffer of the stream only, and fails at the close; a large one fails
// sooner.
TEST(ModelFileWriter, fullDiskIsNoticedForSmallAndLargeFiles) {
    ASSERT_TRUE(fs::exists("/dev/full"));
    for (const std::int32_t count : {1, 100000}) {
        const ModelFile file = {"b", ModelFileKind::biases, 1, "fc", 1, count};
        const std::vector<float> values(static_cast<std::size_t>(count), 1.0F);
        EXPECT_EQ(reasonOf([&] { writeModelFile("/dev/full", file, values); }),
                  "cannot write /dev/full: No space left on device");
    }
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
