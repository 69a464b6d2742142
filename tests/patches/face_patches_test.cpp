// The alignment, and what the whole stage must show whatever its arithmetic; random_faces_test.cpp
// has the stage beside the reference.
#include "patches/face_patches.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "patches/sample_face.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/patch_stage_check.h"
#include "support/pictures.h"
#include "support/random.h"

namespace {

using Entries = std::vector<LandmarkEntry>;

LandmarkEntry point(double x, double y) {
    return {0, static_cast<float>(x), static_cast<float>(y)};
}

std::vector<float> valuesOf(const PatchAlignment& p) {
    const CanvasToImage& t = p.inverse;
    return {p.Q, p.a, p.b, p.c, p.d, t.A, t.B, t.C, t.E};
}

}  // namespace

TEST(Alignment, putsTheAnchorsUprightAndKeepsItsScaleForAnyTiltAndDistance) {
    for (int degrees = 0; degrees < 360; degrees += 10) {
        const double angle = degrees * std::numbers::pi / 180.0;
        const double distance = 20.0 + degrees;
        const LandmarkEntry upper = point(500.25, 400.75);
        const LandmarkEntry lower =
            point(500.25 - distance * std::sin(angle), 400.75 + distance * std::cos(angle));
        for (const int span : {12, 21, 33}) {
            SCOPED_TRACE(testing::Message() << degrees << " degrees, span " << span);
            const PatchAlignment p = alignPatch(upper, lower, span, 95.0F);
            const float scale = static_cast<float>(span) / 95.0F;
            EXPECT_NEAR(scale * static_cast<float>(distance) + 60.0F, p.Q, 1e-3F);
            EXPECT_NEAR(scale, std::hypot(p.a, p.b), 0.01F * scale);
            const CanvasPoint first = toCanvas(p, upper);
            EXPECT_NEAR(80.0F, first.x, 0.05F);
            EXPECT_NEAR(60.0F, first.y, 0.05F);
            const CanvasPoint second = toCanvas(p, lower);
            EXPECT_NEAR(80.0F, second.x, 0.05F);
            EXPECT_NEAR(p.Q, second.y, 0.05F);
            const CanvasToImage& t = p.inverse;
            EXPECT_NEAR(upper.x, t.A * 80.0F - t.B * 60.0F + t.C, 0.5F);
            EXPECT_NEAR(upper.y, t.B * 80.0F + t.A * 60.0F + t.E, 0.5F);
        }
    }
}

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
        ASSERT_TRUE(sameFloats({r.Q, r.a, r.b, r.c, r.d, r.A, r.B, r.C, r.E},
                               valuesOf(alignPatch(upper, lower, span, values[4]))))
            << "round " << round;
    }
}

// --- The whole stage ----------------------------------------------------------------------------

TEST(FacePatches, showTheirLandmarksAtTheCentreForAnyTilt) {
    // Discs of two greys around the corners of the mouth, which patch 3 is centred on. The disc of
    // radius 8 is 2 canvas pixels wide in every direction.
    PatchStage stage;
    for (int roll = -180; roll < 180; roll += 20) {
        SCOPED_TRACE(roll);
        const Entries entries =
            seenFrom({.roll = static_cast<double>(roll), .scale = 10.0, .x = 160.0, .y = 150.0});
        Picture picture(320, 300);
        for (const auto& [id, grey] : {std::pair{12, 250}, std::pair{13, 130}}) {
            const LandmarkEntry& centre = entryOf(entries, id);
            for (int y = 0; y < 300; ++y) {
                for (int x = 0; x < 320; ++x) {
                    if (std::hypot(static_cast<float>(x) - centre.x,
                                   static_cast<float>(y) - centre.y) < 8.0F) {
                        std::fill_n(picture.pixel(x, y), 3, static_cast<std::uint8_t>(grey));
                    }
                }
            }
        }
        const RecordBlock block(entries);
        const PatchList patches = stage.cut({picture.topRow(), 320, 300, 960}, block.record());
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

// The stage's canvases are not cleared in between.
TEST(FacePatches, holdNothingOfTheFaceBefore) {
    const RecordBlock large(
        seenFrom({.yaw = -20.0, .roll = 3.0, .scale = 10.0, .x = 160.0, .y = 150.0}));
    const RecordBlock small(seenFrom({.scale = 4.0, .x = 40.0, .y = 50.0}));
    Random random(11);
    const Picture picture = randomPicture(random, 320, 300, 960);
    const SourceImage image = {picture.topRow(), 320, 300, 960};
    PatchStage stage;
    EXPECT_EQ("", stage.difference(image, large.record(), stage.cut(image, large.record())));
    EXPECT_EQ("", stage.difference(image, small.record(), stage.cut(image, small.record())));
    EXPECT_EQ("", stage.difference(image, large.record(), stage.cut(image, large.record())));
}
