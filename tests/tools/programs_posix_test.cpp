// Programs whose output or input finds no room, and one that signals end.
#include <sys/resource.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "hardening/memory_use.h"
#include "manifest/manifest.h"
#include "sheets/face_picture.h"
#include "support/forked.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"
#include "tools/tool_run.h"
#include "zomu.h"

namespace fs = std::filesystem;

TEST(ProgramEnds, outputThatCannotBeWrittenIsAFailure) {
    const std::string face = kPicture + " " + kLandmarks;
    const Words endings[] = {
        {"\"$0\" list > /dev/full", ZOMU_MODEL_PROGRAM,
         "zomu-model: cannot write to standard output: No space left on device\n"},
        {"\"$0\" " + face + " " + face + " > /dev/full", ZOMU_COMPARE_PATH,
         "compare_faces: standard output: the score could not be written\n"}};
    for (const Words& ending : endings) {
        expectResult(runTool("sh", {"-c", ending[0], ending[1]}), 1, "", ending[2]);
    }
}

TEST(ProgramEnds, anEndlessManifestIsRefused) {
    const TemporaryFolder folder;
    const std::string out = folder.prefix() + "out";
    expectRefusal(ZOMU_SCORES_PATH, {"/dev/zero", out}, 1,
                  "/dev/zero: is larger than 268435456 bytes");
    expectRefusal(ZOMU_PATCHES_PATH, {"cut", "/dev/zero", out}, 1,
                  "/dev/zero: is larger than 268435456 bytes");
    EXPECT_FALSE(fs::exists(out));
}

// The last file that each tool writes finds a folder in its place: the others stay as they were, too.
TEST(ProgramEnds, filesThatBelongTogetherChangeTogether) {
    const TemporaryFolder folder;
    const fs::path out = folder.path() / "out";
    const std::string list = folder.prefix() + "list.csv";
    writeManifest(list, {{"eve", kPicture, kLandmarks}, {"eve", kPicture, kLandmarks}});
    struct Run {
        std::string tool;
        Words arguments;
        std::string kept;
        std::string obstacle;
    };
    const Run runs[] = {
        {ZOMU_VARIANTS_PATH, {kPicture, kLandmarks}, "turned.png", "compressed.csv"},
        {ZOMU_INSPECT_PATH, {kPicture, kLandmarks}, "landmarks.png", "patches.png"},
        {ZOMU_PATCHES_PATH, {"cut", list}, "patches-01.npy", "faces.csv"},
        {ZOMU_PATCHES_PATH, {"features", list}, "features.npy", "faces.csv"},
        {ZOMU_PATCHES_PATH, {"describe"}, "network-01.txt", "network-25.txt"},
        {ZOMU_SCORES_PATH, {list, "--csv"}, "faces.csv", "scores.csv"}};
    for (const Run& run : runs) {
        fs::create_directories(out / run.obstacle);
        std::ofstream(out / run.kept) << "old";
        Words arguments = run.arguments;
        arguments.push_back(out.string());
        expectRefusal(run.tool, arguments, 1, (out / run.obstacle).string() + ": is a folder");
        EXPECT_TRUE(readFile(out / run.kept) == "old") << run.tool;
        EXPECT_EQ(std::distance(fs::directory_iterator(out), fs::directory_iterator()), 2);
        fs::remove_all(out);
    }
}

// The signal comes when the first folder is there.
TEST(ProgramEnds, interruptedScoresLeaveNothing) {
    const TemporaryFolder folder;
    const std::string list = folder.prefix() + "list.csv";
    writeManifest(list, std::vector<ManifestRow>(2000, {"eve", kPicture, kLandmarks}));
    const std::string script =
        "env --default-signal=TERM \"$0\" \"$1\" \"$2\" & "
        "until ls \"$2\"/zomu-*; do :; done >/dev/null 2>&1; kill -TERM $!; wait $!";
    const ProcessResult result =
        runProcess({"sh", "-c", script, ZOMU_SCORES_PATH, list, folder.prefix() + "out"},
                   {{kTemporaryVariable, ZOMU_TEST_MODEL}});
    expectResult(result, 143, "", "zomu-scores: interrupted, nothing was made\n");
    EXPECT_TRUE(fs::is_empty(folder.path() / "out"));
}

// 27 MB of pixels: with less than that, and with room for them once but not twice.
TEST(ProgramEnds, picturesWithoutRoomAreNamed) {
    if (!kMemoryIsJudged) {
        GTEST_SKIP() << "a sanitizer's memory is not limited in this way";
    }
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.png";
    savePng(path, blackPicture(3000, 3000));
    for (const rlim_t megabytes : {20U, 40U}) {
        const ForkedResult result = runForked([&] {
            const rlim_t limit = static_cast<rlim_t>(addressKilobytes()) * 1024 + (megabytes << 20);
            const struct rlimit addresses = {limit, limit};
            setrlimit(RLIMIT_AS, &addresses);
            std::fputs(reasonOf([&] { loadPicture(path); }).c_str(), stdout);
            std::fflush(stdout);
        });
        EXPECT_EQ(result.output,
                  path + ": does not fit into memory: 3000 x 3000 pixels; shrink it");
        EXPECT_EQ(result.status, 0);
    }
}

// The signal comes as soon as the first line says that the work has begun. `env` makes sure that
// the signal is not ignored from the start, as it is in the background jobs of some shells.
TEST(ProgramEnds, interruptedWorkLeavesNothing) {
    const std::string script =
        "mkfifo \"$1.pipe\"; env --default-signal=$2 \"$0\" make \"$1\" >\"$1.pipe\" & "
        "exec 3<\"$1.pipe\"; rm \"$1.pipe\"; read -r line <&3; kill -$2 $!; wait $!";
    for (const auto& [signal, status] : {std::pair<std::string, int>{"INT", 130}, {"TERM", 143}}) {
        const TemporaryFolder parent;
        const ProcessResult result = runProcess(
            {"sh", "-c", script, ZOMU_MODEL_PROGRAM, parent.prefix() + "model", signal}, {});
        EXPECT_EQ(result.exitStatus, status) << result.err;
        EXPECT_EQ(result.err, "zomu-model: interrupted, nothing was made\n");
        EXPECT_TRUE(fs::is_empty(parent.path())) << signal;
    }
}

// The signal comes when the first file is there.
TEST(ProgramEnds, unpackingLeavesNothingEvenWhereItWasKilled) {
    const std::string model = ZOMU_MODEL_PROGRAM;
    const std::string script =
        "env --default-signal=INT,TERM \"$0\" unpack \"$1.pack\" \"$1\" & "
        "until ls \"$1\".partial-*/0-1-0; do :; done >/dev/null 2>&1; kill -$2 $!; wait $!";
    const TemporaryFolder packs;
    const std::string pack = packs.prefix() + "model.pack";
    ASSERT_EQ(runTool(model, {"make", packs.prefix() + "model"}).exitStatus, 0);
    ASSERT_EQ(runTool(model, {"pack", packs.prefix() + "model", pack}).exitStatus, 0);
    const TemporaryFolder parent;
    fs::create_symlink(pack, parent.path() / "model.pack");
    const auto entries = [&parent] {
        return std::distance(fs::directory_iterator(parent.path()), fs::directory_iterator());
    };
    const auto end = [&](const char* signal) {
        return runProcess({"sh", "-c", script, model, parent.prefix() + "model", signal}, {});
    };
    for (const auto& [signal, status] : {std::pair<const char*, int>{"INT", 130}, {"TERM", 143}}) {
        const ProcessResult result = end(signal);
        EXPECT_EQ(result.exitStatus, status) << result.err;
        EXPECT_EQ(result.err, "zomu-model: interrupted, nothing was made\n");
        EXPECT_EQ(entries(), 1) << signal;
    }
    EXPECT_EQ(end("KILL").exitStatus, 137);
    EXPECT_EQ(entries(), 2);
    EXPECT_EQ(runTool(model, {"unpack", pack, parent.prefix() + "model"}).exitStatus, 0);
    EXPECT_EQ(entries(), 2);
    EXPECT_TRUE(fs::exists(parent.path() / "model" / "6-2"));
}
