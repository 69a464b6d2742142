// Model folders while somebody else writes to the same place, and after a run that was killed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

#include "model/staged_folder.h"
#include "support/forked.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

namespace {

bool put(const fs::path& path) {
    std::ofstream stream(path);
    stream << "not to be lost";
    return static_cast<bool>(stream.flush());
}

// All that is below a folder.
std::set<std::string> namesBelow(const fs::path& folder) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        names.insert(entry.path().lexically_relative(folder).string());
    }
    return names;
}

// Puts a model in place while a thread, which has opened the folder before, writes a letter to it, a
// little later in each round. Returns whether the letter was written and is not there any more.
bool losesLetter(const fs::path& place, bool replace, int delay) {
    const fs::path model = place / "model";
    fs::create_directories(model);
    if (replace) {
        put(model / "6-1");
    }
    StagedFolder staged(model, replace);
    put(staged.path() / "6-1");
    const int opened = open(model.c_str(), O_RDONLY | O_DIRECTORY);
    std::atomic<bool> go = false;
    bool written = false;
    std::thread writer([&] {
        while (!go) {
        }
        for (int spin = 0; spin < delay; ++spin) {
            go.load();
        }
        const int letter = openat(opened, "letter", O_WRONLY | O_CREAT | O_EXCL, 0600);
        written = letter >= 0 && write(letter, "x", 1) == 1;
        close(letter);
    });
    go = true;
    reasonOf([&] { staged.commit(); });
    writer.join();
    close(opened);
    for (const std::string& name : namesBelow(place)) {
        if (fs::path(name).filename() == "letter") {
            return false;
        }
    }
    return written;
}

}  // namespace

TEST(StagedFolder, nothingOfOthersIsRemovedWheneverItComes) {
    const TemporaryFolder parent;
    for (int round = 0; round < 200; ++round) {
        for (const bool replace : {false, true}) {
            const fs::path place = parent.path() / std::to_string(2 * round + (replace ? 1 : 0));
            EXPECT_FALSE(losesLetter(place, replace, 400 * round)) << round << " " << replace;
        }
    }
}

TEST(StagedFolder, whatAKilledRunLeftIsRemovedAndNothingElse) {
    const TemporaryFolder parent;
    const fs::path target = parent.path() / "model";
    const ForkedResult killed = runForked([&] {
        const StagedFolder staged(target, false);
        put(staged.path() / "6-1");
        put(staged.path() / ".zomu-0123456789abcdef");
        std::_Exit(3);
    });
    EXPECT_EQ(killed.status, 3);
    EXPECT_EQ(namesBelow(parent.path()).size(), 3U);

    const StagedFolder running(target, false);
    put(running.path() / "6-1");
    for (const char* name : {"model.partial-2", "model.partial-x", "other.partial-2"}) {
        fs::create_directory(parent.path() / name);
    }
    put(parent.path() / "model.partial-2" / "letter");
    const std::set<std::string> before = namesBelow(parent.path());
    EXPECT_EQ(before.size(), 6U);
    { const StagedFolder next(target, false); }
    EXPECT_EQ(namesBelow(parent.path()), before);
}

TEST(StagedFolder, followsALinkToTheFolderBehindIt) {
    const TemporaryFolder parent;
    fs::create_directory(parent.path() / "real");
    fs::create_directory_symlink(parent.path() / "real", parent.path() / "link");
    StagedFolder staged(parent.path() / "link", false);
    put(staged.path() / "6-1");
    staged.commit();
    EXPECT_TRUE(fs::is_symlink(parent.path() / "link"));
    EXPECT_TRUE(fs::exists(parent.path() / "real" / "6-1"));
}

// The folder of a link that came meanwhile is not emptied.
TEST(StagedFolder, aLinkInPlaceOfTheFolderIsNotReplaced) {
    const TemporaryFolder parent;
    const fs::path target = parent.path() / "model";
    fs::create_directory(parent.path() / "real");
    put(parent.path() / "real" / "6-1");
    fs::create_directory(target);
    StagedFolder staged(target, true);
    put(staged.path() / "6-1");
    fs::remove(target);
    fs::create_directory_symlink(parent.path() / "real", target);
    EXPECT_EQ(reasonOf([&] { staged.commit(); }),
              "cannot put " + target.string() + " in place: it is a link by now");
    EXPECT_TRUE(fs::is_symlink(target) && fs::exists(parent.path() / "real" / "6-1"));
}
