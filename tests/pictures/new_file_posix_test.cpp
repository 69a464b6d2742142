// What every writer of files does where its target is no regular file, or the disk is full: it says so in one
// line, and what was there stays.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "landmark_file.h"
#include "picture_file.h"
#include "pictures/test_pictures.h"
#include "support/read_file.h"
#include "support/small_files.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

class NewFileTest : public testing::Test {
  protected:
    NewFileTest() { std::ofstream(path) << "old"; }

    // Writes to `target` with each writer of this folder; none of them leaves anything of its own.
    void expectNotWritten(const fs::path& target, const std::string& reason) const {
        LandmarkRecord record = {};
        const TestPicture source(4, 4, 12, 1);
        const std::function<bool(Problem*)> writers[] = {
            [&](Problem* problem) { return writeFile(target.c_str(), "new", 3, problem); },
            [&](Problem* problem) { return writeLandmarks(target.c_str(), &record, problem); },
            [&](Problem* problem) { return writePng(target.c_str(), &source.picture, problem); },
            [&](Problem* problem) {
                return writeJpeg(target.c_str(), &source.picture, 90, problem);
            }};
        const std::size_t entries = countEntries();
        for (const auto& write : writers) {
            Problem problem = {};
            EXPECT_FALSE(write(&problem)) << target;
            EXPECT_EQ(std::string(problem.text), reason);
            EXPECT_EQ(countEntries(), entries);
        }
    }

    std::size_t countEntries() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
    }

    const TemporaryFolder folder;
    const fs::path path = folder.path() / "file";
};

}  // namespace

TEST_F(NewFileTest, linksPipesDevicesAndFoldersStayAsTheyAre) {
    const fs::path link = folder.path() / "link";
    const fs::path dangling = folder.path() / "dangling";
    const fs::path pipe = folder.path() / "pipe";
    const fs::path device = folder.path() / "device";
    fs::create_symlink(path, link);
    fs::create_symlink(folder.path() / "nothing", dangling);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDWR | O_NONBLOCK);
    expectNotWritten(link, "is a symbolic link, and none is followed or replaced");
    expectNotWritten(dangling, "is a symbolic link, and none is followed or replaced");
    expectNotWritten(pipe, "is not a regular file, and is not replaced");
    expectNotWritten(folder.path(), "is a folder");
    if (mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0) {
        expectNotWritten(device, "is not a regular file, and is not replaced");
        EXPECT_TRUE(fs::is_character_file(device));
    }
    close(reader);
    EXPECT_EQ(readFile(path), "old");
    EXPECT_TRUE(fs::is_symlink(link) && fs::is_symlink(dangling) && fs::is_fifo(pipe));
    EXPECT_FALSE(fs::exists(folder.path() / "nothing"));
}

TEST_F(NewFileTest, aFullDiskLeavesTheFormerFile) {
    {
        const SmallFiles full(2);
        expectNotWritten(path, SmallFiles::kReason);
        expectNotWritten(folder.path() / "absent", SmallFiles::kReason);
    }
    EXPECT_EQ(readFile(path), "old");
}

TEST_F(NewFileTest, aReplacedFileKeepsItsPermissions) {
    for (const mode_t mode : {0600U, 0640U, 0604U}) {
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        Problem problem = {};
        ASSERT_TRUE(writeFile(path.c_str(), "new", 3, &problem)) << problem.text;
        EXPECT_EQ(readFile(path), "new");
        struct stat status = {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, mode);
        EXPECT_EQ(countEntries(), 1U);
    }
}

// A name that fills the folder's limit leaves no room for anything in addition.
TEST_F(NewFileTest, theLongestNameCanBeWritten) {
    const fs::path longest = folder.path() / std::string(255, 'n');
    Problem problem = {};
    EXPECT_TRUE(writeFile(longest.c_str(), "new", 3, &problem)) << problem.text;
    EXPECT_EQ(readFile(longest), "new");
}
