// The program zomu-model where its output finds no room, and where signals end it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "support/process.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

TEST(ZomuModel, outputThatCannotBeWrittenIsAFailure) {
    ASSERT_TRUE(fs::exists("/dev/full"));
    const ProcessResult result =
        runProcess({"sh", "-c", "\"$0\" list > /dev/full", ZOMU_MODEL_PROGRAM}, {});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "zomu-model: cannot write to standard output: No space left on device\n");
}

// A second into work that takes minutes. `env` makes sure that the signal is not ignored from the
// start, as it is in the background jobs of some shells.
TEST(ZomuModel, interruptedWorkLeavesNothing) {
    for (const auto& [signal, status] : {std::pair<std::string, int>{"INT", 130}, {"TERM", 143}}) {
        const TemporaryFolder parent;
        const ProcessResult result =
            runProcess({"timeout", "--preserve-status", "--signal=" + signal, "1", "env",
                        "--default-signal=" + signal, ZOMU_MODEL_PROGRAM, "make",
                        parent.prefix() + "model", "--faces", "2000"},
                       {});
        EXPECT_EQ(result.exitStatus, status) << result.err;
        EXPECT_EQ(result.err, "zomu-model: interrupted, nothing was made\n");
        EXPECT_TRUE(fs::is_empty(parent.path())) << signal;
    }
}
