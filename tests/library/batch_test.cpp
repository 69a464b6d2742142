// The library for batches: the bits of single extractions, whatever a face is computed together with.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "library/host_run.h"
#include "reference/reference_patches.h"
#include "support/environment.h"
#include "support/face_generator.h"

namespace {

HostRun runBatches(const std::string& scenario, const std::vector<std::string>& arguments = {},
                   Variables variables = {}) {
    variables.emplace_back(kTemporaryVariable, sharedTemporaryDirectory());
    std::vector<std::string> words = {scenario, ZOMU_BATCH_LIBRARY};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return runHost(variables, words);
}

// So many templates from `first` on are those from position `expected` on.
void expectSame(const HostRun& run, std::size_t expected, std::size_t first, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_TRUE(sameTemplate(run, expected + i, run, first + i)) << first << " + " << i;
    }
}

struct BatchTeam {
    const char* name;
    const char* threads;
    std::vector<std::size_t> sizes;  // of one batch after another, in one context
};

class Batch : public testing::TestWithParam<BatchTeam> {};

}  // namespace

TEST_P(Batch, ofAnySizeGivesTheBitsOfSingleExtractions) {
    const std::vector<std::size_t>& sizes = GetParam().sizes;
    std::vector<std::string> words;
    for (const std::size_t size : sizes) {
        words.push_back(std::to_string(size));
    }
    const HostRun run =
        runBatches("extract-batches", words, {{"OMP_NUM_THREADS", GetParam().threads}});
    std::size_t first = std::ranges::max(sizes);
    for (const std::size_t size : sizes) {
        expectSame(run, 0, first, size);
        first += size;
    }
    ASSERT_TRUE(ended(run, "", first * kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_FALSE(sameTemplate(run, 0, run, 1)) << "two faces";
}

INSTANTIATE_TEST_SUITE_P(Library, Batch,
                         testing::Values(BatchTeam{"ofOne", "1", {17}},
                                         BatchTeam{
                                             "ofThree", "3", {0, 1, 2, 15, 16, 17, 40, 17, 1}},
                                         BatchTeam{"ofTwentyFive", "25", {17}}),
                         [](const auto& test) { return test.param.name; });

// Faces of every kind between guards, one in six of them refused.
TEST(Batches, ofRandomFacesGiveTheTemplatesAndTheLinesOfSingleExtractions) {
    constexpr std::size_t kFaces = 40;
    const HostRun run = runBatches("extract-batch-of-random-faces", {std::to_string(kFaces)});
    FaceGenerator faces;
    std::string lines;
    for (std::size_t seed = 1; seed <= kFaces; ++seed) {
        Random random(seed);
        const char* refusal = referenceRefusal(faces.make(random).record);
        if (refusal != nullptr) {
            lines += std::string("template refused: ") + refusal + "\n";
        }
    }
    ASSERT_NE(lines, "");
    ASSERT_TRUE(ended(run, lines + lines, 2 * kFaces * kTemplateSize));
    for (std::size_t i = 0; i < kFaces; ++i) {
        EXPECT_TRUE(isNanTemplate(run, i) ? isNanTemplate(run, kFaces + i)
                                          : sameTemplate(run, i, run, kFaces + i))
            << i;
    }
}

TEST(Batches, refuseWhatIsUnusableUnreadAndComputeTheRest) {
    const HostRun run = runBatches("pass-unusable-batches");
    ASSERT_TRUE(ended(run,
                      "template refused: no image\n"
                      "template refused: an image smaller than 2 x 2 pixels\n"
                      "template refused: no landmarks\n"
                      "template refused: fewer than 25 landmarks\n"
                      "template refused: an image smaller than 2 x 2 pixels\n",
                      (1 + 29 + 24) * kTemplateSize));
    for (std::size_t i = 0; i < kTemplateSize; ++i) {
        ASSERT_EQ(run.results[i], static_cast<float>(i)) << "without a context or requests";
    }
    std::size_t single = 30;
    for (std::size_t i = 0; i < 29; ++i) {
        const bool isBad = i == 0 || i == 5 || i == 6 || i == 17 || i == 28;
        EXPECT_TRUE(isBad ? isNanTemplate(run, 1 + i) : sameTemplate(run, single++, run, 1 + i))
            << i;
    }
}

TEST(Batches, ofTwoContextsRunAtTheSameTime) {
    const HostRun run = runBatches("extract-batches-on-threads", {}, {{"OMP_NUM_THREADS", "2"}});
    ASSERT_TRUE(ended(run, "", 60 * kTemplateSize));
    expectSame(run, 0, 20, 20);
    expectSame(run, 0, 40, 20);
}

TEST(Batches, areTheSameInTheFloatModeOfTheHostAndLeaveIt) {
    const HostRun run = runBatches("extract-batch-in-host-mode");
    ASSERT_TRUE(ended(run, "", 6 * kTemplateSize + 1));
    expectSame(run, 0, 3, 3);
    EXPECT_EQ(run.results.back(), 1.0F);
}

// It reads a model of its own, as the other library does, and can be unloaded.
TEST(Batches, loadTheModelWithTheLinesOfTheOtherLibraryEachTimeTheLibraryIsOpened) {
    const HostRun run =
        runHost(std::string(kNowhere), {"reload-batch-library", ZOMU_BATCH_LIBRARY});
    const std::string lines = tableLines(kNowhere) + weightLines(kNowhere);
    ASSERT_TRUE(ended(run, lines + lines, 2 * kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
}
