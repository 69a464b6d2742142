// Programs from outside: how they are run, and what those say that refuse their work.
#ifndef ZOMU_TESTS_TOOLS_TOOL_RUN_H
#define ZOMU_TESTS_TOOLS_TOOL_RUN_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/process.h"

// With the drive, for Windows: paths of a list without one are on the list's drive.
inline const std::string kPicture =
    std::filesystem::absolute(ZOMU_SAMPLES "/portrait.png").string();
inline const std::string kLandmarks =
    std::filesystem::absolute(ZOMU_SAMPLES "/portrait.csv").string();

using Words = std::vector<std::string>;

// With the model of the tests, where no other temporary directory is named.
inline ProcessResult runTool(const std::string& program, Words arguments,
                             const std::string& temporary = ZOMU_TEST_MODEL) {
    arguments.insert(arguments.begin(), program);
    return runProcess(arguments, {{kTemporaryVariable, temporary}, {"OMP_NUM_THREADS", "2"}});
}

inline void expectResult(const ProcessResult& result, int status, const std::string& out,
                         const std::string& err) {
    EXPECT_EQ(result.exitStatus, status) << err;
    EXPECT_EQ(result.out, out) << err;
    EXPECT_EQ(result.err, err);
}

// The name under which a program complains.
inline std::string nameOf(const std::string& program) {
    return std::filesystem::path(program).stem().string();
}

// Ends with this status; standard error has the program's name and `words`, and standard output
// stays empty.
inline void expectRefusal(const std::string& program, const Words& arguments, int status,
                          const std::string& words) {
    expectResult(runTool(program, arguments), status, "", nameOf(program) + ": " + words + "\n");
}

// Ends with status 0, prints `out` and complains of nothing.
inline void expectDone(const std::string& program, const Words& arguments,
                       const std::string& out = "") {
    expectResult(runTool(program, arguments), 0, out, "");
}

#endif
