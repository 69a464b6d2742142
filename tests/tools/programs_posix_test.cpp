// Programs whose output or input finds no room, and one that signals end.
#include <sys/resource.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "hardening/memory_use.h"
#include "sheets/face_picture.h"
#include "support/forked.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"
#include "tools/tool_run.h"
#include "zomu.h"

namespace fs = std::filesystem;

TEST(ProgramEnds, outputThatCannotBeWrittenIsAFailure) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zt";
    const FaceTemplate face = {{3.0F}, 4.0F, 3.0F};
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(&face), sizeof face);
    const Words endings[] = {
        {"\"$0\" list > /dev/full", ZOMU_MODEL_PROGRAM,
         "zomu-model: cannot write to standard output: No space left on device\n"},
        {"\"$0\" " + path + " " + path + " > /dev/full", ZOMU_COMPARE_PATH,
         "compare_faces: standard output: the score could not be written\n"}};
    for (const Words& ending : endings) {
        expectResult(runTool("sh", {"-c", ending[0], ending[1]}), 1, "", ending[2]);
    }
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
        EXPECT_EQ(result.output, path + ": does not fit into memory: 3000 x 3000 pixels");
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
