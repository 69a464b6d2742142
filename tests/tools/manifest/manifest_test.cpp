// Lists of photographs: what is read, and what is said of a bad line.
#include "manifest/manifest.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

namespace {

class Manifest : public testing::Test {
  protected:
    void write(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }

    std::string problem() const {
        return reasonOf([this] { readManifest(path); });
    }

    TemporaryFolder folder;
    fs::path path = folder.path() / "m.csv";
};

}  // namespace

TEST_F(Manifest, pathsAreSeenFromItsFolder) {
    const fs::path elsewhere = fs::temp_directory_path() / "b.png";
    write("person,photo,landmarks\r\nann,a/1.jpg,a/1.csv\r\n\nx y," + elsewhere.string() +
          ",b.csv");
    const std::vector<ManifestRow> rows = readManifest(path);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].person, "ann");
    EXPECT_EQ(rows[0].photo, folder.path() / "a/1.jpg");
    EXPECT_EQ(rows[0].landmarks, folder.path() / "a/1.csv");
    EXPECT_EQ(rows[1].person, "x y");
    EXPECT_EQ(rows[1].photo, elsewhere);
}

TEST_F(Manifest, badListsAreNamedWithTheirLine) {
    EXPECT_EQ(problem(), path.string() + ": cannot be opened: No such file or directory");
    write("");
    EXPECT_EQ(problem(), path.string() + ": no photographs");
    write("photo,person,landmarks\n");
    EXPECT_EQ(problem(), path.string() + ": line 1: expected the header person,photo,landmarks");
    write("person,photo,landmarks\n\n");
    EXPECT_EQ(problem(), path.string() + ": no photographs");
    for (const char* bad : {"a,b", "a,b,c,d", ",b,c", "a,,c", "a,b,", "a,,"}) {
        write(std::string("person,photo,landmarks\n\"a\nb\",c,d\n") + bad + "\n");
        EXPECT_EQ(problem(), path.string() + ": line 4: expected person,photo,landmarks") << bad;
    }
    for (const char* bad : {"\"a", "\"a,,"}) {
        write(std::string("person,photo,landmarks\n") + bad);
        EXPECT_EQ(problem(), path.string() + ": line 2: a quotation mark is not closed") << bad;
    }
}

TEST_F(Manifest, anyNameComesBackAsItWasWritten) {
    std::vector<const char*> names = {"plain",      "with, comma",  "with \"marks\"",
                                      "two\nlines", "two\r\nlines", "\"",
                                      ",",          " blanks ",     "\"\"\n,"};
#if !defined(_WIN32)
    // There the C++ library widens each byte alone and gives UTF-8 back.
    names.push_back("\xC3\xA9");
#endif
    std::vector<ManifestRow> rows;
    for (const char* name : names) {
        rows.push_back({name, folder.path() / name, folder.path() / (std::string(name) + ".csv")});
    }
    writeManifest(path, rows);
    const std::vector<ManifestRow> read = readManifest(path);
    ASSERT_EQ(read.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(read[i].person, rows[i].person);
        EXPECT_EQ(read[i].photo, rows[i].photo);
        EXPECT_EQ(read[i].landmarks, rows[i].landmarks);
    }
}

// As spreadsheets save them.
TEST_F(Manifest, everyFieldMayBeQuotedBehindAByteOrderMark) {
    write("\xEF\xBB\xBFperson,photo,landmarks\r\n\"ann\",\"a.png\",\"a.csv\"\r\n");
    ASSERT_EQ(problem(), "");
    EXPECT_EQ(readManifest(path)[0].photo, folder.path() / "a.png");
}

TEST_F(Manifest, placesThatCannotBeReadOrWrittenAreRefused) {
    EXPECT_THROW(readManifest(folder.path()), std::runtime_error);
    EXPECT_THROW(writeManifest(folder.path() / "no" / "m.csv", {{"a", "b", "c"}}),
                 std::runtime_error);
}
