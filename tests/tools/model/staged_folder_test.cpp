// A folder that exists with all its files or not at all.
#include "model/staged_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>

#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

namespace {

// Where the folder is to stand, and what is there.
class StagedFolderTest : public testing::Test {
  protected:
    static void put(const fs::path& path, const std::string& text) { std::ofstream(path) << text; }

    // All files below the parent, which holds one folder at most, with their contents.
    std::map<std::string, std::string> files() const {
        std::map<std::string, std::string> found;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(parent.path())) {
            const std::string name =
                entry.path().lexically_relative(parent.path()).generic_string();
            found[name] = entry.is_directory() ? "" : readFile(entry.path().string());
        }
        return found;
    }

    using Files = std::map<std::string, std::string>;
    const TemporaryFolder parent;
    const fs::path target = parent.path() / "model";
};

}  // namespace

TEST_F(StagedFolderTest, onlyCommitPutsTheFolderInPlace) {
    for (const bool committed : {false, true}) {
        {
            StagedFolder staged(target);
            EXPECT_EQ(staged.path().parent_path(), fs::canonical(parent.path()));
            put(staged.path() / "a", "1");
            EXPECT_FALSE(fs::exists(target));
            if (committed) {
                staged.commit();
            }
        }
        EXPECT_EQ(files(), committed ? Files({{"model", ""}, {"model/a", "1"}}) : Files());
    }
}

TEST_F(StagedFolderTest, takesThePlaceOfAnEmptyFolderWithASeparatorAtItsEnd) {
    fs::create_directory(target);
    StagedFolder staged(target / "");
    put(staged.path() / "a", "1");
    staged.commit();
    EXPECT_EQ(files(), (Files{{"model", ""}, {"model/a", "1"}}));
}

TEST_F(StagedFolderTest, replacesAFormerFolderWhereTheNewOneCanBePlaced) {
    fs::create_directory(target);
    put(target / "old", "1");
    {
        StagedFolder staged(target);
        fs::remove(staged.path());
        EXPECT_THROW(staged.commit(), std::runtime_error);
    }
    EXPECT_EQ(files(), (Files{{"model", ""}, {"model/old", "1"}}));
    StagedFolder staged(target);
    put(staged.path() / "new", "2");
    staged.commit();
    EXPECT_EQ(files(), (Files{{"model", ""}, {"model/new", "2"}}));
}

TEST_F(StagedFolderTest, aMissingParentIsNamed) {
    EXPECT_EQ(reasonOf([this] { StagedFolder(target / "model"); }),
              "cannot create a folder in " + (fs::canonical(parent.path()) / "model").string() +
                  ": No such file or directory");
}
