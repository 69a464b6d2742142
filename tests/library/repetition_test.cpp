// The same bits again: in later calls, in other contexts, beside other threads, in a host that
// rounds its own way, with teams of any size.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "library/host_run.h"
#include "support/bits.h"
#include "support/environment.h"
#include "support/temporary_folder.h"

// All templates of the run have the bits of that one.
static void expectAll(const HostRun& expected, const HostRun& run, std::size_t count) {
    ASSERT_TRUE(ended(run, "", count * kTemplateSize));
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_TRUE(sameTemplate(expected, 0, run, i)) << i;
    }
}

TEST(Repetition, laterCallsAndASecondContextGiveTheSameTemplate) {
    const HostRun plain = plainRun();
    ASSERT_TRUE(ended(plain, "", kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(plain, 0));
    expectAll(plain, runHost(sharedTemporaryDirectory(), {"extract", "20"}), 20);
    expectAll(plain, runHost(sharedTemporaryDirectory(), {"extract-with-two-contexts"}), 3);
}

TEST(Repetition, contextsAreMadeAndWorkBesideAnother) {
    HostRun run = runHost(sharedTemporaryDirectory(), {"work-beside-extraction"});
    ASSERT_TRUE(ended(run, "", 9 * kTemplateSize + 1));
    EXPECT_EQ(run.results.back(), 0.0F) << "templates of the other differed meanwhile";
    const HostRun plain = plainRun();
    EXPECT_FALSE(sameTemplate(plain, 0, run, 0)) << "of another face";
    for (std::size_t i = 1; i <= 8; ++i) {
        EXPECT_TRUE(sameTemplate(plain, 0, run, i)) << i;
    }
}

TEST(Repetition, overlappingCreatesGiveGoodContexts) {
    expectAll(plainRun(), runHost(sharedTemporaryDirectory(), {"create-on-threads", "4"}), 4);
}

// Lines of several creates take turns, but each is whole.
TEST(Repetition, overlappingCreatesPrintWholeLines) {
    const auto sorted = [](const std::string& text) {
        std::istringstream stream(text);
        std::multiset<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.insert(line);
        }
        return lines;
    };
    const TemporaryFolder empty;
    const std::string path = empty.path().string();
    const std::string lines = weightLines(path);
    const HostRun run = runHost(path, {"create-on-threads", "4"});
    ASSERT_TRUE(ended(run, run.out, 4 * kTemplateSize));
    EXPECT_EQ(run.out.substr(0, tableLines(path).size()), tableLines(path));
    EXPECT_EQ(sorted(run.out), sorted(tableLines(path) + lines + lines + lines + lines));
}

// A host that rounds upwards and flushes small numbers to zero gets the same bits and keeps its mode.
TEST(FloatMode, ofTheHostChangesNoBitAndIsLeftAsItWas) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"extract-in-host-mode"});
    constexpr std::size_t kPart = 2 * kTemplateSize + 1;  // two templates and their score
    ASSERT_TRUE(ended(run, "", 2 * kPart + 1));
    EXPECT_EQ(run.results.back(), 1.0F) << "a call left another mode behind";
    const std::vector<float> inHostMode(run.results.begin(), run.results.begin() + kPart);
    const std::vector<float> inUsualMode(run.results.begin() + kPart, run.results.end() - 1);
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_TRUE(sameFloats(inUsualMode, inHostMode));
}

struct Team {
    const char* name;
    Variables variables;
};

class Teams : public testing::TestWithParam<Team> {};

TEST_P(Teams, ofAnySizeGiveTheSameTemplate) {
    Variables variables = GetParam().variables;
    variables.emplace_back(kTemporaryVariable, sharedTemporaryDirectory());
    variables.emplace_back("KMP_WARNINGS", "0");  // the runtime of clang reports a team cut short
    expectAll(plainRun(), runHost(variables, {"extract", "2"}), 2);
}

INSTANTIATE_TEST_SUITE_P(
    Repetition, Teams,
    testing::Values(
        Team{"one", {{"OMP_NUM_THREADS", "1"}}}, Team{"two", {{"OMP_NUM_THREADS", "2"}}},
        Team{"three", {{"OMP_NUM_THREADS", "3"}}}, Team{"twentyFive", {{"OMP_NUM_THREADS", "25"}}},
        Team{"dynamic", {{"OMP_DYNAMIC", "true"}}},
        Team{"dynamicWithEight", {{"OMP_DYNAMIC", "true"}, {"OMP_NUM_THREADS", "8"}}},
        Team{"limitedToOne", {{"OMP_THREAD_LIMIT", "1"}}},
        Team{"threeLimitedToOne", {{"OMP_NUM_THREADS", "3"}, {"OMP_THREAD_LIMIT", "1"}}},
        Team{"noActiveLevel", {{"OMP_NUM_THREADS", "3"}, {"OMP_MAX_ACTIVE_LEVELS", "0"}}},
        Team{"nested", {{"OMP_NUM_THREADS", "3,2"}, {"OMP_MAX_ACTIVE_LEVELS", "3"}}}),
    [](const auto& test) { return test.param.name; });
