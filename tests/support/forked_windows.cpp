#include <fcntl.h>
#include <gtest/gtest.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "support/environment.h"
#include "support/forked.h"
#include "support/process.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

// How the parent tells the child which call is meant, and where its output goes.
static constexpr char kCallVariable[] = "ZOMU_FORKED_CALL";
static constexpr char kOutputVariable[] = "ZOMU_FORKED_OUTPUT";

static std::string nameOfTest() {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test->test_suite_name()) + "." + test->name();
}

// The number of this call in its test, from 1.
static int numberOfCall() {
    static std::string test;
    static int calls = 0;
    if (test != nameOfTest()) {
        test = nameOfTest();
        calls = 0;
    }
    return ++calls;
}

static std::string pathOfThisProgram() {
    char path[MAX_PATH];
    return {path, GetModuleFileNameA(nullptr, path, MAX_PATH)};
}

[[noreturn]] static void runAsChild(const std::function<void()>& body) {
    std::fflush(nullptr);
    const int file =
        _open(std::getenv(kOutputVariable), _O_WRONLY | _O_CREAT | _O_BINARY, _S_IREAD | _S_IWRITE);
    if (file < 0 || _dup2(file, _fileno(stdout)) < 0) {
        _exit(127);
    }
    _setmode(_fileno(stdout), _O_BINARY);
    body();
    _exit(0);
}

ForkedResult runForked(const std::function<void()>& body) {
    const std::string number = std::to_string(numberOfCall());
    if (const char* wanted = std::getenv(kCallVariable)) {
        if (wanted == number) {
            runAsChild(body);
        }
        return {};  // an earlier call, which another child is for
    }
    const std::string folders = TemporaryFolder::foldersInUse();
    const TemporaryFolder folder;
    const std::string output = folder.prefix() + "output";
    ForkedResult result;
    result.status = runProcess({pathOfThisProgram(), "--gtest_filter=" + nameOfTest()},
                               {{kCallVariable, number},
                                {kOutputVariable, output},
                                {TemporaryFolder::kBorrowedVariable, folders}})
                        .exitStatus;
    result.output = readFile(output);
    return result;
}
