// What a model may take the place of.
#include "model/occupied_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "support/temporary_folder.h"

namespace fs = std::filesystem;

static std::string problemWith(const fs::path& folder, bool replace) {
    try {
        refuseOccupied(folder, replace);
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "";
}

TEST(OccupiedFolder, absentAndEmptyFoldersAreFree) {
    const TemporaryFolder parent;
    EXPECT_EQ(problemWith(parent.path() / "absent", false), "");
    EXPECT_EQ(problemWith(parent.path(), false), "");
    EXPECT_EQ(problemWith("", false), "the name of the folder is empty");
}

TEST(OccupiedFolder, aModelIsReplacedWhereThatIsWanted) {
    const TemporaryFolder parent;
    std::ofstream(parent.path() / "6-1") << "x";
    EXPECT_EQ(problemWith(parent.path(), false), parent.path().string() + " is not empty");
    EXPECT_EQ(problemWith(parent.path(), true), "");
}

TEST(OccupiedFolder, anythingElseStays) {
    const TemporaryFolder parent;
    std::ofstream(parent.path() / "letter") << "x";
    EXPECT_EQ(problemWith(parent.path(), true),
              parent.path().string() + " holds letter, which is not a model file: it is not replaced");
    EXPECT_EQ(problemWith(parent.path() / "letter", true),
              (parent.path() / "letter").string() + " already exists and is not a folder");
}
