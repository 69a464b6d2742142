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

    // All files and folders below the parent, with their contents.
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
            StagedFolder staged(target, false);
            EXPECT_EQ(staged.path().parent_path(), fs::canonical(parent.path()));
            put(staged.path() / "6-1", "1");
            EXPECT_FALSE(fs::exists(target));
            if (committed) {
                staged.commit();
            }
        }
        EXPECT_EQ(files(), committed ? Files({{"model", ""}, {"model/6-1", "1"}}) : Files());
    }
}

TEST_F(StagedFolderTest, takesThePlaceOfAnEmptyFolderWithASeparatorAtItsEnd) {
    fs::create_directory(target);
    StagedFolder staged(target / "", false);
    put(staged.path() / "6-1", "1");
    staged.commit();
    EXPECT_EQ(files(), (Files{{"model", ""}, {"model/6-1", "1"}}));
}

TEST_F(StagedFolderTest, replacesAFormerModelWhereTheNewOneCanBePlaced) {
    fs::create_directory(target);
    put(target / "6-1", "1");
    {
        StagedFolder staged(target, true);
        fs::remove(staged.path());
        EXPECT_THROW(staged.commit(), std::runtime_error);
    }
    EXPECT_EQ(files(), (Files{{"model", ""}, {"model/6-1", "1"}}));
    StagedFolder staged(target, true);
    put(staged.path() / "6-2", "2");
    staged.commit();
    EXPECT_EQ(files(), (Files{{"model", ""}, {"model/6-2", "2"}}));
}

// The folder was free when the work began.
TEST_F(StagedFolderTest, whatCameMeanwhileStaysWhereItIs) {
    for (const bool replace : {false, true}) {
        fs::create_directory(target);
        {
            StagedFolder staged(target, replace);
            put(staged.path() / "6-1", "new");
            put(target / "letter", "not to be lost");
            EXPECT_EQ(reasonOf([&] { staged.commit(); }),
                      target.string() + (replace ? " holds letter, which is not a model file: it "
                                                   "is not replaced"
                                                 : " is not empty"));
        }
        EXPECT_EQ(files(), (Files{{"model", ""}, {"model/letter", "not to be lost"}}));
        fs::remove_all(target);
    }
}

TEST_F(StagedFolderTest, aMissingParentIsNamed) {
    EXPECT_EQ(reasonOf([this] { StagedFolder(target / "model", false); }),
              "cannot create a folder in " + (fs::canonical(parent.path()) / "model").string() +
                  ": No such file or directory");
}
