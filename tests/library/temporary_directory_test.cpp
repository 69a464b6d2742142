// Where the library looks for its model where there is no GetTempPathA.
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

class TemporaryDirectory : public testing::TestWithParam<SearchCase> {};

TEST_P(TemporaryDirectory, isTheFirstVariableThatIsSetAndNotEmpty) {
    const SearchCase& search = GetParam();
    // Without a variable the library looks into /tmp, which is not the test's to empty: where a
    // model stands there, its files give no line.
    EXPECT_TRUE(ended(runHost(search.variables, {"load"}),
                      linesOfMissingFiles(tableLines(search.tempPath)), 0));
}

INSTANTIATE_TEST_SUITE_P(
    Loading, TemporaryDirectory,
    testing::Values(
        SearchCase{"tmpdirFirst",
                   {{"TEMPDIR", "/no/4"}, {"TEMP", "/no/3"}, {"TMP", "/no/2"}, {"TMPDIR", "/no/1"}},
                   "/no/1"},
        SearchCase{
            "tmpSecond", {{"TEMPDIR", "/no/4"}, {"TEMP", "/no/3"}, {"TMP", "/no/2"}}, "/no/2"},
        SearchCase{"tempThird", {{"TEMPDIR", "/no/4"}, {"TEMP", "/no/3"}}, "/no/3"},
        SearchCase{"tempdirFourth", {{"TEMPDIR", "/no/4"}}, "/no/4"},
        SearchCase{"slashTmpLast", {}, "/tmp"},
        SearchCase{"emptyTmpdirIsSkipped", {{"TMPDIR", ""}, {"TMP", "/no/2"}}, "/no/2"},
        SearchCase{
            "allEmpty", {{"TMPDIR", ""}, {"TMP", ""}, {"TEMP", ""}, {"TEMPDIR", ""}}, "/tmp"},
        SearchCase{"finalSeparatorStaysSingle", {{"TMPDIR", "/no/1/"}}, "/no/1"},
        SearchCase{"onlyTheLastSeparatorIsCut", {{"TMPDIR", "/no/1//"}}, "/no/1/"},
        SearchCase{"root", {{"TMPDIR", "/"}}, ""},
        SearchCase{"relative", {{"TMPDIR", "no-such-folder/below"}}, "no-such-folder/below"},
        SearchCase{"relativeWithoutSeparator", {{"TMPDIR", "no-such-folder"}}, "no-such-folder"},
        SearchCase{"percentSigns", {{"TMPDIR", "/no/%s%n%d"}}, "/no/%s%n%d"}),
    [](const auto& test) { return test.param.name; });

TEST(Loading, relativeTemporaryDirectoryIsSeenFromTheCurrentOne) {
    const std::string relative =
        std::filesystem::relative(sharedTemporaryDirectory(), std::filesystem::current_path());
    EXPECT_TRUE(ended(runHost(relative, {"load"}), "", 0));
}
