// What happens while the library is loaded: where it looks, what it reads, what it says.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "library/host_run.h"
#include "library/model_variant.h"
#include "support/environment.h"

// Somewhere below kNowhere, of `length` bytes.
static std::string directoryOfLength(std::size_t length) {
    std::string path = std::string(kNowhere) + kFolderSeparator;
    path.resize(length, 'a');
    return path;
}

// Ended as a fatal error ends a process, with a word on standard error and `lines` on output.
static testing::AssertionResult aborted(const HostRun& run, const std::string& lines,
                                        const std::string& word) {
    if (!endedByAbort(run) || run.err.find(word) == std::string::npos || run.out != lines) {
        return testing::AssertionFailure()
               << "exit status " << run.exitStatus << ", signal " << run.signal
               << "\nstandard error: " << run.err << "\nstandard output: " << run.out;
    }
    return testing::AssertionSuccess();
}

// A path has room for 259 bytes: 16 of the folder's name and the separators, then the file's name.
TEST(Loading, longestTemporaryDirectoryHas237Bytes) {
    const std::string directory = directoryOfLength(237);
    EXPECT_TRUE(ended(runHost(directory, {"load"}), tableLines(directory), 0));
}

TEST(Loading, pathOf260BytesEndsTheProcessAfterTheLinesBeforeIt) {
    const std::string directory = directoryOfLength(238);
    std::string lines = tableLines(directory);
    lines.resize(lines.find("0-10-0"));
    lines.resize(lines.rfind('\n') + 1);
    EXPECT_TRUE(aborted(runHost(directory, {"load"}), lines, "259 bytes"));
}

TEST(Loading, temporaryDirectoryOf255BytesWithItsSeparatorIsTheLongestThatIsLookedAt) {
    for (const auto& [length, word] : {std::pair(254U, "259 bytes"), std::pair(255U, "255 bytes"),
                                       std::pair(5000U, "255 bytes")}) {
        const std::string directory = directoryOfLength(length);
        EXPECT_TRUE(aborted(runHost(directory, {"load"}), "", word)) << length;
        EXPECT_TRUE(aborted(runHost(directory + kFolderSeparator, {"load"}), "", word)) << length;
    }
}

TEST(Loading, tablesAreNotReadAgain) {
    const ModelVariant model;
    std::vector<std::string> scenario = {"extract-after-removing"};
    for (int number = 1; number <= 25; ++number) {
        scenario.push_back(model.pathOf("0-" + std::to_string(number) + "-0"));
    }
    for (const char* name : {"6-0", "6-1", "6-2"}) {
        scenario.push_back(model.pathOf(name));
    }
    const HostRun run = runHost(model.temporaryDirectory(), scenario);
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 0));
    EXPECT_FALSE(std::filesystem::exists(model.pathOf("6-2")));
}

// The threads of the OpenMP team outlive the extraction: here they are still awake when the library
// is closed. It must stay in memory with them.
TEST(Loading, libraryCanBeClosedAndOpenedAgain) {
    const HostRun run = runHost(Variables{{kTemporaryVariable, sharedTemporaryDirectory()},
                                          {"OMP_NUM_THREADS", "2"},
                                          {"OMP_WAIT_POLICY", "active"}},
                                {"reload", "1"});
    ASSERT_TRUE(ended(run, "", 3 * kTemplateSize));
    const HostRun whole = plainRun();
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(sameTemplate(whole, 0, run, i));
    }
}

// Closed after its last context, the library is gone, and the next load reads the tables anew.
TEST(Loading, happensAgainAfterTheLibraryWasClosed) {
    const HostRun run = runHost(kNowhere, {"reload", "1"});
    const std::string lines = tableLines(kNowhere) + weightLines(kNowhere);
    EXPECT_TRUE(ended(run, lines + lines + lines, 3 * kTemplateSize));
}

// --- Where the library looks: on Windows below what GetTempPathA says -----------------------------

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
