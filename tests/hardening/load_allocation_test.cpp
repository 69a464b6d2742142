// The n-th request for memory fails while the library is opened. A load cannot fail, and nothing
// may be thrown through the loader: a file that there is no memory for counts as one that cannot be
// opened.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "hardening/common.h"
#include "hardening/linked_model.h"
#include "support/bits.h"
#include "support/process.h"
#include "support/read_file.h"

namespace {

struct StarvedRun : ProcessResult {
    std::vector<float> results;  // the number of requests, then a template

    long requests() const { return results.empty() ? 0 : static_cast<long>(results[0]); }
};

StarvedRun runStarved(const std::string& temporaryDirectory, long first, const char* kind) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "results";
    StarvedRun run;
    static_cast<ProcessResult&>(run) =
        runProcess({ZOMU_STARVED_HOST, ZOMU_LIBRARY, path, std::to_string(first), kind},
                   {{"TMPDIR", temporaryDirectory}});
    const std::string bytes = readFile(path);
    run.results.resize(bytes.size() / sizeof(float));
    std::memcpy(run.results.data(), bytes.data(), run.results.size() * sizeof(float));
    return run;
}

std::vector<std::string> tableFiles() {
    std::vector<std::string> names;
    for (int number = 1; number <= 25; ++number) {
        names.push_back("0-" + std::to_string(number) + "-0");
    }
    names.insert(names.end(), {"6-0", "6-1", "6-2"});
    return names;
}

// The lines of table files `first` to before `last` of the folder.
std::string linesOf(const std::string& temporaryDirectory, std::size_t first, std::size_t last) {
    const std::vector<std::string> names = tableFiles();
    std::string lines;
    for (std::size_t i = first; i < last; ++i) {
        lines +=
            "load " + temporaryDirectory + "/" + kModelFolderName + "//" + names[i] + " failed\n";
    }
    return lines;
}

// The template of a run that merely misses table files `first` to before `last`.
std::vector<float> resultsWithout(std::size_t first, std::size_t last) {
    static std::map<std::pair<std::size_t, std::size_t>, std::vector<float>> known;
    std::vector<float>& results = known[{first, last}];
    if (results.empty()) {
        const LinkedModel model(ZOMU_EXACT_MODEL);
        for (std::size_t i = first; i < last; ++i) {
            model.remove(tableFiles()[i]);
        }
        const StarvedRun run = runStarved(model.temporaryDirectory(), 0, "once");
        EXPECT_EQ(run.out, linesOf(model.temporaryDirectory(), first, last)) << run.err;
        results = run.results;
    }
    return results;
}

}  // namespace

TEST(LoadAllocation, failureCountsAsAFileThatCannotBeOpened) {
    const std::size_t fileCount = tableFiles().size();
    const StarvedRun whole = runStarved(ZOMU_EXACT_MODEL, 0, "once");
    ASSERT_EQ(whole.exitStatus, 0) << whole.err;
    ASSERT_EQ(whole.results.size(), 503U);
    const long total = whole.requests();
    // Each file asks equally often, so that a request says which file it is for.
    const long each = total / static_cast<long>(fileCount);
    ASSERT_EQ(total, each * static_cast<long>(fileCount));
    const long step = isFullSweep() ? 1 : std::max(total / 4, 1L);

    long failures = 0;
    for (long n = 1; n <= total; n += step) {
        for (const bool isOnce : {true, false}) {
            const char* kind = isOnce ? "once" : "on";
            SCOPED_TRACE(std::string("request ") + std::to_string(n) + ", " + kind);
            const StarvedRun run = runStarved(ZOMU_EXACT_MODEL, n, kind);
            ++failures;
            ASSERT_EQ(run.exitStatus, 0) << "signal " << run.signal << ", " << run.err;
            ASSERT_EQ(run.err, "");
            ASSERT_EQ(run.results.size(), 503U);
            const auto first = static_cast<std::size_t>((n - 1) / each);
            const std::size_t last = isOnce ? first + 1 : fileCount;
            ASSERT_EQ(run.out, linesOf(ZOMU_EXACT_MODEL, first, last));
            const std::vector<float> expected = resultsWithout(first, last);
            ASSERT_EQ(expected.size(), 503U);
            ASSERT_TRUE(sameFloats(expected.data() + 1, run.results.data() + 1, 502));
        }
    }
    std::printf("load: %ld failures at %ld requests\n", failures, total);
}
