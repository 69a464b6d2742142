// The alignment and the whole stage beside the reference, bit for bit, and what the stage must show
// whatever its arithmetic.
#include "patches/face_patches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/face_generator.h"
#include "support/faces.h"
#include "support/patch_stage_check.h"
#include "support/pictures.h"
#include "support/random.h"

TEST(Alignment, equalsTheReference) {
    Random random(74);
    for (int round = 0; round < 5000; ++round) {
        float values[5] = {random.uniform(-100, 900), random.uniform(-100, 900),
                           random.uniform(-100, 900), random.uniform(-100, 900),
                           random.uniform(1, 300)};
        if (random.oneIn(10)) {
            random.oneOf(values) = random.oneIn(4) ? 0.0F : random.anyFloat();
        }
        const LandmarkEntry upper = {6, values[0], values[1]};
        const LandmarkEntry lower = {10, random.oneIn(10) ? values[0] : values[2],
                                     random.oneIn(10) ? values[1] : values[3]};
        const int span = random.between(12, 33);
        const ReferenceAlignment r = referenceAlignment(upper, lower, span, values[4]);
        const PatchAlignment p = alignPatch(upper, lower, span, values[4]);
        const CanvasToImage& t = p.inverse;
        ASSERT_TRUE(sameFloats({r.Q, r.a, r.b, r.c, r.d, r.A, r.B, r.C, r.E},
                               {p.Q, p.a, p.b, p.c, p.d, t.A, t.B, t.C, t.E}))
            << "round " << round;
    }
}

TEST(FacePatches, showTheirLandmarksAtTheCentreForAnyTilt) {
    // Discs of two greys around the corners of the mouth, which patch 3 is centred on. The disc of
    // radius 8 is 2 canvas pixels wide in every direction.
    PatchStage stage;
    for (int roll = -180; roll < 180; roll += 20) {
        SCOPED_TRACE(roll);
        const LandmarkRecord record =
            projectFace({.roll = static_cast<double>(roll), .scale = 10.0, .x = 160.0, .y = 150.0});
        Picture picture(320, 300);
        for (const auto& [id, grey] : {std::pair{12, 250}, std::pair{13, 130}}) {
            const LandmarkEntry& centre = record.entries[kLandmarkRow[id]];
            for (int y = 0; y < 300; ++y) {
                for (int x = 0; x < 320; ++x) {
                    if (std::hypot(static_cast<float>(x) - centre.x,
                                   static_cast<float>(y) - centre.y) < 8.0F) {
                        std::fill_n(picture.pixel(x, y), 3, static_cast<std::uint8_t>(grey));
                    }
                }
            }
        }
        const PatchList patches = stage.cut({picture.topRow(), 320, 300, 960}, record);
        // In both crops the other corner, 52 image pixels away, lies to the right.
        const float expected[2][3] = {{0, 250, 130}, {0, 130, 250}};
        for (int row = 0; row < 2; ++row) {
            for (int i = 0; i < 3; ++i) {
                const int e = 23 * 47 + 23 + 15 * (i - 1);
                EXPECT_EQ(expected[row][i] - stage.meanImage(3)[e], patches[3]->at(row, e));
            }
        }
    }
}

// Hundreds of faces that nobody chose: heads turned and tilted, inside and outside the picture,
// pictures down to 2 x 2, and records that no face could give. The stage's canvases are not cleared
// between them.
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
