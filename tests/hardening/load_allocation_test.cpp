// The n-th request for memory fails while the library is opened. A load cannot fail, and nothing
// may be thrown through the loader: a file that there is no memory for counts as one that cannot be
// opened.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "hardening/common.h"
#include "library/host_run.h"
#include "support/bits.h"
#include "support/linked_model.h"

namespace {

constexpr std::size_t kFileCount = 28;

// The results of a run are the number of requests, then a template.
HostRun runStarved(const std::string& temporaryDirectory, long first, const char* kind) {
    return runHost(ZOMU_STARVED_HOST, {{"TMPDIR", temporaryDirectory}},
                   {std::to_string(first), kind});
}

// The lines of table files `first` to before `last` of the folder.
std::vector<std::string> linesOf(const std::string& temporaryDirectory, std::size_t first,
                                 std::size_t last) {
    std::istringstream all(tableLines(temporaryDirectory));
    std::vector<std::string> lines;
    for (std::string line; std::getline(all, line);) {
        lines.push_back(line);
    }
    return {lines.begin() + static_cast<std::ptrdiff_t>(first),
            lines.begin() + static_cast<std::ptrdiff_t>(last)};
}

testing::AssertionResult endedWith(const HostRun& run, const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return ended(run, text, 1 + kTemplateSize);
}

// The template of a run that merely misses table files `first` to before `last`.
const std::vector<float>& resultsWithout(std::size_t first, std::size_t last) {
    static std::map<std::pair<std::size_t, std::size_t>, std::vector<float>> known;
    std::vector<float>& results = known[{first, last}];
    if (results.empty()) {
        const LinkedModel model(ZOMU_EXACT_MODEL);
        const std::vector<std::string> lines = linesOf(model.temporaryDirectory(), first, last);
        for (const std::string& line : lines) {
            std::istringstream words(line);
            std::string path;
            words >> path >> path;
            std::filesystem::remove(path);
        }
        const HostRun run = runStarved(model.temporaryDirectory(), 0, "once");
        EXPECT_TRUE(endedWith(run, lines));
        results = run.results;
        results.resize(1 + kTemplateSize);
    }
    return results;
}

}  // namespace

TEST(LoadAllocation, failureCountsAsAFileThatCannotBeOpened) {
    const HostRun whole = runStarved(ZOMU_EXACT_MODEL, 0, "once");
    ASSERT_TRUE(endedWith(whole, {}));
    const long total = static_cast<long>(whole.results[0]);
    // Each file asks equally often, so that a request says which file it is for.
    const long each = total / static_cast<long>(kFileCount);
    ASSERT_GT(each, 0);
    ASSERT_EQ(total, each * static_cast<long>(kFileCount));
    const long step = isFullSweep() ? 1 : std::max(total / 4, 1L);

    long failures = 0;
    for (long n = 1; n <= total; n += step) {
        for (const bool isOnce : {true, false}) {
            const char* kind = isOnce ? "once" : "on";
            SCOPED_TRACE(std::string("request ") + std::to_string(n) + ", " + kind);
            const HostRun run = runStarved(ZOMU_EXACT_MODEL, n, kind);
            ++failures;
            const auto first = static_cast<std::size_t>((n - 1) / each);
            const std::size_t last = isOnce ? first + 1 : kFileCount;
            ASSERT_TRUE(endedWith(run, linesOf(ZOMU_EXACT_MODEL, first, last)));
            ASSERT_TRUE(sameFloats(resultsWithout(first, last).data() + 1, run.results.data() + 1,
                                   kTemplateSize));
        }
    }
    std::printf("load: %ld failures at %ld requests\n", failures, total);
}
