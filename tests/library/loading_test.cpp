// What happens while the library is loaded: where it looks, what it reads, what it says.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "library/host_run.h"
#include "library/model_variant.h"
#include "support/bits.h"
#include "support/environment.h"
#include "support/random.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

TEST(Loading, absentFolderGives28LinesInTheOrderOfLoading) {
    const TemporaryFolder empty;
    const HostRun run = runHost(empty.path().string(), {"load"});
    EXPECT_TRUE(ended(run, tableLines(empty.path().string()), 0));
    EXPECT_EQ(run.out.substr(0, run.out.find('\n')),
              "load " + empty.path().string() + kFolderSeparator + "~zvplugintmp~" +
                  kFolderSeparator + kFolderSeparator + "0-1-0 failed");
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

TEST(Loading, foldersInPlaceOfFilesCountAsUnopenable) {
    ModelVariant model;
    std::string tables;
    for (const char* name : {"0-1-0", "0-25-0", "6-0", "6-2"}) {
        model.replaceByFolder(name);
        tables += failureLine(model.modelDir() + kFolderSeparator + name);
    }
    model.replaceByFolder("1-1-1");
    model.replaceByFolder("5-25-3");
    const std::string weights =
        failureLine(model.pathOf("1-1-1")) + failureLine(model.pathOf("5-25-3"));
    EXPECT_TRUE(ended(model.extract(), tables + weights, 502));
}

static void expectSameTemplates(const HostRun& expected, const HostRun& run) {
    ASSERT_TRUE(ended(expected, "", kTemplateSize));
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_TRUE(sameTemplate(expected, 0, run, 0));
}

// To make sure that the file in question matters at all.
static void expectOtherTemplates(const HostRun& first, const HostRun& second) {
    EXPECT_FALSE(sameTemplate(first, 0, second, 0)) << "the file has no effect";
}

// What remains of a short file acts, and the rest of its table is zero. One is cut in the middle of
// a float.
TEST(Loading, shortTableKeepsWhatWasThere) {
    for (const auto& [name, size] :
         {std::pair("6-1", 8000U), std::pair("6-0", 10002U), std::pair("0-12-0", 4004U)}) {
        SCOPED_TRACE(name);
        ModelVariant cut;
        cut.resize(name, size);
        ModelVariant zeros;
        zeros.zeroFrom(name, size);
        const HostRun run = cut.extract();
        expectSameTemplates(zeros.extract(), run);
        expectOtherTemplates(plainRun(), run);
    }
}

// The first projection matrix gives one of the 502 values alone.
TEST(Loading, shortFirstProjectionChangesTheQuadraticTermAlone) {
    ModelVariant cut;
    cut.resize("6-1", 8000);
    const HostRun run = cut.extract();
    const HostRun whole = plainRun();
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(sameFloats(whole.results.data(), run.results.data(), 500));
    EXPECT_GT(run.results[500], 0.0F);
    EXPECT_NE(run.results[500], whole.results[500]);
    EXPECT_TRUE(sameFloat(whole.results[501], run.results[501]));
}

TEST(Loading, missingProjectionsGiveATemplateOfZeros) {
    ModelVariant model;
    model.removeAll({"6-1", "6-2"});
    const HostRun run = model.extract();
    const std::string lines = failureLine(model.modelDir() + kFolderSeparator + "6-1") +
                              failureLine(model.modelDir() + kFolderSeparator + "6-2");
    ASSERT_TRUE(ended(run, lines, kTemplateSize));
    for (const float value : run.results) {
        EXPECT_EQ(value, 0.0F);
    }
}

TEST(Loading, excessBehindATableIsNotRead) {
    ModelVariant model;
    const std::string excess(64, '\x7F');
    for (const char* name : {"0-25-0", "6-0", "6-1", "6-2"}) {
        model.replaceByBytes(name, readFile(sharedModelDir() + name) + excess);
    }
    expectSameTemplates(plainRun(), model.extract());
}

// A mean image file: what it says and what it has.
static std::string meanImageBytes(std::int32_t count, const std::vector<float>& values) {
    std::string bytes(reinterpret_cast<const char*>(&count), sizeof count);
    bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
    return bytes;
}

// The file of network 12 in turn: nothing at all, less than its count, no floats, fewer than none.
TEST(Loading, meanImageWithoutFloatsLeavesZeros) {
    ModelVariant zeros;
    zeros.replaceByBytes("0-12-0", meanImageBytes(2209, std::vector<float>(2209, 0.0F)));
    const HostRun expected = zeros.extract();
    expectOtherTemplates(plainRun(), expected);
    const std::vector<float> values(2209, 100.0F);
    for (const std::string& bytes :
         {std::string(), std::string("\x10\x20\x01"), meanImageBytes(2209, {}),
          meanImageBytes(0, values), meanImageBytes(-2209, values),
          meanImageBytes(INT32_MIN, values)}) {
        SCOPED_TRACE(bytes.size());
        ModelVariant model;
        model.replaceByBytes("0-12-0", bytes);
        expectSameTemplates(expected, model.extract());
    }
}

// The floats of that file and 7 up to `count`, with `behind` after them.
static std::vector<float> longMeanImage(const char* name, std::size_t count,
                                        const std::vector<float>& behind = {}) {
    const std::string original = readFile(sharedModelDir() + name);
    std::vector<float> values(count, 7.0F);
    std::memcpy(values.data(), original.data() + 4, original.size() - 4);
    values.insert(values.end(), behind.begin(), behind.end());
    return values;
}

// Slot 11 has room for 9075 floats, of which patch 11 uses 2209. Slot 12 has a file of its own.
TEST(Loading, meanImageBeyondItsSlotIsOverwrittenByTheNextFileOrServesInItsPlace) {
    Random random(3);
    const std::vector<float> next = random.floats(2209, 90, 150);
    const std::string bytes = meanImageBytes(9075 + 2209, longMeanImage("0-12-0", 9075, next));
    ModelVariant overwritten;
    overwritten.replaceByBytes("0-12-0", bytes);
    expectSameTemplates(plainRun(), overwritten.extract());

    ModelVariant running;
    running.replaceByBytes("0-12-0", bytes);
    running.replaceByBytes("0-13-0", "");
    ModelVariant separate;
    separate.replaceByBytes("0-13-0", meanImageBytes(2209, next));
    const HostRun run = running.extract();
    expectSameTemplates(separate.extract(), run);
    expectOtherTemplates(plainRun(), run);
}

// Behind the last slot other tables begin, which no mean image may reach. Their own files would
// hide what has been overwritten, so that these are missing.
TEST(Loading, meanImageBeyondTheLastSlotEndsThere) {
    const std::vector<float> values = longMeanImage("0-25-0", 50000);
    using Names = std::vector<std::string>;
    for (const Names& missing : {Names{"6-0"}, Names{"6-1", "6-2"}}) {
        ModelVariant unhurt;
        unhurt.removeAll(missing);
        const HostRun expected = unhurt.extract();
        for (const std::int32_t count : {9076, 50000, INT32_MAX}) {
            SCOPED_TRACE(missing[0] + " missing, count " + std::to_string(count));
            ModelVariant model;
            model.replaceByBytes("0-25-0", meanImageBytes(count, values));
            model.removeAll(missing);
            const HostRun run = model.extract();
            EXPECT_EQ(run.exitStatus, 0) << "signal " << run.signal;
            EXPECT_TRUE(sameTemplate(expected, 0, run, 0));
        }
    }
}

TEST(Loading, tablesAreNotReadAgain) {
    ModelVariant model;
    std::vector<std::string> scenario = {"extract-after-removing"};
    for (const std::string& name : tableNames()) {
        scenario.push_back(model.pathOf(name));
    }
    expectSameTemplates(plainRun(), runHost(model.temporaryDirectory(), scenario));
    EXPECT_FALSE(std::filesystem::exists(model.pathOf("6-2")));
}

TEST(Loading, folderRemovedBeforeTheCreateGivesTheLinesOfTheWeightsOnly) {
    ModelVariant model;
    const HostRun run =
        runHost(model.temporaryDirectory(), {"extract-after-removing", model.modelDir()});
    ASSERT_TRUE(ended(run, weightLines(model.temporaryDirectory()), kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
}

// The threads of the OpenMP team outlive the extraction: here they are still awake when the library
// is closed. It must stay in memory with them.
TEST(Loading, libraryCanBeClosedAndOpenedAgain) {
    const HostRun run = runHost(Variables{{kTemporaryVariable, sharedTemporaryDirectory()},
                                          {"OMP_NUM_THREADS", "2"},
                                          {"OMP_WAIT_POLICY", "active"}},
                                {"reload"});
    ASSERT_TRUE(ended(run, "", 3 * kTemplateSize));
    const HostRun whole = plainRun();
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(sameTemplate(whole, 0, run, i));
    }
}

TEST(Loading, happensOnceInAProcess) {
    const HostRun run = runHost(kNowhere, {"reload"});
    const std::string lines = weightLines(kNowhere);
    EXPECT_TRUE(ended(run, tableLines(kNowhere) + lines + lines + lines, 3 * kTemplateSize));
}
