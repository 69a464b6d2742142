// The program zomu-model where its output finds no room, and where signals end it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "support/process.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

TEST(ZomuModelEnds, outputThatCannotBeWrittenIsAFailure) {
    ASSERT_TRUE(fs::exists("/dev/full"));
    const ProcessResult result =
        runProcess({"sh", "-c", "\"$0\" list > /dev/full", ZOMU_MODEL_PROGRAM}, {});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "zomu-model: cannot write to standard output: No space left on device\n");
}

// The signal comes as soon as the first line says that the work has begun. `env` makes sure that
// the signal is not ignored from the start, as it is in the background jobs of some shells.
TEST(ZomuModelEnds, interruptedWorkLeavesNothing) {
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
