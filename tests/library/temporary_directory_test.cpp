// Where the library looks for its model: on Windows below what GetTempPathA says.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "library/host_run.h"

struct SearchCase {
    const char* name;
    Variables variables;
    std::string tempPath;
};

// Those of the lines "load PATH failed" whose file is not there.
static std::string linesOfMissingFiles(const std::string& lines) {
    std::istringstream stream(lines);
    std::string missing;
    for (std::string line; std::getline(stream, line);) {
        const std::string path = line.substr(5, line.size() - 5 - 7);
        if (!std::filesystem::is_regular_file(path)) {
            missing += line + "\n";
        }
    }
    return missing;
}

const SearchCase kSearchCases[] = {
#if defined(_WIN32)
    {"tmpFirst", {{"TEMP", "C:\\no\\2"}, {"TMP", "C:\\no\\1"}}, "C:\\no\\1"},
    {"tempSecond", {{"TEMP", "C:\\no\\2"}}, "C:\\no\\2"},
    {"finalBackslashStaysSingle", {{"TMP", "C:\\T\\"}}, "C:\\T"},
    {"root", {{"TMP", "C:\\"}}, "C:"},
    {"notAscii", {{"TMP", "C:\\no\\J\xFCrgen"}}, "C:\\no\\J\xFCrgen"},
    {"blanks", {{"TMP", "C:\\no where"}}, "C:\\no where"},
    {"percentSigns", {{"TMP", "C:\\no\\%s%n%d"}}, "C:\\no\\%s%n%d"},
#else
    {"tmpdirFirst",
     {{"TEMPDIR", "/no/4"}, {"TEMP", "/no/3"}, {"TMP", "/no/2"}, {"TMPDIR", "/no/1"}},
     "/no/1"},
    {"tmpSecond", {{"TEMPDIR", "/no/4"}, {"TEMP", "/no/3"}, {"TMP", "/no/2"}}, "/no/2"},
    {"tempThird", {{"TEMPDIR", "/no/4"}, {"TEMP", "/no/3"}}, "/no/3"},
    {"tempdirFourth", {{"TEMPDIR", "/no/4"}}, "/no/4"},
    {"slashTmpLast", {}, "/tmp"},
    {"emptyTmpdirIsSkipped", {{"TMPDIR", ""}, {"TMP", "/no/2"}}, "/no/2"},
    {"allEmpty", {{"TMPDIR", ""}, {"TMP", ""}, {"TEMP", ""}, {"TEMPDIR", ""}}, "/tmp"},
    {"finalSeparatorStaysSingle", {{"TMPDIR", "/no/1/"}}, "/no/1"},
    {"onlyTheLastSeparatorIsCut", {{"TMPDIR", "/no/1//"}}, "/no/1/"},
    {"root", {{"TMPDIR", "/"}}, ""},
    {"relative", {{"TMPDIR", "no-such-folder/below"}}, "no-such-folder/below"},
    {"relativeWithoutSeparator", {{"TMPDIR", "no-such-folder"}}, "no-such-folder"},
    {"percentSigns", {{"TMPDIR", "/no/%s%n%d"}}, "/no/%s%n%d"},
#endif
};

class TemporaryDirectory : public testing::TestWithParam<SearchCase> {};

TEST_P(TemporaryDirectory, isTheFirstVariableThatIsSetAndNotEmpty) {
    const SearchCase& search = GetParam();
    const std::string lines = tableLines(search.tempPath);
    // Without a variable the library looks into /tmp, which is not the test's to empty: where a
    // model stands there, its files give no line.
    EXPECT_TRUE(ended(runHost(search.variables, {"load"}),
                      search.tempPath == "/tmp" ? linesOfMissingFiles(lines) : lines, 0));
}

INSTANTIATE_TEST_SUITE_P(Loading, TemporaryDirectory, testing::ValuesIn(kSearchCases),
                         [](const auto& test) { return test.param.name; });

#if defined(_WIN32)
TEST(Loading, pathsHaveBackslashesTwoInARowForTables) {
    const HostRun run = runHost("C:\\no", {"extract", "1"});
    ASSERT_EQ(run.exitStatus, 0);
    EXPECT_TRUE(run.out.starts_with("load C:\\no\\~zvplugintmp~\\\\0-1-0 failed\n")) << run.out;
    EXPECT_NE(run.out.find("\nload C:\\no\\~zvplugintmp~\\\\6-2 failed\n"
                           "load C:\\no\\~zvplugintmp~\\1-1-1 failed\n"),
              std::string::npos);
}
#else
TEST(Loading, relativeTemporaryDirectoryIsSeenFromTheCurrentOne) {
    const std::string relative =
        std::filesystem::relative(sharedTemporaryDirectory(), std::filesystem::current_path());
    EXPECT_TRUE(ended(runHost(relative, {"load"}), "", 0));
}
#endif
