// Hosts that end, fork, or have little of something, 200 times each.
#include <gtest/gtest.h>

#include <string>

#include "library/host_run.h"

// A sanitizer's runtime takes part in exits and forks, and has plans of its own for addresses.
#if !defined(ZOMU_SANITIZED)
class Rounds : public testing::TestWithParam<const char*> {};

TEST_P(Rounds, endWell) {
    const HostRun run =
        runHost(Variables{{"TMPDIR", sharedTemporaryDirectory()}, {"OMP_NUM_THREADS", "4"}},
                {"rounds", GetParam(), "200"});
    ASSERT_TRUE(ended(run, "", 1));
    EXPECT_EQ(run.results[0], 0) << "rounds that went wrong";
}

INSTANTIATE_TEST_SUITE_P(Host, Rounds,
                         testing::Values("exit-beside-extraction", "fork-beside-create",
                                         "little-memory", "few-threads"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::erase(name, '-');
                             return name;
                         });
#endif
