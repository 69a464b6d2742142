#include "support/process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>

#include "support/read_file.h"
#include "support/temporary_folder.h"

// A run takes a fraction of a second, under an emulator up to a minute. One that still goes on after this
// time hangs.
#if defined(ZOMU_EMULATOR)
static constexpr unsigned kSecondsToRun = 600;
#else
static constexpr unsigned kSecondsToRun = 100;
#endif

// The tool of an OpenMP runtime stays: a sanitizer may depend on it.
static bool isLeftOut(const std::string& variable) {
    constexpr const char* kStarts[] = {
        "TMPDIR=", "TMP=", "TEMP=", "TEMPDIR=", "OMP_", "GOMP_", "KMP_"};
    return !variable.starts_with("OMP_TOOL") &&
           std::ranges::any_of(kStarts, [&](const char* s) { return variable.starts_with(s); });
}

static std::vector<std::string> environmentWith(const Variables& variables) {
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (!isLeftOut(*variable)) {
            environment.emplace_back(*variable);
        }
    }
    for (const auto& [name, value] : variables) {
        environment.push_back(name + "=" + value);
    }
    return environment;
}

// A program of a cross build needs the emulator that runs this one; the system's own do not.
static std::vector<std::string> wordsOf(const std::vector<std::string>& command) {
    std::vector<std::string> words;
#if defined(ZOMU_EMULATOR)
    if (command[0].starts_with(ZOMU_BUILD_FOLDER)) {
        words = {ZOMU_EMULATOR};
    }
#endif
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

static std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

static void sendTo(const std::string& path, int descriptor) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) {
        _exit(127);
    }
}

// Some of these programs are meant to be ended by a signal: no core files. The alarm outlives the
// exec.
[[noreturn]] static void becomeProgram(const std::vector<char*>& arguments,
                                       const std::vector<char*>& environment,
                                       const std::string& outPath, const std::string& errPath) {
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    alarm(kSecondsToRun);
    sendTo(outPath, STDOUT_FILENO);
    sendTo(errPath, STDERR_FILENO);
    execvpe(arguments[0], arguments.data(), environment.data());
    _exit(127);
}

ProcessResult runProcess(const std::vector<std::string>& command, const Variables& variables) {
    // Files rather than pipes: there is nothing to keep empty while the program runs.
    const TemporaryFolder folder;
    const std::string outPath = folder.prefix() + "out";
    const std::string errPath = folder.prefix() + "err";
    std::vector<std::string> words = wordsOf(command);
    std::vector<std::string> environment = environmentWith(variables);
    const std::vector<char*> wordPointers = pointersTo(words);
    const std::vector<char*> environmentPointers = pointersTo(environment);

    const pid_t child = fork();
    if (child == 0) {
        becomeProgram(wordPointers, environmentPointers, outPath, errPath);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error("cannot run " + command[0]);
    }
    ProcessResult result;
    if (WIFEXITED(status)) {
        result.exitStatus = WEXITSTATUS(status);
    } else {
        result.signal = WTERMSIG(status);
    }
    result.out = readFile(outPath);
    result.err = readFile(errPath);
    return result;
}

bool endedByAbort(const ProcessResult& result) {
    return result.signal == SIGABRT;
}
