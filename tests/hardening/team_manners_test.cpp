// Hosts that are short of memory, threads or stack, that fork, exit, or close the library early: the
// context's team of threads makes do, and the templates stay the same bits.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include "library/host_run.h"
#include "library/model_variant.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

static HostRun runWithTeam(const std::string& size, const std::vector<std::string>& scenario,
                           const std::string& directory = sharedTemporaryDirectory()) {
    return runHost(Variables{{kTemporaryVariable, directory}, {"OMP_NUM_THREADS", size}}, scenario);
}

// The result at the end of the run, or so many before it.
static float resultFromEnd(const HostRun& run, std::size_t distance) {
    return run.results.at(run.results.size() - 1 - distance);
}

// Network 7 has one filter more in its third stage: its layers run it, with the BLAS.
static void giveAnotherShape(const ModelVariant& model) {
    for (const WeightFile& file : weightFilesOf(7)) {
        if (file.stage == 3) {
            model.reshape(file.name(7), file.rows + (file.isBias ? 1 : 0),
                          file.cols + (file.isBias ? 0 : 1));
        }
    }
}

// --- Scarcity ---------------------------------------------------------------------------------------

// A sanitizer has plans of its own for addresses and stacks.
#if !defined(ZOMU_SANITIZED)
// How far the host comes with so many more KB of addresses; see the scenario.
static float stepWithin(int kilobytes, const char* team, const std::string& directory,
                        const HostRun& plain) {
    const HostRun run =
        runWithTeam(team, {"extract-in-limited-space", std::to_string(kilobytes)}, directory);
    const float step = run.results.empty() ? -1 : run.results[0];
    EXPECT_TRUE(ended(run, "", step < 2 ? 1 : 1 + kTemplateSize)) << kilobytes << " KB";
    if (step >= 2) {
        EXPECT_TRUE(sameFloats(plain.results.data(), run.results.data() + 1, kTemplateSize));
    }
    return step;
}

// How many addresses a team of several threads needs is left to chance: their stacks and heaps are large.
TEST(TeamManners, hostIsToldWhereAddressesRunOut) {
    const std::string directory = sharedTemporaryDirectory();
    const HostRun plain = plainRun();
    for (const int kilobytes :
         {20000, 60000, 70000, 80000, 90000, 100000, 120000, 200000, 300000}) {
        stepWithin(kilobytes, "4", directory, plain);
    }
    EXPECT_EQ(stepWithin(1000, "1", directory, plain), 0);
    EXPECT_EQ(stepWithin(120000, "1", directory, plain), 3) << "the BLAS asks for more";
}

TEST(TeamManners, hostIsToldWhereTheBlasLacksAddresses) {
    const ModelVariant model;
    giveAnotherShape(model);
    const HostRun plain = model.extract();
    EXPECT_EQ(stepWithin(120000, "1", model.temporaryDirectory(), plain), 2);
    EXPECT_EQ(stepWithin(260000, "1", model.temporaryDirectory(), plain), 3) << "it asks twice";
}

// More values than any embedded network has: 3 GB of outputs, 400 MB of biases (a file with a hole), and,
// in a file of ordinary size, 250 MB of outputs.
TEST(TeamManners, absurdSizesAskForNoMemory) {
    for (const auto& [name, rows, cols] :
         {std::tuple("1-13-1", 16, 200000), std::tuple("2-13-2", 100000000, 1),
          std::tuple("1-13-1", 16, 16000)}) {
        const ModelVariant model;
        model.reshape(name, rows, cols);
        const HostRun run =
            runWithTeam("1", {"extract-in-limited-space", "300000"}, model.temporaryDirectory());
        EXPECT_TRUE(ended(run, "", 1 + kTemplateSize)) << name << ", " << cols;
        EXPECT_EQ(run.results.at(0), 3) << name << ", " << cols << ": no memory";
        EXPECT_TRUE(std::isnan(run.results.back())) << name << ", " << cols;
    }
}

TEST(TeamManners, stacksOf64KilobytesAreEnough) {
    const ModelVariant other;
    giveAnotherShape(other);
    for (const std::string& directory : {sharedTemporaryDirectory(), other.temporaryDirectory()}) {
        const HostRun plain = runHost(directory, {"extract", "1"});
        const HostRun run = runWithTeam("8", {"extract-in-small-stack", "65536"}, directory);
        ASSERT_TRUE(ended(run, "", kTemplateSize + 1));
        EXPECT_TRUE(sameTemplate(plain, 0, run, 0));
    }
}
#endif

TEST(TeamManners, teamIsSmallerWhereThreadsAreScarce) {
    const HostRun plain = plainRun();
    for (const int limit : {1, 3}) {
        const HostRun run = runWithTeam("8", {"extract-with-few-threads", std::to_string(limit)});
        ASSERT_TRUE(ended(run, "", 1 + kTemplateSize));
        EXPECT_LT(run.results[0], limit);
        EXPECT_TRUE(sameFloats(plain.results.data(), run.results.data() + 1, kTemplateSize));
    }
}

TEST(TeamManners, manyContextsHaveManyTeams) {
    constexpr int kContexts = 30;
    const HostRun run = runWithTeam("8", {"extract-with-many-contexts", std::to_string(kContexts)});
    ASSERT_TRUE(ended(run, "", 4));
    EXPECT_EQ(run.results[0], 0) << "templates that differ";
#if !defined(ZOMU_SANITIZED)
    EXPECT_LT(run.results[1], 41000) << "KB a context";
#endif
    EXPECT_EQ(run.results[2] - run.results[3], 7 * kContexts) << "threads";
}

TEST(TeamManners, recordThatChangesMeanwhileIsReadOnce) {
    const HostRun run = runWithTeam("2", {"change-count-meanwhile", "100", ZOMU_BATCH_LIBRARY});
    ASSERT_EQ(run.exitStatus, 0) << "signal " << run.signal << ", " << run.err;
    ASSERT_EQ(run.results.size(), 2U);
    EXPECT_EQ(run.results[1], 0) << "wrong templates, beside " << run.results[0] << " refused";
    EXPECT_GT(run.results[0], 0) << "the thread has changed nothing";
}

// --- What the threads leave alone -------------------------------------------------------------------

TEST(TeamManners, threadsTakeNoSignalsAndSleepAfterwards) {
    const HostRun run = runWithTeam("4", {"rest-after-extraction"});
    ASSERT_TRUE(ended(run, "", 3));
#if !defined(ZOMU_SANITIZED)  // which has a thread of its own
    EXPECT_EQ(run.results[0], 3) << "threads";
    EXPECT_EQ(run.results[1], 0) << "signals that are not blocked";
    EXPECT_LT(run.results[2], 20) << "ms of processor time in 200";
#endif
}

// --- Forks and exits --------------------------------------------------------------------------------

TEST(TeamManners, parentAndChildGoOnAfterAFork) {
    const HostRun run = runWithTeam("4", {"fork-after-use", "3"});
    ASSERT_TRUE(ended(run, "", 2 * kTemplateSize + 2));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 0));
    EXPECT_EQ(run.results[kTemplateSize], 0) << "status of the child";
    EXPECT_EQ(run.results[kTemplateSize + 1], 0) << "status of the child that only destroys";
    EXPECT_TRUE(
        sameFloats(run.results.data(), run.results.data() + kTemplateSize + 2, kTemplateSize));
}

// The address sanitizer's allocator may be locked for ever in such a child.
#if !defined(ZOMU_SANITIZED)
TEST(TeamManners, childMakesItsOwnContextWhereAThreadOfTheParentWasAtWork) {
    const HostRun run = runWithTeam("4", {"fork-beside-work", "20"});
    ASSERT_TRUE(ended(run, "", 1));
    EXPECT_EQ(run.results[0], 0) << "children that failed";
}
#endif

TEST(TeamManners, hostExitsWithItsStatusWhateverItsThreadsDo) {
    for (const char* threads : {"0", "2"}) {
        const HostRun run = runWithTeam("4", {"exit-while-used", threads});
        EXPECT_EQ(run.exitStatus, 7) << "signal " << run.signal << "\n" << run.err;
        EXPECT_EQ(run.out + run.err, "");
    }
}

// --- Open and close ---------------------------------------------------------------------------------

TEST(TeamManners, libraryIsGoneAfterEachCloseAndLeavesNothing) {
    const HostRun run = runWithTeam("4", {"open-again", "10"});
    ASSERT_TRUE(ended(run, "", 3 + kTemplateSize));
    EXPECT_EQ(run.results[0], 0) << "times that it was still there";
#if !defined(ZOMU_SANITIZED)
    EXPECT_EQ(run.results[1], 1) << "threads";
    EXPECT_LT(run.results[2], 4096) << "KB";
#endif
    EXPECT_TRUE(sameFloats(plainRun().results.data(), run.results.data() + 3, kTemplateSize));
}

TEST(TeamManners, eachLoadReadsAgainAndPrintsItsLines) {
    const TemporaryFolder empty;
    const std::string path = empty.path().string();
    std::string lines;
    for (int round = 0; round < 10; ++round) {
        lines += tableLines(path) + weightLines(path);
    }
    const HostRun run = runWithTeam("4", {"open-again", "10"}, path);
    EXPECT_TRUE(ended(run, lines, 3 + kTemplateSize));
}

TEST(TeamManners, eachLoadReadsTheModelThatIsThere) {
    const ModelVariant model;
    model.replace("6-0", readFile(model.goodPathOf("6-0")).substr(0, 16000));
    const HostRun other = model.extract();
    const HostRun plain = plainRun();
    EXPECT_FALSE(sameTemplate(plain, 0, other, 0));
    const HostRun run = runHost(sharedTemporaryDirectory(),
                                {"extract-from-each", sharedTemporaryDirectory(),
                                 model.temporaryDirectory(), sharedTemporaryDirectory()});
    ASSERT_TRUE(ended(run, "", 3 * kTemplateSize));
    EXPECT_TRUE(sameTemplate(plain, 0, run, 0));
    EXPECT_TRUE(sameTemplate(other, 0, run, 1));
    EXPECT_TRUE(sameTemplate(plain, 0, run, 2));
}

// Without optimisation the last return of ZomuDestroy is a return, not a jump, and finds no code.
#if defined(__OPTIMIZE__) && !defined(ZOMU_SANITIZED)
TEST(TeamManners, contextOutlivesTheLibraryThatTheHostHasClosed) {
    const HostRun run = runWithTeam("4", {"close-while-used"});
    ASSERT_TRUE(ended(run, "", 2 * kTemplateSize + 1));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 0));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 1));
    EXPECT_EQ(resultFromEnd(run, 0), 1) << "the library is gone with its last context";
}

TEST(TeamManners, contextOfBatchesOutlivesItsLibraryToo) {
    const HostRun run = runWithTeam("4", {"close-batch-library-while-used", ZOMU_BATCH_LIBRARY});
    ASSERT_TRUE(ended(run, "", 2 * kTemplateSize));
    EXPECT_TRUE(sameTemplate(run, 0, run, 1));
}
#endif
