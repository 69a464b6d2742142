// A folder that is there with all its files or not at all.
#include "model/staged_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>

#include "support/temporary_folder.h"

namespace fs = std::filesystem;

static void put(const fs::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

static std::string get(const fs::path& path) {
    std::string text;
    std::getline(std::ifstream(path), text);
    return text;
}

static std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

TEST(StagedFolder, commitPutsTheFolderInPlace) {
    const TemporaryFolder parent;
    StagedFolder staged(parent.path() / "model");
    EXPECT_EQ(staged.path().parent_path(), fs::canonical(parent.path()));
    put(staged.path() / "a", "1");
    EXPECT_FALSE(fs::exists(parent.path() / "model"));
    staged.commit();
    EXPECT_EQ(namesIn(parent.path()), std::set<std::string>{"model"});
    EXPECT_EQ(get(parent.path() / "model" / "a"), "1");
}

TEST(StagedFolder, withoutCommitNothingIsLeft) {
    const TemporaryFolder parent;
    {
        const StagedFolder staged(parent.path() / "model");
        put(staged.path() / "a", "1");
    }
    EXPECT_TRUE(fs::is_empty(parent.path()));
}

TEST(StagedFolder, aNameThatEndsInASeparatorIsTheSameFolder) {
    const TemporaryFolder parent;
    StagedFolder staged(parent.path() / "model" / "");
    staged.commit();
    EXPECT_EQ(namesIn(parent.path()), std::set<std::string>{"model"});
}

TEST(StagedFolder, takesThePlaceOfAnEmptyFolder) {
    const TemporaryFolder parent;
    fs::create_directory(parent.path() / "model");
    StagedFolder staged(parent.path() / "model");
    put(staged.path() / "a", "1");
    staged.commit();
    EXPECT_EQ(namesIn(parent.path()), std::set<std::string>{"model"});
    EXPECT_EQ(get(parent.path() / "model" / "a"), "1");
}

TEST(StagedFolder, replacesAFormerFolderWithAllItsFiles) {
    const TemporaryFolder parent;
    fs::create_directory(parent.path() / "model");
    put(parent.path() / "model" / "old", "1");
    StagedFolder staged(parent.path() / "model");
    put(staged.path() / "new", "2");
    staged.commit();
    EXPECT_EQ(namesIn(parent.path()), std::set<std::string>{"model"});
    EXPECT_EQ(namesIn(parent.path() / "model"), std::set<std::string>{"new"});
}

TEST(StagedFolder, theFormerFolderComesBackWhereTheNewOneCannotBePlaced) {
    const TemporaryFolder parent;
    fs::create_directory(parent.path() / "model");
    put(parent.path() / "model" / "old", "1");
    StagedFolder staged(parent.path() / "model");
    fs::remove(staged.path());
    EXPECT_THROW(staged.commit(), std::runtime_error);
    EXPECT_EQ(namesIn(parent.path()), std::set<std::string>{"model"});
    EXPECT_EQ(get(parent.path() / "model" / "old"), "1");
}

TEST(StagedFolder, aMissingParentIsNamed) {
    const TemporaryFolder parent;
    const fs::path target = parent.path() / "absent" / "model";
    try {
        const StagedFolder staged(target);
        FAIL() << "no problem";
    } catch (const std::runtime_error& problem) {
        EXPECT_EQ(std::string(problem.what()),
                  "cannot create a folder in " +
                      (fs::canonical(parent.path()) / "absent").string() +
                      ": No such file or directory");
    }
}
