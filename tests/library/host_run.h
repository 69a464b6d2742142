// Runs of the host program, and what is said about them again and again.
#ifndef ZOMU_TESTS_LIBRARY_HOST_RUN_H
#define ZOMU_TESTS_LIBRARY_HOST_RUN_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/process.h"

struct HostRun : ProcessResult {
    std::vector<float> results;
};

// Runs one scenario of zomu_host: its name, then its arguments. Reads the results that it leaves.
HostRun runHost(const Variables& variables, const std::vector<std::string>& scenario);

// The same with `temporaryDirectory` as the temporary directory.
HostRun runHost(const std::string& temporaryDirectory, const std::vector<std::string>& scenario);

// One template of the shared model; what every other template of the same face is compared with.
HostRun plainRun();

// A temporary directory that holds the complete model that all tests share; nobody writes there.
std::string sharedTemporaryDirectory();

// The run came to its end, printed these lines, complained about nothing, and gave so many floats.
testing::AssertionResult ended(const HostRun& run, const std::string& lines,
                               std::size_t resultCount);

constexpr std::size_t kTemplateSize = 502;

testing::AssertionResult isNanTemplate(const HostRun& run, std::size_t first);

// 502 finite values, not all of them zero.
testing::AssertionResult isFiniteTemplate(const HostRun& run, std::size_t first);

// The template at position `first` of one run has the bits of that at position `other` of another.
testing::AssertionResult sameTemplate(const HostRun& expectedRun, std::size_t other,
                                      const HostRun& run, std::size_t first);

// The lines that a missing folder is worth while the library is loaded (28 of them), and while a
// context is created (275). `tempPath` is the temporary directory without its last separator.
std::string tableLines(const std::string& tempPath);
std::string weightLines(const std::string& tempPath);

// The line of one file, `path` being the whole of its path.
std::string failureLine(const std::string& path);

#endif
