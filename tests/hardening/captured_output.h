// What this process writes to standard output and standard error for a while.
#ifndef ZOMU_TESTS_HARDENING_CAPTURED_OUTPUT_H
#define ZOMU_TESTS_HARDENING_CAPTURED_OUTPUT_H

#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>

// Both descriptors lead into one file without a name, so that what the C library, a sanitizer or
// the system writes is there, too.
class CapturedOutput {
  public:
    CapturedOutput() : file(std::tmpfile()), out(dup(STDOUT_FILENO)), err(dup(STDERR_FILENO)) {
        if (file == nullptr || out < 0 || err < 0) {
            throw std::runtime_error("cannot capture the output");
        }
        std::fflush(nullptr);
        dup2(fileno(file), STDOUT_FILENO);
        dup2(fileno(file), STDERR_FILENO);
    }

    ~CapturedOutput() {
        giveBack();
        std::fclose(file);
    }

    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    // Ends the capture.
    std::string text() {
        giveBack();
        std::string result;
        char buffer[4096];
        lseek(fileno(file), 0, SEEK_SET);
        for (ssize_t got = 0; (got = read(fileno(file), buffer, sizeof buffer)) > 0;) {
            result.append(buffer, static_cast<std::size_t>(got));
        }
        return result;
    }

  private:
    void giveBack() {
        if (out < 0) {
            return;
        }
        std::fflush(stdout);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        close(out);
        close(err);
        out = -1;
    }

    std::FILE* file;
    int out;
    int err;
};

#endif
