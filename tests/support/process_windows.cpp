#include <windows.h>

#include <stdexcept>

#include "support/process.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

// A run takes a fraction of a second. One that still goes on after this time hangs.
static constexpr DWORD kMillisecondsToRun = 100000;

static bool isLeftOut(const std::string& variable) {
    for (const char* start : {"TMP=", "TEMP=", "OMP_", "GOMP_", "GTEST_"}) {
        if (variable.starts_with(start)) {
            return true;
        }
    }
    return false;
}

// Variables one after the other, each ended by a NUL, and one more NUL.
static std::string environmentWith(const Variables& variables) {
    std::string block;
    char* own = GetEnvironmentStringsA();
    for (const char* variable = own; *variable != '\0';) {
        const std::string text = variable;
        if (!isLeftOut(text)) {
            block += text + '\0';
        }
        variable += text.size() + 1;
    }
    FreeEnvironmentStringsA(own);
    for (const auto& [name, value] : variables) {
        block += name + "=" + value + '\0';
    }
    return block + '\0';
}

// The words as a C run time takes the command line apart: in quotes, backslashes doubled in front
// of a quote.
static std::string commandLineOf(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        line += line.empty() ? "\"" : " \"";
        std::size_t backslashes = 0;
        for (const char c : word) {
            if (c == '"') {
                line.append(backslashes + 1, '\\');
            }
            backslashes = c == '\\' ? backslashes + 1 : 0;
            line += c;
        }
        line.append(backslashes, '\\');
        line += '"';
    }
    return line;
}

static HANDLE newFile(const std::string& path) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

// The run time ends printed lines with two characters.
static std::string readLines(const std::string& path) {
    std::string text = readFile(path);
    for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos; ++at) {
        text.erase(at, 1);
    }
    return text;
}

// Under Wine one start of some thousand ends in an internal error, before a word of the program
// ran: such a start is made again.
static PROCESS_INFORMATION startProcess(std::string line, std::string environment,
                                        STARTUPINFOA& start) {
    PROCESS_INFORMATION process = {};
    for (int attempt = 1;; ++attempt) {
        if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, environment.data(),
                           nullptr, &start, &process)) {
            return process;
        }
        const DWORD error = GetLastError();
        if (error != ERROR_INTERNAL_ERROR || attempt == 3) {
            throw std::runtime_error("cannot run " + line + ": error " + std::to_string(error));
        }
    }
}

ProcessResult runProcess(const std::vector<std::string>& command, const Variables& variables) {
    const TemporaryFolder folder;
    const std::string outPath = folder.prefix() + "out";
    const std::string errPath = folder.prefix() + "err";
    const std::string line = commandLineOf(command);
    const std::string environment = environmentWith(variables);

    STARTUPINFOA start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = newFile(outPath);
    start.hStdError = newFile(errPath);
    const PROCESS_INFORMATION process = startProcess(line, environment, start);
    ProcessResult result;
    if (WaitForSingleObject(process.hProcess, kMillisecondsToRun) == WAIT_OBJECT_0) {
        DWORD status = 0;
        GetExitCodeProcess(process.hProcess, &status);
        result.exitStatus = static_cast<int>(status);
    } else {
        TerminateProcess(process.hProcess, 1);
        WaitForSingleObject(process.hProcess, INFINITE);
    }
    for (HANDLE handle : {process.hProcess, process.hThread, start.hStdOutput, start.hStdError}) {
        CloseHandle(handle);
    }
    result.out = readLines(outPath);
    result.err = readLines(errPath);
    return result;
}

bool endedByAbort(const ProcessResult& result) {
    return result.exitStatus == 3;
}
