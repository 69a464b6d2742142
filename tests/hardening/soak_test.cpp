// The soak itself runs as a test of its own, for some seconds; these tests see that it would
// notice.
#include <gtest/gtest.h>

#include <string>

#include "support/process.h"
#include "support/temporary_folder.h"

static ProcessResult soak(const std::string& library, const Variables& variables) {
    return runProcess({ZOMU_SOAK, library, "3"}, variables);
}

// The last line, which holds the verdict.
static std::string verdictOf(const ProcessResult& run) {
    const std::size_t end = run.out.rfind('\n');
    const std::size_t start = end == std::string::npos ? end : run.out.rfind('\n', end - 1);
    return run.out.substr(start == std::string::npos ? 0 : start + 1);
}

TEST(Soak, passesAGoodGuestAndPrintsItsFigures) {
    const ProcessResult run = soak(ZOMU_BAD_GUEST, {});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("second 3: "), std::string::npos) << run.out;
    EXPECT_EQ(verdictOf(run).substr(0, 8), "passed: ");
    EXPECT_NE(verdictOf(run).find(" 0 differences"), std::string::npos);
}

TEST(Soak, noticesAnotherTemplate) {
    const ProcessResult run = soak(ZOMU_BAD_GUEST, {{"BAD_MANNER", "another-template"}});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(verdictOf(run).substr(0, 8), "FAILED: ");
}

TEST(Soak, noticesAnotherScore) {
    const ProcessResult run = soak(ZOMU_BAD_GUEST, {{"BAD_MANNER", "another-score"}});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(verdictOf(run).find(" 1 differences"), std::string::npos) << run.out;
}

// Under a sanitizer the memory is not judged.
#if !defined(ZOMU_SANITIZED)
TEST(Soak, noticesGrowingMemory) {
    const ProcessResult run = soak(ZOMU_BAD_GUEST, {{"BAD_MANNER", "growing-memory"}});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(verdictOf(run).substr(0, 8), "FAILED: ");
    EXPECT_NE(verdictOf(run).find(" 0 differences"), std::string::npos) << run.out;
}
#endif

TEST(Soak, needsAModel) {
    const TemporaryFolder empty;
    const ProcessResult run = soak(ZOMU_LIBRARY, {{"TMPDIR", empty.path().string()}});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "zomu_soak: the templates are NaN; is there a model?\n");
}
