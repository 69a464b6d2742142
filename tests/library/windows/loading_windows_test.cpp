// Where the library looks for its model on Windows: below what GetTempPathA says.
#include <gtest/gtest.h>

#include <string>

#include "library/host_run.h"

struct SearchCase {
    const char* name;
    Variables variables;
    std::string tempPath;
};

class TemporaryDirectory : public testing::TestWithParam<SearchCase> {};

TEST_P(TemporaryDirectory, isWhatTheSystemSays) {
    const SearchCase& search = GetParam();
    EXPECT_TRUE(ended(runHost(search.variables, {"load"}), tableLines(search.tempPath), 0));
}

INSTANTIATE_TEST_SUITE_P(
    Loading, TemporaryDirectory,
    testing::Values(
        SearchCase{"tmpFirst", {{"TEMP", "C:\\no\\2"}, {"TMP", "C:\\no\\1"}}, "C:\\no\\1"},
        SearchCase{"tempSecond", {{"TEMP", "C:\\no\\2"}}, "C:\\no\\2"},
        SearchCase{"finalBackslashStaysSingle", {{"TMP", "C:\\T\\"}}, "C:\\T"},
        SearchCase{"root", {{"TMP", "C:\\"}}, "C:"},
        SearchCase{"notAscii", {{"TMP", "C:\\no\\J\xFCrgen"}}, "C:\\no\\J\xFCrgen"},
        SearchCase{"blanks", {{"TMP", "C:\\no where"}}, "C:\\no where"},
        SearchCase{"percentSigns", {{"TMP", "C:\\no\\%s%n%d"}}, "C:\\no\\%s%n%d"}),
    [](const auto& test) { return test.param.name; });

TEST(Loading, pathsHaveBackslashesTwoInARowForTables) {
    const HostRun run = runHost("C:\\no", {"extract", "1"});
    ASSERT_EQ(run.exitStatus, 0);
    EXPECT_TRUE(run.out.starts_with("load C:\\no\\~zvplugintmp~\\\\0-1-0 failed\n")) << run.out;
    EXPECT_NE(run.out.find("\nload C:\\no\\~zvplugintmp~\\\\6-2 failed\n"
                           "load C:\\no\\~zvplugintmp~\\1-1-1 failed\n"),
              std::string::npos);
}
