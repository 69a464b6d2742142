// The patch stage against a second writing of it, bit for bit, on hundreds of faces that nobody
// chose: heads turned and tilted, inside and outside the picture, pictures down to 2 x 2, and
// records that no face could give.
#include <gtest/gtest.h>

#include <cstdint>

#include "support/face_generator.h"
#include "support/patch_stage_check.h"
#include "support/random.h"

class RandomFaces : public testing::TestWithParam<FaceKind> {};

TEST_P(RandomFaces, haveTheReferencesPoseAndPatches) {
    FaceGenerator faces;
    PatchStage stage;
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        Random random(seed);
        ASSERT_EQ("", stage.check(faces.make(random, GetParam()))) << "seed " << seed;
    }
    EXPECT_GT(stage.compared, 40);
    EXPECT_GT(stage.refused, 2);
}

INSTANTIATE_TEST_SUITE_P(Patches, RandomFaces,
                         testing::ValuesIn(faceKinds().begin(), faceKinds().end()),
                         [](const auto& test) { return test.param.name; });
