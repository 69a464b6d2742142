// The patch stage against a second writing of it, bit for bit, on hundreds of faces that nobody
// chose: heads turned and tilted, inside and outside the picture, pictures down to 2 x 2, and
// records that no face could give.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "reference/reference_patches.h"
#include "support/face_generator.h"
#include "support/faces.h"
#include "support/patch_stage_check.h"
#include "support/pictures.h"
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

// The patches tell when imageEyeSpan is off by its last bit, in nearly every face: a fit that
// rounds otherwise could not stay unnoticed.
TEST(RandomScales, showTheirLastBitInThePatches) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    Random random(71);
    int facesThatDiffer = 0;
    for (int round = 0; round < 10; ++round) {
        Picture picture(200, 200);
        picture.bytes = random.upTo(picture.bytes.size());
        LandmarkRecord record = projectFace(HeadView());
        jitter(record, random, 2);
        const float span = referencePose(record).imageEyeSpan;
        const std::vector<LandmarkEntry> kept = referenceKeptLandmarks(record);
        const auto canvasAt = [&](float s) {
            return referenceWarp({picture.topRow(), 200, 200, 600}, true,
                                 referenceAlignment(kept[6], kept[8], 33, s));
        };
        const ReferenceBytes canvas = canvasAt(span);
        facesThatDiffer += canvas != canvasAt(std::nextafter(span, 0.0F)) ||
                                   canvas != canvasAt(std::nextafter(span, kInfinity))
                               ? 1
                               : 0;
    }
    EXPECT_GE(facesThatDiffer, 5);
}
