// What happens while the library is loaded: where it looks, what it reads, what it says.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "library/host_run.h"
#include "library/model_variant.h"
#include "support/environment.h"
#include "support/temporary_folder.h"

TEST(Loading, absentFolderGives28LinesInTheOrderOfLoading) {
    const TemporaryFolder empty;
    const HostRun run = runHost(empty.path().string(), {"load"});
    EXPECT_TRUE(ended(run, tableLines(empty.path().string()), 0));
    EXPECT_TRUE(run.out.starts_with("load " + empty.path().string() + kFolderSeparator +
                                    "~zvplugintmp~" + kFolderSeparator + kFolderSeparator +
                                    "0-1-0 failed\n"));
}

TEST(Loading, completeFolderGivesNoLine) {
    EXPECT_TRUE(ended(runHost(sharedTemporaryDirectory(), {"load"}), "", 0));
}

TEST(Loading, folderIsNeitherMadeNorChanged) {
    const TemporaryFolder empty;
    runHost(empty.path().string(), {"extract", "1"});
    EXPECT_TRUE(std::filesystem::is_empty(empty.path()));
}

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

TEST(Loading, happensOnceInAProcess) {
    const HostRun run = runHost(kNowhere, {"reload", "1"});
    const std::string lines = weightLines(kNowhere);
    EXPECT_TRUE(ended(run, tableLines(kNowhere) + lines + lines + lines, 3 * kTemplateSize));
}
