// Pictures, records and nulls, good and bad, on their way through the exported functions.
#include <gtest/gtest.h>

#include <string>

#include "library/host_run.h"
#include "reference/reference_patches.h"
#include "support/face_generator.h"

// Beside guards where nothing may be read, rows at any distance up or down, records of any order:
// the template of the same face in ordinary memory. What the patches of such a face are, the tests
// of the patch stage compare.
TEST(Arguments, anywhereInMemoryGiveTheSameTemplateOrTheirRefusal) {
    constexpr int kFaces = 30;
    const HostRun run =
        runHost(sharedTemporaryDirectory(), {"extract-random-faces", std::to_string(kFaces)});
    ASSERT_EQ(run.exitStatus, 0) << "signal " << run.signal << ", " << run.err;
    FaceGenerator faces;
    std::string lines;
    std::size_t templates = 0;
    for (int seed = 1; seed <= kFaces; ++seed) {
        SCOPED_TRACE(seed);
        Random random(static_cast<std::uint64_t>(seed));
        const char* refusal = referenceRefusal(faces.make(random).record);
        const std::size_t inPlace = templates++;
        if (refusal == nullptr) {
            EXPECT_TRUE(sameTemplate(run, templates++, run, inPlace));
        } else {
            lines += std::string("template refused: ") + refusal + "\n";
            EXPECT_TRUE(isNanTemplate(run, inPlace));
        }
    }
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, templates++)) << "they left something behind";
    EXPECT_TRUE(ended(run, lines, templates * kTemplateSize));
}

TEST(Arguments, thatNoTemplateCanBeMadeOfAreRefusedUnreadAndDoNoHarm) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"pass-what-is-unusable"});
    std::string lines = "template refused: no image\n";
    for (int i = 0; i < 4; ++i) {
        lines += "template refused: an image smaller than 2 x 2 pixels\n";
    }
    ASSERT_TRUE(ended(run, lines + "template refused: no landmarks\n", 9 * kTemplateSize));
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_TRUE(isNanTemplate(run, i)) << i;
    }
    for (std::size_t i = 6 * kTemplateSize; i < 8 * kTemplateSize; ++i) {
        EXPECT_EQ(run.results[i], static_cast<float>(i % kTemplateSize)) << "without a context";
    }
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 8));
}
