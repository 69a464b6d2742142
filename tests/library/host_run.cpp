#include "library/host_run.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/bits.h"
#include "support/environment.h"
#include "support/model_folder.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

HostRun runHost(const Variables& variables, const std::vector<std::string>& scenario) {
    const TemporaryFolder folder;
    const std::string resultsPath = folder.prefix() + "results";
    std::vector<std::string> command = {ZOMU_HOST, ZOMU_LIBRARY, resultsPath};
    command.insert(command.end(), scenario.begin(), scenario.end());

    HostRun run;
    static_cast<ProcessResult&>(run) = runProcess(command, variables);
    const std::string bytes = readFile(resultsPath);
    run.results.resize(bytes.size() / sizeof(float));
    if (!run.results.empty()) {
        std::memcpy(run.results.data(), bytes.data(), run.results.size() * sizeof(float));
    }
    return run;
}

HostRun runHost(const std::string& temporaryDirectory, const std::vector<std::string>& scenario) {
    return runHost(Variables{{kTemporaryVariable, temporaryDirectory}}, scenario);
}

HostRun plainRun() {
    return runHost(sharedTemporaryDirectory(), {"extract", "1"});
}

std::string sharedTemporaryDirectory() {
    return ZOMU_TEST_MODEL;
}

// Of two texts that differ, the line in which they do so first.
static testing::AssertionResult sameLines(const std::string& expected, const std::string& actual) {
    if (expected == actual) {
        return testing::AssertionSuccess();
    }
    const auto place =
        static_cast<std::size_t>(std::ranges::mismatch(expected, actual).in1 - expected.begin());
    const std::size_t start = expected.substr(0, place).rfind('\n') + 1;
    return testing::AssertionFailure()
           << "standard output differs first in byte " << place
           << "\n  expected: " << expected.substr(start, expected.find('\n', place) - start)
           << "\n  actual:   " << actual.substr(start, actual.find('\n', place) - start);
}

testing::AssertionResult ended(const HostRun& run, const std::string& lines,
                               std::size_t resultCount) {
    if (run.exitStatus != 0) {
        return testing::AssertionFailure()
               << "exit status " << run.exitStatus << ", signal " << run.signal
               << "\nstandard error: " << run.err << "\nstandard output: " << run.out;
    }
    if (!run.err.empty()) {
        return testing::AssertionFailure() << "standard error: " << run.err;
    }
    if (run.results.size() != resultCount) {
        return testing::AssertionFailure()
               << "expected " << resultCount << " floats, actual " << run.results.size();
    }
    return sameLines(lines, run.out);
}

// Whether all values of the template are as `isWanted` says.
static testing::AssertionResult isTemplateOf(const char* wanted, bool (*isWanted)(float),
                                             const HostRun& run, std::size_t first) {
    for (std::size_t i = 0; i < kTemplateSize; ++i) {
        const float value = run.results.at(first * kTemplateSize + i);
        if (!isWanted(value)) {
            return testing::AssertionFailure()
                   << "expected " << wanted << " at index " << i << ", actual " << hexFloat(value);
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult isNanTemplate(const HostRun& run, std::size_t first) {
    return isTemplateOf(
        "NaN", [](float value) { return std::isnan(value); }, run, first);
}

testing::AssertionResult isFiniteTemplate(const HostRun& run, std::size_t first) {
    const auto isZero = [](float value) { return value == 0.0F; };
    return isTemplateOf("zero", isZero, run, first)
               ? testing::AssertionFailure() << "all 502 values are zero"
               : isTemplateOf(
                     "a finite value", [](float value) { return std::isfinite(value); }, run,
                     first);
}

testing::AssertionResult sameTemplate(const HostRun& expectedRun, std::size_t other,
                                      const HostRun& run, std::size_t first) {
    if (expectedRun.results.size() < (other + 1) * kTemplateSize ||
        run.results.size() < (first + 1) * kTemplateSize) {
        return testing::AssertionFailure() << "no such template";
    }
    return sameFloats(expectedRun.results.data() + other * kTemplateSize,
                      run.results.data() + first * kTemplateSize, kTemplateSize);
}

std::string failureLine(const std::string& path) {
    return "load " + path + " failed\n";
}

static std::string modelFolderBelow(const std::string& tempPath) {
    return tempPath + kFolderSeparator + "~zvplugintmp~" + kFolderSeparator;
}

// Two separators in a row: the folder's name ends in one, and the names of tables start with one.
std::string tableLines(const std::string& tempPath) {
    const std::string start = modelFolderBelow(tempPath) + kFolderSeparator;
    std::string lines;
    for (int number = 1; number <= 25; ++number) {
        lines += failureLine(start + "0-" + std::to_string(number) + "-0");
    }
    for (const char* name : {"6-0", "6-1", "6-2"}) {
        lines += failureLine(start + name);
    }
    return lines;
}

std::string weightLines(const std::string& tempPath) {
    std::string lines;
    for (int number = 1; number <= 25; ++number) {
        for (const WeightFile& file : weightFilesOf(number)) {
            lines += failureLine(modelFolderBelow(tempPath) + file.name(number));
        }
    }
    return lines;
}
