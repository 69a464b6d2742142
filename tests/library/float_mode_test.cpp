// A host that rounds upwards and flushes small numbers to zero gets the bits that all others get,
// and keeps its mode.
#include <gtest/gtest.h>

#include "library/host_run.h"
#include "support/bits.h"

TEST(FloatMode, ofTheHostChangesNoBitAndIsLeftAsItWas) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"extract-in-host-mode"});
    constexpr std::size_t kPart = 2 * kTemplateSize + 1;  // two templates and their score
    ASSERT_TRUE(ended(run, "", 2 * kPart + 1));
    EXPECT_EQ(run.results.back(), 0.0F) << "calls left another mode behind";
    const std::vector<float> inHostMode(run.results.begin(), run.results.begin() + kPart);
    const std::vector<float> inUsualMode(run.results.begin() + kPart, run.results.end() - 1);
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_TRUE(sameFloats(inUsualMode, inHostMode));
}
