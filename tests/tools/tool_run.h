// Programs from outside: how they are run, and what those say that refuse their work.
#ifndef ZOMU_TESTS_TOOLS_TOOL_RUN_H
#define ZOMU_TESTS_TOOLS_TOOL_RUN_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/environment.h"
#include "support/process.h"

inline const std::string kPicture = ZOMU_SAMPLES "/portrait.png";
inline const std::string kLandmarks = ZOMU_SAMPLES "/portrait.csv";

using Words = std::vector<std::string>;

// With the model of the tests, where no other temporary directory is named.
inline ProcessResult runTool(const std::string& program, Words arguments,
                             const std::string& temporary = ZOMU_TEST_MODEL) {
    arguments.insert(arguments.begin(), program);
    return runProcess(arguments, {{kTemporaryVariable, temporary}, {"OMP_NUM_THREADS", "2"}});
}

// A command line, the status that it ends with, and all that standard error says; standard output
// stays empty.
struct Refusal {
    Words arguments;
    int status;
    std::string line;
};

inline void expectRefusals(const std::string& program, const std::vector<Refusal>& refusals,
                           const std::string& temporary = ZOMU_TEST_MODEL) {
    for (const Refusal& refusal : refusals) {
        const ProcessResult result = runTool(program, refusal.arguments, temporary);
        EXPECT_EQ(result.exitStatus, refusal.status) << refusal.line;
        EXPECT_EQ(result.out, "") << refusal.line;
        EXPECT_EQ(result.err, refusal.line + "\n");
    }
}

// Ends with status 0, prints `out` and complains of nothing.
inline void expectDone(const std::string& program, const Words& arguments,
                       const std::string& out = "") {
    const ProcessResult result = runTool(program, arguments);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, "");
}

#endif
