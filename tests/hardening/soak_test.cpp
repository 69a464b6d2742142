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

TEST(SoakOfAGuest, passesAGoodGuestAndPrintsItsFigures) {
    const ProcessResult run = soak(ZOMU_BAD_GUEST, {});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("second 3: "), std::string::npos) << run.out;
    EXPECT_TRUE(verdictOf(run).starts_with("passed: "));
    EXPECT_NE(verdictOf(run).find(" 0 differences"), std::string::npos);
}

struct Flaw {
    const char* manner;
    const char* verdict;
};

static const Flaw kFlaws[] = {
#if !defined(ZOMU_SANITIZED)  // under a sanitizer the memory is not judged
    {"growingMemory", " 0 differences"},
#endif
    {"anotherTemplate", " differences"},
    {"anotherScore", " 1 differences"},
};

class Soak : public testing::TestWithParam<Flaw> {};

TEST_P(Soak, noticesAFlaw) {
    const ProcessResult run = soak(ZOMU_BAD_GUEST, {{"BAD_MANNER", GetParam().manner}});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_TRUE(verdictOf(run).starts_with("FAILED: "));
    EXPECT_NE(verdictOf(run).find(GetParam().verdict), std::string::npos) << run.out;
}

INSTANTIATE_TEST_SUITE_P(OfAGuest, Soak, testing::ValuesIn(kFlaws));

TEST(SoakOfAGuest, needsAModel) {
    const TemporaryFolder empty;
    const ProcessResult run = soak(ZOMU_LIBRARY, {{"TMPDIR", empty.path().string()}});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "zomu_soak: the templates are NaN; is there a model?\n");
}
