// Child processes: a program runs to its end, and what it said and how it ended is looked at.
#ifndef ZOMU_TESTS_SUPPORT_PROCESS_H
#define ZOMU_TESTS_SUPPORT_PROCESS_H

#include <string>
#include <utility>
#include <vector>

struct ProcessResult {
    int exitStatus = -1;  // -1: ended by a signal, or ran out of time
    int signal = 0;       // SIGALRM: ran out of time
    std::string out;
    std::string err;
};

// Environment variables of one run.
using Variables = std::vector<std::pair<std::string, std::string>>;

// Runs `command`, its first word a path or a program of PATH. The environment is this process's,
// without those variables that name a temporary directory or speak to OpenMP, and with `variables`
// instead.
ProcessResult runProcess(const std::vector<std::string>& command, const Variables& variables);

// Ended as a fatal error of the run time ends a process.
bool endedByAbort(const ProcessResult& result);

#endif
